// Stores written under earlier layouts of the models open with today's, keeping every record,
// value and relationship.
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Profile/UserEntity.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

TEST(ModelSplitMigration, StoreWrittenBeforeTheSplitOpensWithoutLoss) {
  TempDir dir;
  ManagedObjectStore::resetSharedInstance();
  Directories::setDataRoot(dir.path());
  auto before =
      ManagedObjectModel::fromJson(readFile(fixturePath("Models/KorvaloBeforeSplit.json")));
  {
    auto store = ManagedObjectStore::initWithManagedObjectModel(before);
    ASSERT_NE(store, nullptr);
    ASSERT_FALSE(store->isInMemory());
    auto context = store->persistentStoreManagedObjectContext();
    context->performAndWait([&] {
      auto* country = context->insertNew<CountryEntity>("CountryEntity");
      country->setEntityID(49);
      country->setIso("DE");
      auto* city = context->insertNew<CityEntity>("CityEntity");
      city->setName("Berlin");
      city->setCountry(country);
      auto* user = context->insertNew<UserEntity>("UserEntity");
      user->setEntityID(7);
      user->setTypeString("trainer");
      user->setCity(city);
      // Written as the bytes the server-subscription field held before it became a dictionary.
      user->setValueForKey("subscription", Value(Blob{1, 2, 3}));
      for (int i = 0; i < 2; ++i) {
        auto* service = context->insertNew<TrainerServiceEntity>("TrainerServiceEntity");
        service->setEntityID(100 + i);
        service->setServiceTypeString("monthly");
        service->setPrice(9.5 + i);
        user->addServicesObject(service);
      }
      context->save();
    });
  }
  ManagedObjectStore::resetSharedInstance();
  MainQueue::shared().runUntilIdle();

  auto after = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
  ASSERT_NE(after, nullptr);
  EXPECT_FALSE(after->isInMemory());
  // The split itself changed no schema; the subscription and recall-stats fields becoming
  // dictionaries since then is a migration the store makes in place.
  EXPECT_NE(after->managedObjectModel()->hash(), before->hash());
  EXPECT_EQ(after->persistentStore()->storedModelHash(), after->managedObjectModel()->hash());

  auto context = after->persistentStoreManagedObjectContext();
  context->performAndWait([&] {
    FetchRequest request(context->model().entityNamed("UserEntity"));
    auto users = context->executeFetchRequest(request);
    ASSERT_EQ(users.size(), 1u);
    auto* user = dynamic_cast<UserEntity*>(users[0]);
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(user->entityID(), 7);
    EXPECT_TRUE(user->isCoach());
    // Bytes that are not an archived dictionary read as the empty one, never as an error.
    EXPECT_EQ(user->subscription(), nlohmann::json::object());
    ASSERT_NE(user->city(), nullptr);
    EXPECT_EQ(user->city()->name(), "Berlin");
    ASSERT_NE(user->city()->country(), nullptr);
    EXPECT_EQ(user->city()->country()->iso(), "DE");
    auto services = user->services();
    ASSERT_EQ(services.size(), 2u);
    for (auto* service : services) {
      EXPECT_EQ(service->serviceType(), ServiceType::Monthly);
      EXPECT_EQ(service->coach(), user);
    }
  });
  ManagedObjectStore::resetSharedInstance();
  Directories::setShared(nullptr);
}

// Handbook stores written while every handbook kind shared one table (products carrying the
// columns and indexes of all kinds) open with a table per kind: every row keeps its key, values
// and relationships, and the base entities still fetch across the kinds.
TEST(ModelSplitMigration, HandbookStoreOfOneTableOpensWithATablePerKind) {
  TempDir dir;
  const auto file = (dir.path() / "Handbook.sqlite").string();
  auto before =
      ManagedObjectModel::fromJson(readFile(fixturePath("Models/HandbookBeforeSplit.json")));
  ASSERT_NE(ManagedObjectModel::named("Handbook")->hash(), before->hash());
  {
    auto store = PersistentStore::open(before, StoreType::SQLite, file);
    auto context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "old");
    context->performAndWait([&] {
      auto* category = context->insertNewObject("HandbookCategoryEntity");
      category->setValueForKey("entityID", Value(1));
      category->setValueForKey("title", Value("Dairy"));
      auto* milk = context->insertNewObject("HandbookPostProductEntity");
      milk->setValueForKey("entityID", Value(10));
      milk->setValueForKey("categoryID", Value(1));
      milk->setValueForKey("calories", Value(64.0));
      auto* cheese = context->insertNewObject("HandbookPostProductEntity");
      cheese->setValueForKey("entityID", Value(11));
      cheese->addObjectForKey("handbooksForIngredients", milk);
      auto* squat = context->insertNewObject("HandbookPostExerciseEntity");
      squat->setValueForKey("entityID", Value(20));
      auto* update = context->insertNewObject("HandbookUpdateEntity");
      update->addObjectForKey("postsProduct", cheese);
      update->addObjectForKey("postsProduct", milk);
      update->addObjectForKey("categories", category);
      context->save();
    });
  }
  auto store =
      PersistentStore::open(ManagedObjectModel::named("Handbook"), StoreType::SQLite, file);
  auto context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "new");
  context->performAndWait([&] {
    auto fetch = [&](const char* entity) {
      FetchRequest request(context->model().entityNamed(entity));
      request.sortDescriptors.push_back({"entityID", true});
      return context->executeFetchRequest(request);
    };
    auto posts = fetch("HandbookPostEntity");
    ASSERT_EQ(posts.size(), 3u);
    EXPECT_EQ(posts[0]->entity().name(), "HandbookPostProductEntity");
    EXPECT_EQ(posts[0]->valueForKey("calories"), Value(64.0));
    EXPECT_EQ(posts[2]->entity().name(), "HandbookPostExerciseEntity");
    EXPECT_EQ(fetch("HandbookItemEntity").size(), 4u);
    auto ingredients = posts[1]->objectsForKey("handbooksForIngredients");
    ASSERT_EQ(ingredients.size(), 1u);
    EXPECT_EQ(ingredients[0], posts[0]);
    auto updates = fetch("HandbookUpdateEntity");
    ASSERT_EQ(updates.size(), 1u);
    EXPECT_EQ(updates[0]->objectsForKey("postsProduct").size(), 2u);
    ASSERT_EQ(updates[0]->objectsForKey("categories").size(), 1u);
    EXPECT_EQ(updates[0]->objectsForKey("categories")[0]->valueForKey("title"), Value("Dairy"));
  });
}

}  // namespace
}  // namespace dm::test
