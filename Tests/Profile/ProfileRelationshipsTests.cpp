// Both sides of the profile records' relationships: kept in step in memory, read back after
// the store is reopened, and deleted by the model's rules.
#include "Profile/CityEntity.h"
#include "Profile/CountryEntity.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/TrainerRecallEntity.h"
#include "Profile/TrainerRecallStatsEntity.h"
#include "Profile/TrainerServiceEntity.h"
#include "Profile/UserEntity.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

class ProfileRelationshipsTest : public ProfileStoreTest {
 protected:
  // Saves a trainer, deletes what `remove` picks and saves again; `check` runs then and again
  // after the store is reopened.
  template <class Remove, class Check>
  void deleteAndCheck(Remove remove, Check check) {
    perform([&] {
      insertTrainer();
      context->save();
      remove();
      context->save();
      check();
    });
    reopen();
    perform(check);
  }
  template <class T>
  T* only() {
    auto objects = all(T::kEntityName);
    EXPECT_EQ(objects.size(), 1u) << T::kEntityName;
    return objects.empty() ? nullptr : dynamic_cast<T*>(objects[0]);
  }

  // A trainer with one of each related record, every link set from the user's side except
  // the city's country and the recall's author, which are set from the other side.
  void insertTrainer() {
    auto* country = insert<CountryEntity>();
    country->setIso("DE");
    auto* city = insert<CityEntity>();
    city->setName("Berlin");
    city->setCountry(country);
    auto* user = insert<UserEntity>();
    user->setEntityID(7);
    user->setCountry(country);
    user->setCity(city);
    auto* stats = insert<TrainerRecallStatsEntity>();
    user->setTrainerRecallStats(stats);
    auto* service = insert<TrainerServiceEntity>();
    service->setEntityID(901);
    user->addServicesObject(service);
    auto* photo = insert<ProfileCommonPhotoEntity>();
    photo->setEntityID(1);
    user->addPhotosObject(photo);
    auto* achievement = insert<ProfileCommonPhotoEntity>();
    achievement->setEntityID(2);
    user->addClientAchievementPhotosObject(achievement);
    auto* recall = insert<TrainerRecallEntity>();
    recall->setUser(user);
  }
};

// Every assertion reads the side that was not written.
void expectLinked(UserEntity* user, const std::vector<ManagedObject*>& photos) {
  ASSERT_NE(user, nullptr);
  auto* country = user->country();
  ASSERT_NE(country, nullptr);
  ASSERT_EQ(country->cities().size(), 1u);
  EXPECT_EQ(country->cities()[0], user->city());
  EXPECT_EQ(user->city()->country(), country);
  ASSERT_NE(user->trainerRecallStats(), nullptr);
  EXPECT_EQ(user->trainerRecallStats()->user(), user);
  ASSERT_EQ(user->services().size(), 1u);
  EXPECT_EQ(user->services()[0]->coach(), user);
  ASSERT_EQ(photos.size(), 2u);
  for (auto* object : photos) {
    auto* photo = dynamic_cast<ProfileCommonPhotoEntity*>(object);
    ASSERT_NE(photo, nullptr);
    bool achievement = photo->entityID() == 2;
    EXPECT_EQ(photo->user(), achievement ? nullptr : user) << photo->entityID();
    EXPECT_EQ(photo->achievementUser(), achievement ? user : nullptr) << photo->entityID();
  }
  ASSERT_EQ(user->recalls().size(), 1u);
  EXPECT_EQ(user->recalls()[0]->user(), user);
}

TEST_F(ProfileRelationshipsTest, EachSideSeesTheOtherBeforeAndAfterReopening) {
  perform([&] {
    insertTrainer();
    expectLinked(only<UserEntity>(), all("ProfileCommonPhotoEntity"));
    context->save();
  });
  reopen();
  perform([&] { expectLinked(only<UserEntity>(), all("ProfileCommonPhotoEntity")); });
}

TEST_F(ProfileRelationshipsTest, MovingAToOneSideUpdatesBothCollections) {
  perform([&] {
    auto* germany = insert<CountryEntity>();
    auto* france = insert<CountryEntity>();
    auto* city = insert<CityEntity>();
    germany->addCitiesObject(city);
    EXPECT_EQ(city->country(), germany);
    city->setCountry(france);
    EXPECT_TRUE(germany->cities().empty());
    ASSERT_EQ(france->cities().size(), 1u);
    france->removeCitiesObject(city);
    EXPECT_EQ(city->country(), nullptr);
  });
}

TEST_F(ProfileRelationshipsTest, DeletingAUserTakesItsOwnRecordsAndKeepsSharedOnes) {
  deleteAndCheck([&] { context->deleteObject(only<UserEntity>()); },
                 [&] {
                   EXPECT_TRUE(all("UserEntity").empty());
                   EXPECT_TRUE(all("TrainerRecallStatsEntity").empty());
                   EXPECT_TRUE(all("TrainerServiceEntity").empty());
                   EXPECT_TRUE(all("ProfileCommonPhotoEntity").empty());
                   // Countries, cities and recalls are not the user's: they stay, without it.
                   EXPECT_EQ(all("CountryEntity").size(), 1u);
                   EXPECT_EQ(all("CityEntity").size(), 1u);
                   auto* recall = only<TrainerRecallEntity>();
                   ASSERT_NE(recall, nullptr);
                   EXPECT_EQ(recall->user(), nullptr);
                 });
}

TEST_F(ProfileRelationshipsTest, DeletingACountryTakesItsCitiesAndClearsTheUsersLinks) {
  deleteAndCheck([&] { context->deleteObject(only<CountryEntity>()); },
                 [&] {
                   EXPECT_TRUE(all("CityEntity").empty());
                   auto* user = only<UserEntity>();
                   ASSERT_NE(user, nullptr);
                   EXPECT_EQ(user->country(), nullptr);
                   EXPECT_EQ(user->city(), nullptr);
                 });
}

TEST_F(ProfileRelationshipsTest, DeletingOwnedRecordsLeavesTheUserWithoutThem) {
  deleteAndCheck(
      [&] {
        context->deleteObject(only<TrainerRecallStatsEntity>());
        context->deleteObject(only<TrainerServiceEntity>());
        context->deleteObject(only<CityEntity>());
      },
      [&] {
        auto* user = only<UserEntity>();
        ASSERT_NE(user, nullptr);
        EXPECT_EQ(user->trainerRecallStats(), nullptr);
        EXPECT_TRUE(user->services().empty());
        EXPECT_EQ(user->city(), nullptr);
        EXPECT_TRUE(user->country()->cities().empty());
      });
}

}  // namespace
}  // namespace dm::test
