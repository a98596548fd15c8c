// A chat message to send: text, guid and at most one photo or video; the rest is local state.
#pragma once

#include "Social/SendMessageRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class SendMessageRequest : public SendMessageRequestGenerated {
  DM_RECORD_OBJECT(SendMessageRequest)

 public:
  // True when the message carries a local media file (mediaPath is not empty).
  bool isMediaRequest() const { return !mediaPath().empty(); }

  class Class : public SendMessageRequestGenerated::Class {
   public:
    using SendMessageRequestGenerated::Class::Class;
    // Exactly the four sent pairs: the base's automatic mapping would add the local fields.
    MappingDictionary attributeMappings() const override {
      return {{"text", "body"}, {"guid", "guid"}, {"photo", "photo"}, {"video", "video"}};
    }
  };
};

}  // namespace dm
