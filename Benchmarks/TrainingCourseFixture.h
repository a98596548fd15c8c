// The stored course the training.course_screen workload reads: 48 weeks of four published
// days, six exercises a day (power straight and pyramid, functional by repeats and by
// seconds, cardio), and a year of completed sets with corrections and removals, written
// into the main store file of DIR through the library (setup, not measured).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "DataModel.h"
#include "Handbook/Adapter/HandbookAdapter.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingDayEntity.h"
#include "Training/WorkoutResultsEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace bench {

inline constexpr std::int64_t kCourseId = 4801;
inline constexpr std::int64_t kWeeks = 48;
inline constexpr std::int64_t kDaysPerWeek = 4;
inline constexpr std::int64_t kHistoryDays = 365;

// Opens the main store of `dir` (and a handbook of its own there, so exercise lookups never
// leave the directory).
inline std::shared_ptr<dm::ManagedObjectStore> openTrainingStore(const std::string& dir) {
  dm::Directories::setDataRoot(dir);
  dm::registerRecordClasses();
  dm::HandbookStorage::Options options;
  options.applicationSupportDirectory = std::filesystem::path(dir) / "handbook";
  dm::HandbookAdapter::setShared(std::make_unique<dm::HandbookAdapter>(options));
  return dm::ManagedObjectStore::initWithModelName(dm::ManagedObjectStore::modelName);
}

// Writes the course and its history; returns the number of completed sets written.
inline std::int64_t fillTrainingCourse(dm::ManagedObjectContext& context) {
  std::int64_t written = 0;
  context.performAndWait([&] {
    auto* course =
        context.insertNew<dm::TrainingCourseEntity>(dm::TrainingCourseEntity::kEntityName);
    course->setEntityID(kCourseId);
    course->setName("A year of strength");
    course->setStatusString("published");
    course->setLength(kWeeks);
    const char* kinds[] = {"power", "power", "power", "functional_repeats", "functional_seconds",
                           "cardio"};
    std::vector<std::vector<dm::ExerciseEntity*>> days;
    std::int64_t exerciseId = 100000;
    for (std::int64_t d = 0; d < kWeeks * kDaysPerWeek; ++d) {
      auto* day = context.insertNew<dm::TrainingDayEntity>(dm::TrainingDayEntity::kEntityName);
      day->setEntityID(10000 + d);
      day->setTitle("Day " + std::to_string(d + 1));
      day->setPosition(d + 1);
      day->setCourseId(kCourseId);
      day->setEntityStatus(dm::EntityStatus::Published);
      day->setCource(course);
      std::vector<dm::ExerciseEntity*> exercises;
      for (int e = 0; e < 6; ++e) {
        auto* exercise = context.insertNew<dm::ExerciseEntity>(dm::ExerciseEntity::kEntityName);
        exercise->setEntityID(++exerciseId);
        exercise->setPostExerciseID(9000000 + exerciseId);  // not in any handbook
        exercise->setTrainingDayId(day->entityID());
        exercise->setPosition(e + 1);
        exercise->setHandbookTypeString(kinds[e]);
        exercise->setWeightTypeString("number");
        if (e == 1) {
          exercise->setSetTypeString("pyramid");
          exercise->setRecommendedPyramid(nlohmann::json::parse(
              R"([{"repeats": 12, "weight": 40}, {"repeats": 10, "weight": 45},
                  {"repeats": 8, "weight": 50}, {"repeats": 6, "weight": 55}])"));
        } else {
          exercise->setSetTypeString("straight");
          exercise->setRecommendedSets(e == 5 ? 25 : 3 + e % 2);
          exercise->setRecommendedRepeats(e == 4 ? 45 : 10);
          exercise->setRecommendedWeightValue(40 + d % 20);
          if (e == 5) exercise->setSets(1);
        }
        exercise->setTrainingDay(day);
        exercises.push_back(exercise);
      }
      days.push_back(std::move(exercises));
    }

    // A workout every other day, the days trained in order; values near the plan.
    std::uint64_t state = 42;
    auto next = [&state] {
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      return static_cast<std::uint32_t>(state >> 33);
    };
    const dm::Date start(1732471200);  // 2024-11-24 18:00 UTC
    std::int64_t setId = 0, workout = 0;
    for (std::int64_t offset = 0; offset < kHistoryDays; offset += 2, ++workout) {
      const auto& exercises = days[static_cast<std::size_t>(workout) % days.size()];
      dm::Date moment = start.addingTimeInterval(static_cast<double>(offset) * 86400);
      std::string resultGuid = "R" + std::to_string(workout);
      auto* result =
          context.insertNew<dm::WorkoutResultsEntity>(dm::WorkoutResultsEntity::kEntityName);
      result->setGuid(resultGuid);
      result->setEntityID(workout + 1);
      result->setCourseId(kCourseId);
      result->setStartedAt(moment);
      for (auto* exercise : exercises) {
        int sets = exercise->isCardio() ? 1 : static_cast<int>(exercise->setsCount());
        for (int k = 0; k < sets; ++k) {
          moment = moment.addingTimeInterval(150);
          auto* set = context.insertNew<dm::ExerciseCompletedSetEntity>(
              dm::ExerciseCompletedSetEntity::kEntityName);
          ++setId;
          set->setEntityID(setId);
          set->setGuid("S" + std::to_string(setId));
          set->setExerciseId(exercise->entityID());
          set->setCourseId(kCourseId);
          set->setPostExerciseId(exercise->postExerciseID());
          set->setResultGuid(resultGuid);
          set->setExecutedAt(moment);
          set->setValue(exercise->isCardio()              ? 25.0
                        : exercise->isFunctionalSeconds() ? 45.0
                                                          : 40.0 + (next() % 9) * 2.5);
          set->setRepeats(exercise->isFunctionalSeconds() || exercise->isCardio()
                              ? 0
                              : 10 - static_cast<std::int64_t>(next() % 3));
          set->setExersice(exercise);
          auto roll = next() % 100;
          if (roll < 3) {
            set->setMarkedDeleted(true);
            auto* removal = context.insertNew<dm::ExerciseCompletedSetDeleteEntity>(
                dm::ExerciseCompletedSetDeleteEntity::kEntityName);
            removal->setGuid(set->guid());
          } else if (roll < 8) {
            auto* correction = context.insertNew<dm::ExerciseCompletedSetUpdateEntity>(
                dm::ExerciseCompletedSetUpdateEntity::kEntityName);
            correction->setGuid(set->guid());
            correction->setCourseId(kCourseId);
            correction->setRepeats(std::max<std::int64_t>(0, set->repeats() - 1));
            correction->setValue(set->value() + 5);
          }
          ++written;
        }
      }
      result->setEndedAt(moment);
    }
    context.save();
  });
  return written;
}

}  // namespace bench
