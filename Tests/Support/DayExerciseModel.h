// A two-entity model (training days and their exercises, linked both ways) for the mapping
// engine's tests against a real store.
#pragma once

#include <memory>

#include "Platform/ObjectStore/ManagedObjectModel.h"

namespace dm::test {

// Day: entityID, title, exercises. Exercise: entityID, guid, name, sets (16-bit), weight,
// trainingDayId, at, trainingDay.
std::shared_ptr<const ManagedObjectModel> dayExerciseModel();

}  // namespace dm::test
