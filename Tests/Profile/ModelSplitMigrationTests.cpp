// A main store written while the model was one file opens with the model merged from its
// subsystem files, keeping every record, value and relationship.
#include "Platform/Foundation/WorkQueue.h"
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

// Handbook stores and the seed packs shipped before the handbook model became a directory
// carry its hash; the merged model keeps it, so they open without a migration.
TEST(ModelSplitMigration, HandbookModelKeepsItsHash) {
  auto before =
      ManagedObjectModel::fromJson(readFile(fixturePath("Models/HandbookBeforeSplit.json")));
  EXPECT_EQ(ManagedObjectModel::named("Handbook")->hash(), before->hash());
}

}  // namespace
}  // namespace dm::test
