// The exercise post of the handbook: execution steps, tags, videos and the video instruction.
#pragma once

#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Entities/HandbookPostEntity.h"
#include "Handbook/Entities/HandbookVideoInstructionEntity.h"
#include "Mapping/Enumerations/ExerciseEnumerations.h"

namespace dm {

class HandbookFilterTagEntity;

// Threads as HandbookItemEntity; tags read through HandbookAdapter (main thread).
class HandbookPostExerciseEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostExerciseEntity";

  Blob executionOrder() const { return blobAt(kExecutionOrderIndex); }
  std::string exerciseTypeString() const { return valueAt(kExerciseTypeStringIndex).asString(); }
  std::string alternativeIds() const { return valueAt(kAlternativeIdsIndex).asString(); }
  std::string filterTagIds() const { return valueAt(kFilterTagIdsIndex).asString(); }
  void setFilterTagIds(std::string v) { setValueAt(kFilterTagIdsIndex, Value(std::move(v))); }
  std::optional<std::int64_t> equipmentType() const { return optionalInteger(kEquipmentTypeIndex); }
  std::string video() const { return valueAt(kVideoIndex).asString(); }
  void setVideo(std::string v) { setValueAt(kVideoIndex, Value(std::move(v))); }
  std::string previewVideo() const { return valueAt(kPreviewVideoIndex).asString(); }
  void setPreviewVideo(std::string v) { setValueAt(kPreviewVideoIndex, Value(std::move(v))); }
  std::string watchVideo() const { return valueAt(kWatchVideoIndex).asString(); }
  std::string darkVideo() const { return valueAt(kDarkVideoIndex).asString(); }
  void setDarkVideo(std::string v) { setValueAt(kDarkVideoIndex, Value(std::move(v))); }
  std::string darkPreviewVideo() const { return valueAt(kDarkPreviewVideoIndex).asString(); }
  void setDarkPreviewVideo(std::string v) {
    setValueAt(kDarkPreviewVideoIndex, Value(std::move(v)));
  }
  std::string darkWatchVideo() const { return valueAt(kDarkWatchVideoIndex).asString(); }
  Blob videoInstruction() const { return blobAt(kVideoInstructionIndex); }

  // The exercise post with that id through the adapter's cache, or nullptr.
  static HandbookPostExerciseEntity* postExerciseForId(std::int64_t postId);

  // From exerciseTypeString through ExerciseTypeMappings; nothing when unknown.
  std::optional<ExerciseType> exerciseType() const;
  void setExerciseType(ExerciseType type);
  // The execution steps unarchived on first read (empty when absent or unreadable), then
  // kept in memory; setOrders replaces only the kept list.
  const std::vector<nlohmann::json>& orders() const;
  void setOrders(std::vector<nlohmann::json> orders);
  // filterTagIds split at ","; a non-numeric piece reads as 0.
  std::vector<std::int64_t> tagIds() const;
  // Found tags with a title and a type, grouped by type (stable).
  std::vector<HandbookFilterTagEntity*> tags() const;
  HandbookVideoInstructionEntity videoInstructionModel() const;
  bool hasVideo() const { return !video().empty() || !previewVideo().empty(); }
  bool hasDarkVideo() const { return !darkVideo().empty() || !darkPreviewVideo().empty(); }
  std::string videoURL() const;
  std::string previewVideoURL() const;
  std::string darkVideoURL() const;
  std::string darkPreviewVideoURL() const;
  // previewVideoURL, or darkPreviewVideoURL in a dark interface when there is one.
  std::string previewVideoURLForCurrentAppereance() const;
  bool isDarkInterface() const;
  // Diagnostic probe: reports its caller to the diagnostic-event service, then tells
  // whether the record is still unsaved (temporary identifier).
  bool isTemporaryID() const;

 protected:
  static constexpr std::size_t kExecutionOrderIndex = kFirstPostKindIndex;
  static constexpr std::size_t kExerciseTypeStringIndex = kFirstPostKindIndex + 1;
  static constexpr std::size_t kAlternativeIdsIndex = kFirstPostKindIndex + 2;
  static constexpr std::size_t kFilterTagIdsIndex = kFirstPostKindIndex + 3;
  static constexpr std::size_t kEquipmentTypeIndex = kFirstPostKindIndex + 4;
  static constexpr std::size_t kVideoIndex = kFirstPostKindIndex + 5;
  static constexpr std::size_t kPreviewVideoIndex = kFirstPostKindIndex + 6;
  static constexpr std::size_t kWatchVideoIndex = kFirstPostKindIndex + 7;
  static constexpr std::size_t kDarkVideoIndex = kFirstPostKindIndex + 8;
  static constexpr std::size_t kDarkPreviewVideoIndex = kFirstPostKindIndex + 9;
  static constexpr std::size_t kDarkWatchVideoIndex = kFirstPostKindIndex + 10;
  static constexpr std::size_t kVideoInstructionIndex = kFirstPostKindIndex + 11;
  void fillFields(const handbook_dict::Dictionary& dict) override;

 private:
  Blob blobAt(std::size_t index) const;
  mutable std::optional<std::vector<nlohmann::json>> orders_;
};

}  // namespace dm
