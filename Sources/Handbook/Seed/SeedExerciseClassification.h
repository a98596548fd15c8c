// How the seed files the dataset's exercises: which handbook category, filter tags,
// equipment type, equipment class and exercise type each one gets. Fixed tables; their
// order fixes the category and tag identifiers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Handbook/Seed/SeedExercises.h"

namespace dm {

// Subcategories of the exercise root category, in id order: body parts for the strength
// kinds, and one each for stretching, plyometrics and cardio.
const std::vector<std::string_view>& seedExerciseGroupTitles();

// Location tags, in id order: "Gym", "Home", "Outdoors".
const std::vector<std::string_view>& seedLocationTitles();

struct SeedMuscle {
  std::string_view name;   // as the dataset spells it
  std::string_view title;  // shown title
  std::size_t group;       // index into seedExerciseGroupTitles()
};
// Muscle tags, in id order.
const std::vector<SeedMuscle>& seedMuscles();

enum class SeedEquipmentClass { FreeWeight, Machine, BodyWeight, Accessory };

struct SeedEquipment {
  std::string_view name;  // as the dataset spells it; "" is "no equipment"
  std::string_view title;
  unsigned equipmentType;  // the handbook's equipment type number
  SeedEquipmentClass equipmentClass;
  std::vector<std::size_t> locations;  // indexes into seedLocationTitles()
};
// Equipment, in tag id order. The "no equipment" row comes last and has no tag.
const std::vector<SeedEquipment>& seedEquipment();

// Index of a muscle or equipment by the dataset's name (nothing for an unknown one; an
// absent equipment is the "no equipment" row).
std::optional<std::size_t> seedMuscleIndex(std::string_view name);
std::optional<std::size_t> seedEquipmentIndex(const std::optional<std::string>& name);

// Whether the dataset's category is one the seed knows.
bool isKnownSeedExerciseCategory(std::string_view category);

// Index into seedExerciseGroupTitles() for an exercise whose category and muscles are known.
std::size_t seedExerciseGroup(const SeedExercise& exercise);

// The handbook exercise type code: cardio is "cardio", stretching is held for time
// ("functional_seconds"), plyometrics counts repeats ("functional_repeats"); the strength
// kinds are "power" with equipment, and by body weight count repeats, or seconds for static
// holds.
std::string_view seedExerciseType(const SeedExercise& exercise);

}  // namespace dm
