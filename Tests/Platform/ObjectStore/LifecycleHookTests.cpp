// Lifecycle hooks of record classes: after insert, after fetch, before save, and how a
// subclass's hook runs with its base class's.
#include <sqlite3.h>

#include <gtest/gtest.h>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

constexpr const char* kModel = R"({"name": "Hooks", "entities": [
  {"name": "Stamped", "class": "StampedRecord", "attributes": [
     {"name": "name", "type": "string"},
     {"name": "origin", "type": "string"},
     {"name": "saves", "type": "integer64", "default": 0},
     {"name": "seenAt", "type": "date"},
     {"name": "note", "type": "string"}]},
  {"name": "StampedChild", "parent": "Stamped", "class": "StampedChildRecord"}]})";

// Stamps what happened to it through the hooks.
class StampedRecord : public ManagedObject {
 protected:
  void awakeFromInsert() override {
    ManagedObject::awakeFromInsert();
    setValueForKey("origin", Value("inserted"));
  }
  void awakeFromFetch() override {
    ManagedObject::awakeFromFetch();
    setValueForKey("seenAt", Value(Date(42)));
  }
  void willSave() override {
    ManagedObject::willSave();
    setValueForKey("saves", Value(valueForKey("saves").asInt64() + 1));
  }
};

// Adds its own handling after the base's.
class StampedChildRecord : public StampedRecord {
 protected:
  void willSave() override {
    StampedRecord::willSave();
    setValueForKey("note", Value("saved " + std::to_string(valueForKey("saves").asInt64())));
  }
};

const ManagedObjectClassRegistration<StampedRecord> kStamped("StampedRecord");
const ManagedObjectClassRegistration<StampedChildRecord> kStampedChild("StampedChildRecord");

class LifecycleHookTest : public ::testing::Test {
 protected:
  void open() {
    context.reset();
    store.reset();
    static auto model = ManagedObjectModel::fromJson(kModel);
    store = PersistentStore::open(model, StoreType::SQLite, path());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "hooks");
  }
  std::string path() const { return (dir / "hooks.sqlite").string(); }
  std::vector<ManagedObject*> all(const char* entity = "Stamped") {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors = {{"name", true}};
    return context->executeFetchRequest(request);
  }
  // The column as the file holds it, read past the store.
  std::string fileColumn(const char* column, const char* name) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    std::string sql = std::string("SELECT quote(") + column + ") FROM Stamped WHERE name = ?";
    sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr);
    sqlite3_bind_text(stmt, 1, name, -1, SQLITE_STATIC);
    std::string out = sqlite3_step(stmt) == SQLITE_ROW
                          ? reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0))
                          : "<none>";
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return out;
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
};

TEST_F(LifecycleHookTest, InsertSaveAndFetchHooksRunAtTheirMoments) {
  open();
  ManagedObject* record = context->insertNewObject("Stamped");
  record->setValueForKey("name", Value("a"));
  EXPECT_EQ(record->valueForKey("origin"), Value("inserted"));
  EXPECT_TRUE(record->valueForKey("seenAt").isNull());  // not fetched
  context->save();
  EXPECT_EQ(record->valueForKey("saves"), Value(1));
  EXPECT_FALSE(context->hasChanges());  // what willSave changed was saved with it
  context->save();                      // nothing to save: no hook
  EXPECT_EQ(record->valueForKey("saves"), Value(1));
  record->setValueForKey("name", Value("a"));  // equal: no change, no hook
  context->save();
  EXPECT_EQ(fileColumn("saves", "a"), "1");

  // A deleted record is not asked.
  ManagedObject* doomed = context->insertNewObject("Stamped");
  doomed->setValueForKey("name", Value("doomed"));
  context->save();
  context->deleteObject(doomed);
  context->save();
  EXPECT_EQ(fileColumn("saves", "doomed"), "<none>");

  open();
  auto rows = all();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]->valueForKey("seenAt").asDate().timeIntervalSince1970, 42);
  EXPECT_EQ(rows[0]->valueForKey("origin"), Value("inserted"));
  // Set while fetched: in memory only, the context stays clean and the file unchanged.
  EXPECT_FALSE(rows[0]->hasChanges());
  EXPECT_FALSE(context->hasChanges());
  context->save();
  EXPECT_EQ(fileColumn("seenAt", "a"), "NULL");
  // Saved for another reason, the record writes it too.
  rows[0]->setValueForKey("note", Value("edited"));
  context->save();
  EXPECT_EQ(fileColumn("seenAt", "a"), "42.0");
  EXPECT_EQ(fileColumn("saves", "a"), "2");
}

TEST_F(LifecycleHookTest, SubclassHooksRunWithTheBaseHandling) {
  open();
  ManagedObject* child = context->insertNewObject("StampedChild");
  child->setValueForKey("name", Value("child"));
  EXPECT_EQ(child->valueForKey("origin"), Value("inserted"));  // inherited hook
  context->save();
  EXPECT_EQ(child->valueForKey("note"), Value("saved 1"));  // base ran first
  child->setValueForKey("origin", Value("edited"));
  context->save();
  EXPECT_EQ(child->valueForKey("note"), Value("saved 2"));

  // A child context runs the hooks of its own save.
  auto editor = ManagedObjectContext::createChild(context, ConcurrencyType::PrivateQueue, "editor");
  editor->performAndWait([&] {
    auto rows = editor->executeFetchRequest(FetchRequest(editor->model().entityNamed("Stamped")));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0]->valueForKey("seenAt").asDate().timeIntervalSince1970, 42);
    rows[0]->setValueForKey("origin", Value("child edit"));
    editor->save();
    EXPECT_EQ(rows[0]->valueForKey("saves"), Value(3));
  });
  context->save();
  open();
  EXPECT_EQ(all()[0]->valueForKey("note"), Value("saved 4"));
}

}  // namespace
}  // namespace dm
