// One chat message: delivery states that only advance, a time set once, a sort key taken from
// the first server identifier, and the server's media fields folded into one attachment.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "Social/ChatMessageEntityGenerated.h"

namespace dm {

// What a message carries besides its text.
enum class ChatAttachmentType : std::int16_t { None = 0, Photo = 1, Video = 2 };

// Threads and ownership as ManagedObject. Stored fields and class operations come from the
// store model (ChatMessageEntityGenerated); this class adds the rules.
class ChatMessageEntity : public ChatMessageEntityGenerated {
 public:
  // The delivery state that resets a message (sent again, failed).
  static constexpr std::int16_t kDeliveryStateReset = -1;

  // Stores `state` when it resets (-1) or does not go back; a lower state is ignored.
  void setDeliveryState(std::int16_t state);
  // Stores the time only while the message has none: the first time given wins.
  void setTime(Date time);
  // Stores the identifier; the first one also gives the sort key (identifier * 100).
  void setEntityID(std::int64_t identifier);

  // A photo path: the attachment becomes a photo with its thumbnail as preview. An empty path
  // changes nothing.
  void setPhotoUrl(const std::string& path);
  // The photo's address when the attachment is a photo, else "".
  std::string photoUrl() const;
  // The server's preview addresses by screen scale ("video_preview_2x"): the current screen's,
  // else the double-density one, becomes the preview of a video attachment.
  void setVideoPreviewUrls(const nlohmann::json& urlsByScale);
  // A video address makes the attachment a video.
  void setVideoUrl(const std::string& url);

  // The stored kind, or None when the stored kind has no address left to show.
  ChatAttachmentType attachmentKind() const;
  // The addresses, a relocatable cache path turned into a file URL of today's caches.
  std::string attachmentAddress() const;
  std::string attachmentPreviewAddress() const;

  // Local calendar days since 1970 of the message time (the device's current UTC offset):
  // messages of one local day share it.
  std::int64_t dayGroupingKey() const;

  class Class : public ChatMessageEntityGenerated::Class {
   public:
    using ChatMessageEntityGenerated::Class::Class;
    // The media fields come in through setters. "guid" is read from payloads only to find
    // the message this device sent (its setter ignores the server's value: the guid is ours).
    MappingDictionary attributeMappings() const override;
    // What a message sends: everything mapped but the guid, which never leaves the device.
    MappingDictionary serializationAttributeMappings() const override;
    bool identifiesByAnyAttribute() const override { return true; }
  };
};

// The setters the mapping engine calls for chat messages.
void registerChatMessageSetters();

// The key of a video preview address for a screen of `scale` ("video_preview_2x").
std::string chatVideoPreviewKey(int scale);

// Day key of `time` for a local time `utcOffsetSeconds` ahead of UTC.
std::int64_t chatDayGroupingKey(Date time, std::int64_t utcOffsetSeconds);

}  // namespace dm
