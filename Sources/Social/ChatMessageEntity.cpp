// Chat message rules and the setters through which mapped messages take them.
#include "Social/ChatMessageEntity.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "Platform/Host/ScreenScale.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Profile/MediaAddresses.h"
#include "UserData/CoreData/CachePathFixes.h"

namespace dm {

namespace {

std::string textAt(const nlohmann::json& dictionary, const std::string& key) {
  auto it = dictionary.find(key);
  return it != dictionary.end() && it->is_string() ? it->get<std::string>() : std::string();
}

std::int64_t currentUtcOffsetSeconds() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  if (!localtime_r(&now, &local)) return 0;
  return local.tm_gmtoff;
}

}  // namespace

void ChatMessageEntity::setDeliveryState(std::int16_t state) {
  if (state == kDeliveryStateReset || state >= deliveryState()) {
    ChatMessageEntityGenerated::setDeliveryState(state);
  }
}

void ChatMessageEntity::setTime(Date time) {
  if (hasTime()) return;
  ChatMessageEntityGenerated::setTime(time);
}

void ChatMessageEntity::setEntityID(std::int64_t identifier) {
  ChatMessageEntityGenerated::setEntityID(identifier);
  if (sortingID() == 0) {
    setSortingID(static_cast<std::int32_t>(static_cast<std::uint32_t>(identifier) * 100u));
  }
}

void ChatMessageEntity::setPhotoUrl(const std::string& path) {
  if (path.empty()) return;
  setAttachmentType(static_cast<std::int16_t>(ChatAttachmentType::Photo));
  setAttachmentPreviewURL(MediaAddresses::shared()->thumbnailAddress(path));
  setAttachmentURL(path);
}

std::string ChatMessageEntity::photoUrl() const {
  return attachmentType() == static_cast<std::int16_t>(ChatAttachmentType::Photo)
             ? attachmentAddress()
             : std::string();
}

void ChatMessageEntity::setVideoPreviewUrls(const nlohmann::json& urlsByScale) {
  if (!urlsByScale.is_object()) return;
  std::string preview =
      textAt(urlsByScale, chatVideoPreviewKey(ScreenScale::shared()->wholeScale()));
  if (preview.empty()) preview = textAt(urlsByScale, chatVideoPreviewKey(2));
  if (preview.empty()) return;
  setAttachmentType(static_cast<std::int16_t>(ChatAttachmentType::Video));
  setAttachmentPreviewURL(preview);
}

void ChatMessageEntity::setVideoUrl(const std::string& url) {
  setAttachmentType(static_cast<std::int16_t>(ChatAttachmentType::Video));
  setAttachmentURL(url);
}

ChatAttachmentType ChatMessageEntity::attachmentKind() const {
  std::int16_t stored = attachmentType();
  if (stored == 0) return ChatAttachmentType::None;
  if (!attachmentPreviewURL().empty() || !attachmentURL().empty()) {
    return static_cast<ChatAttachmentType>(stored);
  }
  return ChatAttachmentType::None;
}

std::string ChatMessageEntity::attachmentAddress() const {
  return fixIfRelativeCache(attachmentURL());
}

std::string ChatMessageEntity::attachmentPreviewAddress() const {
  return fixIfRelativeCache(attachmentPreviewURL());
}

std::int64_t ChatMessageEntity::dayGroupingKey() const {
  return chatDayGroupingKey(time(), currentUtcOffsetSeconds());
}

std::string chatVideoPreviewKey(int scale) {
  char key[32];
  std::snprintf(key, sizeof key, "video_preview_%dx", scale);
  return key;
}

std::int64_t chatDayGroupingKey(Date time, std::int64_t utcOffsetSeconds) {
  auto seconds = static_cast<std::int64_t>(std::trunc(time.timeIntervalSince1970));
  return (seconds + utcOffsetSeconds) / 86400;
}

MappingDictionary ChatMessageEntity::Class::attributeMappings() const {
  auto mapping = ChatMessageEntityGenerated::Class::attributeMappings();
  mapping["photoUrl"] = "photo";
  mapping["videoPreviewUrls"] = "video_preview";
  mapping["videoUrl"] = "video_url";
  return mapping;
}

MappingDictionary ChatMessageEntity::Class::serializationAttributeMappings() const {
  auto mapping = attributeMappings();
  mapping.erase("guid");
  return mapping;
}

void registerChatMessageSetters() {
  auto message = [](ManagedObject& record) -> ChatMessageEntity* {
    return dynamic_cast<ChatMessageEntity*>(&record);
  };
  ManagedObjectClasses::registerSetters(
      "ChatMessageEntity",
      {// The guid identifies a message this device sent; a payload never changes it.
       {"guid", AttributeType::String, [](ManagedObject&, const Value&) {}},
       {"time", AttributeType::Date,
        [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m); msg && !v.isNull()) msg->setTime(v.asDate());
        }},
       {"deliveryState", AttributeType::Integer16,
        [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m); msg && !v.isNull()) {
            msg->setDeliveryState(static_cast<std::int16_t>(v.asInt64()));
          }
        }},
       {"entityID", AttributeType::Integer64,
        [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m); msg && !v.isNull()) msg->setEntityID(v.asInt64());
        }},
       {"photoUrl", AttributeType::String,
        [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m); msg && v.isString()) msg->setPhotoUrl(v.asString());
        }},
       {"videoPreviewUrls", AttributeType::Dictionary,
        [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m))
            msg->setVideoPreviewUrls(structureFromValue(v, AttributeType::Dictionary));
        }},
       {"videoUrl", AttributeType::String, [message](ManagedObject& m, const Value& v) {
          if (auto* msg = message(m); msg && v.isString()) msg->setVideoUrl(v.asString());
        }}});
}

}  // namespace dm
