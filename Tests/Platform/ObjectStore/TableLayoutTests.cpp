// Where rows live: a hierarchy in its root's table, or, below an abstract entity declared
// "tablePerSubentity", a table per subentity; and the move of a file between the two.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <set>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm::test {
namespace {

// Base holds the key every record has; Owner and Item are concrete; Note shares Item's
// table as its subentity. `split` gives every child of Base a table of its own.
std::shared_ptr<const ManagedObjectModel> model(bool split) {
  std::string text = R"({"name":"Layout","entities":[
    {"name":"Base","abstract":true,)" +
                     std::string(split ? R"("tablePerSubentity":true,)" : "") + R"(
     "attributes":[{"name":"entityID","type":"integer64","default":0,"indexed":true}]},
    {"name":"Owner","parent":"Base","attributes":[{"name":"name","type":"string"}],
     "relationships":[
       {"name":"items","destination":"Item","inverse":"owner","toMany":true,"ordered":true},
       {"name":"tags","destination":"Item","inverse":"taggedBy","toMany":true}]},
    {"name":"Item","parent":"Base","attributes":[{"name":"title","type":"string"}],
     "relationships":[{"name":"owner","destination":"Owner","inverse":"items"},
       {"name":"taggedBy","destination":"Owner","inverse":"tags","toMany":true}]},
    {"name":"Note","parent":"Item","attributes":[{"name":"text","type":"string"}]}]})";
  return ManagedObjectModel::fromJson(text);
}

std::set<std::string> tablesIn(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db, "SELECT name FROM sqlite_master WHERE type = 'table'", -1, &stmt, nullptr);
  std::set<std::string> names;
  while (sqlite3_step(stmt) == SQLITE_ROW)
    names.insert(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return names;
}

std::shared_ptr<ManagedObjectContext> rootOn(const std::shared_ptr<PersistentStore>& store) {
  return ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue);
}

std::vector<std::string> titles(const std::vector<ManagedObject*>& objects) {
  std::vector<std::string> out;
  for (auto* o : objects) out.push_back(o->valueForKey("title").asString());
  return out;
}

TEST(TableLayoutTest, ModelDeclaresWhichEntitiesHaveTables) {
  auto split = model(true);
  const auto* base = split->entityNamed("Base");
  EXPECT_FALSE(base->hasTable());
  EXPECT_EQ(base->rootEntity(), nullptr);
  EXPECT_EQ(split->entityNamed("Note")->rootEntity(), split->entityNamed("Item"));
  EXPECT_EQ(split->entityNamed("Owner")->keySpace(), base);
  EXPECT_EQ(base->tableRoots().size(), 2u);

  auto reason = [](const char* text) {
    try {
      ManagedObjectModel::fromJson(text);
    } catch (const StoreError& e) {
      return std::string(e.what());
    }
    return std::string("accepted");
  };
  EXPECT_NE(reason(R"({"name":"M","entities":[{"name":"A","tablePerSubentity":true}]})")
                .find("only an abstract entity"),
            std::string::npos);
  EXPECT_NE(reason(R"({"name":"M","entities":[{"name":"A","abstract":true,"tablePerSubentity":true},
      {"name":"B","relationships":[{"name":"a","destination":"A"}]}]})")
                .find("no table of its own"),
            std::string::npos);
  EXPECT_NE(reason(R"({"name":"M","entities":[{"name":"A","abstract":true},
      {"name":"B","parent":"A","abstract":true,"tablePerSubentity":true}]})")
                .find("must descend only"),
            std::string::npos);
}

