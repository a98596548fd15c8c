// Keeping a damaged store file: recovery moves it (and the journal files beside it) aside
// under a fixed name instead of deleting it, so what it held can still be looked at.
#pragma once

#include <filesystem>
#include <string>

namespace dm {

// The name a damaged store file is kept under: "<file>.damaged". Its companions keep theirs
// the same way ("<file>-wal.damaged", ...). Only the last damaged copy is kept.
std::filesystem::path damagedStorePath(const std::filesystem::path& storeFile);

// Moves `storeFile` and its "-wal", "-shm" and "-journal" companions to their damaged names,
// replacing an earlier damaged copy. false with `error` set when the store file itself could
// not be moved (or does not exist); companions that cannot be moved are removed, since a
// journal left beside a new file would be applied to it. Any thread; the caller makes sure
// no connection of this process has the file open.
bool moveDamagedStoreAside(const std::filesystem::path& storeFile, std::string& error);

}  // namespace dm
