// Building a seed archive: an update dictionary applied to a fresh handbook store, the file
// compacted and zipped as the store file of a seed pack.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace dm {

struct HandbookSeedBuildResult {
  std::size_t records = 0;        // records the batch stored
  std::uintmax_t storeBytes = 0;  // size of the compacted store file
};

// Progress: a phase name ("apply", "save", "compact", "zip") and the fraction done (0-1).
using HandbookSeedProgress = std::function<void(const std::string& phase, double fraction)>;

// Applies `dictionary` to an empty store in a scratch directory beside `archive`, saves,
// compacts it (VACUUM) and writes `archive` (a ZIP holding "Handbook.sqlite") atomically.
// Throws Error naming the step: InvalidSeedSource for a dictionary that yields no batch,
// SeedBuildFailed for a store failure, zip::ZipError for an archive failure; the scratch
// directory is removed either way. Any thread but the main
// thread's queue need not run.
HandbookSeedBuildResult buildHandbookSeedArchive(const nlohmann::json& dictionary,
                                                 const std::string& languageCode,
                                                 const std::filesystem::path& archive,
                                                 const HandbookSeedProgress& progress = {});
// The same from the update's text, read without building a tree of it (the lighter way for
// large dictionaries); text that is not JSON throws like a dictionary that gives no batch.
HandbookSeedBuildResult buildHandbookSeedArchiveFromPayload(
    std::string_view payload, const std::string& languageCode, const std::filesystem::path& archive,
    const HandbookSeedProgress& progress = {});

}  // namespace dm
