// A photo attached to a support request: only the image bytes are sent, under "photo".
#pragma once

#include "Accounts/SupportPhotoAddRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class SupportPhotoAddRequest : public SupportPhotoAddRequestGenerated {
  DM_RECORD_OBJECT(SupportPhotoAddRequest)

 public:
  class Class : public SupportPhotoAddRequestGenerated::Class {
   public:
    using SupportPhotoAddRequestGenerated::Class::Class;
    // Exactly the bytes: the upload's status and id pairs do not apply to support photos.
    MappingDictionary attributeMappings() const override { return {{"data", "photo"}}; }
  };
};

}  // namespace dm
