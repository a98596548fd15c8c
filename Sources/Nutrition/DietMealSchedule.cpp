// Pairing a diet's meals with the meal schedule.
#include "Nutrition/DietMealSchedule.h"

#include <algorithm>
#include <stdexcept>

#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Platform/Foundation/Error.h"
#include "Profile/MealsTimeFormatter.h"
#include "Profile/UserEntity.h"

namespace dm {

namespace {
std::vector<int> readableMinutes(std::string_view schedule) {
  std::vector<int> minutes;
  std::size_t start = 0;
  while (start <= schedule.size()) {
    std::size_t end = schedule.find(' ', start);
    if (end == std::string_view::npos) end = schedule.size();
    if (auto time = timeOfDayFromStoredString(schedule.substr(start, end - start)))
      minutes.push_back(static_cast<int>(time->timeIntervalSince1970 / 60));
    start = end + 1;
  }
  std::sort(minutes.begin(), minutes.end());
  return minutes;
}

std::string timeText(int minutes) {
  return mealsTimeStringFromTimeOfDay(Date(static_cast<double>(minutes) * 60));
}

// A malformed time (no ":") is a damaged record: it is placed like an unset one.
std::optional<int> ownMinutesOf(const DietMealEntity& meal) {
  if (!meal.hasConsumeTime() || meal.consumeTime().empty()) return std::nullopt;
  try {
    return meal.consumeTimeInMinutes();
  } catch (const Error&) {
    return std::nullopt;
  }
}
}  // namespace

std::vector<int> mealScheduleMinutes(std::string_view schedule) {
  auto minutes = readableMinutes(schedule);
  if (minutes.empty()) minutes = readableMinutes(UserEntity::defaultMealsSchedule());
  return minutes;
}

std::string ScheduledDietMeal::shownTime() const {
  return timeText(minutes());
}

std::string ScheduledDietMeal::scheduledTime() const {
  return timeText(scheduledMinutes);
}

std::vector<ScheduledDietMeal> mealsAgainstSchedule(const DietEntity& diet,
                                                    std::string_view schedule) {
  std::vector<ScheduledDietMeal> meals;
  for (DietMealEntity* meal : diet.meals()) {
    ScheduledDietMeal entry;
    entry.meal = meal;
    entry.ownMinutes = ownMinutesOf(*meal);
    meals.push_back(entry);
  }
  std::sort(meals.begin(), meals.end(), [](const auto& a, const auto& b) {
    int left = a.ownMinutes.value_or(0), right = b.ownMinutes.value_or(0);
    if (left != right) return left < right;
    return a.meal->entityID() < b.meal->entityID();
  });
  auto slots = mealScheduleMinutes(schedule);
  for (std::size_t i = 0; i < meals.size(); ++i) {
    meals[i].position = i;
    meals[i].scheduledMinutes = slots[std::min(i, slots.size() - 1)];
  }
  return meals;
}

}  // namespace dm
