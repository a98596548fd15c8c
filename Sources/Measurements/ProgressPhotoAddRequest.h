// A progress photo of a measurement to upload (or to delete): its order goes as "sequence".
#pragma once

#include <memory>

#include "Measurements/ProgressPhotoAddRequestGenerated.h"

namespace dm {

class ProfileCommonPhotoEntity;

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class ProgressPhotoAddRequest : public ProgressPhotoAddRequestGenerated {
  DM_RECORD_OBJECT(ProgressPhotoAddRequest)

 public:
  // The request that deletes a stored photo on the server: its id and order with the status
  // "deleted". Use on the photo's context queue.
  static std::shared_ptr<ProgressPhotoAddRequest> deleteRequestWithPhotoEntity(
      const ProfileCommonPhotoEntity& photo);
  // An upload request describing a stored photo as it is: id, order, status and address.
  static std::shared_ptr<ProgressPhotoAddRequest> requestWithPhotoEntity(
      const ProfileCommonPhotoEntity& photo);
};

}  // namespace dm
