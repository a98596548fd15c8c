// Seed archives built from an update dictionary through the adapter's update path.
#include "Handbook/Storage/HandbookSeedBuilder.h"

#include <sqlite3.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/ZipArchive.h"

namespace dm {

namespace {

void compact(const std::filesystem::path& file) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : "cannot open";
    sqlite3_close_v2(db);
    throw Error(ErrorCode::SeedBuildFailed, "compact " + file.string() + ": " + message);
  }
  // A seed ships as one self-contained file: no write-ahead log beside it.
  char* error = nullptr;
  int rc = sqlite3_exec(db, "PRAGMA journal_mode=DELETE; VACUUM;", nullptr, nullptr, &error);
  std::string message = error ? error : "";
  sqlite3_free(error);
  sqlite3_close_v2(db);
  if (rc != SQLITE_OK)
    throw Error(ErrorCode::SeedBuildFailed, "compact " + file.string() + ": " + message);
}

struct ScratchDirectory {
  std::filesystem::path path;
  ~ScratchDirectory() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
};

// The build around `apply`, which makes the batch on the scratch store's adapter.
HandbookSeedBuildResult buildArchive(
    const std::function<HandbookUpdateEntity*(HandbookAdapter&)>& apply,
    const std::string& languageCode, const std::filesystem::path& archive,
    const HandbookSeedProgress& progress) {
  auto report = [&](const char* phase, double fraction) {
    if (progress) progress(phase, fraction);
  };
  std::filesystem::path parent = std::filesystem::absolute(archive).parent_path();
  std::error_code ec;
  std::filesystem::create_directories(parent, ec);
  ScratchDirectory scratch{parent / (".seed-build-" + std::to_string(::getpid()))};
  std::filesystem::remove_all(scratch.path, ec);

  HandbookSeedBuildResult result;
  std::filesystem::path storeFile;
  {
    // A storage of its own: no built-in seed, and the language counts as saved so that no
    // seed of it is requested.
    auto settings = SettingsStore::inMemory();
    SeedStorage::Options seedOptions;
    seedOptions.settings = settings;
    seedOptions.currentLocalization = languageCode;
    seedOptions.packSource = std::make_shared<DirectorySeedPackSource>(std::filesystem::path());
    auto seed = SeedStorage::create(seedOptions);
    settings->setString(SeedStorage::kAppVersionWithSavedHandbookKey, seed->currentVersion());
    settings->setString(SeedStorage::kLocalizationWithSavedHandbookKey, languageCode);
    HandbookStorage::Options options;
    options.applicationSupportDirectory = scratch.path;
    options.seedStorage = seed;
    HandbookAdapter adapter(options);
    auto storage = adapter.storage();
    if (storage->isInMemory())
      throw Error(ErrorCode::SeedBuildFailed, "cannot create a store in " + scratch.path.string());
    storeFile = storage->storeFile();
    report("apply", 0);
    adapter.setUpdateProgress([&](std::size_t applied, std::size_t total) {
      if (total > 0) report("apply", static_cast<double>(applied) / static_cast<double>(total));
    });
    HandbookUpdateEntity* batch = apply(adapter);
    if (!batch) throw Error(ErrorCode::InvalidSeedSource, "the dictionary gives no update batch");
    storage->performOnSavingContextAndWait(
        [&](ManagedObjectContext&) { result.records = batch->allItems().size(); });
    report("apply", 1);
    report("save", 0);
    bool saved = true;
    std::string saveError;
    storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
      try {
        context.save();
      } catch (const std::exception& error) {
        saved = false;
        saveError = error.what();
      }
    });
    if (!saved) throw Error(ErrorCode::SeedBuildFailed, "save: " + saveError);
    report("save", 1);
  }
  report("compact", 0);
  compact(storeFile);
  result.storeBytes = std::filesystem::file_size(storeFile);
  report("compact", 1);
  report("zip", 0);
  zip::create(archive, {{HandbookStorage::kStoreFileName, storeFile}});
  report("zip", 1);
  return result;
}

}  // namespace

HandbookSeedBuildResult buildHandbookSeedArchive(const nlohmann::json& dictionary,
                                                 const std::string& languageCode,
                                                 const std::filesystem::path& archive,
                                                 const HandbookSeedProgress& progress) {
  return buildArchive(
      [&](HandbookAdapter& adapter) {
        return adapter.getHandbookUpdateEntityFromRequest(dictionary);
      },
      languageCode, archive, progress);
}

HandbookSeedBuildResult buildHandbookSeedArchiveFromPayload(std::string_view payload,
                                                            const std::string& languageCode,
                                                            const std::filesystem::path& archive,
                                                            const HandbookSeedProgress& progress) {
  return buildArchive(
      [&](HandbookAdapter& adapter) { return adapter.getHandbookUpdateEntityFromPayload(payload); },
      languageCode, archive, progress);
}

}  // namespace dm
