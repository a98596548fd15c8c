// Updates larger than a chunk: stored chunk by chunk with the same records, links and batch
// as in one go, in one transaction, without invalidating records held on the saving context.
#include <fstream>
#include <map>

#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/HandbookTestSupport.h"
#include "Platform/Foundation/MappedFile.h"

namespace dm {
namespace {

using nlohmann::json;

// 23 products, the even ones made of the next one and of the first (links across chunks in
// both directions), a product named twice far apart that gains ingredients the second time,
// elements without a valid id, and a few categories and exercises around them.
json largeDictionary(int version) {
  json products = json::array();
  for (int id = 100; id < 123; ++id) {
    json product = {{"id", id},
                    {"title", "Product " + std::to_string(id)},
                    {"calories", id * 1.5 + version},
                    {"category_id", id % 3}};
    if (id % 2 == 0)
      product["ingredients"] = {{{"post_product_id", id + 1}, {"weight", 10}},
                                {{"post_product_id", 100}, {"weight", 5}}};
    products.push_back(product);
  }
  products.push_back({{"id", 101},
                      {"title", "Product 101 again"},
                      {"ingredients", {{{"post_product_id", 122}, {"weight", 1}}}}});
  products.push_back({{"title", "no id"}});
  products.push_back({{"id", -4}});
  json categories = json::array();
  for (int id = 1; id <= 5; ++id) categories.push_back({{"id", id}, {"title", "C"}});
  return {{"status", "changed"},
          {"version", version},
          {"categories", categories},
          {"post_products", products},
          {"post_exercises", {{{"id", 31}, {"title", "Lunge"}}, {{"id", 32}, {"title", "Step"}}}}};
}

struct CountingDelegate : FetchedResultsControllerDelegate {
  int changes = 0;
  void controllerDidChangeContent(FetchedResultsController&) override { ++changes; }
};

struct Store {
  test::HandbookEnvironment env;
  HandbookAdapter adapter{env.storageOptions()};

  explicit Store(std::size_t chunk) { adapter.setUpdateChunkSize(chunk); }

