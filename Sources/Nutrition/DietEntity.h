// A diet day: totals computed from the handbook products of its meals, targets, validity.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Nutrition/DietEntityGenerated.h"

namespace dm {

class DietHandbookRelation;
class HandbookPostProductEntity;

// Threads and ownership as ManagedObject. The handbook cache is not synchronised: set and
// read it on the record's queue.
class DietEntity : public DietEntityGenerated {
 public:
  // Recomputes caloriesTotal, proteins, fats and carbohydrates from the products' portions
  // and their handbook values per 100 g; a product missing from the handbook adds 0. The
  // desired values are left alone.
  void calculateTotals();

  // date as "dd.MM.yyyy" in the current time zone; "" without date.
  std::string dateString() const;
  // No status, or "created".
  bool created() const;
  bool commentIsEmpty() const;
  // All four totals read 0 (unset reads 0).
  bool isEmpty() const;
  // Alternatives are offered for a course with a preset, on today's diet or a later one. The
  // course is the stored TrainingCourseEntity whose entityID is courseId; without one (or
  // outside a context) there is no preset and nothing is offered.
  bool showAlternatives() const;
  bool showAlternatives(bool courseHasPreset) const;
  // Whether the course courseId is stored with a presetId. On the record's context queue.
  bool courseHasPreset() const;
  // The same rule for any date; `now` is the current instant, the day is the current zone's.
  static bool showAlternativesForDate(std::optional<Date> date, bool courseHasPreset, Date now);

  // Distinct handbook product ids used anywhere in the diet, alternatives included.
  std::vector<std::int64_t> allPostProductsIds() const;

  // The handbook products this diet uses: the cached relation while it holds products,
  // otherwise asked again from the handbook adapter (so a diet opened before the handbook
  // loaded recovers). nullptr when the handbook has none for this diet.
  DietHandbookRelation* handbooksRelations();
  void setHanbookRelations(DietHandbookRelation* relation) { hr_ = relation; }
  // The first cached handbook product whose id equals `postProductId` as 32-bit integers.
  HandbookPostProductEntity* handbookForId(std::int64_t postProductId);

 private:
  // Belongs to the handbook's context for this thread; not owned.
  DietHandbookRelation* hr_ = nullptr;
};

}  // namespace dm
