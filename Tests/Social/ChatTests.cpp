// Chat records: identification, delivery states, times, sort keys, attachments, day keys,
// conversation update times and the chat request bodies.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Mapping/Records/ModelMapper.h"
#include "Platform/Host/ScreenScale.h"
#include "Profile/ProfileTestSupport.h"
#include "Social/ChatEntity.h"
#include "Social/ChatMessageEntity.h"
#include "Social/ChatMessageResponse.h"
#include "Social/SendMessageRequest.h"

namespace dm::test {
namespace {

class ChatStoreTest : public ProfileStoreTest {
 protected:
  ChatMessageEntity* message(ManagedObject* object) {
    return dynamic_cast<ChatMessageEntity*>(object);
  }
};

TEST_F(ChatStoreTest, MessagesMapWithAttachmentsAndKeepTheirFirstTimeAndSortKey) {
  perform([&] {
    auto first = map("ChatMessageEntity", R"({"messages": [
        {"id": 7, "conversation_id": 3, "from_user_id": 11, "created_at": "2026-03-01T10:00:00Z",
         "body": "hi", "photo": "chat/p.jpg"},
        {"id": 8, "conversation_id": 3, "from_user_id": 12, "created_at": "2026-03-01T10:01:00Z",
         "video_url": "https://v/clip.mp4", "video_preview": {"video_preview_2x": "https://v/p2.jpg"}}
      ]})",
                     "messages");
    ASSERT_EQ(first.size(), 2u);
    auto* photo = message(first[0]);
    ASSERT_NE(photo, nullptr);
    EXPECT_EQ(photo->text(), "hi");
    EXPECT_EQ(photo->chatID(), 3);
    EXPECT_EQ(photo->sortingID(), 700);
    EXPECT_EQ(photo->attachmentKind(), ChatAttachmentType::Photo);
    EXPECT_EQ(photo->photoUrl(), "chat/p.jpg");
    EXPECT_EQ(photo->attachmentPreviewURL(), "chat/thumb_p.jpg");
    auto* video = message(first[1]);
    EXPECT_EQ(video->attachmentKind(), ChatAttachmentType::Video);
    EXPECT_EQ(video->attachmentURL(), "https://v/clip.mp4");
    EXPECT_EQ(video->attachmentPreviewURL(), "https://v/p2.jpg");
    EXPECT_EQ(video->photoUrl(), "");
    Date firstTime = photo->time();

    // The same message again, with a later time: matched by id, first time kept.
    auto again = map("ChatMessageEntity", R"({"messages": [
        {"id": 7, "created_at": "2026-03-02T10:00:00Z", "body": "hi, edited"}]})",
                     "messages");
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0], first[0]);
    EXPECT_EQ(photo->time().timeIntervalSince1970, firstTime.timeIntervalSince1970);
    EXPECT_EQ(photo->text(), "hi, edited");
    EXPECT_EQ(all("ChatMessageEntity").size(), 2u);
  });
}

// The rules a message keeps on its own fields: delivery states only advance (-1 resets), the
// sort key comes from the first server id, an attachment needs an address.
TEST_F(ChatStoreTest, MessageFieldRules) {
  perform([&] {
    auto* m = insert<ChatMessageEntity>();
    for (auto [state, expected] :
         std::vector<std::pair<int, int>>{{3, 3}, {2, 3}, {3, 3}, {-1, -1}, {1, 1}}) {
      m->setDeliveryState(state);
      EXPECT_EQ(m->deliveryState(), expected) << "after " << state;
    }

    m->setEntityID(5);
    m->setEntityID(9);
    EXPECT_EQ(m->entityID(), 9);
    EXPECT_EQ(m->sortingID(), 500);

    m->setAttachmentType(1);
    EXPECT_EQ(m->attachmentKind(), ChatAttachmentType::None);
    m->setAttachmentPreviewURL("p.jpg");
    EXPECT_EQ(m->attachmentKind(), ChatAttachmentType::Photo);
    m->setPhotoUrl("");
    EXPECT_EQ(m->attachmentURL(), "") << "an empty photo path changes nothing";
  });
}

TEST_F(ChatStoreTest, VideoPreviewFallsBackToDoubleDensity) {
  ScreenScale::setShared(std::make_shared<FixedScreenScale>(3.0));
  perform([&] {
    auto* m = insert<ChatMessageEntity>();
    m->setVideoPreviewUrls({{"video_preview_2x", "two.jpg"}});
    EXPECT_EQ(m->attachmentPreviewURL(), "two.jpg");
    m->setVideoPreviewUrls({{"video_preview_3x", "three.jpg"}, {"video_preview_2x", "two.jpg"}});
    EXPECT_EQ(m->attachmentPreviewURL(), "three.jpg");
    EXPECT_EQ(m->attachmentKind(), ChatAttachmentType::Video);
  });
  ScreenScale::setShared(nullptr);
}

