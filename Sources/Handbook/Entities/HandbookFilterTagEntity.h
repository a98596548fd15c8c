// A handbook filter tag: a location, muscle group or equipment that exercises are tagged with.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Handbook/HandbookFilterTagEntityGenerated.h"

namespace dm {

// Threads as HandbookItemEntity; the class queries read through HandbookAdapter.
class HandbookFilterTagEntity : public HandbookFilterTagEntityGenerated {
 public:
  void setTypeString(std::string v) { setValueAt(kTypeStringIndex, Value(std::move(v))); }
  // From typeString through HandbookFilterTagTypeMappings; Undefined when unknown.
  HandbookFilterTagType type() const;

  // 1 "location", 2 "muscles", 3 "equipment"; "" for any other value. Pure.
  static std::string typeStringFromType(int type);
  // Every tag; empty on any error.
  static std::vector<HandbookFilterTagEntity*> allEntities();
  // Tags of the type, sorted by entityID ascending.
  static std::vector<HandbookFilterTagEntity*> allEntitiesWithType(HandbookFilterTagType type);
  // The tag with that id, or nullptr.
  static HandbookFilterTagEntity* entityWithId(std::int64_t tagId);

 protected:
  void fillFields(const handbook_dict::Dictionary& dict) override;
};

}  // namespace dm
