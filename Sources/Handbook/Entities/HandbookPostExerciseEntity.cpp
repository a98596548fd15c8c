// Exercise posts: filling, execution steps, tags, video addresses and the temporary-id probe.
#include "Handbook/Entities/HandbookPostExerciseEntity.h"

#include <execinfo.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookFilterTagEntity.h"
#include "Handbook/Entities/HandbookMedia.h"
#include "Models/HandbookEntities.h"
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/KeyedArchive.h"

namespace dm {

namespace {
// The integer a text starts with, after blanks and an optional sign; 0 when none.
std::int64_t leadingInteger(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  std::int64_t value = 0;
  for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
    if (value > (INT64_MAX - 9) / 10) return negative ? INT64_MIN : INT64_MAX;
    value = value * 10 + (text[i] - '0');
  }
  return negative ? -value : value;
}

// The first of two addresses that is present, as a URL.
std::string firstURL(const std::string& first, const std::string& second) {
  return handbook_url::urlWithString(!first.empty() ? first : second);
}

// How tags are grouped: a tag goes after another only when its type is greater; otherwise
// the two count as equal. It never orders the first before the second.
enum class TagOrder { Same, Descending };
TagOrder compareTags(const HandbookFilterTagEntity* a, const HandbookFilterTagEntity* b) {
  return static_cast<int>(a->type()) > static_cast<int>(b->type()) ? TagOrder::Descending
                                                                   : TagOrder::Same;
}
}  // namespace

void HandbookPostExerciseEntity::fillFields(const handbook_dict::Dictionary& dict) {
  using namespace handbook_dict;
  HandbookPostEntity::fillFields(dict);
  setValueAt(kExecutionOrderIndex, keyedArchive(dict, "execution_order", false));
  setValueAt(kExerciseTypeStringIndex, text(dict, "exercise_type"));
  setValueAt(kAlternativeIdsIndex, text(dict, "alternative_ids"));
  setValueAt(kFilterTagIdsIndex, text(dict, "filter_tag_ids"));
  setValueAt(kEquipmentTypeIndex, unsignedNumber(dict, "equipment_type"));
  setValueAt(kVideoIndex, text(dict, "video"));
  setValueAt(kPreviewVideoIndex, text(dict, "preview_video"));
  setValueAt(kWatchVideoIndex, text(dict, "watch_video"));
  setValueAt(kDarkVideoIndex, text(dict, "dark_video"));
  setValueAt(kDarkPreviewVideoIndex, text(dict, "dark_preview_video"));
  setValueAt(kDarkWatchVideoIndex, text(dict, "dark_watch_video"));
  setValueAt(kVideoInstructionIndex, keyedArchive(dict, "video_instruction", true));
}

Blob HandbookPostExerciseEntity::blobAt(std::size_t index) const {
  Value v = valueAt(index);
  return v.isBlob() ? v.asBlob() : Blob{};
}

HandbookPostExerciseEntity* HandbookPostExerciseEntity::postExerciseForId(std::int64_t postId) {
  return HandbookAdapter::shared().getPostExerciseEntity(postId);
}

std::optional<ExerciseType> HandbookPostExerciseEntity::exerciseType() const {
  return ExerciseTypeMappings().enumForCode<ExerciseType>(exerciseTypeString());
}

void HandbookPostExerciseEntity::setExerciseType(ExerciseType type) {
  setValueAt(kExerciseTypeStringIndex,
             Value(ExerciseTypeMappings().codeForEnum(type).value_or("")));
}

const std::vector<nlohmann::json>& HandbookPostExerciseEntity::orders() const {
  if (!orders_) {
    orders_.emplace();
    Blob bytes = executionOrder();
    if (!bytes.empty()) {
      auto tree = KeyedArchive::unarchivedObject(bytes);
      if (tree && tree->is_array()) orders_->assign(tree->begin(), tree->end());
    }
  }
  return *orders_;
}

void HandbookPostExerciseEntity::setOrders(std::vector<nlohmann::json> orders) {
  orders_ = std::move(orders);
}

std::vector<std::int64_t> HandbookPostExerciseEntity::tagIds() const {
  std::vector<std::int64_t> ids;
  const std::string text = filterTagIds();
  if (text.empty()) return ids;
  std::size_t start = 0;
  while (true) {
    std::size_t comma = text.find(',', start);
    ids.push_back(leadingInteger(std::string_view(text).substr(
        start, comma == std::string::npos ? std::string::npos : comma - start)));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return ids;
}

std::vector<HandbookFilterTagEntity*> HandbookPostExerciseEntity::tags() const {
  std::vector<HandbookFilterTagEntity*> found;
  for (std::int64_t id : tagIds()) {
    HandbookFilterTagEntity* tag = HandbookFilterTagEntity::entityWithId(id);
    if (tag && !tag->title().empty() && tag->type() != HandbookFilterTagType::Undefined)
      found.push_back(tag);
  }
  // A stable merge takes the right element first only when the left one is ordered after it.
  std::stable_sort(found.begin(), found.end(), [](const auto* a, const auto* b) {
    return compareTags(b, a) == TagOrder::Descending;
  });
  return found;
}

HandbookVideoInstructionEntity HandbookPostExerciseEntity::videoInstructionModel() const {
  Blob bytes = videoInstruction();
  nlohmann::json tree = nlohmann::json::object();
  if (!bytes.empty()) {
    if (auto decoded = KeyedArchive::unarchivedObject(bytes)) tree = std::move(*decoded);
  }
  return HandbookVideoInstructionEntity::fromDictionary(tree);
}

std::string HandbookPostExerciseEntity::videoURL() const {
  return hasVideo() ? firstURL(video(), previewVideo()) : std::string();
}

std::string HandbookPostExerciseEntity::previewVideoURL() const {
  return hasVideo() ? firstURL(previewVideo(), video()) : std::string();
}

std::string HandbookPostExerciseEntity::darkVideoURL() const {
  return hasDarkVideo() ? firstURL(darkVideo(), darkPreviewVideo()) : std::string();
}

std::string HandbookPostExerciseEntity::darkPreviewVideoURL() const {
  return hasDarkVideo() ? firstURL(darkPreviewVideo(), darkVideo()) : std::string();
}

std::string HandbookPostExerciseEntity::previewVideoURLForCurrentAppereance() const {
  std::string url = previewVideoURL();
  if (isDarkInterface()) {
    std::string dark = darkPreviewVideoURL();
    if (!dark.empty()) url = dark;
  }
  return url;
}

bool HandbookPostExerciseEntity::isDarkInterface() const {
  auto media = HandbookMediaEnvironment::shared();
  return media->isDarkInterface && media->isDarkInterface();
}

bool HandbookPostExerciseEntity::isTemporaryID() const {
  void* frames[3];
  int depth = backtrace(frames, 3);
  std::string caller = "empty";
  if (depth >= 2) {
    std::unique_ptr<char*, decltype(&std::free)> symbols(backtrace_symbols(frames, depth),
                                                         &std::free);
    if (symbols) {
      std::string frame = symbols.get()[1];
      auto space = frame.find_last_of(' ');
      caller = space == std::string::npos ? frame : frame.substr(space + 1);
    }
  }
  DiagnosticEvents::shared()->logEvent(
      "isTemporaryID for HandbookPostExerciseEntity was called from " + caller,
      {{"caller", caller}});
  return objectID().isTemporaryID();
}

}  // namespace dm