TEST(ChatDayKeys, LastSecondOfADayAndMidnightDifferByOne) {
  const std::int64_t offset = 3 * 3600;  // local time three hours ahead of UTC
  // 2026-03-01 23:59:59 local is 20:59:59 UTC.
  Date lastSecond(1772398799.0);
  Date midnight(1772398800.0);
  EXPECT_EQ(chatDayGroupingKey(midnight, offset) - chatDayGroupingKey(lastSecond, offset), 1);
  EXPECT_EQ(chatDayGroupingKey(Date(1772398799.9), offset), chatDayGroupingKey(lastSecond, offset));
}

TEST_F(ChatStoreTest, ConversationUpdateTimeFollowsTheLastMessageOrCreation) {
  perform([&] {
    auto* chat = insert<ChatEntity>();
    chat->setCreatedAt(Date(1000));
    context->save();
    EXPECT_EQ(chat->updatedAt().timeIntervalSince1970, 1000);
    auto* last = insert<ChatMessageEntity>();
    last->setTime(Date(5000));
    chat->setLastMessage(last);
    context->save();
    EXPECT_EQ(chat->updatedAt().timeIntervalSince1970, 5000);
  });
}

TEST(ChatRequests, SendingAMessageSendsOnlyTextAndGuid) {
  auto send = std::make_shared<SendMessageRequest>();
  send->setText("hello");
  send->setGuid("g-2");
  send->setChatId(3);
  send->setMediaPath("local/photo.jpg");
  send->setInProgress(true);
  EXPECT_EQ(send->serialized().toJson(),
            nlohmann::json::parse(R"({"body": "hello", "guid": "g-2"})"));
}

TEST_F(ChatStoreTest, GuidFindsTheSentMessageButNeverComesFromOrGoesToTheServer) {
  perform([&] {
    auto* sent = insert<ChatMessageEntity>();
    sent->setGuid("local-1");
    sent->setText("sending");
    context->save();
    // The echo names the message by our guid: it is matched, gets its id, keeps its guid.
    auto echoed = map("ChatMessageEntity", R"({"messages": [
        {"id": 90, "guid": "local-1", "body": "sent", "deliveryState": 1},
        {"id": 91, "guid": "server-made", "body": "from the other side"}]})",
                      "messages");
    ASSERT_EQ(echoed.size(), 2u);
    EXPECT_EQ(echoed[0], sent);
    EXPECT_EQ(sent->entityID(), 90);
    EXPECT_EQ(sent->guid(), "local-1");
    EXPECT_EQ(sent->text(), "sent");
    EXPECT_FALSE(message(echoed[1])->hasGuid()) << "a guid is never taken from the server";
    EXPECT_EQ(all(ChatMessageEntity::kEntityName).size(), 2u);

    // Both identifiers pointing at different messages: the server id wins.
    map("ChatMessageEntity", R"({"messages": [{"id": 91, "guid": "local-1", "body": "b"}]})",
        "messages");
    EXPECT_EQ(message(echoed[1])->text(), "b");
    EXPECT_EQ(sent->text(), "sent");

    auto request = ModelMapper::shared()->requestMappingForClass(
        *RecordClasses::classNamed("ChatMessageEntity"));
    for (const auto& attribute : request->attributeMappings()) {
      EXPECT_NE(attribute.source.text, "guid");
    }
  });
}

TEST(ChatReplies, SentMessageReplyReadsItsMediaAsOneAttachment) {
  auto photo = std::make_shared<ChatMessageResponse>();
  photo->setPhotoUrl("chat/p.jpg");
  EXPECT_EQ(photo->attachmentType(), 1);
  EXPECT_EQ(photo->attachmentURL(), "chat/p.jpg");
  EXPECT_FALSE(photo->attachmentPreviewURL().empty());

  auto video = std::make_shared<ChatMessageResponse>();
  video->setVideoPreviewUrls(
      RecordValue(RecordValue::Dictionary{{"video_preview_2x", "v@2x.jpg"}}));
  video->setVideoUrl("v.mp4");
  EXPECT_EQ(video->attachmentType(), 2);
  EXPECT_EQ(video->attachmentURL(), "v.mp4");
  EXPECT_EQ(video->attachmentPreviewURL(), "v@2x.jpg");

  auto none = std::make_shared<ChatMessageResponse>();
  none->setPhotoUrl("");
  EXPECT_EQ(none->attachmentType(), 0);
  EXPECT_FALSE(none->hasAttachmentURL());
}

}  // namespace
}  // namespace dm::test
