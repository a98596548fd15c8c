// Workout results: corrected values through the pending correction records.
#include "Training/WorkoutResultsEntity.h"

#include "Platform/Host/CalorieRule.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/WorkoutResultsUpdateEntity.h"

namespace dm {

namespace {

std::vector<ManagedObject*> fetch(ManagedObjectContext& context, const char* entityName,
                                  Predicate predicate, std::size_t limit = 0) {
  FetchRequest request(context.model().entityNamed(entityName));
  request.predicate = std::move(predicate);
  request.fetchLimit = limit;
  return context.executeFetchRequest(request);
}

}  // namespace

double WorkoutResultsEntity::duration() const {
  if (!hasStartedAt() || !hasEndedAt()) return 0;
  double seconds = endedAt().timeIntervalSinceDate(startedAt());
  return seconds < 0 ? 0 : seconds;
}

WorkoutResultsUpdateEntity* WorkoutResultsEntity::updateEntity() const {
  auto* context = managedObjectContext();
  if (!context) return nullptr;
  auto found = fetch(*context, WorkoutResultsUpdateEntity::kEntityName,
                     Predicate::keyEquals("guid", Value(guid())), 1);
  return found.empty() ? nullptr : dynamic_cast<WorkoutResultsUpdateEntity*>(found.front());
}

void WorkoutResultsEntity::removeAllUpdateEntities() {
  auto* context = managedObjectContext();
  if (!context) return;
  for (auto* update : fetch(*context, WorkoutResultsUpdateEntity::kEntityName,
                            Predicate::keyEquals("guid", Value(guid()))))
    context->deleteObject(update);
}

std::optional<std::int64_t> WorkoutResultsEntity::updatedSteps() const {
  if (auto* update = updateEntity())
    return update->hasSteps() ? std::optional(update->steps()) : std::nullopt;
  return hasSteps() ? std::optional(steps()) : std::nullopt;
}

std::optional<std::int64_t> WorkoutResultsEntity::realHeartRateAverage() const {
  auto* update = updateEntity();
  if (update && update->heartRateAverage() >= 1) return update->heartRateAverage();
  return hasHeartRateAverage() ? std::optional(heartRateAverage()) : std::nullopt;
}

std::optional<double> WorkoutResultsEntity::realCalories() const {
  auto* update = updateEntity();
  double base = 0;
  if (update && update->calories() >= 1)
    base = update->calories();
  else if (calories() >= 1)
    base = calories();
  double real = CalorieRule::shared()->getRealCalories(base, calculatedCalories());
  return real > 0 ? std::optional(real) : std::nullopt;
}

std::int64_t WorkoutResultsEntity::realPercentage() const {
  std::int64_t own = percentage() >= 1 ? percentage() : 0;
  return std::max(own, calculatedPercentage());
}

std::vector<WorkoutResultsEntity*> WorkoutResultsEntity::getAllTempEnitities(
    ManagedObjectContext& context) {
  std::vector<WorkoutResultsEntity*> out;
  for (auto* object :
       fetch(context, kEntityName, Predicate::keyEquals("entityID", Value(std::int64_t{0}))))
    if (auto* result = dynamic_cast<WorkoutResultsEntity*>(object)) out.push_back(result);
  return out;
}

WorkoutResultsEntity* WorkoutResultsEntity::entity(ManagedObjectContext& context,
                                                   const std::string& guid) {
  auto found = fetch(context, kEntityName, Predicate::keyEquals("guid", Value(guid)), 1);
  return found.empty() ? nullptr : dynamic_cast<WorkoutResultsEntity*>(found.front());
}

void WorkoutResultsUpdateEntity::fillFromWorkoutResults(const WorkoutResultsEntity& result) {
  setGuid(result.guid());
  if (result.hasCalories()) setCalories(result.calories());
  if (result.hasSteps()) setSteps(result.steps());
  if (result.hasHeartRateAverage()) setHeartRateAverage(result.heartRateAverage());
  setEntityID(result.entityID());
}

void WorkoutResultsUpdateEntity::removeEntity() {
  auto* context = managedObjectContext();
  if (!context) return;
  for (auto* record : fetch(*context, kEntityName, Predicate::keyEquals("guid", Value(guid()))))
    context->deleteObject(record);
}

}  // namespace dm
