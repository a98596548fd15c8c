// Object store workloads for the benchmark runner: insert+save (in one save, or chunked
// through a bulk write), indexed point fetches and predicate counts over a 20-attribute
// entity.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "DataModel.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace {

constexpr const char* kModel = R"({
  "name": "Bench",
  "entities": [{
    "name": "BenchRecord",
    "attributes": [
      {"name": "entityID", "type": "integer64", "indexed": true},
      {"name": "userID", "type": "integer64"},
      {"name": "category", "type": "integer64"},
      {"name": "repeats", "type": "integer64"},
      {"name": "sets", "type": "integer64"},
      {"name": "duration", "type": "integer64"},
      {"name": "weight", "type": "double"},
      {"name": "calories", "type": "double"},
      {"name": "proteins", "type": "double"},
      {"name": "fats", "type": "double"},
      {"name": "carbohydrates", "type": "double"},
      {"name": "title", "type": "string"},
      {"name": "notes", "type": "string"},
      {"name": "guid", "type": "string"},
      {"name": "statusString", "type": "string"},
      {"name": "unit", "type": "string"},
      {"name": "createdAt", "type": "date"},
      {"name": "updatedAt", "type": "date"},
      {"name": "isFavorite", "type": "boolean"},
      {"name": "isHidden", "type": "boolean"}
    ]
  }]
})";

using Clock = std::chrono::steady_clock;

struct Bench {
  std::shared_ptr<dm::PersistentStore> store;
  std::shared_ptr<dm::ManagedObjectContext> context;
  const dm::EntityDescription* entity = nullptr;
};

Bench open(const std::string& dir) {
  Bench b;
  b.store = dm::PersistentStore::open(dm::ManagedObjectModel::fromJson(kModel),
                                      dm::StoreType::SQLite, dir + "/objectstore.sqlite");
  b.context = dm::ManagedObjectContext::createRoot(b.store, dm::ConcurrencyType::MainQueue);
  b.entity = b.store->model().entityNamed("BenchRecord");
  return b;
}

// Creates records [first, first + n) with the runner's values, unsaved.
void insertRange(Bench& b, std::int64_t first, std::int64_t n) {
  // Attribute indexes looked up once; values set by index.
  std::vector<std::size_t> at;
  for (const char* name : {"entityID",      "userID",    "category",  "repeats",    "sets",
                           "duration",      "weight",    "calories",  "proteins",   "fats",
                           "carbohydrates", "title",     "notes",     "guid",       "statusString",
                           "unit",          "createdAt", "updatedAt", "isFavorite", "isHidden"})
    at.push_back(b.entity->attributeNamed(name)->index);
  char guid[64];
  for (std::int64_t i = first; i < first + n; ++i) {
    dm::ManagedObject* o = b.context->insertNewObject(*b.entity);
    o->setValueAt(at[0], dm::Value(i + 1));
    o->setValueAt(at[1], dm::Value(i % 1000));
    o->setValueAt(at[2], dm::Value(i % 10));
    o->setValueAt(at[3], dm::Value(i % 20));
    o->setValueAt(at[4], dm::Value(1 + i % 5));
    o->setValueAt(at[5], dm::Value(i % 3600));
    o->setValueAt(at[6], dm::Value(static_cast<double>(i % 2000) / 10.0));
    o->setValueAt(at[7], dm::Value(static_cast<double>(i % 5000) / 4.0));
    o->setValueAt(at[8], dm::Value(static_cast<double>(i % 300) / 3.0));
    o->setValueAt(at[9], dm::Value(static_cast<double>(i % 700) / 7.0));
    o->setValueAt(at[10], dm::Value(static_cast<double>(i % 900) / 9.0));
    o->setValueAt(at[11], dm::Value("Record " + std::to_string(i)));
    o->setValueAt(at[12], dm::Value("Notes for record " + std::to_string(i) + " of the benchmark"));
    std::snprintf(guid, sizeof guid, "00000000-0000-4000-8000-%012lld", static_cast<long long>(i));
    o->setValueAt(at[13], dm::Value(std::string(guid)));
    o->setValueAt(at[14], dm::Value(i % 50 == 0 ? "deleted" : "active"));
    o->setValueAt(at[15], dm::Value(i % 2 == 0 ? "kg" : "lb"));
    o->setValueAt(at[16], dm::Value(dm::Date(1704067200.0 + static_cast<double>(i))));
    o->setValueAt(at[17], dm::Value(dm::Date(1704067200.0 + 2.0 * static_cast<double>(i))));
    o->setValueAt(at[18], dm::Value(i % 3 == 0));
    o->setValueAt(at[19], dm::Value(i % 7 == 0));
  }
}

