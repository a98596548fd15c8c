// Update batches read straight from the server's response text: the same records as from a
// parsed tree, ingredient links kept right without loading unchanged ones, refused text.
#include <map>
#include <tuple>

#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/HandbookTestSupport.h"

namespace dm {
namespace {

using nlohmann::json;
using Snapshot = test::StoredItems;

// The fixture plus values whose reading differs by kind: fractions and booleans as integers,
// integers as doubles, an id beyond 64-bit signed range, wrongly typed and repeated texts.
json oddDictionary() {
  json dict = test::smallUpdateDictionary();
  json& products = dict["post_products"];
  products[0]["weight"] = 2.7;
  products[0]["is_needs_cache"] = true;
  products[0]["created_at"] = "2024-02-29T10:20:30.5+02:00";
  products[0]["proteins"] = 7;
  products[0]["fats"] = false;
  products[1]["title"] = 12;
  products[1]["category_id"] = -3;
  products[1]["updated_at"] = "not a date";
  products.push_back({{"id", 18446744073709551615ull}, {"title", "Too big"}});
  products.push_back({{"id", -1}, {"title", "Negative"}});
  products.push_back({{"id", 5.0}, {"title", "Fraction"}});
  dict["post_exercises"][0]["video_instruction"] = {{"steps", {"a", "b"}}, {"seconds", 30}};
  dict["version"] = 18446744073709551615ull;
  return dict;
}

struct Store {
  test::HandbookEnvironment env;
  HandbookAdapter adapter{env.storageOptions()};

  Snapshot snapshot() { return test::storedItems(adapter); }
  HandbookUpdateEntity* applyText(const std::string& text) {
    auto* batch = adapter.getHandbookUpdateEntityFromPayload(text);
    adapter.saveAndWait();
    return batch;
  }
  std::vector<std::int64_t> links(std::int64_t productID) {
    std::vector<std::int64_t> ids;
    auto storage = adapter.storage();
    storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
      FetchRequest request(storage->entityNamed("HandbookPostProductEntity"));
      request.predicate = Predicate::parse("entityID = %@", {Value(productID)});
      for (ManagedObject* o : context.executeFetchRequest(request))
        for (auto* linked : static_cast<HandbookPostProductEntity*>(o)->handbooksForIngredients())
          ids.push_back(*linked->entityID());
    });
    return ids;
  }
};

TEST(HandbookPayloadTest, TextAndTreeGiveTheSameRecords) {
  json dict = oddDictionary();
  Store fromTree, fromText;
  ASSERT_TRUE(fromTree.adapter.getHandbookUpdateEntityFromRequest(dict));
  fromTree.adapter.saveAndWait();
  ASSERT_TRUE(fromText.applyText(dict.dump()));

  Snapshot tree = fromTree.snapshot(), text = fromText.snapshot();
  EXPECT_EQ(tree.size(), 10u);  // the three refused ids made nothing
  ASSERT_EQ(tree.size(), text.size());
  for (const auto& [key, values] : tree) {
    auto found = text.find(key);
    ASSERT_NE(found, text.end()) << key.first << " " << key.second;
    ASSERT_EQ(values.size(), found->second.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_TRUE(values[i] == found->second[i]) << key.first << " " << key.second << " #" << i;
  }
  // A spot check that the odd values were read, not merely read alike.
  auto rice = tree.at({"HandbookPostProductEntity", 40});
  EXPECT_EQ(rice[6].asInt64(), 2);  // weight 2.7
  EXPECT_FALSE(rice[1].isNull());   // created_at with a fraction and an offset
  EXPECT_EQ(fromText.links(42), (std::vector<std::int64_t>{40, 41}));
}

TEST(HandbookPayloadTest, IngredientLinksFollowTheirProducts) {
  Store store;
  json dict = test::smallUpdateDictionary();
  ASSERT_TRUE(store.applyText(dict.dump()));
  ASSERT_EQ(store.links(42), (std::vector<std::int64_t>{40, 41}));

  // The dish loses its ingredients, rice gains one, beans never had any.
  json update = {{"status", "changed"},
                 {"version", 2},
                 {"post_products",
                  {{{"id", 42}, {"title", "Rice and beans"}},
                   {{"id", 40},
                    {"title", "Rice"},
                    {"ingredients", {{{"post_product_id", 41}, {"weight", 10}}}}},
                   {{"id", 41}, {"title", "Beans"}}}}};
  ASSERT_TRUE(store.applyText(update.dump()));
  EXPECT_TRUE(store.links(42).empty());
  EXPECT_EQ(store.links(40), (std::vector<std::int64_t>{41}));
  EXPECT_TRUE(store.links(41).empty());

  // Reopened: the cleared links were saved, not just dropped in memory.
  HandbookAdapter again(store.env.storageOptions());
  auto storage = again.storage();
  std::size_t dishLinks = 99;
  storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    FetchRequest request(storage->entityNamed("HandbookPostProductEntity"));
    request.predicate = Predicate::parse("entityID = %@", {Value(std::int64_t{42})});
    auto found = context.executeFetchRequest(request);
    ASSERT_EQ(found.size(), 1u);
    dishLinks = static_cast<HandbookPostProductEntity*>(found[0])->handbooksForIngredients().size();
  });
  EXPECT_EQ(dishLinks, 0u);
}

TEST(HandbookPayloadTest, RefusedTextMakesNoBatch) {
  Store store;
  EXPECT_EQ(store.applyText("{\"status\":\"changed\",\"post_products\":["), nullptr);
  EXPECT_EQ(store.applyText("[1,2]"), nullptr);
  EXPECT_EQ(store.applyText(""), nullptr);
  json notModified = test::smallUpdateDictionary();
  notModified["status"] = "not_modified";
  EXPECT_EQ(store.applyText(notModified.dump()), nullptr);
  EXPECT_TRUE(store.snapshot().empty());

  // An integer too wide for 64 bits is refused by the fast reader; the tree reader takes it
  // (as a double), so the batch is still made.
  std::string wide = test::smallUpdateDictionary().dump();
  wide.insert(1, "\"extra\":123456789012345678901234567890,");
  auto* batch = store.applyText(wide);
  ASSERT_TRUE(batch);
  EXPECT_EQ(store.snapshot().size(), 10u);
}

}  // namespace
}  // namespace dm
