// One exercise of a training day: the post exercise to do, its set scheme, recommended values
// and superset links, with the rules that classify it and pick its current alternative.
#pragma once

#include "Training/ExerciseEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject. Stored fields and class operations come from the
// store model (ExerciseEntityGenerated); this class adds the behaviour.
class ExerciseEntity : public ExerciseEntityGenerated {};

}  // namespace dm
