// The server's reply to a sent message: its id, time and media, read as one attachment.
#pragma once

#include "Social/ChatMessageResponseGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class ChatMessageResponse : public ChatMessageResponseGenerated {
  DM_RECORD_OBJECT(ChatMessageResponse)

 protected:
  // attachmentType, attachmentURL and attachmentPreviewURL, while not set, read as the
  // message entity derives them from the media fields: a photo path gives a photo with its
  // thumbnail; a video preview (this screen's scale, else 2x) or a video address a video.
  RecordValue readValue(std::string_view name, RecordValue stored) const override;
};

}  // namespace dm
