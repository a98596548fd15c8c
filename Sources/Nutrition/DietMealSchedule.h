// A diet day's meals laid against the user's meal schedule: which scheduled meal each one is
// and how far its consume time lies from the scheduled time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dm {

class DietEntity;
class DietMealEntity;

// Minutes after midnight of each readable "HH:mm" time of a blank-separated schedule, sorted
// ascending. Unreadable words are skipped; an empty or wholly unreadable schedule is the
// default one ("07:00 10:00 13:00 16:00 19:00"). Any thread.
std::vector<int> mealScheduleMinutes(std::string_view schedule);

// One meal of the day in its place. `meal` is not owned (valid on the diet's context queue).
struct ScheduledDietMeal {
  DietMealEntity* meal = nullptr;
  std::size_t position = 0;       // place in the day, from 0
  std::optional<int> ownMinutes;  // the meal's consume time; none when unset or malformed
  int scheduledMinutes = 0;       // the schedule's time for this place (the last beyond it)

  // When the meal is eaten: its own time, else the scheduled one.
  int minutes() const { return ownMinutes.value_or(scheduledMinutes); }
  // Own time minus scheduled time (later is positive); 0 without an own time.
  int minutesFromSchedule() const { return ownMinutes ? *ownMinutes - scheduledMinutes : 0; }
  // The time shown for the meal in the user's short time style.
  std::string shownTime() const;
  std::string scheduledTime() const;
};

// The diet's meals by consume time (unset and malformed times read as 0, as
// consumeTimeInMinutes does; equal times by entityID), the n-th paired with the n-th time of
// the schedule. A diet without meals gives an empty list. On the diet's context queue.
std::vector<ScheduledDietMeal> mealsAgainstSchedule(const DietEntity& diet,
                                                    std::string_view schedule);

}  // namespace dm
