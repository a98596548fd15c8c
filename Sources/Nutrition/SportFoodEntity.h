// A sport-food item of a course: a handbook sport-food entry and the trainer's note.
#pragma once

#include "Nutrition/SportFoodEntityGenerated.h"
#include "Platform/ObjectStore/FetchRequest.h"

namespace dm {

class HandbookPostSportFoodEntity;

// Threads and ownership as ManagedObject.
class SportFoodEntity : public SportFoodEntityGenerated {
 public:
  // A query for every stored sport-food item.
  static FetchRequest fetchRequest(const ManagedObjectModel& model);
  // The handbook sport-food entry post_sport_food_id; nullptr when unset or unknown.
  HandbookPostSportFoodEntity* handbookPost() const;
};

}  // namespace dm
