// Support request rules.
#include "Accounts/SupportRequest.h"

#include "Accounts/RequestValues.h"
#include "Accounts/SupportPhotoAddRequest.h"

namespace dm {

void SupportRequest::serializePhotos() {
  RecordValue::Array serializedPhotos;
  RecordValue elements = photos();
  if (elements.isArray()) {
    for (const RecordValue& element : elements.asArray()) {
      if (!element.isRecord()) continue;
      auto photo = std::dynamic_pointer_cast<SupportPhotoAddRequest>(element.asRecord());
      if (!photo) continue;
      RecordValue tree = photo->serialized();
      auto root = photo->recordClass() ? photo->recordClass()->rootKeyPath() : std::nullopt;
      if (root && tree.isDictionary()) {
        auto it = tree.asDictionary().find(*root);
        if (it != tree.asDictionary().end()) serializedPhotos.push_back(it->second);
      }
    }
  }
  setSerializedPhotos(RecordValue(std::move(serializedPhotos)));
}

RecordValue SupportRequest::readValue(std::string_view name, RecordValue stored) const {
  return readingEmailNormalized(name, std::move(stored));
}

}  // namespace dm