  test::StoredItems snapshot() { return test::storedItems(adapter); }
  // The batch's items by id in list order, and its change count.
  std::pair<std::vector<std::int64_t>, std::int64_t> describe(HandbookUpdateEntity* batch) {
    std::vector<std::int64_t> ids;
    std::int64_t changes = 0;
    adapter.storage()->performOnSavingContextAndWait([&](ManagedObjectContext&) {
      for (auto* item : batch->allItems()) ids.push_back(*item->entityID());
      changes = batch->amountOfChanges();
    });
    return {ids, changes};
  }
  std::size_t count(const char* entity) {
    FetchRequest request(adapter.storage()->entityNamed(entity));
    return adapter.storage()->count(request);
  }
};

TEST(HandbookChunkedUpdateTest, ChunksStoreWhatOneGoStores) {
  for (bool fromText : {false, true}) {
    SCOPED_TRACE(fromText ? "text" : "tree");
    Store whole(1000), chunked(4);
    CountingDelegate delegate;
    auto controller = chunked.adapter.getPostEntityFetchedResultsController(
        5, {"entityID"}, std::nullopt, &delegate);
    controller->performFetch();
    for (int version : {1, 2}) {
      json dict = largeDictionary(version);
      auto apply = [&](Store& store) {
        HandbookUpdateEntity* batch =
            fromText ? store.adapter.getHandbookUpdateEntityFromPayload(dict.dump())
                     : store.adapter.getHandbookUpdateEntityFromRequest(dict);
        EXPECT_TRUE(batch);
        auto described =
            batch ? store.describe(batch) : std::pair<std::vector<std::int64_t>, std::int64_t>{};
        store.adapter.saveAndWait();
        MainQueue::shared().runUntilIdle();
        return described;
      };
      auto expected = apply(whole);
      EXPECT_EQ(apply(chunked), expected);
      EXPECT_EQ(expected.second, 30);  // 5 categories, 23 products, 2 exercises
      ASSERT_EQ(expected.first.size(), 30u);
      EXPECT_EQ(expected.first[5], 31);  // categories, then exercises, then products
      EXPECT_EQ(chunked.snapshot(), whole.snapshot());
    }
    EXPECT_EQ(chunked.count("HandbookPostProductEntity"), 23u);
    EXPECT_EQ(chunked.count("HandbookUpdateEntity"), 2u);
    // Spot checks that the links were rebuilt, not merely rebuilt alike.
    auto snapshot = chunked.snapshot();
    const auto& first = snapshot.at({"HandbookPostProductEntity", 100});
    const auto& last = snapshot.at({"HandbookPostProductEntity", 122});
    std::size_t attributes = first.size() - 2;
    EXPECT_EQ(first[attributes].asInt64(), 101);  // a product stored in a later chunk
    EXPECT_EQ(first[attributes + 1].asInt64(), 100);
    EXPECT_EQ(last.size(), attributes + 1);  // 123 is not stored
    EXPECT_EQ(last[attributes].asInt64(), 100);
    EXPECT_EQ(snapshot.at({"HandbookPostProductEntity", 101}).back().asInt64(), 122);

    // Live results on the main context followed every chunk.
    EXPECT_EQ(controller->fetchedObjects().size(), 23u);
    EXPECT_GE(delegate.changes, 2);
  }
}

// Elements are read a few hundred at a time while chunks are saved every chunk-size records;
// chunks that span several reads, and kinds that end mid-chunk, store the same records.
TEST(HandbookChunkedUpdateTest, ChunksSpanningSeveralReadsStoreWhatOneGoStores) {
  json products = json::array(), exercises = json::array();
  for (int id = 1; id <= 1300; ++id) {
    json product = {{"id", id}, {"title", "P" + std::to_string(id)}, {"calories", id}};
    if (id % 97 == 0) product["ingredients"] = {{{"post_product_id", id - 1}, {"weight", 1}}};
    products.push_back(product);
  }
  for (int id = 5000; id < 5300; ++id) exercises.push_back({{"id", id}, {"title", "E"}});
  json dict = {{"status", "changed"},
               {"version", 3},
               {"post_products", products},
               {"post_exercises", exercises}};
  Store whole(100000), chunked(600), mapped(600);
  const std::string text = dict.dump();
  for (Store* store : {&whole, &chunked}) {
    ASSERT_TRUE(store->adapter.getHandbookUpdateEntityFromPayload(text));
    store->adapter.saveAndWait();
  }
  EXPECT_EQ(chunked.count("HandbookPostProductEntity"), 1300u);
  EXPECT_EQ(chunked.snapshot(), whole.snapshot());

  // From a mapped file, whose pages are let go as they are read: the same records. A value
  // the fast parser refuses in the last product sends the whole text to the tree parser
  // after most of its pages were let go, so they must read back from the file unchanged.
  products.back()["extra"] = json::parse("123456789012345678901234567890");
  dict["post_products"] = products;
  dict["version"] = 4;
  const std::string wide = dict.dump();
  const auto file = mapped.env.dir / "update.json";
  for (const std::string* update : {&text, &wide}) {
    if (update == &wide) {
      ASSERT_TRUE(whole.adapter.getHandbookUpdateEntityFromPayload(wide));
      whole.adapter.saveAndWait();
    }
    std::ofstream(file, std::ios::binary | std::ios::trunc) << *update;
    const MappedFile payload(file);
    ASSERT_TRUE(mapped.adapter.getHandbookUpdateEntityFromFile(payload));
    mapped.adapter.saveAndWait();
    EXPECT_EQ(mapped.snapshot(), whole.snapshot());
  }
  EXPECT_EQ(mapped.count("HandbookUpdateEntity"), 2u);
}

// A large update is one transaction that commits with its batch: once built, a fresh reader of
// the file sees the new version and every record of it, though the caller has not saved yet.
TEST(HandbookChunkedUpdateTest, ALargeUpdateIsCommittedWithItsBatch) {
  auto lastVersion = [](HandbookAdapter& adapter) {
    std::string version = "none";
    adapter.getLastUpdateEntityForSaving([&](HandbookUpdateEntity* batch) {
      if (batch) version = batch->version();
    });
    return version;
  };
  Store store(4), clean(1000);
  for (Store* s : {&store, &clean}) {
    ASSERT_TRUE(s->adapter.getHandbookUpdateEntityFromRequest(largeDictionary(1)));
    s->adapter.saveAndWait();
  }
  ASSERT_TRUE(store.adapter.getHandbookUpdateEntityFromPayload(largeDictionary(2).dump()));
  {
    HandbookAdapter reopened(store.env.storageOptions());
    EXPECT_EQ(lastVersion(reopened), "2");
    FetchRequest request(reopened.storage()->entityNamed("HandbookPostProductEntity"));
    request.predicate = Predicate::parse("entityID = %@", {Value(std::int64_t{122})});
    auto found = reopened.storage()->fetch(
        request, reopened.storage()->managedObjectBackgroundForSavingContext());
    ASSERT_EQ(found.size(), 1u);  // the last chunk too
    EXPECT_DOUBLE_EQ(*static_cast<HandbookPostProductEntity*>(found[0])->calories(), 185.0);
  }
  ASSERT_TRUE(clean.adapter.getHandbookUpdateEntityFromPayload(largeDictionary(2).dump()));
  clean.adapter.saveAndWait();
  store.adapter.saveAndWait();  // nothing left to write
  EXPECT_EQ(store.count("HandbookUpdateEntity"), 2u);
  EXPECT_EQ(store.snapshot(), clean.snapshot());
}

// Records the caller holds on the saving context stay valid through an update of many chunks:
// those the update changed read the new values, the others are untouched.
TEST(HandbookChunkedUpdateTest, RecordsHeldOnTheSavingContextStayValid) {
  Store store(4);
  ASSERT_TRUE(store.adapter.getHandbookUpdateEntityFromRequest(largeDictionary(1)));
  store.adapter.saveAndWait();
  auto storage = store.adapter.storage();
  ManagedObject* product = nullptr;
  ManagedObject* exercise = nullptr;
  HandbookUpdateEntity* firstBatch = nullptr;
  storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    auto byID = [&](const char* entity, std::int64_t id) {
      FetchRequest request(storage->entityNamed(entity));
      request.predicate = Predicate::parse("entityID = %@", {Value(id)});
      auto found = context.executeFetchRequest(request);
      return found.empty() ? nullptr : found.front();
    };
    product = byID("HandbookPostProductEntity", 100);
    exercise = byID("HandbookPostExerciseEntity", 31);
    firstBatch = store.adapter.getLastUpdateEntity(&context);
  });
  ASSERT_TRUE(product && exercise && firstBatch);

