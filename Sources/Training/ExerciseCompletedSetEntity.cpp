// Completed sets: corrected values through the pending records, day keys and durations.
#include "Training/ExerciseCompletedSetEntity.h"

#include <cmath>
#include <unordered_map>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingDayEntity.h"

namespace dm {

namespace {

// The records of `entityName` whose guid is `guid`, in `context`.
std::vector<ManagedObject*> withGuid(ManagedObjectContext& context, const char* entityName,
                                     const std::string& guid, std::size_t limit = 0) {
  FetchRequest request(context.model().entityNamed(entityName));
  request.predicate = Predicate::keyEquals("guid", Value(guid));
  request.fetchLimit = limit;
  return context.executeFetchRequest(request);
}

template <class T>
T* firstWithGuid(ManagedObjectContext* context, const std::string& guid) {
  if (!context) return nullptr;
  auto found = withGuid(*context, T::kEntityName, guid, 1);
  return found.empty() ? nullptr : dynamic_cast<T*>(found.front());
}

}  // namespace

ExerciseCompletedSetUpdateEntity* ExerciseCompletedSetEntity::updateEntity() {
  if (shouldCacheUpdateEntity && updateAsked_) return cachedUpdate_;
  updateAsked_ = true;
  cachedUpdate_ = firstWithGuid<ExerciseCompletedSetUpdateEntity>(managedObjectContext(), guid());
  return cachedUpdate_;
}

ExerciseCompletedSetDeleteEntity* ExerciseCompletedSetEntity::deleteEntity() {
  if (shouldCacheDeleteEntity && deleteAsked_) return cachedDelete_;
  deleteAsked_ = true;
  cachedDelete_ = firstWithGuid<ExerciseCompletedSetDeleteEntity>(managedObjectContext(), guid());
  return cachedDelete_;
}

void ExerciseCompletedSetEntity::primeUpdateEntities(
    ManagedObjectContext& context, const std::vector<ExerciseCompletedSetEntity*>& sets) {
  std::vector<ExerciseCompletedSetEntity*> own;
  for (auto* set : sets)
    if (set && set->managedObjectContext() == &context) own.push_back(set);
  if (own.empty()) return;
  FetchRequest request(context.model().entityNamed(ExerciseCompletedSetUpdateEntity::kEntityName));
  // A screen's page of sets names its guids. A long list (a whole course) reads every pending
  // correction instead: they live only until the server acknowledges them, so they are few,
  // and reading them is cheaper than matching thousands of guids.
  if (own.size() <= kGuidListLimit) {
    std::vector<Value> guids;
    guids.reserve(own.size());
    for (auto* set : own) guids.emplace_back(set->guid());
    request.predicate = Predicate::parse("guid IN %@", {guids});
  }
  std::unordered_map<std::string, ExerciseCompletedSetUpdateEntity*> updates;
  for (auto* object : context.executeFetchRequest(request))
    if (auto* update = dynamic_cast<ExerciseCompletedSetUpdateEntity*>(object))
      updates.emplace(update->guid(), update);  // the first one wins, as a lookup would
  for (auto* set : own) {
    auto update = updates.find(set->guid());
    set->primeUpdateEntity(update == updates.end() ? nullptr : update->second);
  }
}

std::optional<std::string> ExerciseCompletedSetEntity::updatedComment() {
  if (auto* update = updateEntity())
    return update->hasComment() ? std::optional(update->comment()) : std::nullopt;
  return hasComment() ? std::optional(comment()) : std::nullopt;
}

std::optional<std::int64_t> ExerciseCompletedSetEntity::updatedRepeats() {
  if (auto* update = updateEntity())
    return update->hasRepeats() ? std::optional(update->repeats()) : std::nullopt;
  return hasRepeats() ? std::optional(repeats()) : std::nullopt;
}

std::optional<double> ExerciseCompletedSetEntity::updatedValue() {
  if (auto* update = updateEntity())
    return update->hasValue() ? std::optional(update->value()) : std::nullopt;
  return hasValue() ? std::optional(value()) : std::nullopt;
}

void ExerciseCompletedSetEntity::removeAllUpdateEntities() {
  auto* context = managedObjectContext();
  if (!context) return;
  for (auto* update : withGuid(*context, ExerciseCompletedSetUpdateEntity::kEntityName, guid()))
    context->deleteObject(update);
  updateAsked_ = false;
  cachedUpdate_ = nullptr;
}

std::int64_t ExerciseCompletedSetEntity::getCourseId() const {
  auto* exercise = exersice();
  return exercise ? exercise->getCourseId() : 0;
}

std::string ExerciseCompletedSetEntity::dateKey() const {
  return stringFromDate(executedAt(), "yyyyMMdd");
}

std::string ExerciseCompletedSetEntity::trainingDayKey() const {
  auto* exercise = exersice();
  auto* day = exercise ? exercise->trainingDay() : nullptr;
  return day ? dateKey() + std::to_string(day->entityID()) : dateKey();
}

std::string ExerciseCompletedSetEntity::trainingDayKeyWithSeconds() const {
  auto seconds = std::to_string(static_cast<std::int64_t>(executedAt().timeIntervalSince1970));
  auto* exercise = exersice();
  auto* day = exercise ? exercise->trainingDay() : nullptr;
  return day ? seconds + std::to_string(day->entityID()) : seconds;
}

double ExerciseCompletedSetEntity::durationForExercise(const ExerciseEntity& exercise) {
  double seconds = 0;
  if (exercise.isCardio())
    seconds = updatedValue().value_or(0) * 60;
  else if (exercise.isFunctionalSeconds())
    seconds = updatedValue().value_or(0);
  else
    seconds = static_cast<double>(updatedRepeats().value_or(0) * 2);  // two seconds a repeat
  return seconds < 0 ? 60 : seconds;
}

bool ExerciseCompletedSetEntity::isExecutedRecently() const {
  if (!hasExecutedAt()) return false;
  return executedAt() > Clock::shared()->now().addingTimeInterval(-43200);
}

Predicate ExerciseCompletedSetEntity::notMarkedDeletePredicate() {
  static const Predicate predicate =
      Predicate::parse("%K != YES", {Value(std::string("markedDeleted"))});
  return predicate;
}

void ExerciseCompletedSetUpdateEntity::removeEntity() {
  auto* context = managedObjectContext();
  if (!context) return;
  for (auto* record : withGuid(*context, kEntityName, guid())) context->deleteObject(record);
}

ExerciseCompletedSetEntity* ExerciseCompletedSetDeleteEntity::normalEntity() const {
  return firstWithGuid<ExerciseCompletedSetEntity>(managedObjectContext(), guid());
}

std::int64_t ExerciseCompletedSetDeleteEntity::updatedEntityID() const {
  if (hasEntityID() && entityID() != 0) return entityID();
  auto* set = normalEntity();
  return set ? set->entityID() : 0;
}

void ExerciseCompletedSetDeleteEntity::removeEntity() {
  auto* context = managedObjectContext();
  if (!context) return;
  for (auto* record : withGuid(*context, kEntityName, guid())) context->deleteObject(record);
}

}  // namespace dm