// A file written with every record in the root's table opens under the split model with
// every row, key, reference, ordered member and many-to-many pair where it was.
TEST(TableLayoutTest, SharedTableMovesIntoTablesPerSubentity) {
  TempDir dir;
  const std::string path = (dir / "layout.sqlite").string();
  std::int64_t ownerKey = 0;
  {
    auto store = PersistentStore::open(model(false), StoreType::SQLite, path);
    auto ctx = rootOn(store);
    auto* owner = ctx->insertNewObject("Owner");
    owner->setValueForKey("name", "Ann");
    for (const char* title : {"c", "a", "b"}) {
      auto* item = ctx->insertNewObject("Item");
      item->setValueForKey("title", title);
      owner->addObjectForKey("items", item);
    }
    auto* note = ctx->insertNewObject("Note");
    note->setValueForKey("title", "n");
    note->setValueForKey("text", "kept");
    owner->addObjectForKey("tags", note);
    ctx->save();
    ownerKey = owner->objectID().key;
  }
  EXPECT_EQ(tablesIn(path).count("Base"), 1u);

  auto split = model(true);
  {
    auto store = PersistentStore::open(split, StoreType::SQLite, path);
    auto tables = tablesIn(path);
    EXPECT_EQ(tables.count("Base"), 0u);
    EXPECT_EQ(tables.count("Owner"), 1u);
    EXPECT_EQ(tables.count("Item"), 1u);
    EXPECT_EQ(tables.count("Note"), 0u);  // in Item's table

    auto ctx = rootOn(store);
    auto owners = ctx->executeFetchRequest(FetchRequest(split->entityNamed("Owner")));
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owners[0]->objectID().key, ownerKey);
    EXPECT_EQ(titles(owners[0]->objectsForKey("items")), (std::vector<std::string>{"c", "a", "b"}));
    auto tags = owners[0]->objectsForKey("tags");
    ASSERT_EQ(tags.size(), 1u);
    EXPECT_EQ(tags[0]->valueForKey("text").asString(), "kept");
    EXPECT_EQ(tags[0]->objectForKey("owner"), nullptr);

    // New rows take keys no table of the key space has used.
    auto* late = ctx->insertNewObject("Owner");
    auto* lateItem = ctx->insertNewObject("Item");
    ctx->save();
    std::set<std::int64_t> keys;
    for (auto* o : ctx->executeFetchRequest(FetchRequest(split->entityNamed("Base"))))
      EXPECT_TRUE(keys.insert(o->objectID().key).second) << "key " << o->objectID().key;
    EXPECT_EQ(keys.size(), 7u);
    EXPECT_TRUE(keys.count(late->objectID().key) && keys.count(lateItem->objectID().key));
  }
  // Back to one table: the rows move again, nothing is lost.
  auto store = PersistentStore::open(model(false), StoreType::SQLite, path);
  auto ctx = rootOn(store);
  EXPECT_EQ(ctx->countForFetchRequest(FetchRequest(store->model().entityNamed("Base"))), 7u);
  EXPECT_EQ(tablesIn(path).count("Owner"), 0u);
}

// Fetching the table-less entity reads each table and orders and windows the union,
// counting unsaved changes in the context as any fetch does.
TEST(TableLayoutTest, EntityWithoutTableFetchesAcrossTables) {
  TempDir dir;
  auto split = model(true);
  auto store = PersistentStore::open(split, StoreType::SQLite, (dir / "f.sqlite").string());
  auto ctx = rootOn(store);
  int id = 0;
  for (const char* entity : {"Owner", "Item", "Note", "Owner", "Item"})
    ctx->insertNewObject(entity)->setValueForKey("entityID", static_cast<std::int64_t>(++id * 10));
  ctx->save();
  ctx->insertNewObject("Note")->setValueForKey("entityID", std::int64_t{35});
  auto stored = ctx->executeFetchRequest(FetchRequest(split->entityNamed("Item")));
  ASSERT_EQ(stored.size(), 4u);
  stored[0]->setValueForKey("entityID", std::int64_t{5});  // unsaved, in Item's table

  FetchRequest page(split->entityNamed("Base"));
  page.sortDescriptors = {{"entityID", false}};
  page.fetchOffset = 1;
  page.fetchLimit = 4;
  std::vector<std::int64_t> ids;
  for (auto* o : ctx->executeFetchRequest(page))
    ids.push_back(o->valueForKey("entityID").asInt64());
  EXPECT_EQ(ids.size(), 4u);
  EXPECT_TRUE(std::is_sorted(ids.rbegin(), ids.rend()));
  EXPECT_EQ(ctx->countForFetchRequest(FetchRequest(split->entityNamed("Base"))), 6u);

  FetchRequest filtered(split->entityNamed("Base"));
  filtered.predicate = Predicate::parse("entityID >= 30");
  EXPECT_EQ(ctx->countForFetchRequest(filtered), 4u);  // 30, 35, 40, 50

  ctx->save();
  EXPECT_EQ(ctx->batchDeleteExcept(*split->entityNamed("Base"), "entityID",
                                   {Value(std::int64_t{5}), Value(std::int64_t{40})}),
            4u);
  EXPECT_EQ(ctx->countForFetchRequest(FetchRequest(split->entityNamed("Base"))), 2u);
}

}  // namespace
}  // namespace dm::test
