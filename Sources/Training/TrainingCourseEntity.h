// A training course a client trains by: its published days in order, its schedule, the
// commercial rules of its invoice and its diets by date.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "Platform/Foundation/Date.h"
#include "Training/TrainingCourseEntityGenerated.h"
#include "Training/TrainingCourseType.h"

namespace dm {

class DietEntity;
class InvoiceEntity;
class WorkQueue;

// How long before the end of a paid period a new invoice may be issued: five days.
inline constexpr double interval5Days = 432000;

// Schedule kinds: the integer `schedule` the server sends, or cyclic when a cycle is set.
enum class TrainingCourseScheduleType : int { Cyclic = 2 };

// The kind of diet a course carries.
enum class TrainingCourseDietType : int { Manual = 0, AutoDiet = 1, SevenDays = 2 };

// Threads and ownership as ManagedObject: use on the context's queue. Stored fields and class
// operations come from the store model (TrainingCourseEntityGenerated); this class adds the
// behaviour. Rules that depend on the time read Clock::shared().
class TrainingCourseEntity : public TrainingCourseEntityGenerated {
 public:
  // The first course with this server id in `context`; nullptr without one.
  static TrainingCourseEntity* entity(ManagedObjectContext& context, std::int64_t entityID);

  // --- Training days ---
  // Published days not marked deleted, in the day sort order (position, then entityID).
  std::vector<TrainingDayEntity*> sortedTrainingDays() const;
  // The same days in set order.
  std::vector<TrainingDayEntity*> publishedAndNotDeletedTrainingDays() const;
  std::vector<TrainingDayEntity*> sortedTrainingDaysFromTrainingDays() const {
    return sortedTrainingDays();
  }
  bool hasTrainingDays() const { return !publishedAndNotDeletedTrainingDays().empty(); }
  std::vector<TrainingDayEntity*> trainingDaysArray() const { return trainingDays(); }
  // displayPosition 1, 2, ... over sortedTrainingDays.
  void updateTrainingDaysPositions();
  // Attaches each day (taken in this course's context) to this course.
  void addTraningDaysIfNeeded(const std::vector<TrainingDayEntity*>& days);
  // Same as addTraningDaysIfNeeded: it removes nothing, deliberately.
  void addTraningDaysAndRemoveIfNeeded(const std::vector<TrainingDayEntity*>& days) {
    addTraningDaysIfNeeded(days);
  }

  // --- Kinds ---
  // 2 (cyclic) with a cycle start, at least one workout day and some rest days; else schedule.
  int scheduleType() const;
  TrainingCourseType courseType() const { return courseTypeOf(*this); }
  TrainingCourseDietType dietType() const;
  TrainingCoursePresetEntity* preset() const { return presetOf(*this); }

  // --- Paid period and invoice (see CourseInvoiceRules.h) ---
  bool notExpired() const;
  bool canBePublished() const;
  bool needsNewInvoice() const;
  bool serviceWasntMade() const;
  bool isPending() const;
  bool canMakeNewInvoice() const;
  int placeholderType() const;
  bool canBeOpenedByCoach() const;

  // Workout results of this course that have a start, or executedExercises when larger.
  std::int64_t trainingsDone() const;

  // --- Diets by date (calendar days of the current time zone) ---
  // Diets dated strictly between the two dates or on the calendar day of either; undated
  // diets never. Unordered.
  std::vector<DietEntity*> dietsInInterval(Date start, Date end) const;
  bool hasDietsInInterval(Date start, Date end) const {
    return !dietsInInterval(start, end).empty();
  }
  bool hasInvalidDietsInInterval(Date start, Date end) const;
  // Deletes, one at a time, each dated diet the condition accepts, saving the store file
  // after each. Returns how many were deleted; a failed save is logged and stops there
  // (the diets deleted before it stay deleted in the file).
  std::size_t deleteDietsByDatesWithCondition(const std::function<bool(Date)>& condition);
  std::size_t deleteDietsFromTodayAndFurther();
  std::size_t deleteDietsForDate(Date date);
  // The diet on the calendar day of `date`, if any.
  DietEntity* dietForDate(Date date) const;
  // The serial queue on which screens make diet changes of courses.
  static WorkQueue& dietQueue();
};

}  // namespace dm
