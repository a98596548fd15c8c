// The attachment of a sent message's reply.
#include "Social/ChatMessageResponse.h"

#include "Platform/Host/ScreenScale.h"
#include "Profile/MediaAddresses.h"
#include "Social/ChatMessageEntity.h"

namespace dm {

namespace {

struct Attachment {
  ChatAttachmentType type = ChatAttachmentType::None;
  std::string url;
  std::string previewUrl;
};

std::string textIn(const RecordValue& dictionary, const std::string& key) {
  if (!dictionary.isDictionary()) return {};
  auto it = dictionary.asDictionary().find(key);
  return it != dictionary.asDictionary().end() && it->second.isString() ? it->second.asString()
                                                                        : std::string();
}

std::string textOf(const RecordValue& value) {
  return value.isString() ? value.asString() : std::string();
}

}  // namespace

RecordValue ChatMessageResponse::readValue(std::string_view name, RecordValue stored) const {
  if (!stored.isNull()) return stored;
  if (name != "attachmentType" && name != "attachmentURL" && name != "attachmentPreviewURL") {
    return stored;
  }
  // The same order as the entity's setters: photo, then the video's preview and address.
  Attachment attachment;
  std::string photo = textOf(valueForKey("photoUrl"));
  if (!photo.empty()) {
    attachment = {ChatAttachmentType::Photo, photo,
                  MediaAddresses::shared()->thumbnailAddress(photo)};
  }
  RecordValue previews = valueForKey("videoPreviewUrls");
  std::string preview = textIn(previews, chatVideoPreviewKey(ScreenScale::shared()->wholeScale()));
  if (preview.empty()) preview = textIn(previews, chatVideoPreviewKey(2));
  if (!preview.empty()) {
    attachment.type = ChatAttachmentType::Video;
    attachment.previewUrl = preview;
  }
  RecordValue video = valueForKey("videoUrl");
  if (!video.isNull()) {
    attachment.type = ChatAttachmentType::Video;
    attachment.url = textOf(video);
  }
  if (name == "attachmentType") {
    return RecordValue(static_cast<long long>(attachment.type));
  }
  const std::string& text = name == "attachmentURL" ? attachment.url : attachment.previewUrl;
  return text.empty() ? RecordValue() : RecordValue(text);
}

}  // namespace dm
