// Handbook workloads: an update of N product posts over the stored posts (handbook.update),
// the same update into an empty store (handbook.insert), restoring a seed pack, and the posts
// of a category sorted by id. Program protocol: Benchmarks/README.md.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "ReadPayload.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/Storage/HandbookSeedBuilder.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/WorkQueue.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

struct Result {
  std::size_t records = 0;
  double seconds = 0;
  std::string check;
};

std::string readAll(const fs::path& file) {
  return bench::readPayload(file);
}

// The runner writes the payloads for handbook.update; the other workloads generate them here
// with the same generator.
fs::path payload(const fs::path& dir, std::size_t n, int version) {
  fs::path file = dir / ("payload-v" + std::to_string(version) + ".json");
  if (fs::exists(file)) return file;
  fs::path generator = fs::path(__FILE__).parent_path() / "gen_handbook_payload.py";
  std::string command = "python3 '" + generator.string() + "' " + std::to_string(n) +
                        " --version " + std::to_string(version) + " -o '" + file.string() + "'";
  if (std::system(command.c_str()) != 0)
    throw std::runtime_error("cannot generate " + file.string());
  return file;
}

// A storage of its own in `dir`: no built-in seed, the language counts as saved.
dm::HandbookStorage::Options storageOptions(const fs::path& dir) {
  auto settings = dm::SettingsStore::inMemory();
  dm::SeedStorage::Options seedOptions;
  seedOptions.settings = settings;
  seedOptions.currentLocalization = "en";
  seedOptions.packSource = std::make_shared<dm::DirectorySeedPackSource>(dir / "packs");
  auto seed = dm::SeedStorage::create(seedOptions);
  settings->setString(dm::SeedStorage::kAppVersionWithSavedHandbookKey, seed->currentVersion());
  settings->setString(dm::SeedStorage::kLocalizationWithSavedHandbookKey, "en");
  dm::HandbookStorage::Options options;
  options.applicationSupportDirectory = dir / "support";
  options.seedStorage = seed;
  return options;
}

// Parses the payload text, builds the batch and saves; returns the number of records the
// batch applied.
std::size_t applyUpdate(dm::HandbookAdapter& adapter, const std::string& text) {
  dm::HandbookUpdateEntity* batch = adapter.getHandbookUpdateEntityFromPayload(text);
  if (!batch) throw std::runtime_error("the payload gave no batch");
  std::size_t changes = 0;
  adapter.storage()->performOnSavingContextAndWait([&](dm::ManagedObjectContext&) {
    changes = static_cast<std::size_t>(batch->amountOfChanges());
  });
  adapter.saveAndWait();
  return changes;
}

// Calls `visit` with every stored product, a page at a time on the saving context (reset
// after each page, so the check does not hold the whole store in memory).
void forEachStoredProduct(dm::HandbookAdapter& adapter,
                          const std::function<void(dm::HandbookPostProductEntity&)>& visit) {
  auto storage = adapter.storage();
  storage->performOnSavingContextAndWait([&](dm::ManagedObjectContext& context) {
    dm::FetchRequest request(storage->entityNamed("HandbookPostProductEntity"));
    request.sortDescriptors = {{"entityID", true}};
    request.fetchLimit = 5000;
    for (std::size_t page = 0;; page += request.fetchLimit) {
      request.fetchOffset = page;
      auto products = context.executeFetchRequest(request);
      for (auto* p : products) visit(static_cast<dm::HandbookPostProductEntity&>(*p));
      context.reset();
      if (products.size() < request.fetchLimit) break;
    }
  });
}

// The sum of the stored products' calories, read from the store file with SQLite after the
// save: what was written, checked without loading 200,000 records back as objects (paging
// through them has workloads of its own, store.page_*), so the process's wall time stays
// close to the timed window.
std::string caloriesCheck(dm::HandbookAdapter& adapter) {
  const std::string file = adapter.storage()->storeFile().string();
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    throw std::runtime_error("cannot open " + file + " for the check");
  }
  sqlite3_stmt* sum = nullptr;
  double total = 0;
  const char* sql = "SELECT total(calories) FROM HandbookPostProductEntity";
  const bool read = sqlite3_prepare_v2(db, sql, -1, &sum, nullptr) == SQLITE_OK &&
                    sqlite3_step(sum) == SQLITE_ROW;
  if (read) total = sqlite3_column_double(sum, 0);
  const std::string error = sqlite3_errmsg(db);
  sqlite3_finalize(sum);
  sqlite3_close(db);
  if (!read) throw std::runtime_error("check query failed: " + error);
  return std::to_string(std::llround(total));
}

