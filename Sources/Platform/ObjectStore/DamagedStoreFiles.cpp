// Moving a damaged store file and its journals aside.
#include "Platform/ObjectStore/DamagedStoreFiles.h"

#include <system_error>

namespace dm {

namespace {
const char* const kCompanions[] = {"-wal", "-shm", "-journal"};
const char* const kDamagedSuffix = ".damaged";
}  // namespace

std::filesystem::path damagedStorePath(const std::filesystem::path& storeFile) {
  return storeFile.string() + kDamagedSuffix;
}

bool moveDamagedStoreAside(const std::filesystem::path& storeFile, std::string& error) {
  std::error_code ec;
  if (!std::filesystem::exists(std::filesystem::symlink_status(storeFile, ec))) {
    error = "No such file: " + storeFile.string();
    return false;
  }
  // The previous damaged copy goes first, so the kept set always belongs together.
  std::filesystem::remove(damagedStorePath(storeFile), ec);
  for (const char* suffix : kCompanions)
    std::filesystem::remove(storeFile.string() + suffix + kDamagedSuffix, ec);

  ec.clear();
  std::filesystem::rename(storeFile, damagedStorePath(storeFile), ec);
  if (ec) {
    error = ec.message();
    return false;
  }
  for (const char* suffix : kCompanions) {
    std::filesystem::path companion = storeFile.string() + suffix;
    if (!std::filesystem::exists(std::filesystem::symlink_status(companion, ec))) continue;
    std::filesystem::rename(companion, companion.string() + kDamagedSuffix, ec);
    if (ec) std::filesystem::remove(companion, ec);
  }
  return true;
}

}  // namespace dm
