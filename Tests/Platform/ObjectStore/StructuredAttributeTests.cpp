// Dictionary and list attributes: the model format, reading and writing trees, what reads as
// the empty value, persistence across reopening and the migration from a text column.
#include <gtest/gtest.h>

#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

std::string modelWithCounts(const char* countsType) {
  return std::string(R"({"name": "Structured", "entities": [
    {"name": "Stats", "attributes": [
       {"name": "entityID", "type": "integer64"},
       {"name": "counts", "type": ")") +
         countsType + R"("},
       {"name": "history", "type": "list"}]}]})";
}

class StructuredAttributeTest : public ::testing::Test {
 protected:
  void open(const char* countsType = "dictionary") {
    context.reset();
    store.reset();
    store = PersistentStore::open(ManagedObjectModel::fromJson(modelWithCounts(countsType)),
                                  StoreType::SQLite, (dir / "structured.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "structured");
    counts =
        static_cast<std::size_t>(context->model().entityNamed("Stats")->attributeIndex("counts"));
    history =
        static_cast<std::size_t>(context->model().entityNamed("Stats")->attributeIndex("history"));
  }
  ManagedObject* only() {
    auto rows = context->executeFetchRequest(FetchRequest(context->model().entityNamed("Stats")));
    EXPECT_EQ(rows.size(), 1u);
    return rows.empty() ? nullptr : rows.front();
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::size_t counts = 0, history = 0;
};

TEST(StructuredAttributeModelTest, TypesParseAndRefuseDefaults) {
  auto model = ManagedObjectModel::fromJson(modelWithCounts("dictionary"));
  EXPECT_EQ(model->entityNamed("Stats")->attributeNamed("counts")->type, AttributeType::Dictionary);
  EXPECT_EQ(model->entityNamed("Stats")->attributeNamed("history")->type, AttributeType::List);
  EXPECT_THROW(ManagedObjectModel::fromJson(R"({"name": "M", "entities": [{"name": "E",
      "attributes": [{"name": "d", "type": "dictionary", "default": {}}]}]})"),
               StoreError);
}

TEST_F(StructuredAttributeTest, TreesRoundTripThroughTheFile) {
  open();
  const nlohmann::json dictionary = {{"1", 0}, {"5", 12}, {"nested", {{"a", {1, "x", nullptr}}}}};
  const nlohmann::json list = {1, 2.5, "three", {{"four", true}}};
  ManagedObject* stats = context->insertNewObject("Stats");
  EXPECT_EQ(structureAt(*stats, counts), nlohmann::json::object());  // unset: empty
  EXPECT_EQ(structureAt(*stats, history), nlohmann::json::array());
  ASSERT_TRUE(setStructureAt(*stats, counts, dictionary));
  ASSERT_TRUE(setStructureAt(*stats, history, list));
  // The wrong kind and values an archive cannot hold are refused and change nothing.
  EXPECT_FALSE(setStructureAt(*stats, counts, list));
  EXPECT_FALSE(setStructureAt(*stats, history, nlohmann::json::binary({1, 2})));
  EXPECT_THROW(structureAt(*stats, 0), std::invalid_argument);  // entityID is no structure
  context->save();

  open();
  ManagedObject* reloaded = only();
  EXPECT_EQ(structureAt(*reloaded, counts), dictionary);
  EXPECT_EQ(structureAt(*reloaded, history), list);
  // Setting an equal tree is no change; null clears.
  ASSERT_TRUE(setStructureAt(*reloaded, counts, dictionary));
  EXPECT_FALSE(context->hasChanges());
  ASSERT_TRUE(setStructureAt(*reloaded, history, nullptr));
  EXPECT_TRUE(reloaded->valueAt(history).isNull());
}

TEST_F(StructuredAttributeTest, BytesOfTheWrongKindReadAsTheEmptyValue) {
  open();
  ManagedObject* stats = context->insertNewObject("Stats");
  const Blob corrupt{'D', 'M', 'K', 'A', 1, 0xff};
  stats->setValueAt(counts, Value(corrupt));
  EXPECT_EQ(structureAt(*stats, counts), nlohmann::json::object());
  stats->setValueAt(counts, Value(*KeyedArchive::archivedData(nlohmann::json::array({1}))));
  EXPECT_EQ(structureAt(*stats, counts), nlohmann::json::object());  // a list, not a dictionary
  stats->setValueAt(history, Value(*KeyedArchive::archivedData(nlohmann::json{{"a", 1}})));
  EXPECT_EQ(structureAt(*stats, history), nlohmann::json::array());
  stats->setValueAt(history, Value("not bytes"));
  EXPECT_EQ(structureAt(*stats, history), nlohmann::json::array());
}

TEST_F(StructuredAttributeTest, ATextColumnBecomesADictionaryWithoutLosingTheFile) {
  open("string");
  ManagedObject* stats = context->insertNewObject("Stats");
  stats->setValueForKey("entityID", Value(7));
  stats->setValueAt(counts, Value("1:0,5:12"));
  context->save();

  open("dictionary");  // the column stays TEXT; its old text reads as the empty dictionary
  ManagedObject* reloaded = only();
  EXPECT_EQ(reloaded->valueForKey("entityID"), Value(7));
  EXPECT_EQ(structureAt(*reloaded, counts), nlohmann::json::object());
  ASSERT_TRUE(setStructureAt(*reloaded, counts, {{"5", 12}}));
  context->save();
  open("dictionary");
  EXPECT_EQ(structureAt(*only(), counts), (nlohmann::json{{"5", 12}}));
}

}  // namespace
}  // namespace dm