// Creates the N records and saves them in one transaction.
void insertAll(Bench& b, std::int64_t n) {
  insertRange(b, 0, n);
  b.context->save();
}

struct Result {
  std::int64_t records;
  double seconds;
  std::string check;
};

Result runInsert(const std::string& dir, std::int64_t n) {
  Bench b = open(dir);
  auto start = Clock::now();
  insertAll(b, n);
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return {n, seconds, std::to_string(b.store->rowCounts().at(0).second)};
}

// The same records written through a bulk write in chunks of 10,000, the context reset
// after each chunk: one transaction, memory bounded by the chunk.
Result runBulkInsert(const std::string& dir, std::int64_t n) {
  Bench b = open(dir);
  constexpr std::int64_t kChunk = 10000;
  auto start = Clock::now();
  dm::BulkWrite bulk = b.context->beginBulkWrite();
  for (std::int64_t first = 0; first < n; first += kChunk) {
    insertRange(b, first, std::min(kChunk, n - first));
    b.context->save();
    b.context->reset();
  }
  bulk.commit();
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return {n, seconds, std::to_string(b.store->rowCounts().at(0).second)};
}

Result runFetchIndexed(const std::string& dir, std::int64_t n) {
  {
    Bench setup = open(dir);
    insertAll(setup, n);
  }
  Bench b = open(dir);  // a fresh context: nothing registered
  const std::int64_t k = std::min<std::int64_t>(1000, n);
  const auto& attributes = b.entity->attributes();
  const std::size_t userID = b.entity->attributeNamed("userID")->index;
  auto start = Clock::now();
  std::int64_t sum = 0;
  dm::FetchRequest request(b.entity);
  for (std::int64_t j = 0; j < k; ++j) {
    std::int64_t key = 1 + (j * 7919) % n;
    request.predicate = dm::Predicate::parse("entityID = %@", {dm::Value(key)});
    for (dm::ManagedObject* o : b.context->executeFetchRequest(request)) {
      for (std::size_t a = 0; a < attributes.size(); ++a) (void)o->valueAt(a);
      sum += o->valueAt(userID).asInt64();
    }
  }
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return {k, seconds, std::to_string(sum)};
}

Result runCount(const std::string& dir, std::int64_t n) {
  {
    Bench setup = open(dir);
    insertAll(setup, n);
  }
  Bench b = open(dir);
  auto start = Clock::now();
  std::size_t total = 0;
  dm::FetchRequest request(b.entity);
  for (int q = 0; q < 10; ++q) {
    request.predicate = dm::Predicate::parse(
        "category == %@ AND isFavorite == true AND weight > 50.0", {dm::Value(std::int64_t{q})});
    total += b.context->countForFetchRequest(request);
  }
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return {10 * n, seconds, std::to_string(total)};
}

int usage(const char* message) {
  std::cerr << "ObjectStoreBenchmark: " << message << "\n"
            << "usage: ObjectStoreBenchmark --list | --workload NAME --records N --data-dir DIR\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  dm::registerRecordClasses();
  const char* workloads[] = {"store.insert", "store.bulk_insert", "store.fetch_indexed",
                             "store.count"};
  std::string workload, dir;
  std::int64_t records = 100000;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--list") {
      for (const char* w : workloads) std::cout << w << "\n";
      return 0;
    }
    if (i + 1 >= argc) return usage(("missing value for " + arg).c_str());
    if (arg == "--workload")
      workload = argv[++i];
    else if (arg == "--records")
      records = std::atoll(argv[++i]);
    else if (arg == "--data-dir")
      dir = argv[++i];
    else
      return usage(("unknown option " + arg).c_str());
  }
  if (workload.empty() || dir.empty() || records <= 0)
    return usage("--workload, --records (> 0) and --data-dir are required");
  if (!std::filesystem::is_directory(dir)) return usage("--data-dir is not a directory");
  try {
    Result r;
    if (workload == "store.insert")
      r = runInsert(dir, records);
    else if (workload == "store.bulk_insert")
      r = runBulkInsert(dir, records);
    else if (workload == "store.fetch_indexed")
      r = runFetchIndexed(dir, records);
    else if (workload == "store.count")
      r = runCount(dir, records);
    else
      return usage(("unknown workload " + workload).c_str());
    std::printf(
        "{\"workload\":\"%s\",\"impl\":\"DataModel\",\"records\":%lld,\"seconds\":%.6f,"
        "\"check\":\"%s\"}\n",
        workload.c_str(), static_cast<long long>(r.records), r.seconds, r.check.c_str());
    return 0;
  } catch (const std::exception& e) {
    std::cerr << "ObjectStoreBenchmark: " << workload << " failed: " << e.what() << "\n";
    return 1;
  }
}
