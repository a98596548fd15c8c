// Computed properties of users: display names, ages, avatar addresses, service and photo
// lists, the archived subscription and the meal schedule.
#include <algorithm>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Profile/MediaAddresses.h"
#include "Profile/TrainerRecallEntity.h"
#include "Profile/UserEntity.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

class UserEntityTest : public ProfileStoreTest {
 protected:
  void SetUp() override {
    ProfileStoreTest::SetUp();
    setCurrentTimeZoneIdentifier("UTC");
    setCurrentLocaleIdentifier("en_US");
    setCurrentInterfaceLanguage("en");
    Clock::setShared(clock);
  }
  void TearDown() override {
    MediaAddresses::setShared(nullptr);
    setCurrentTimeZoneIdentifier("");
    setCurrentLocaleIdentifier("");
    setCurrentInterfaceLanguage("");
    ProfileStoreTest::TearDown();
  }
  void setNow(const char* serverDate) { clock->set(*dateFromServerString(serverDate)); }
  TrainerServiceEntity* addService(UserEntity* user, std::int64_t id, const char* name,
                                   double price, bool enabled, bool general) {
    auto* service = insert<TrainerServiceEntity>();
    service->setEntityID(id);
    service->setServiceName(name);
    service->setPrice(price);
    service->setEnabled(enabled);
    service->setGeneral(general);
    user->addServicesObject(service);
    return service;
  }

  std::shared_ptr<FixedClock> clock = std::make_shared<FixedClock>();
};

TEST_F(UserEntityTest, FullNameByStatusNamesAndLanguage) {
  perform([&] {
    auto* user = insert<UserEntity>();
    EXPECT_EQ(user->fullName(), "No name");
    setCurrentInterfaceLanguage("ru");
    EXPECT_EQ(user->fullName(), "Без имени");
    setCurrentInterfaceLanguage("en");
    user->setFirstName("Mei");
    EXPECT_EQ(user->fullName(), "Mei");
    user->setLastName("Tanaka");
    EXPECT_EQ(user->fullName(), "Mei Tanaka");
    for (const char* language : {"ja", "vi", "ko", "zh-Hans"}) {
      setCurrentInterfaceLanguage(language);
      EXPECT_EQ(user->fullName(), "Tanaka Mei") << language;
    }
    setCurrentInterfaceLanguage("zh");
    EXPECT_EQ(user->fullName(), "Mei Tanaka");
    user->setFirstName("");
    EXPECT_EQ(user->fullName(), "Tanaka");
    user->setStatus(UserStatus::Deleted);
    EXPECT_EQ(user->statusString(), "deleted");
    EXPECT_EQ(user->fullName(), "Deleted account");  // no Chinese table: English
    setCurrentInterfaceLanguage("ru");
    EXPECT_EQ(user->fullName(), "Удалённый аккаунт");
  });
}

TEST_F(UserEntityTest, AgeCountsWholeYearsAcrossBirthdays) {
  perform([&] {
    auto* user = insert<UserEntity>();
    setNow("2024-06-15T12:00:00Z");
    EXPECT_EQ(user->age(), 0);  // neither date
    user->setSupposedBirthday("1990-01-01");
    EXPECT_EQ(user->age(), 34);
    user->setBirthday("2000-06-15");  // the real birthday wins
    EXPECT_EQ(user->age(), 24);
    setNow("2024-06-14T23:59:59Z");
    EXPECT_EQ(user->age(), 23);
    user->setBirthday("2000-02-29");
    setNow("2025-02-28T12:00:00Z");
    EXPECT_EQ(user->age(), 24);
    setNow("2025-03-01T00:00:00Z");
    EXPECT_EQ(user->age(), 25);
    user->setBirthday("not a date");
    EXPECT_EQ(user->age(), 35);  // falls back to the supposed birthday
    user->clearSupposedBirthday();
    EXPECT_EQ(user->age(), 0);

    EXPECT_EQ(user->trainerExperienceYears(), 0);
    user->setTrainerSince("2015-03-01");
    EXPECT_EQ(user->trainerExperienceYears(), 10);
    user->setTrainerSince("");
    EXPECT_EQ(user->trainerExperienceYears(), 0);
  });
}

