// Handbook posts: the fields every post kind shares, the table of post kinds, the category
// queries; with the four kinds without fields of their own (article, FAQ, pharmacy, sport
// food).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Handbook/HandbookPostEntityGenerated.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

class HandbookCategoryEntity;

// Threads as HandbookItemEntity; queries read through HandbookAdapter (main thread).
class HandbookPostEntity : public HandbookPostEntityGenerated {
 public:
  std::optional<std::int64_t> categoryID() const { return optionalInteger(kCategoryIDIndex); }
  void setCategoryID(std::optional<std::int64_t> v) { setOptional(kCategoryIDIndex, v); }
  std::string trimmedDesc() const;
  std::string trimmedWarning() const;

  // Post type number -> record class (entity) name, built once; any thread.
  static const std::map<int, std::string>& classesOfPosts();
  // The entity name of a post type; HandbookPostEntity (all kinds) for any other number.
  static std::string entityNameForPostType(int type);
  // The key under which this record's class stands in classesOfPosts (the last one).
  HandbookPostType postType() const override;

  // "categoryID = %@ AND statusString = %@" with the category's id and the published code.
  static Predicate postsPredicateForCategory(const HandbookCategoryEntity* category);
  // The category's posts of its post type, sorted by entityID.
  static std::vector<HandbookPostEntity*> postsForCategory(const HandbookCategoryEntity* category);
  static std::size_t postsCountForCategory(const HandbookCategoryEntity* category);
  // OR of the posts conditions of each direct subcategory (when the category has any), then
  // the category's own; one level deep only.
  static Predicate recursivePostsPredicateForCategory(const HandbookCategoryEntity* category);
  // The category with entityID = categoryID, or nullptr (also when categoryID is empty).
  HandbookCategoryEntity* category() const;

 protected:
  void fillFields(const handbook_dict::Dictionary& dict) override;
};

}  // namespace dm

// The four kinds without fields or behaviour of their own, generated from the model (after
// the base is complete, so either header may be included first).
#include "Handbook/HandbookPostArticleEntity.h"
#include "Handbook/HandbookPostFaqEntity.h"
#include "Handbook/HandbookPostPharmacyEntity.h"
#include "Handbook/HandbookPostSportFoodEntity.h"
