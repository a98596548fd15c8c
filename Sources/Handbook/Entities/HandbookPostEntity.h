// Handbook posts: the fields every post kind shares, the table of post kinds, the category
// queries, and the four kinds without fields of their own (article, FAQ, pharmacy, sport
// food).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Handbook/Entities/HandbookItemEntity.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

class HandbookCategoryEntity;

// Threads as HandbookItemEntity; queries read through HandbookAdapter (main thread).
class HandbookPostEntity : public HandbookItemEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostEntity";

  std::optional<std::int64_t> categoryID() const { return optionalInteger(kCategoryIDIndex); }
  void setCategoryID(std::optional<std::int64_t> v) { setOptional(kCategoryIDIndex, v); }
  std::string desc() const { return valueAt(kDescIndex).asString(); }
  void setDesc(std::string v) { setValueAt(kDescIndex, Value(std::move(v))); }
  std::string warning() const { return valueAt(kWarningIndex).asString(); }
  std::string warningHtml() const { return valueAt(kWarningHtmlIndex).asString(); }
  std::string descHtml() const { return valueAt(kDescHtmlIndex).asString(); }
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
  static constexpr std::size_t kCategoryIDIndex = kFirstKindIndex;
  static constexpr std::size_t kDescIndex = kFirstKindIndex + 1;
  static constexpr std::size_t kWarningIndex = kFirstKindIndex + 2;
  static constexpr std::size_t kWarningHtmlIndex = kFirstKindIndex + 3;
  static constexpr std::size_t kDescHtmlIndex = kFirstKindIndex + 4;
  static constexpr std::size_t kFirstPostKindIndex = kFirstKindIndex + 5;
  void fillFields(const handbook_dict::Dictionary& dict) override;
};

class HandbookPostArticleEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostArticleEntity";
};

class HandbookPostFaqEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostFaqEntity";
};

class HandbookPostPharmacyEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostPharmacyEntity";
};

class HandbookPostSportFoodEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostSportFoodEntity";
};

}  // namespace dm