TEST_F(UserEntityTest, AvatarAddressesForRelativeAbsoluteAndEmptyPaths) {
  MediaAddresses::setShared(std::make_shared<PathMediaAddresses>("https://media.example.com/"));
  perform([&] {
    auto* user = insert<UserEntity>();
    EXPECT_EQ(user->fullAvatarUrl(), "");
    EXPECT_EQ(user->thumbAvatarUrl(), "");
    EXPECT_EQ(user->smallThumbAvatarUrl(), "");
    user->setAvatarUrl("/avatars/7/me.jpg");
    EXPECT_EQ(user->fullAvatarUrl(), "/avatars/7/me.jpg");
    EXPECT_EQ(user->thumbAvatarUrl(), "https://media.example.com/avatars/7/thumb_me.jpg");
    EXPECT_EQ(user->smallThumbAvatarUrl(),
              "https://media.example.com/avatars/7/small_thumb_me.jpg");
    user->setAvatarUrl("https://cdn.example.org/me.png");
    EXPECT_EQ(user->thumbAvatarUrl(), "https://cdn.example.org/thumb_me.png");
    user->setAvatarUrl("https://cdn.example.org");
    EXPECT_EQ(user->thumbAvatarUrl(), "");  // a bare host names no picture
    EXPECT_EQ(user->fullAvatarUrl(), "https://cdn.example.org");
  });
}

TEST_F(UserEntityTest, ActiveServicesAndTheNonactiveAlert) {
  perform([&] {
    auto* user = insert<UserEntity>();
    user->setType(AccountType::Trainer);
    addService(user, 9, "Paid", 50, true, false);
    addService(user, 3, "Free", 0, true, true);
    addService(user, 5, "Off", 20, false, true);
    auto* deleted = addService(user, 1, "Gone", 10, true, false);
    deleted->setEntityStatus(EntityStatus::Deleted);
    addService(user, 4, "Also paid", 30, true, false);

    auto active = user->activeServices();
    ASSERT_EQ(active.size(), 2u);
    EXPECT_EQ(active[0]->entityID(), 4);
    EXPECT_EQ(active[1]->entityID(), 9);

    auto alert = user->serviceNamesForNonactveAlert();
    ASSERT_TRUE(alert.has_value());
    std::sort(alert->begin(), alert->end());
    EXPECT_EQ(*alert, (std::vector<std::string>{"Free", "Off"}));
    addService(user, 6, "General paid", 99, true, true);
    EXPECT_FALSE(user->serviceNamesForNonactveAlert().has_value());
    user->setType(AccountType::Client);
    EXPECT_FALSE(user->serviceNamesForNonactveAlert().has_value());
  });
}

TEST_F(UserEntityTest, PhotosAreFilteredAndOrdered) {
  perform([&] {
    auto* user = insert<UserEntity>();
    auto photo = [&](const char* path, std::int64_t sequence, const char* status) {
      auto* p = insert<ProfileCommonPhotoEntity>();
      p->setPhoto(path);
      p->setSequence(sequence);
      if (status) p->setEntityStatusString(status);
      return p;
    };
    user->addPhotosObject(photo("b.jpg", 1, nullptr));
    user->addPhotosObject(photo("a.jpg", 1, "published"));
    user->addPhotosObject(photo("c.jpg", 4, "deleted"));
    auto* removed = photo("d.jpg", 9, nullptr);
    user->addPhotosObject(removed);
    user->addPhotosObject(photo("e.jpg", 2, "draft"));
    context->deleteObject(removed);

    std::vector<std::string> order;
    for (auto* p : user->orderedPhotos()) order.push_back(p->photo());
    EXPECT_EQ(order, (std::vector<std::string>{"e.jpg", "a.jpg", "b.jpg"}));

    user->addClientAchievementPhotosObject(photo("x.jpg", 1, nullptr));
    user->addClientAchievementPhotosObject(photo("y.jpg", 3, nullptr));
    user->addClientAchievementPhotosObject(photo("z.jpg", 7, "deleted"));
    order.clear();
    for (auto* p : user->orderedAchievementPhotos()) order.push_back(p->photo());
    EXPECT_EQ(order, (std::vector<std::string>{"y.jpg", "x.jpg"}));
  });
}

