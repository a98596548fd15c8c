// The exercise post of the handbook: execution steps, tags, videos and the video instruction.
#pragma once

#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Entities/HandbookVideoInstructionEntity.h"
#include "Handbook/HandbookPostExerciseEntityGenerated.h"
#include "Mapping/Enumerations/ExerciseEnumerations.h"

namespace dm {

class HandbookFilterTagEntity;

// Threads as HandbookItemEntity; tags read through HandbookAdapter (main thread).
class HandbookPostExerciseEntity : public HandbookPostExerciseEntityGenerated {
 public:
  Blob executionOrder() const { return blobAt(kExecutionOrderIndex); }
  std::optional<std::int64_t> equipmentType() const { return optionalInteger(kEquipmentTypeIndex); }
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
  void fillFields(const handbook_dict::Dictionary& dict) override;

 private:
  Blob blobAt(std::size_t index) const;
  mutable std::optional<std::vector<nlohmann::json>> orders_;
};

}  // namespace dm
