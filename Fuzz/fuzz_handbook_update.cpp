// Feeds the input to the handbook adapter as a server update: parsed as a dictionary, and as
// response text read in windows, with chunks small enough that most inputs span several;
// then saves. The store lives in a temporary directory for the whole run.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "DataModel.h"
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
    dm::registerRecordClasses();
    dm::HandbookStorage::Options options;
    options.applicationSupportDirectory = workRoot() / "support";
    options.seedStorage = dm::SeedStorage::create(seed);
    auto made = std::make_unique<dm::HandbookAdapter>(options);
    made->setUpdateChunkSize(3);
    return made;
  }();
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  dm::HandbookAdapter& handbook = adapter();
  // Response text of any shape.
  handbook.getHandbookUpdateEntityFromPayload(
      std::string_view(reinterpret_cast<const char*>(data), size));
  handbook.saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
  // A dictionary parsed elsewhere; bytes that are not JSON never get here.
  nlohmann::json dict = nlohmann::json::parse(data, data + size, nullptr, false);
  if (dict.is_discarded()) return 0;
  handbook.getHandbookUpdateEntityFromRequest(dict);
  handbook.saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
  return 0;
}