TEST_F(UserEntityTest, SubscriptionReadsBackFromItsArchive) {
  perform([&] {
    auto* user = insert<UserEntity>();
    EXPECT_FALSE(user->serverSubscription().has_value());
    ASSERT_TRUE(user->setServerSubscriptionDict(nlohmann::json{
        {"type", "server"}, {"product_id", "pro.month"}, {"expire_at", "2025-01-31T10:00:00Z"}}));
    auto subscription = user->serverSubscription();
    ASSERT_TRUE(subscription.has_value());
    EXPECT_EQ(subscription->type(), ServerSubscriptionType::Server);
    EXPECT_EQ(subscription->productId, "pro.month");
    ASSERT_TRUE(subscription->expireAt.has_value());
    EXPECT_EQ(subscription->expireAt->timeIntervalSince1970, 1738317600);

    const auto index = UserEntity::kSubscriptionIndex;
    user->setValueAt(index, Value(Blob{'D', 'M', 'K', 'A', 1, 0xff}));  // corrupt
    EXPECT_FALSE(user->serverSubscription().has_value());
    EXPECT_EQ(user->subscription(), nlohmann::json::object());
    user->setValueAt(index, Value(*KeyedArchive::archivedData(nlohmann::json::array({1, 2}))));
    EXPECT_FALSE(user->serverSubscription().has_value());  // not a dictionary
    EXPECT_FALSE(user->setServerSubscriptionDict(nlohmann::json::array({1})));
  });
}

TEST_F(UserEntityTest, RecallsAreMarkedUsedWhenCreatedAndWhenLoaded) {
  perform([&] {
    setNow("2026-01-01T00:00:00Z");
    auto* recall = insert<TrainerRecallEntity>();
    recall->setText("good");
    EXPECT_EQ(recall->lastUsed(), *dateFromServerString("2026-01-01T00:00:00Z"));
    context->save();

    setNow("2026-02-01T00:00:00Z");
    context->reset();
    auto recalls = all("TrainerRecallEntity", "text");
    ASSERT_EQ(recalls.size(), 1u);
    auto* loaded = dynamic_cast<TrainerRecallEntity*>(recalls[0]);
    EXPECT_EQ(loaded->lastUsed(), *dateFromServerString("2026-02-01T00:00:00Z"));
    EXPECT_FALSE(context->hasChanges());  // loading alone writes nothing
  });
}

TEST_F(UserEntityTest, MealScheduleDefaultsSortingAndEdits) {
  setCurrentLocaleIdentifier("ru_RU");  // 24-hour short style
  perform([&] {
    auto* user = insert<UserEntity>();
    EXPECT_EQ(user->mealTimeForPos(0), "07:00");
    EXPECT_EQ(user->mealTimeForPos(7), "19:00");
    EXPECT_EQ(user->mealTimeForPos(-1), "19:00");

    ASSERT_TRUE(user->setMealTimeForPos("21:30", 5));
    EXPECT_EQ(user->mealsSchedule(), "07:00 10:00 13:00 16:00 19:00 21:30");
    ASSERT_TRUE(user->setMealTimeForPos("06:15", 2));
    EXPECT_EQ(user->mealsSchedule(), "07:00 10:00 06:15 16:00 19:00 21:30");  // stored unsorted
    EXPECT_EQ(user->mealTimeForPos(0), "06:15");
    EXPECT_FALSE(user->setMealTimeForPos("lunch", 0));
    EXPECT_EQ(user->mealsSchedule(), "07:00 10:00 06:15 16:00 19:00 21:30");

    user->setMealsSchedule("13:00 07:00");
    EXPECT_EQ(user->mealTimeForPos(0), "07:00");
    EXPECT_EQ(user->mealTimeForPos(1), "13:00");
  });
  setCurrentLocaleIdentifier("en_US");  // 12-hour short style
  perform([&] {
    auto* user = insert<UserEntity>();
    std::string morning = user->mealTimeForPos(0);
    EXPECT_EQ(morning.substr(0, 4), "7:00");
    EXPECT_NE(morning.find("AM"), std::string::npos);
    ASSERT_TRUE(user->setMealTimeForPos(user->mealTimeForPos(4), 0));  // round trip
    EXPECT_EQ(user->mealsSchedule(), "19:00 10:00 13:00 16:00 19:00");
  });
}

}  // namespace
}  // namespace dm::test
