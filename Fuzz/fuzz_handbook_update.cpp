// Feeds the input, parsed as JSON, to the handbook adapter as a server update dictionary,
// then saves. The store lives in a temporary directory for the whole run.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Storage/SeedPackSource.h"
#include "Handbook/Storage/SeedStorage.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"

namespace fs = std::filesystem;

namespace {

fs::path& workRoot() {
  static fs::path root;
  return root;
}

dm::HandbookAdapter& adapter() {
  static std::unique_ptr<dm::HandbookAdapter> instance = [] {
    dm::MainQueue::shared();  // this thread is the main thread
    workRoot() = fs::temp_directory_path() / ("dm-fuzz-handbook-" + std::to_string(getpid()));
    fs::create_directories(workRoot() / "packs");
    std::atexit([] {
      std::error_code ec;
      fs::remove_all(workRoot(), ec);
    });
    dm::SeedStorage::Options seed;
    seed.settings = dm::SettingsStore::inMemory();
    seed.currentLocalization = "en";
    seed.currentVersion = "1.0";
    seed.packSource = std::make_shared<dm::DirectorySeedPackSource>(workRoot() / "packs");
    dm::HandbookStorage::Options options;
    options.applicationSupportDirectory = workRoot() / "support";
    options.seedStorage = dm::SeedStorage::create(seed);
    return std::make_unique<dm::HandbookAdapter>(options);
  }();
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  dm::HandbookAdapter& handbook = adapter();
  // The server's dictionary arrives already parsed; bytes that are not JSON never get here.
  nlohmann::json dict = nlohmann::json::parse(data, data + size, nullptr, false);
  if (dict.is_discarded()) return 0;
  handbook.getHandbookUpdateEntityFromRequest(dict);
  handbook.saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
  return 0;
}
