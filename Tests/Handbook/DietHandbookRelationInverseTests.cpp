// The diet <-> product relation of the handbook model seen from both sides, in memory and
// after the file is reopened, and what deleting either side leaves.
#include <gtest/gtest.h>

#include <string>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

// Key-based access: the handbook's hand-written product class does not derive from the
// generated product base, so the typed accessors would not see its instances.
class DietHandbookRelationInverseTest : public ::testing::Test {
 protected:
  void open() {
    context.reset();
    auto store = PersistentStore::open(ManagedObjectModel::named("Handbook"), StoreType::SQLite,
                                       (dir.path() / "Handbook.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "test");
  }
  std::vector<ManagedObject*> all(const char* entity, const char* sortKey) {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors = {{sortKey, true}};
    return context->executeFetchRequest(request);
  }
  ManagedObject* insertProduct(std::int64_t id) {
    ManagedObject* product = context->insertNewObject("HandbookPostProductEntity");
    product->setValueForKey("entityID", Value(id));
    return product;
  }

  test::TempDir dir;
  std::shared_ptr<ManagedObjectContext> context;
};

TEST_F(DietHandbookRelationInverseTest, ProductsSeeTheirDietsAcrossReopening) {
  open();
  context->performAndWait([&] {
    ManagedObject* oats = insertProduct(1);
    ManagedObject* rice = insertProduct(2);
    ManagedObject* diet = context->insertNewObject("DietHandbookRelation");
    diet->setValueForKey("dietId", Value(std::int64_t{77}));
    diet->addObjectForKey("handbooks", oats);
    diet->addObjectForKey("handbooks", rice);
    ASSERT_EQ(oats->objectsForKey("diets").size(), 1u);
    EXPECT_EQ(oats->objectsForKey("diets")[0], diet);
    diet->removeObjectForKey("handbooks", rice);
    EXPECT_TRUE(rice->objectsForKey("diets").empty());
    rice->addObjectForKey("diets", diet);  // from the product's side
    EXPECT_EQ(diet->objectsForKey("handbooks").size(), 2u);
    context->save();
  });
  open();
  context->performAndWait([&] {
    auto products = all("HandbookPostProductEntity", "entityID");
    ASSERT_EQ(products.size(), 2u);
    for (ManagedObject* product : products) {
      auto diets = product->objectsForKey("diets");
      ASSERT_EQ(diets.size(), 1u);
      EXPECT_EQ(diets[0]->valueForKey("dietId").asInt64(), 77);
    }
    // Deleting a product leaves the diet with the others; deleting the diet keeps products.
    context->deleteObject(products[0]);
    context->save();
    auto diets = all("DietHandbookRelation", "dietId");
    ASSERT_EQ(diets.size(), 1u);
    auto kept = diets[0]->objectsForKey("handbooks");
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(kept[0], products[1]);
    context->deleteObject(diets[0]);
    context->save();
    EXPECT_TRUE(products[1]->objectsForKey("diets").empty());
  });
  open();
  context->performAndWait([&] {
    auto products = all("HandbookPostProductEntity", "entityID");
    ASSERT_EQ(products.size(), 1u);
    EXPECT_TRUE(products[0]->objectsForKey("diets").empty());
    EXPECT_TRUE(all("DietHandbookRelation", "dietId").empty());
  });
}

}  // namespace
}  // namespace dm
