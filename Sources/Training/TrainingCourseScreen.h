// What the course screen shows of each published day: its week, title, the totals of the work
// done on it (corrected completed sets, removed ones left out) and its progress since the
// last reset. Built from one query for the course's sets and one for pending corrections,
// whatever the number of days.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Foundation/Date.h"

namespace dm {

class TrainingCourseEntity;
class TrainingDayEntity;

// Work done on a day, by the exercise kind it counts for: kilograms lifted (weight x
// repeats of power sets), cardio minutes, functional seconds, repeats of power and
// functional-by-repeats sets. Plain value.
struct TrainingDayTotals {
  double kilograms = 0;
  double minutes = 0;
  double seconds = 0;
  std::int64_t repeats = 0;
  std::size_t sets = 0;
};

struct TrainingCourseScreenDay {
  TrainingDayEntity* day = nullptr;  // valid while its context is
  std::int64_t dayId = 0;
  std::int64_t week = 1;             // from 1
  std::int64_t displayPosition = 0;  // from 1, over the whole course
  std::string title;
  TrainingDayTotals totals;
  double progress = 0;  // 0..1, since the day's progress reset
};

struct TrainingCourseScreen {
  std::int64_t daysPerWeek = 0;
  std::vector<TrainingCourseScreenDay> days;  // in the day sort order
};

// Days per week of a course: its days spread over `length` weeks when the length is set,
// else the preset's frequency, else the workout days of a cycle, else all days in one week.
std::int64_t trainingDaysPerWeek(const TrainingCourseEntity& course, std::size_t dayCount);

// The screen of `course`, read on its context's queue. Days whose exercises are missing, or
// whose sets name exercises no longer stored, give zero totals and progress.
TrainingCourseScreen trainingCourseScreen(TrainingCourseEntity& course);

}  // namespace dm