// Into an empty store.
Result insert(const fs::path& dir, std::size_t n) {
  std::string v1 = readAll(payload(dir, n, 1));
  dm::HandbookAdapter adapter(storageOptions(dir));
  adapter.storage();
  Result r;
  auto start = Clock::now();
  r.records = applyUpdate(adapter, v1);
  r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  r.check = caloriesCheck(adapter);
  return r;
}

// Version 2 over the stored version 1: every record is refilled and every nutrient changes.
Result update(const fs::path& dir, std::size_t n) {
  dm::HandbookAdapter adapter(storageOptions(dir));
  applyUpdate(adapter, readAll(payload(dir, n, 1)));
  std::string v2 = readAll(payload(dir, n, 2));
  Result r;
  auto start = Clock::now();
  r.records = applyUpdate(adapter, v2);
  r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  r.check = caloriesCheck(adapter);
  return r;
}

Result restoreSeed(const fs::path& dir, std::size_t n) {
  fs::path archive = dir / "Handbook_en.sqlite";
  auto built = dm::buildHandbookSeedArchiveFromPayload(readAll(payload(dir, n, 1)), "en", archive);
  auto seed = storageOptions(dir).seedStorage;
  fs::path store = dir / "restore" / "sqlData" / "Handbook.sqlite";
  fs::create_directories(store.parent_path());
  Result r;
  auto start = Clock::now();
  if (!seed->restoreSeed(archive, store, "en")) throw std::runtime_error("restore failed");
  r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  r.records = built.records;
  r.check = std::to_string(r.records);
  return r;
}

Result fetchCategory(const fs::path& dir, std::size_t n) {
  dm::HandbookAdapter adapter(storageOptions(dir));
  applyUpdate(adapter, readAll(payload(dir, n, 1)));
  // The category holding the most posts.
  std::map<std::int64_t, std::size_t> perCategory;
  forEachStoredProduct(adapter, [&](dm::HandbookPostProductEntity& p) {
    ++perCategory[p.categoryID().value_or(0)];
  });
  std::int64_t category = 0;
  std::size_t most = 0;
  for (auto [id, count] : perCategory)
    if (count > most) most = count, category = id;
  adapter.storage()->managedObjectMainContext()->reset();
  auto predicate = dm::Predicate::parse("categoryID = %@", {dm::Value(category)});
  Result r;
  auto start = Clock::now();
  auto posts = adapter.getEntities(5, {"entityID"}, predicate);
  double sum = 0;
  for (auto* p : posts) sum += static_cast<double>(p->entityID().value_or(0));
  r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  r.records = posts.size();
  r.check = std::to_string(static_cast<long long>(sum));
  return r;
}

const std::map<std::string, std::function<Result(const fs::path&, std::size_t)>>& workloads() {
  static const std::map<std::string, std::function<Result(const fs::path&, std::size_t)>> table = {
      {"handbook.insert", insert},
      {"handbook.update", update},
      {"handbook.restore_seed", restoreSeed},
      {"handbook.fetch_category", fetchCategory}};
  return table;
}

}  // namespace

int main(int argc, char** argv) {
  dm::registerRecordClasses();
  std::string workload, dataDir;
  std::size_t records = 50000;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--list") {
      for (const auto& [name, _] : workloads()) std::printf("%s\n", name.c_str());
      return 0;
    }
    if (i + 1 >= argc) break;
    if (arg == "--workload")
      workload = argv[++i];
    else if (arg == "--records")
      records = std::strtoull(argv[++i], nullptr, 10);
    else if (arg == "--data-dir")
      dataDir = argv[++i];
  }
  auto it = workloads().find(workload);
  if (it == workloads().end() || dataDir.empty()) {
    std::fprintf(stderr, "usage: %s --list | --workload NAME --records N --data-dir DIR\n",
                 argv[0]);
    return 2;
  }
  try {
    dm::MainQueue::shared();
    Result r = it->second(dataDir, records);
    nlohmann::json line = {{"workload", workload},
                           {"impl", "DataModel"},
                           {"records", r.records},
                           {"seconds", r.seconds},
                           {"check", r.check}};
    std::printf("%s\n", line.dump().c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", workload.c_str(), error.what());
    return 1;
  }
}
