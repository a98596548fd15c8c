// User payloads mapped into the main store: nested records, stats keyed by the enclosing
// user, blacklist identity, repeated mapping, and the country source behind unit defaults.
#include "Platform/ObjectMapping/MappingError.h"
#include "Profile/BlackListEntity.h"
#include "Profile/UserEntity.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

using ProfileMappingTest = ProfileStoreTest;

TEST_F(ProfileMappingTest, UserPayloadMapsNestedRecordsOnceEvenWhenMappedTwice) {
  const std::string payload = readFile(fixturePath("Profile/user.json"));
  perform([&] {
    for (int round = 0; round < 2; ++round) {
      auto mapped = map("UserEntity", payload, "user");
      ASSERT_EQ(mapped.size(), 1u);
    }
    ASSERT_EQ(all("UserEntity").size(), 1u);
    auto* user = dynamic_cast<UserEntity*>(all("UserEntity")[0]);
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(user->entityID(), 4211);
    EXPECT_TRUE(user->isCoach());
    EXPECT_TRUE(user->isFemale());
    EXPECT_TRUE(user->progressAvailable());
    EXPECT_TRUE(user->workoutReviewEnabled());
    EXPECT_DOUBLE_EQ(user->activityCoefficient(), 1.375);

    ASSERT_NE(user->country(), nullptr);
    EXPECT_EQ(user->country()->iso(), "DE");
    ASSERT_NE(user->city(), nullptr);
    EXPECT_EQ(user->city()->name(), "Berlin");
    EXPECT_EQ(all("CountryEntity").size(), 1u);
    EXPECT_EQ(all("CityEntity").size(), 1u);  // the country's city and the user's are one
    EXPECT_EQ(user->country()->cities().size(), 1u);

    ASSERT_NE(user->stats(), nullptr);
    EXPECT_EQ(user->stats()->userID(), 4211);  // from the enclosing user's "id"
    EXPECT_EQ(user->stats()->totalRecalls(), 23);
    EXPECT_EQ(all("TrainerRecallStatsEntity").size(), 1u);

    ASSERT_NE(user->service(), nullptr);
    EXPECT_EQ(user->service()->entityID(), 901);
    EXPECT_EQ(user->service()->serviceType(), ServiceType::Monthly);
    EXPECT_EQ(all("TrainerServiceEntity").size(), 3u);
    EXPECT_EQ(user->services().size(), 3u);
    EXPECT_EQ(all("ProfileCommonPhotoEntity").size(), 4u);
    EXPECT_EQ(user->photos().size(), 3u);
    EXPECT_EQ(user->clientAchievementPhotos().size(), 1u);
    EXPECT_EQ(all("TrainerSpecEntity").size(), 2u);
  });
  // Mapping set both sides of every relationship: the records reach their user after reopening.
  reopen();
  perform([&] {
    auto* user = dynamic_cast<UserEntity*>(all("UserEntity").at(0));
    EXPECT_EQ(user->stats()->user(), user);
    for (auto* service : user->services()) EXPECT_EQ(service->coach(), user);
    for (auto* photo : user->photos()) EXPECT_EQ(photo->user(), user);
    for (auto* photo : user->clientAchievementPhotos()) EXPECT_EQ(photo->achievementUser(), user);
    EXPECT_EQ(user->city()->country(), user->country());
  });
}

TEST_F(ProfileMappingTest, StatsBelongToTheirOwnUserInAList) {
  perform([&] {
    map("UserEntity", R"({"users": [
      {"id": 1, "firstName": "A", "stats": {"average": 3.5, "totalRecalls": 2}},
      {"id": 2, "firstName": "B", "stats": {"average": 5, "totalRecalls": 9}}]})",
        "users");
    auto stats = all("TrainerRecallStatsEntity", "userID");
    ASSERT_EQ(stats.size(), 2u);
    EXPECT_EQ(stats[0]->valueForKey("userID").asInt64(), 1);
    EXPECT_DOUBLE_EQ(stats[0]->valueForKey("average").asDouble(), 3.5);
    EXPECT_EQ(stats[1]->valueForKey("userID").asInt64(), 2);
    EXPECT_EQ(stats[1]->valueForKey("totalRecalls").asInt64(), 9);
  });
}

TEST_F(ProfileMappingTest, BlacklistEntriesAreIdentifiedByTheBlockedUser) {
  perform([&] {
    map("BlackListEntity", R"([{"id": 1, "blacklistedUserId": 5, "hidePosts": true},
                               {"id": 3, "blacklistedUserId": 6}])");
    map("BlackListEntity", R"([{"id": 2, "blacklistedUserId": 5, "hidePosts": false,
                                "blockProfile": true}])");
    auto entries = BlackListEntity::allEntities(context.get());
    ASSERT_EQ(entries.size(), 2u);
    auto* five = entries[0]->blacklistedUserId() == 5 ? entries[0] : entries[1];
    auto* six = five == entries[0] ? entries[1] : entries[0];
    EXPECT_EQ(five->entityID(), 2);
    EXPECT_FALSE(five->hidePosts());
    EXPECT_TRUE(five->blockProfile());
    EXPECT_FALSE(five->isEmpty());
    EXPECT_TRUE(six->isEmpty());
    six->setDenyCommentMyPosts(true);
    EXPECT_FALSE(six->isEmpty());
  });
}

