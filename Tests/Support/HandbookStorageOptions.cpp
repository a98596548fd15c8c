// Handbook storage options over a test's own directory.
#include "Support/HandbookStorageOptions.h"

namespace dm::test {

HandbookStorage::Options handbookStorageOptions(const std::filesystem::path& root,
                                                std::shared_ptr<SettingsStore> settings,
                                                const std::string& language,
                                                const std::string& version,
                                                std::shared_ptr<SeedPackSource> packSource) {
  SeedStorage::Options seed;
  seed.settings = std::move(settings);
  seed.currentLocalization = language;
  seed.currentVersion = version;
  seed.packSource = packSource ? std::move(packSource)
                               : std::make_shared<DirectorySeedPackSource>(root / "packs");
  HandbookStorage::Options options;
  options.applicationSupportDirectory = root / "support";
  options.seedStorage = SeedStorage::create(seed);
  return options;
}

}  // namespace dm::test
