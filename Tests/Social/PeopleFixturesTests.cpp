// The generated people payloads (scripts/gen-people-fixtures --small) mapped into a store and
// read back after reopening: the record rules on realistic data.
#include <gtest/gtest.h>

#include <map>

#include <nlohmann/json.hpp>

#include "Finance/CardEntity.h"
#include "Finance/FilterInvoicesRequest.h"
#include "Finance/InvoiceEntity.h"
#include "Finance/PaymentDetailsEntity.h"
#include "Finance/PayoutEntity.h"
#include "Measurements/MeasurementEntity.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/ProfileTestSupport.h"
#include "Profile/UserEntity.h"
#include "Social/ChatMessageEntity.h"
#include "Social/FeedPostCommentEntity.h"
#include "Social/FeedPostEntity.h"
#include "Social/FeedPostMediaEntity.h"

namespace dm::test {
namespace {

class PeopleFixturesTest : public ProfileStoreTest {
 protected:
  std::string fixture(const std::string& name) {
    std::string text = readFile(fixturePath("People/" + name));
    EXPECT_FALSE(text.empty()) << name;
    return text;
  }
  nlohmann::json parsed(const std::string& name) { return nlohmann::json::parse(fixture(name)); }
};

TEST_F(PeopleFixturesTest, WeeklyMeasurementsKeepLivePhotosAndUnmeasuredGirthsEmpty) {
  perform([&] { map("MeasurementEntity", fixture("measurements.json"), "measurements"); });
  reopen();
  perform([&] {
    auto stored = all(MeasurementEntity::kEntityName, "date");
    ASSERT_EQ(stored.size(), 8u);
    auto* first = dynamic_cast<MeasurementEntity*>(stored[0]);
    auto* second = dynamic_cast<MeasurementEntity*>(stored[1]);
    ASSERT_TRUE(first && second);
    // Week 0 sent three photos, the front one deleted: two remain, by sequence.
    auto photos = first->photosOrdered();
    ASSERT_EQ(photos.size(), 2u);
    EXPECT_EQ(photos[0]->sequence(), 1);
    EXPECT_EQ(photos[1]->sequence(), 2);
    EXPECT_TRUE(second->photosOrdered().empty());
    EXPECT_TRUE(second->isEmptyValueForKey("leftWrist")) << "0 means not measured";
  });
}

TEST_F(PeopleFixturesTest, ConversationTakesOutOfOrderDeliveryUpdatesAndFindsSentMessages) {
  auto messages = parsed("chat.json")["messages"];
  auto updates = parsed("chat-updates.json")["messages"];
  std::map<std::int64_t, int> highest;
  for (const auto& update : updates) {
    auto& state = highest[update["id"].get<std::int64_t>()];
    state = std::max(state, update["deliveryState"].get<int>());
  }
  perform([&] {
    // The messages this device sent wait under their guid until the server answers.
    for (const auto& message : messages) {
      if (!message.contains("guid")) continue;
      auto* local = insert<ChatMessageEntity>();
      local->setGuid(message["guid"].get<std::string>());
      local->setChatID(77);
    }
    context->save();
    map("ChatMessageEntity", fixture("chat.json"), "messages");
    map("ChatMessageEntity", fixture("chat-updates.json"), "messages");
  });
  reopen();
  perform([&] {
    auto stored = all(ChatMessageEntity::kEntityName, "sortingID");
    ASSERT_EQ(stored.size(), messages.size()) << "sent messages matched, not duplicated";
    std::int64_t previousId = 0;
    std::size_t photos = 0, videos = 0, withGuid = 0;
    for (ManagedObject* object : stored) {
      auto* message = dynamic_cast<ChatMessageEntity*>(object);
      ASSERT_NE(message, nullptr);
      EXPECT_GT(message->entityID(), previousId) << "sort keys follow the server ids";
      previousId = message->entityID();
      EXPECT_EQ(message->deliveryState(), highest[message->entityID()])
          << "message " << message->entityID();
      EXPECT_EQ(message->sortingID(), message->entityID() * 100);
      photos += message->attachmentKind() == ChatAttachmentType::Photo;
      videos += message->attachmentKind() == ChatAttachmentType::Video;
      withGuid += message->hasGuid();
    }
    std::size_t expectedPhotos = 0, expectedVideos = 0, expectedGuids = 0;
    for (const auto& message : messages) {
      expectedPhotos += message.contains("photo");
      expectedVideos += message.contains("video_url");
      expectedGuids += message.contains("guid");
    }
    EXPECT_EQ(photos, expectedPhotos);
    EXPECT_EQ(videos, expectedVideos);
    EXPECT_EQ(withGuid, expectedGuids);
  });
}

TEST_F(PeopleFixturesTest, FeedPageShowsMediaInOrderWithTheirProportions) {
  perform([&] { map("FeedPostEntity", fixture("feed.json"), "posts"); });
  reopen();
  perform([&] {
    auto stored = all(FeedPostEntity::kEntityName);
    ASSERT_EQ(stored.size(), 8u);
    for (ManagedObject* object : stored) {
      auto* post = dynamic_cast<FeedPostEntity*>(object);
      ASSERT_NE(post, nullptr);
      ASSERT_NE(post->user(), nullptr) << "the author is connected";
      auto medias = post->mediasOrdered();
      for (std::size_t i = 1; i < medias.size(); ++i) {
        EXPECT_LE(medias[i - 1]->sequence(), medias[i]->sequence());
      }
      if (medias.empty()) {
        EXPECT_FALSE(post->previewAspectRatio().has_value());
      } else if (post->hasVideo()) {
        EXPECT_DOUBLE_EQ(*post->previewAspectRatio(), FeedPostEntity::kUnknownVideoAspectRatio);
        EXPECT_EQ(post->videoPreviewURL().substr(post->videoPreviewURL().size() - 8), "clip.jpg");
      } else {
        EXPECT_DOUBLE_EQ(*post->previewAspectRatio(), medias[0]->aspectRatio());
      }
      EXPECT_EQ(post->showLikes(), post->likesCount() > 0);
    }
  });
}

TEST_F(PeopleFixturesTest, InvoiceHistoryFiltersByServiceAndReachesItsCoach) {
  perform([&] { map("InvoiceEntity", fixture("invoices.json"), "finances"); });
  reopen();
  perform([&] {
    auto filter = std::make_shared<FilterInvoicesRequest>();
    filter->setServiceType(ServiceType::Monthly);
    auto monthly = filter->filteredInvoices(*context);
    ASSERT_EQ(monthly.size(), 6u);
    for (std::size_t i = 1; i < monthly.size(); ++i) {
      EXPECT_GE(monthly[i - 1]->created_at().timeIntervalSince1970,
                monthly[i]->created_at().timeIntervalSince1970);
    }
    for (InvoiceEntity* invoice : monthly) {
      ASSERT_NE(invoice->coach(), nullptr);
      EXPECT_EQ(invoice->coach()->entityID(), invoice->trainerID());
      EXPECT_FALSE(invoice->invoiceInfoTitle().empty());
    }
  });
}

// A signed-in user's payload carrying posts, comments, invoices on both sides, a card and
// payment methods: stored whole and read back through the user's relations after reopening.
TEST_F(PeopleFixturesTest, UserPayloadReadsBackThroughItsRelations) {
  perform([&] {
    auto feed = parsed("feed.json")["posts"];
    auto invoices = parsed("invoices.json")["finances"];
    nlohmann::json user = {{"id", 2001}, {"firstName", "Ivan"}, {"type", "trainer"}};
    user["feedPosts"] = nlohmann::json::array({feed[0], feed[2]});
    user["feedPostComment"] = {{{"guid", "c-1"}, {"id", 300}, {"body", "Nice form"}}};
    user["invoiceCoach"] = nlohmann::json::array({invoices[0], invoices[2]});
    user["invoiceClient"] = {{{"id", 41000},
                              {"number", "00900"},
                              {"price", 990},
                              {"currency", "RUB"},
                              {"trainerId", 2002}}};
    user["card"] = {{"id", 9}, {"type", "Visa"}, {"number", "**** 4242"}};
    user["paymentMethods"] = {
        {{"id", 4}, {"guid", "pm-1"}, {"title", "Bank"}, {"details", "IBAN DE00"}}};
    map("UserEntity", nlohmann::json{{"user", user}}.dump(), "user");
  });
  reopen();
  perform([&] {
    auto users = all(UserEntity::kEntityName);
    UserEntity* coach = nullptr;
    for (ManagedObject* object : users) {
      if (object->valueForKey("entityID").asInt64() == 2001)
        coach = dynamic_cast<UserEntity*>(object);
    }
    ASSERT_NE(coach, nullptr);
    EXPECT_EQ(coach->feedPosts().size(), 2u);
    for (FeedPostEntity* post : coach->feedPosts()) EXPECT_EQ(post->user(), coach);
    ASSERT_EQ(coach->feedPostComment().size(), 1u);
    EXPECT_EQ(coach->feedPostComment()[0]->body(), "Nice form");
    ASSERT_EQ(coach->invoiceCoach().size(), 2u);
    for (InvoiceEntity* invoice : coach->invoiceCoach()) {
      EXPECT_EQ(invoice->coach(), coach);
      EXPECT_EQ(invoice->serviceTitleWithType().rfind("Personal coaching (", 0), 0u);
    }
    ASSERT_EQ(coach->invoiceClient().size(), 1u);
    EXPECT_EQ(coach->invoiceClient()[0]->client(), coach);
    ASSERT_NE(coach->card(), nullptr);
    EXPECT_EQ(coach->card()->cardType(), CardType::Visa);
    ASSERT_EQ(coach->paymentMethods().size(), 1u);
    EXPECT_EQ(coach->paymentMethods()[0]->details(), "IBAN DE00");
    EXPECT_EQ(PaymentDetailsEntity::method(*context), coach->paymentMethods()[0]);
  });
}

// The fuzz seeds of these records (both or neither message identifier, unknown media kinds,
// malformed media, negative amounts, unknown currencies) onto the real classes: no crash, and
// every record stored before keeps its values.
TEST_F(PeopleFixturesTest, MalformedPeoplePayloadsLoseNothingStored) {
  perform([&] {
    map("ChatMessageEntity", fixture("chat.json"), "messages");
    map("FeedPostEntity", fixture("feed.json"), "posts");
    map("InvoiceEntity", fixture("invoices.json"), "finances");
    map("MeasurementEntity", fixture("measurements.json"), "measurements");
  });
  auto snapshot = [&] {
    nlohmann::json out;
    for (const char* entity : {"ChatMessageEntity", "FeedPostEntity", "InvoiceEntity",
                               "MeasurementEntity", "ProfileCommonPhotoEntity"}) {
      for (ManagedObject* object : all(entity)) {
        if (object->valueForKey("entityID").asInt64() < 5) continue;  // the seeds' own ids
        nlohmann::json values;
        for (const auto& attribute : object->entity().attributes()) {
          values[attribute.name] = object->valueForKey(attribute.name).description();
        }
        out[entity].push_back(values);
      }
    }
    return out;
  };
  nlohmann::json before;
  perform([&] { before = snapshot(); });
  const std::pair<const char*, const char*> seeds[] = {
      {"people-chat", "ChatMessageEntity"},
      {"people-feed", "FeedPostEntity"},
      {"people-finance", "InvoiceEntity"},
      {"people-finance", "PayoutEntity"},
      {"people-measurements", "MeasurementEntity"}};
  for (const auto& [seed, className] : seeds) {
    std::string payload =
        readFile(fixturePath(std::string("../../Fuzz/corpus/fuzz_mapping_payload/") + seed));
    ASSERT_FALSE(payload.empty()) << seed;
    for (const char* keyPath :
         {"messages", "posts", "finances", "finance_stat_by_currency", "measurements"}) {
      perform([&] {
        try {
          map(className, payload, keyPath);
        } catch (const std::exception&) {
          // Refusing a payload is fine; damaging what is stored is not.
        }
      });
    }
  }
  perform([&] {
    auto changes = nlohmann::json::diff(before, snapshot());
    EXPECT_TRUE(changes.empty()) << changes.dump();
  });
}

}  // namespace
}  // namespace dm::test
