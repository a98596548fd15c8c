// Paged and batched reads of a large stored entity, and dropping a context that holds it: the
// way screens read. The paged entity shares its table with a sibling entity, as the app's
// models do, so every fetch filters on the entity column.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "Platform/ObjectStore/BulkWrite.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"

#include "BenchmarkArguments.h"

namespace {

constexpr const char* kModel = R"({
  "name": "Paging",
  "entities": [
    {
      "name": "PagedItem",
      "abstract": true,
      "attributes": [
        {"name": "entityID", "type": "integer64", "indexed": true},
        {"name": "title", "type": "string"},
        {"name": "calories", "type": "double"},
        {"name": "proteins", "type": "double"},
        {"name": "fats", "type": "double"},
        {"name": "updatedAt", "type": "date"}
      ]
    },
    {"name": "PagedPost", "parent": "PagedItem"},
    {"name": "PagedCategory", "parent": "PagedItem"}
  ]
})";

constexpr std::size_t kPage = 5000;
constexpr std::int64_t kCategories = 100;

using Clock = std::chrono::steady_clock;

struct Store {
  std::shared_ptr<dm::PersistentStore> store;
  std::shared_ptr<dm::ManagedObjectContext> context;
  const dm::EntityDescription* post = nullptr;
};

Store open(const std::string& dir) {
  Store s;
  s.store = dm::PersistentStore::open(dm::ManagedObjectModel::fromJson(kModel),
                                      dm::StoreType::SQLite, dir + "/paging.sqlite");
  s.context = dm::ManagedObjectContext::createRoot(s.store, dm::ConcurrencyType::MainQueue);
  s.post = s.store->model().entityNamed("PagedPost");
  return s;
}

// Stores n posts (entityID 1..n, written in descending order so the table's order is not the
// sort order) and a few categories, through one bulk write.
void fill(const std::string& dir, std::int64_t n) {
  Store s = open(dir);
  const dm::EntityDescription* category = s.store->model().entityNamed("PagedCategory");
  const auto at = [&](const char* name) { return s.post->attributeNamed(name)->index; };
  const std::size_t id = at("entityID"), title = at("title"), calories = at("calories"),
                    proteins = at("proteins"), fats = at("fats"), updatedAt = at("updatedAt");
  dm::BulkWrite bulk = s.context->beginBulkWrite();
  for (std::int64_t i = n; i >= 1; --i) {
    dm::ManagedObject* o = s.context->insertNewObject(*s.post);
    o->setValueAt(id, dm::Value(i));
    o->setValueAt(title, dm::Value("Post " + std::to_string(i)));
    o->setValueAt(calories, dm::Value(static_cast<double>(i % 5000) / 4.0));
    o->setValueAt(proteins, dm::Value(static_cast<double>(i % 300) / 3.0));
    o->setValueAt(fats, dm::Value(static_cast<double>(i % 700) / 7.0));
    o->setValueAt(updatedAt, dm::Value(dm::Date(1704067200.0 + static_cast<double>(i))));
    if (i % 10000 == 0) {
      s.context->save();
      s.context->reset();
    }
  }
  for (std::int64_t i = 1; i <= kCategories; ++i) {
    dm::ManagedObject* o = s.context->insertNewObject(*category);
    o->setValueAt(id, dm::Value(i));
  }
  s.context->save();
  bulk.commit();
}

using bench::Result;
using bench::secondsSince;

// Every post by entityID, fetchOffset pages of 5,000, the context reset after each page.
Result pageByOffset(const std::string& dir, std::int64_t n) {
  fill(dir, n);
  Store s = open(dir);
  const std::size_t calories = s.post->attributeNamed("calories")->index;
  auto start = Clock::now();
  dm::FetchRequest request(s.post);
  request.sortDescriptors = {{"entityID", true}};
  request.fetchLimit = kPage;
  double sum = 0;
  std::int64_t seen = 0;
  for (std::size_t offset = 0;; offset += kPage) {
    request.fetchOffset = offset;
    auto page = s.context->executeFetchRequest(request);
    for (dm::ManagedObject* o : page) sum += o->valueAt(calories).asDouble();
    seen += static_cast<std::int64_t>(page.size());
    s.context->reset();
    if (page.size() < kPage) break;
  }
  return {seen, secondsSince(start), std::to_string(std::llround(sum))};
}

// Every post by entityID through one fetch with a batch size of 5,000: the first batch comes
// loaded, the rest fault in as they are read.
Result pageByBatch(const std::string& dir, std::int64_t n) {
  fill(dir, n);
  Store s = open(dir);
  const std::size_t calories = s.post->attributeNamed("calories")->index;
  auto start = Clock::now();
  dm::FetchRequest request(s.post);
  request.sortDescriptors = {{"entityID", true}};
  request.fetchBatchSize = kPage;
  double sum = 0;
  auto posts = s.context->executeFetchRequest(request);
  for (dm::ManagedObject* o : posts) sum += o->valueAt(calories).asDouble();
  return {static_cast<std::int64_t>(posts.size()), secondsSince(start),
          std::to_string(std::llround(sum))};
}

// Loads every post into one context, then drops the context (its objects go with it).
Result dropContext(const std::string& dir, std::int64_t n) {
  fill(dir, n);
  Store s = open(dir);
  const std::size_t calories = s.post->attributeNamed("calories")->index;
  double sum = 0;
  auto posts = s.context->executeFetchRequest(dm::FetchRequest(s.post));
  for (dm::ManagedObject* o : posts) sum += o->valueAt(calories).asDouble();
  const auto held = static_cast<std::int64_t>(s.context->registeredObjectCount());
  posts.clear();
  auto start = Clock::now();
  s.context.reset();
  return {held, secondsSince(start), std::to_string(std::llround(sum))};
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, "PagingBenchmark", "DataModel", 200000,
                           {{"store.page_offset", pageByOffset},
                            {"store.page_batch", pageByBatch},
                            {"store.drop_context", dropContext}});
}
