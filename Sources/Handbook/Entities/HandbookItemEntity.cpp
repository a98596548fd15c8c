// Filling and image addresses of handbook records.
#include "Handbook/Entities/HandbookItemEntity.h"

#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookMedia.h"
#include "Models/HandbookEntities.h"

namespace dm {

namespace {

// The thumbnail form of an address: its path extension moved behind "_thumb_3x".
std::string thumbnailOf(const std::string& text) {
  std::string url = handbook_url::urlWithString(text);
  if (url.empty()) return {};
  std::size_t pathEnd = url.find_first_of("?#");
  if (pathEnd == std::string::npos) pathEnd = url.size();
  std::size_t lastSlash = url.rfind('/', pathEnd == 0 ? 0 : pathEnd - 1);
  std::size_t componentStart = lastSlash == std::string::npos ? 0 : lastSlash + 1;
  std::size_t dot = url.rfind('.', pathEnd == 0 ? 0 : pathEnd - 1);
  std::string extension;
  std::string stem = url;
  if (dot != std::string::npos && dot > componentStart && dot < pathEnd) {
    extension = url.substr(dot + 1, pathEnd - dot - 1);
    stem = url.substr(0, dot) + url.substr(pathEnd);
  }
  if (stem.empty()) return {};
  return stem + "_thumb_3x." + extension;
}

// The bundled resource for a text, else the text's own URL.
std::string resourceOrURL(const std::string& text) {
  if (text.empty()) return {};
  std::string local = handbook_url::resourceURLForText(text);
  if (!local.empty()) return local;
  return handbook_url::urlWithString(text);
}

}  // namespace

std::optional<Date> HandbookItemEntity::createdAt() const {
  Value v = valueAt(kCreatedAtIndex);
  return v.isNull() ? std::nullopt : std::optional<Date>(v.asDate());
}

std::optional<Date> HandbookItemEntity::updatedAt() const {
  Value v = valueAt(kUpdatedAtIndex);
  return v.isNull() ? std::nullopt : std::optional<Date>(v.asDate());
}

void HandbookItemEntity::fill(const nlohmann::json& dict) {
  fillFrom(handbook_dict::Dictionary(dict));
}

void HandbookItemEntity::fillFrom(const handbook_dict::Dictionary& dict) {
  fillFields(dict);
  applyKindStep();
}

void HandbookItemEntity::fillFields(const handbook_dict::Dictionary& dict) {
  using namespace handbook_dict;
  setValueAt(kEntityIDIndex, unsignedNumber(dict, "id"));
  setValueAt(kCreatedAtIndex, date(dict, "created_at"));
  setValueAt(kUpdatedAtIndex, date(dict, "updated_at"));
  setValueAt(kIsNeedsCacheIndex, unsignedNumber(dict, "is_needs_cache"));
  setValueAt(kStatusStringIndex, text(dict, "status"));
  setValueAt(kTitleIndex, text(dict, "title"));
  setValueAt(kWeightIndex, unsignedNumber(dict, "weight"));
  setValueAt(kLanguageIndex, text(dict, "language"));
  setValueAt(kPhotoIndex, text(dict, "photo"));
  setValueAt(kDarkPhotoIndex, text(dict, "dark_photo"));
  setValueAt(kBackgroundPhotoIndex, text(dict, "background_photo"));
}

bool HandbookItemEntity::isCategory() const {
  return entity().name() == HandbookCategoryEntityGenerated::kEntityName;
}

bool HandbookItemEntity::isPost() const {
  for (const EntityDescription* e = &entity(); e; e = e->parent())
    if (e->name() == HandbookPostEntityGenerated::kEntityName) return true;
  return false;
}

std::string HandbookItemEntity::photoURL() const {
  const std::string text = photo();
  if (text.empty()) return {};
  std::string local = handbook_url::resourceURLForText(text);
  if (!local.empty()) return local;
  std::string url = handbook_url::urlWithString(text);
  if (url.empty()) return {};
  auto media = HandbookMediaEnvironment::shared();
  if (media->imageCacheContains)
    for (const std::string& key : legacyCacheKeysForURL(url))
      if (media->imageCacheContains(key)) return key;
  return url;
}

std::string HandbookItemEntity::thumbnailPhoto() const {
  return thumbnailOf(photo());
}
std::string HandbookItemEntity::thumbnailURL() const {
  return resourceOrURL(thumbnailPhoto());
}
std::string HandbookItemEntity::backgroundPhotoURL() const {
  return resourceOrURL(backgroundPhoto());
}
std::string HandbookItemEntity::thumbnailBackgroundPhoto() const {
  return thumbnailOf(backgroundPhoto());
}
std::string HandbookItemEntity::thumbnailBackgroundPhotoURL() const {
  return resourceOrURL(thumbnailBackgroundPhoto());
}

std::string HandbookItemEntity::urlForResource(std::string_view name) const {
  return handbook_url::resourceURLNamed(name);
}

std::vector<std::string> HandbookItemEntity::legacyCacheKeysForURL(std::string_view url) const {
  return {HandbookMediaEnvironment::shared()->mediaBaseURL + handbook_url::path(url)};
}

std::string HandbookItemEntity::trimmedTitle() const {
  return handbook_url::trimmed(title());
}

std::optional<std::int64_t> HandbookItemEntity::optionalInteger(std::size_t index) const {
  Value v = valueAt(index);
  return v.isNull() ? std::nullopt : std::optional<std::int64_t>(v.asInt64());
}

std::optional<double> HandbookItemEntity::optionalDouble(std::size_t index) const {
  Value v = valueAt(index);
  return v.isNull() ? std::nullopt : std::optional<double>(v.asDouble());
}

void HandbookItemEntity::setOptional(std::size_t index, std::optional<std::int64_t> value) {
  setValueAt(index, value ? Value(*value) : Value());
}

}  // namespace dm