TEST_F(ProfileMappingTest, MalformedUserPayloadChangesNothingButABadFieldIsOnlySkipped) {
  perform([&] {
    EXPECT_THROW(map("UserEntity", R"({"id": 1, "firstName": "A")"), MappingError);
    EXPECT_THROW(map("UserEntity", R"({"user": "A"})", "user"), MappingError);
    EXPECT_FALSE(context->hasChanges());
    EXPECT_TRUE(all("UserEntity").empty());

    auto users = map("UserEntity", R"({"id": 1, "firstName": "A", "stats": {"average": "high",
                                       "totalRecalls": 4}})");
    ASSERT_EQ(users.size(), 1u);
    auto* user = dynamic_cast<UserEntity*>(users[0]);
    EXPECT_EQ(user->firstName(), "A");
    EXPECT_EQ(user->stats()->totalRecalls(), 4);
    EXPECT_FALSE(user->stats()->hasAverage());
  });
}

TEST_F(ProfileMappingTest, SubscriptionAndRatingCountsMapAsDictionariesAndReadBack) {
  perform([&] {
    map("UserEntity", R"({"user": {"id": 3, "subscription": {"type": "server",
        "product_id": "pro.month", "expire_at": "2025-01-31T10:00:00Z"},
        "stats": {"byRating": {"5": 12, "1": 0}, "totalRecalls": 12}}})",
        "user");
    context->reset();  // read back from the file
    auto users = all("UserEntity");
    ASSERT_EQ(users.size(), 1u);
    auto* user = dynamic_cast<UserEntity*>(users[0]);
    auto subscription = user->serverSubscription();
    ASSERT_TRUE(subscription.has_value());
    EXPECT_EQ(subscription->productId, "pro.month");
    EXPECT_EQ(user->subscription()["type"], "server");
    EXPECT_EQ(user->stats()->byRating(), (nlohmann::json{{"5", 12}, {"1", 0}}));

    // A subscription of the wrong kind is skipped; the one stored stays.
    map("UserEntity", R"({"id": 3, "subscription": "none", "firstName": "C"})");
    context->reset();
    user = dynamic_cast<UserEntity*>(all("UserEntity").at(0));
    EXPECT_EQ(user->firstName(), "C");
    EXPECT_TRUE(user->serverSubscription().has_value());
  });
}

TEST_F(ProfileMappingTest, StoredCountriesDecideUnitDefaults) {
  // No country yet: nothing derived from the store.
  EXPECT_FALSE(units.countrySource()->firstCountryIso().has_value());
  perform([&] {
    map("CountryEntity", R"([{"id": 1, "name": "United States", "iso": "US", "weight": 2},
                             {"id": 2, "name": "Germany", "iso": "DE", "weight": 2},
                             {"id": 3, "name": "Zambia", "iso": "ZM", "weight": 3}])");
  });
  EXPECT_EQ(units.countrySource()->firstCountryIso(), "DE");  // ties go by name
  perform([&] {
    map("CountryEntity", R"([{"id": 4, "name": "United Kingdom", "iso": "GB",
                                          "weight": 0}])");
  });
  EXPECT_EQ(units.countrySource()->firstCountryIso(), "GB");
  EXPECT_EQ(units.defaultWeightUnitsValue(), 0);  // the first read stores, still answers metric
  EXPECT_EQ(units.defaultWeightUnitsValue(), 1);
}

// The process-wide helper reads the countries of whichever main store is open, with nothing
// installed by the host.
TEST_F(ProfileMappingTest, TheSharedUnitsHelperFollowsTheOpenMainStore) {
  UnitsHelper& shared = UnitsHelper::sharedInstance();
  auto sharedPrefs = SettingsStore::inMemory();
  shared.setPrefs(sharedPrefs);
  perform([&] {
    map("CountryEntity", R"([{"id": 1, "name": "United States", "iso": "US", "weight": 1}])");
  });
  EXPECT_EQ(shared.countrySource()->firstCountryIso(), "US");
  EXPECT_EQ(shared.defaultDistanceUnitsValue(), 0);
  EXPECT_EQ(shared.defaultDistanceUnitsValue(), 1);
  ManagedObjectStore::resetSharedInstance();  // no store: no country
  EXPECT_FALSE(shared.countrySource()->firstCountryIso());
  shared.setPrefs(nullptr);
}

}  // namespace
}  // namespace dm::test
