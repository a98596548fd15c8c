// Training course behaviour: days in order, schedule and diet kinds, the invoice rules bound
// to the clock, workouts done and diets by calendar day.
#include "Training/TrainingCourseEntity.h"

#include <algorithm>

#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Training/CourseInvoiceRules.h"
#include "Training/TrainingDayEntity.h"
#include "Training/WorkoutResultsEntity.h"

namespace dm {

namespace {

CourseInvoiceState stateOf(const TrainingCourseEntity& course) {
  return CourseInvoiceState::of(course, Clock::shared()->now());
}

// Saves `context` and every parent up to the root, so the change reaches the file.
void saveThroughToFile(ManagedObjectContext& context) {
  context.save();
  for (auto parent = context.parentContext(); parent; parent = parent->parentContext())
    parent->performAndWait([&] { parent->save(); });
}

}  // namespace

TrainingCourseEntity* TrainingCourseEntity::entity(ManagedObjectContext& context,
                                                   std::int64_t entityID) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.predicate = Predicate::keyEquals("entityID", Value(entityID));
  request.fetchLimit = 1;
  auto found = context.executeFetchRequest(request);
  return found.empty() ? nullptr : dynamic_cast<TrainingCourseEntity*>(found.front());
}

std::vector<TrainingDayEntity*> TrainingCourseEntity::publishedAndNotDeletedTrainingDays() const {
  std::vector<TrainingDayEntity*> days;
  for (auto* day : trainingDays())
    if (day->entityStatus() == EntityStatus::Published && !day->markDeleted()) days.push_back(day);
  return days;
}

std::vector<TrainingDayEntity*> TrainingCourseEntity::sortedTrainingDays() const {
  auto days = publishedAndNotDeletedTrainingDays();
  std::sort(days.begin(), days.end(), TrainingDayEntity::sortsBefore);
  return days;
}

void TrainingCourseEntity::updateTrainingDaysPositions() {
  std::int64_t position = 1;
  for (auto* day : sortedTrainingDays()) day->setDisplayPosition(position++);
}

void TrainingCourseEntity::addTraningDaysIfNeeded(const std::vector<TrainingDayEntity*>& days) {
  auto* context = managedObjectContext();
  for (auto* day : days) {
    if (!day) continue;
    auto* own = day;
    if (context && day->managedObjectContext() != context)
      own = dynamic_cast<TrainingDayEntity*>(context->objectWithID(day->objectID()));
    if (own) own->setCource(this);
  }
}

int TrainingCourseEntity::scheduleType() const {
  if (hasCyclicScheduleStartOn() && cyclicScheduleWorkoutDays() >= 1 &&
      cyclicScheduleRestDays() > 0)
    return static_cast<int>(TrainingCourseScheduleType::Cyclic);
  return static_cast<int>(schedule());
}

TrainingCourseDietType TrainingCourseEntity::dietType() const {
  auto code = dietTypeString();
  if (code == "auto_diet") return TrainingCourseDietType::AutoDiet;
  if (code == "seven_days") return TrainingCourseDietType::SevenDays;
  return TrainingCourseDietType::Manual;
}

bool TrainingCourseEntity::notExpired() const {
  return course_invoice_rules::notExpired(stateOf(*this));
}
bool TrainingCourseEntity::canBePublished() const {
  return course_invoice_rules::canBePublished(stateOf(*this));
}
bool TrainingCourseEntity::needsNewInvoice() const {
  return course_invoice_rules::needsNewInvoice(stateOf(*this));
}
bool TrainingCourseEntity::serviceWasntMade() const {
  return course_invoice_rules::serviceWasntMade(stateOf(*this));
}
bool TrainingCourseEntity::isPending() const {
  return course_invoice_rules::isPending(stateOf(*this));
}
bool TrainingCourseEntity::canMakeNewInvoice() const {
  return course_invoice_rules::canMakeNewInvoice(stateOf(*this));
}
int TrainingCourseEntity::placeholderType() const {
  return course_invoice_rules::placeholderType(stateOf(*this));
}
bool TrainingCourseEntity::canBeOpenedByCoach() const {
  return course_invoice_rules::canBeOpenedByCoach(stateOf(*this));
}

std::int64_t TrainingCourseEntity::trainingsDone() const {
  std::int64_t results = 0;
  if (auto* context = managedObjectContext()) {
    FetchRequest request(context->model().entityNamed(WorkoutResultsEntity::kEntityName));
    request.predicate = Predicate::parse(
        "%K = %@ AND %K != nil ",
        {Value(std::string("courseId")), Value(entityID()), Value(std::string("startedAt"))});
    results = static_cast<std::int64_t>(context->countForFetchRequest(request));
  }
  return std::max(results, executedExercises());
}

std::vector<DietEntity*> TrainingCourseEntity::dietsInInterval(Date start, Date end) const {
  std::vector<DietEntity*> found;
  for (auto* diet : diets()) {
    if (!diet->hasDate()) continue;
    Date date = diet->date();
    if ((date > start && date < end) || isSameDay(date, start) || isSameDay(date, end))
      found.push_back(diet);
  }
  return found;
}

bool TrainingCourseEntity::hasInvalidDietsInInterval(Date start, Date end) const {
  auto found = dietsInInterval(start, end);
  return std::any_of(found.begin(), found.end(),
                     [](DietEntity* diet) { return diet->hasNotValid() && diet->notValid(); });
}

std::size_t TrainingCourseEntity::deleteDietsByDatesWithCondition(
    const std::function<bool(Date)>& condition) {
  auto* context = managedObjectContext();
  if (!context || !condition) return 0;
  std::size_t deleted = 0;
  for (auto* diet : diets()) {
    if (!diet->hasDate() || !condition(diet->date())) continue;
    removeDietsObject(diet);
    context->deleteObject(diet);
    try {
      saveThroughToFile(*context);
    } catch (const StoreError& error) {
      logError(std::string("Deleting a course's diets stopped: ") + error.what());
      break;
    }
    ++deleted;
  }
  return deleted;
}

std::size_t TrainingCourseEntity::deleteDietsFromTodayAndFurther() {
  Date now = Clock::shared()->now();
  return deleteDietsByDatesWithCondition(
      [now](Date date) { return isSameDay(date, now) || date > now; });
}

std::size_t TrainingCourseEntity::deleteDietsForDate(Date day) {
  return deleteDietsByDatesWithCondition([day](Date date) { return isSameDay(date, day); });
}

DietEntity* TrainingCourseEntity::dietForDate(Date date) const {
  for (auto* diet : diets())
    if (diet->hasDate() && isSameDay(diet->date(), date)) return diet;
  return nullptr;
}

WorkQueue& TrainingCourseEntity::dietQueue() {
  static SerialQueue queue("com.vostra.korvalo.CourseDietQueue");
  return queue;
}

}  // namespace dm
