// Handbook storage options over a test's own directory, shared by every test binary that
// opens a handbook beside what it tests.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Handbook/Storage/HandbookStorage.h"
#include "Handbook/Storage/SeedPackSource.h"
#include "Handbook/Storage/SeedStorage.h"
#include "Platform/Foundation/SettingsStore.h"

namespace dm::test {

// The store under `root`/support and seed packs from `root`/packs unless `packSource` is
// given; the restore decision reads and writes `settings`.
HandbookStorage::Options handbookStorageOptions(const std::filesystem::path& root,
                                                std::shared_ptr<SettingsStore> settings,
                                                const std::string& language = "en",
                                                const std::string& version = "1.0",
                                                std::shared_ptr<SeedPackSource> packSource = {});

}  // namespace dm::test
