// Fixed tables that classify the dataset's exercises for the handbook.
#include "Handbook/Seed/SeedExerciseClassification.h"

#include <algorithm>

namespace dm {
namespace {

enum Group : std::size_t {
  kChest,
  kBack,
  kShoulders,
  kArms,
  kLegs,
  kCore,
  kNeck,
  kStretching,
  kPlyometrics,
  kCardio
};
enum Location : std::size_t { kGym, kHome, kOutdoors };

}  // namespace

const std::vector<std::string_view>& seedExerciseGroupTitles() {
  static const std::vector<std::string_view> titles = {
      "Chest", "Back", "Shoulders",  "Arms",        "Legs",
      "Core",  "Neck", "Stretching", "Plyometrics", "Cardio"};
  return titles;
}

const std::vector<std::string_view>& seedLocationTitles() {
  static const std::vector<std::string_view> titles = {"Gym", "Home", "Outdoors"};
  return titles;
}

const std::vector<SeedMuscle>& seedMuscles() {
  static const std::vector<SeedMuscle> muscles = {
      {"chest", "Chest", kChest},
      {"lats", "Lats", kBack},
      {"middle back", "Middle back", kBack},
      {"lower back", "Lower back", kBack},
      {"traps", "Traps", kBack},
      {"shoulders", "Shoulders", kShoulders},
      {"biceps", "Biceps", kArms},
      {"triceps", "Triceps", kArms},
      {"forearms", "Forearms", kArms},
      {"quadriceps", "Quadriceps", kLegs},
      {"hamstrings", "Hamstrings", kLegs},
      {"glutes", "Glutes", kLegs},
      {"calves", "Calves", kLegs},
      {"adductors", "Adductors", kLegs},
      {"abductors", "Abductors", kLegs},
      {"abdominals", "Abdominals", kCore},
      {"neck", "Neck", kNeck},
  };
  return muscles;
}

const std::vector<SeedEquipment>& seedEquipment() {
  using C = SeedEquipmentClass;
  static const std::vector<SeedEquipment> equipment = {
      {"body only", "Body weight", 1, C::BodyWeight, {kGym, kHome, kOutdoors}},
      {"barbell", "Barbell", 2, C::FreeWeight, {kGym}},
      {"dumbbell", "Dumbbells", 3, C::FreeWeight, {kGym, kHome}},
      {"kettlebells", "Kettlebells", 4, C::FreeWeight, {kGym, kHome}},
      {"cable", "Cable machine", 5, C::Machine, {kGym}},
      {"machine", "Machine", 6, C::Machine, {kGym}},
      {"e-z curl bar", "EZ curl bar", 7, C::FreeWeight, {kGym}},
      {"bands", "Resistance bands", 8, C::Accessory, {kGym, kHome, kOutdoors}},
      {"medicine ball", "Medicine ball", 9, C::Accessory, {kGym, kHome}},
      {"exercise ball", "Exercise ball", 10, C::Accessory, {kGym, kHome}},
      {"foam roll", "Foam roller", 11, C::Accessory, {kGym, kHome}},
      {"other", "Other equipment", 12, C::Accessory, {kGym}},
      {"", "No equipment", 0, C::BodyWeight, {kGym, kHome, kOutdoors}},
  };
  return equipment;
}

std::optional<std::size_t> seedMuscleIndex(std::string_view name) {
  const auto& muscles = seedMuscles();
  auto found = std::find_if(muscles.begin(), muscles.end(),
                            [&](const SeedMuscle& muscle) { return muscle.name == name; });
  if (found == muscles.end()) return std::nullopt;
  return static_cast<std::size_t>(found - muscles.begin());
}

std::optional<std::size_t> seedEquipmentIndex(const std::optional<std::string>& name) {
  std::string_view key = name ? std::string_view(*name) : std::string_view();
  const auto& equipment = seedEquipment();
  auto found = std::find_if(equipment.begin(), equipment.end(),
                            [&](const SeedEquipment& item) { return item.name == key; });
  if (found == equipment.end()) return std::nullopt;
  return static_cast<std::size_t>(found - equipment.begin());
}

bool isKnownSeedExerciseCategory(std::string_view category) {
  static constexpr std::string_view kCategories[] = {
      "strength", "stretching", "plyometrics", "powerlifting", "cardio", "olympic weightlifting",
      "strongman"};
  return std::find(std::begin(kCategories), std::end(kCategories), category) !=
         std::end(kCategories);
}

std::size_t seedExerciseGroup(const SeedExercise& exercise) {
  if (exercise.category == "stretching") return kStretching;
  if (exercise.category == "plyometrics") return kPlyometrics;
  if (exercise.category == "cardio") return kCardio;
  return seedMuscles()[seedMuscleIndex(exercise.primaryMuscles.front()).value()].group;
}

std::string_view seedExerciseType(const SeedExercise& exercise) {
  if (exercise.category == "cardio") return "cardio";
  if (exercise.category == "stretching") return "functional_seconds";
  if (exercise.category == "plyometrics") return "functional_repeats";
  bool bodyWeight = !exercise.equipment || *exercise.equipment == "body only";
  if (!bodyWeight) return "power";
  return exercise.force && *exercise.force == "static" ? "functional_seconds"
                                                       : "functional_repeats";
}

}  // namespace dm
