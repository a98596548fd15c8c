// A handbook category: a node of the category tree with the post kind its posts have.
#pragma once

#include <optional>
#include <vector>

#include "Handbook/HandbookCategoryEntityGenerated.h"
#include "Mapping/EntityStatus.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

// Threads as HandbookItemEntity. Queries go through HandbookAdapter's context for the
// calling thread and are meant for the main thread.
class HandbookCategoryEntity : public HandbookCategoryEntityGenerated {
 public:
  std::optional<std::int64_t> parentID() const { return optionalInteger(kParentIDIndex); }
  void setParentID(std::optional<std::int64_t> v) { setOptional(kParentIDIndex, v); }
  void setPostTypeString(std::string v) { setValueAt(kPostTypeStringIndex, Value(std::move(v))); }

  // Derived from statusString; nothing for an empty or unknown code.
  std::optional<EntityStatus> status() const;
  // From postTypeString through HandbookPostTypeMappings; Undefined when unknown.
  HandbookPostType postType() const override;
  // Writes postTypeString through the same table ("" for a type without code).
  void setPostType(HandbookPostType type);

  // "parentID = %@ AND statusString = %@" with the category's id (null: root categories)
  // and the published status code.
  static Predicate subcategoriesPredicateForCategory(const HandbookCategoryEntity* category);
  // Published subcategories sorted by entityID; empty on any error. Records belong to the
  // adapter's context for the calling thread.
  static std::vector<HandbookCategoryEntity*> subcategoriesForCategory(
      const HandbookCategoryEntity* category);
  static std::size_t subcategoriesCountForCategory(const HandbookCategoryEntity* category);

  // Cached on first read for the life of this object; not refreshed when the store changes.
  const std::vector<HandbookCategoryEntity*>& subcategories() const;
  // The cached list's size when cached, else a count query (the cache stays empty).
  std::size_t subcategoriesCount() const;

 protected:
  void fillFields(const handbook_dict::Dictionary& dict) override;

 private:
  mutable std::optional<std::vector<HandbookCategoryEntity*>> subcategories_;
};

}  // namespace dm
