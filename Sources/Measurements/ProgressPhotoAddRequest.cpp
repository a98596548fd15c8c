// Progress photo requests made from stored photos.
#include "Measurements/ProgressPhotoAddRequest.h"

#include "Mapping/EntityStatus.h"
#include "Profile/ProfileCommonPhotoEntity.h"

namespace dm {

std::shared_ptr<ProgressPhotoAddRequest> ProgressPhotoAddRequest::requestWithPhotoEntity(
    const ProfileCommonPhotoEntity& photo) {
  auto request = std::make_shared<ProgressPhotoAddRequest>();
  request->setEntityID(photo.entityID());
  request->setType(photo.sequence());
  if (!photo.entityStatusString().empty()) request->setStatusString(photo.entityStatusString());
  request->setFullAddress(photo.absoluteUrl());
  return request;
}

std::shared_ptr<ProgressPhotoAddRequest> ProgressPhotoAddRequest::deleteRequestWithPhotoEntity(
    const ProfileCommonPhotoEntity& photo) {
  auto request = requestWithPhotoEntity(photo);
  request->setStatus(EntityStatus::Deleted);
  return request;
}

}  // namespace dm