  json update = largeDictionary(2);
  update.erase("post_exercises");  // the exercise is not part of this update
  ASSERT_TRUE(store.adapter.getHandbookUpdateEntityFromRequest(update));
  storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    EXPECT_EQ(context.objectRegisteredForID(product->objectID()), product);
    EXPECT_EQ(context.objectRegisteredForID(exercise->objectID()), exercise);
    EXPECT_DOUBLE_EQ(*static_cast<HandbookPostProductEntity*>(product)->calories(), 152.0);
    EXPECT_EQ(static_cast<HandbookItemEntity*>(exercise)->title(), "Lunge");
    EXPECT_EQ(firstBatch->version(), "1");
  });
}

// The text is parsed once, as it is applied: a value found bad late in a large update undoes
// everything applied before it, and one the fast parser merely refuses is read from the tree.
TEST(HandbookChunkedUpdateTest, AValueFoundBadLateLeavesTheStoreAsItWas) {
  const std::string good = largeDictionary(2).dump();
  auto withValue = [&](const std::string& value) {
    const std::string title = "\"title\":\"Product 120\"";
    const std::size_t at = good.find(title) + title.size();
    return good.substr(0, at) + ",\"extra\":" + value + good.substr(at);
  };
  for (std::size_t chunk : {4, 1000}) {
    SCOPED_TRACE(chunk);
    Store store(chunk);
    ASSERT_TRUE(store.adapter.getHandbookUpdateEntityFromPayload(largeDictionary(1).dump()));
    store.adapter.saveAndWait();
    // Links read back from the file come in key order, as they will after a rollback.
    store.adapter.storage()->performOnSavingContextAndWait(
        [](ManagedObjectContext& context) { context.reset(); });
    const auto before = store.snapshot();

    for (const std::string& text : {withValue("tru"), withValue("[1,{\"a\":}]"),
                                    good.substr(0, good.size() - 1) + ",\"tail\":[1,2,x]}"}) {
      SCOPED_TRACE(text.substr(text.size() - 40));
      EXPECT_EQ(store.adapter.getHandbookUpdateEntityFromPayload(text), nullptr);
      store.adapter.saveAndWait();
      EXPECT_EQ(store.snapshot(), before);
      EXPECT_EQ(store.count("HandbookUpdateEntity"), 1u);
    }

    // Too wide for the fast parser, fine for the tree: applied in full, once.
    const std::string wide = withValue("123456789012345678901234567890");
    Store reference(chunk);
    ASSERT_TRUE(reference.adapter.getHandbookUpdateEntityFromRequest(largeDictionary(1)));
    ASSERT_TRUE(reference.adapter.getHandbookUpdateEntityFromRequest(json::parse(wide)));
    reference.adapter.saveAndWait();
    HandbookUpdateEntity* batch = store.adapter.getHandbookUpdateEntityFromPayload(wide);
    ASSERT_TRUE(batch);
    EXPECT_EQ(store.describe(batch).second, 30);
    store.adapter.saveAndWait();
    EXPECT_EQ(store.snapshot(), reference.snapshot());
    EXPECT_NE(store.snapshot(), before);
    EXPECT_EQ(store.count("HandbookUpdateEntity"), 2u);
    EXPECT_EQ(store.count("HandbookPostProductEntity"), 23u);
  }
}

}  // namespace
}  // namespace dm
