// The diet <-> product relation of the handbook model seen from both sides, in memory and
// after the file is reopened, and what deleting either side leaves.
#include <gtest/gtest.h>

#include <string>

#include "Models/HandbookEntities.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

class DietHandbookRelationInverseTest : public ::testing::Test {
 protected:
  void open() {
    context.reset();
    auto store = PersistentStore::open(ManagedObjectModel::named("Handbook"), StoreType::SQLite,
                                       (dir.path() / "Handbook.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "test");
  }
  template <class T>
  std::vector<T*> all() {
    std::vector<T*> out;
    FetchRequest request(context->model().entityNamed(T::kEntityName));
    request.sortDescriptors = {
        {T::kEntityName == std::string("DietHandbookRelation") ? "dietId" : "entityID", true}};
    for (ManagedObject* object : context->executeFetchRequest(request))
      if (auto* typed = dynamic_cast<T*>(object)) out.push_back(typed);
    return out;
  }
  HandbookPostProductEntityGenerated* insertProduct(std::int64_t id) {
    auto* product = dynamic_cast<HandbookPostProductEntityGenerated*>(
        context->insertNewObject(HandbookPostProductEntityGenerated::kEntityName));
    product->setEntityID(id);
    return product;
  }

  test::TempDir dir;
  std::shared_ptr<ManagedObjectContext> context;
};

using Product = HandbookPostProductEntityGenerated;
using Diet = DietHandbookRelationGenerated;

TEST_F(DietHandbookRelationInverseTest, ProductsSeeTheirDietsAcrossReopening) {
  open();
  context->performAndWait([&] {
    auto* oats = insertProduct(1);
    auto* rice = insertProduct(2);
    auto* diet = dynamic_cast<Diet*>(context->insertNewObject(Diet::kEntityName));
    diet->setDietId(77);
    diet->addHandbooksObject(oats);
    diet->addHandbooksObject(rice);
    ASSERT_EQ(oats->diets().size(), 1u);
    EXPECT_EQ(oats->diets()[0], diet);
    diet->removeHandbooksObject(rice);
    EXPECT_TRUE(rice->diets().empty());
    rice->addDietsObject(diet);  // from the product's side
    EXPECT_EQ(diet->handbooks().size(), 2u);
    context->save();
  });
  open();
  context->performAndWait([&] {
    auto products = all<Product>();
    ASSERT_EQ(products.size(), 2u);
    for (auto* product : products) {
      ASSERT_EQ(product->diets().size(), 1u);
      EXPECT_EQ(product->diets()[0]->dietId(), 77);
    }
    // Deleting a product leaves the diet with the others; deleting the diet keeps products.
    context->deleteObject(products[0]);
    context->save();
    auto diets = all<Diet>();
    ASSERT_EQ(diets.size(), 1u);
    ASSERT_EQ(diets[0]->handbooks().size(), 1u);
    EXPECT_EQ(diets[0]->handbooks()[0], products[1]);
    context->deleteObject(diets[0]);
    context->save();
    EXPECT_TRUE(products[1]->diets().empty());
  });
  open();
  context->performAndWait([&] {
    ASSERT_EQ(all<Product>().size(), 1u);
    EXPECT_TRUE(all<Product>()[0]->diets().empty());
    EXPECT_TRUE(all<Diet>().empty());
  });
}

}  // namespace
}  // namespace dm
