// Ordered to-many relationships: the order members were added in survives save and reload,
// for relationships kept in foreign keys and in join tables, and a store whose relationship
// becomes ordered keeps its links.
#include <gtest/gtest.h>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

std::string model(bool ordered) {
  const std::string flag = ordered ? R"(, "ordered": true)" : "";
  return R"({"name": "Ordered", "entities": [
    {"name": "Diet", "attributes": [{"name": "name", "type": "string"}],
     "relationships": [
       {"name": "products", "destination": "Product", "inverse": "diet", "toMany": true)" +
         flag + R"(},
       {"name": "tags", "destination": "Tag", "inverse": "diets", "toMany": true)" +
         flag +
         R"(}]},
    {"name": "Product", "attributes": [{"name": "name", "type": "string"}],
     "relationships": [{"name": "diet", "destination": "Diet", "inverse": "products"}]},
    {"name": "Tag", "attributes": [{"name": "name", "type": "string"}],
     "relationships": [
       {"name": "diets", "destination": "Diet", "inverse": "tags", "toMany": true}]}]})";
}

class OrderedRelationshipTest : public ::testing::Test {
 protected:
  void open(bool ordered = true) {
    context.reset();
    store.reset();
    store = PersistentStore::open(ManagedObjectModel::fromJson(model(ordered)), StoreType::SQLite,
                                  (dir / "ordered.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "ordered");
  }
  ManagedObject* named(const char* entity, const std::string& name) {
    FetchRequest request(context->model().entityNamed(entity));
    request.predicate = Predicate::keyEquals("name", Value(name));
    auto rows = context->executeFetchRequest(request);
    return rows.empty() ? nullptr : rows.front();
  }
  ManagedObject* insert(const char* entity, const std::string& name) {
    ManagedObject* object = context->insertNewObject(entity);
    object->setValueForKey("name", Value(name));
    return object;
  }
  static std::string names(const std::vector<ManagedObject*>& objects) {
    std::string out;
    for (ManagedObject* o : objects) out += o->valueForKey("name").asString();
    return out;
  }
  std::string members(const char* relationship) {
    return names(named("Diet", "d")->objectsForKey(relationship));
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
};

TEST(OrderedRelationshipModelTest, OnlyToManyRelationshipsAreOrdered) {
  EXPECT_TRUE(ManagedObjectModel::fromJson(model(true))
                  ->entityNamed("Diet")
                  ->relationshipNamed("products")
                  ->ordered);
  EXPECT_THROW(ManagedObjectModel::fromJson(R"({"name": "M", "entities": [{"name": "E",
      "relationships": [{"name": "e", "destination": "E", "ordered": true}]}]})"),
               StoreError);
}

TEST_F(OrderedRelationshipTest, MembersReloadInTheOrderTheyWereAdded) {
  open();
  ManagedObject* diet = insert("Diet", "d");
  // Created a, b, c (row keys ascending) but added c, a, b.
  ManagedObject* a = insert("Product", "a");
  ManagedObject* b = insert("Product", "b");
  ManagedObject* c = insert("Product", "c");
  for (ManagedObject* p : {c, a, b}) diet->addObjectForKey("products", p);
  ManagedObject* x = insert("Tag", "x");
  ManagedObject* y = insert("Tag", "y");
  for (ManagedObject* t : {y, x}) diet->addObjectForKey("tags", t);
  context->save();

  open();
  EXPECT_EQ(members("products"), "cab");
  EXPECT_EQ(members("tags"), "yx");

  // Moving one to the end, and a new member, keep their places too.
  diet = named("Diet", "d");
  a = named("Product", "a");
  diet->removeObjectForKey("products", a);
  diet->addObjectForKey("products", a);
  ManagedObject* n = insert("Product", "n");
  n->setObjectForKey("diet", diet);  // through the inverse side
  diet->removeObjectForKey("tags", named("Tag", "y"));
  diet->addObjectForKey("tags", named("Tag", "y"));
  context->save();
  open();
  EXPECT_EQ(members("products"), "cban");
  EXPECT_EQ(members("tags"), "xy");

  // Editing the unordered side of the join table keeps the ordered side's order.
  ManagedObject* other = insert("Diet", "other");
  named("Tag", "x")->addObjectForKey("diets", other);
  context->save();
  open();
  EXPECT_EQ(members("tags"), "xy");
  EXPECT_EQ(names(named("Diet", "other")->objectsForKey("tags")), "x");
}

TEST_F(OrderedRelationshipTest, AStoreWhoseRelationshipBecomesOrderedKeepsItsLinks) {
  open(false);
  ManagedObject* diet = insert("Diet", "d");
  for (const char* name : {"a", "b", "c"})
    diet->addObjectForKey("products", insert("Product", name));
  for (const char* name : {"x", "y"}) diet->addObjectForKey("tags", insert("Tag", name));
  context->save();

  open(true);
  EXPECT_EQ(members("products"), "abc");  // by row key until an order is saved
  EXPECT_EQ(members("tags"), "xy");
  diet = named("Diet", "d");
  ManagedObject* a = named("Product", "a");
  diet->removeObjectForKey("products", a);
  diet->addObjectForKey("products", a);
  context->save();
  open(true);
  EXPECT_EQ(members("products"), "bca");
  EXPECT_EQ(members("tags"), "xy");
}

}  // namespace
}  // namespace dm
