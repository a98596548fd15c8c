// The base record of the handbook store: the fields every category, filter tag and post
// shares, its filling from a server dictionary, and its image addresses.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/HandbookItemEntityGenerated.h"
#include "Mapping/Enumerations/HandbookEnumerations.h"
#include "Platform/Foundation/Date.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

namespace handbook_dict {
class Dictionary;
}

// Threads and ownership as ManagedObject: use a record only on its context's queue; the
// context owns it. Addresses are URL texts; "" means none.
class HandbookItemEntity : public HandbookItemEntityGenerated {
 public:
  // --- Stored fields: generated, except these, where empty reads as std::nullopt ---
  std::optional<std::int64_t> entityID() const { return optionalInteger(kEntityIDIndex); }
  void setEntityID(std::optional<std::int64_t> v) { setOptional(kEntityIDIndex, v); }
  std::optional<Date> createdAt() const;
  std::optional<Date> updatedAt() const;
  std::optional<std::int64_t> weight() const { return optionalInteger(kWeightIndex); }

  // --- Creation ---
  // Fills `entity` (or, when null, a new record of T inserted into `context`) from the
  // server dictionary, synchronously on the context's queue; any thread (the caller waits).
  // Never fails: wrongly typed values store empty. Returns the record, owned by the context.
  template <typename T>
  static T* createWithEntity(T* entity, ManagedObjectContext& context, const nlohmann::json& dict) {
    T* result = entity;
    context.performAndWait([&] {
      if (!result) result = context.insertNew<T>(T::kEntityName);
      if (result) result->fill(dict);
    });
    return result;
  }
  // The layered fill: item fields, then the kind's fields, then the kind step that sets
  // isNeedsCache. Context queue only.
  void fill(const nlohmann::json& dict);
  // The same from either form of dictionary (see HandbookDictionaryValues.h).
  void fillFrom(const handbook_dict::Dictionary& dict);

  // --- Derived values ---
  bool isCategory() const;
  bool isPost() const;
  // Undefined for records that are neither a category nor a post.
  virtual HandbookPostType postType() const { return HandbookPostType::Undefined; }
  bool hasPhoto() const { return !photo().empty(); }
  bool hasBackgroundPhoto() const { return !backgroundPhoto().empty(); }
  // The bundled resource named by the photo's MD5, else the first legacy cache key with a
  // cached image, else the photo's own URL; "" for no or an invalid photo.
  std::string photoURL() const;
  // "<address without extension>_thumb_3x.<extension>"; "" for no or an invalid photo.
  std::string thumbnailPhoto() const;
  std::string thumbnailURL() const;
  std::string backgroundPhotoURL() const;
  std::string thumbnailBackgroundPhoto() const;
  std::string thumbnailBackgroundPhotoURL() const;
  // The local URL of a bundled resource, or "".
  std::string urlForResource(std::string_view name) const;
  // The media host followed by the URL's path: the one key older versions cached under.
  std::vector<std::string> legacyCacheKeysForURL(std::string_view url) const;
  std::string trimmedTitle() const;

 protected:
  // The kind's own fields; overrides call their parent's first.
  virtual void fillFields(const handbook_dict::Dictionary& dict);
  // Sets isNeedsCache; every kind but the food product pre-caches its images.
  virtual void applyKindStep() { setIsNeedsCache(true); }

  std::optional<std::int64_t> optionalInteger(std::size_t index) const;
  std::optional<double> optionalDouble(std::size_t index) const;
  void setOptional(std::size_t index, std::optional<std::int64_t> value);
};

}  // namespace dm
