// Training benchmarks, following the harness protocol in Benchmarks/README.md:
// - training.map_course: a course payload (scripts/gen-course-fixture, scaled to N exercises)
//   plus three completed sets of history per exercise, JSON text mapped into the main store
//   and committed;
// - training.day_screen: everything one day's screen reads (its 10 exercises in order, their
//   post exercises through the handbook adapter, the recommendation texts, the corrected
//   completed sets with their titles) in a store holding a year of history; N screens, the
//   median screen time on stderr and in "p50_ms".
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "BenchmarkArguments.h"
#include "DataModel.h"
#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Mapping/Records/ModelMapper.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/WindowedMapping.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "ReadPayload.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingDayEntity.h"
#include "TrainingPayload.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace {

using namespace dm;
using Clock = std::chrono::steady_clock;

std::shared_ptr<ManagedObjectStore> openStore(const std::filesystem::path& dir) {
  DataModelOptions options;
  options.dataRoot = dir;
  options.interfaceLanguage = "en";
  options.useRootContextForClassOperations = true;
  options.settingsStore = SettingsStore::inMemory();
  auto store = DataModel::open(options)->mainStore();
  if (!store || store->isInMemory()) throw std::runtime_error("the main store did not open");
  return store;
}

MappingResult mapText(ManagedObjectContext& context, const std::string& text, const char* cls,
                      const char* keyPath) {
  auto mapping = ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed(cls));
  ManagedObjectDestination destination(context);
  return MappingOperation(destination).map(text, keyPath, mapping);
}

// The server's answers are mapped a window of records at a time, as an application maps large
// answers: memory stays bounded by the window while the whole answer commits as one.
std::size_t mapInWindows(ManagedObjectContext& context, const std::string& text, const char* cls,
                         const char* keyPath) {
  auto mapping = ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed(cls));
  return WindowedMapping(context).map(text, keyPath, mapping).skippedCount;
}

std::size_t countOf(ManagedObjectContext& context, const char* entity) {
  return context.countForFetchRequest(FetchRequest(context.model().entityNamed(entity)));
}

int mapCourse(long n, const std::filesystem::path& dir) {
  std::string course = bench::coursePayload(dir, n, MappingOperation::kParsePadding);
  std::size_t setCount = 0;
  const std::string history =
      bench::historyPayload(course, &setCount, MappingOperation::kParsePadding);
  const std::size_t payloadBytes = course.size() + history.size();
  auto store = openStore(dir);
  auto context = store->persistentStoreManagedObjectContext();

  std::size_t skipped = 0;
  const auto start = Clock::now();
  context->performAndWait([&] {
    skipped += mapInWindows(*context, course, "TrainingCourseEntity", "courses");
    const auto courseMapped = Clock::now();
    skipped += mapInWindows(*context, history, "ExerciseCompletedSetEntity", "completed_sets");
    // Where the time goes, for whoever looks into this workload.
    std::fprintf(stderr, "course mapped %.3f s, history mapped %.3f s\n",
                 std::chrono::duration<double>(courseMapped - start).count(),
                 std::chrono::duration<double>(Clock::now() - courseMapped).count());
  });
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  std::size_t days = 0, exercises = 0, stored = 0;
  context->performAndWait([&] {
    days = countOf(*context, TrainingDayEntity::kEntityName);
    exercises = countOf(*context, ExerciseEntity::kEntityName);
    stored = countOf(*context, ExerciseCompletedSetEntity::kEntityName);
  });
  std::fprintf(stderr, "%zu days, %zu exercises, %zu of %zu sets, %zu skipped, payload %zu bytes\n",
               days, exercises, stored, setCount, skipped, payloadBytes);
  std::printf(
      "{\"workload\":\"training.map_course\",\"impl\":\"DataModel\",\"records\":%zu,"
      "\"seconds\":%.6f,\"check\":\"%zu exercises, %zu sets\",\"payload_bytes\":%zu}\n",
      days + exercises + setCount, seconds, exercises, stored, payloadBytes);
  return 0;
}

// A year of history around one course: 48 days of 10 exercises, four workouts a week with
// 4 sets per exercise, a correction on every tenth set.
void fillYear(ManagedObjectContext& context) {
  auto& handbook = HandbookAdapter::shared();
  handbook.storage()->performOnSavingContextAndWait([&](ManagedObjectContext& posts) {
    for (int i = 0; i < 480; ++i) {
      auto* post = dynamic_cast<HandbookPostExerciseEntity*>(
          posts.insertNewObject(HandbookPostExerciseEntity::kEntityName));
      post->setEntityID(20001 + i);
      post->setTitle("Exercise " + std::to_string(i));
      post->setExerciseTypeString(i % 10 == 9 ? "cardio" : "power");
      post->setEquipmentType(i % 7);
    }
    posts.save();
  });
  nlohmann::json days = nlohmann::json::array();
  for (int d = 0; d < 48; ++d) {
    nlohmann::json exercises = nlohmann::json::array();
    for (int e = 0; e < 10; ++e) {
      const int id = 500000 + d * 10 + e;
      nlohmann::json exercise = {{"id", id},
                                 {"postExerciseID", 20001 + d * 10 + e},
                                 {"trainingDayId", 9000 + d},
                                 {"position", e + 1},
                                 {"set_type", e == 3 ? "pyramid" : "straight"},
                                 {"handbook_type", e == 9 ? "cardio" : "power"},
                                 {"weight_type", "number"},
                                 {"recommendedSets", e == 9 ? 30 : 4},
                                 {"recommendedRepeats", 10},
                                 {"recommendedWeightValue", 40 + e},
                                 {"comment", "Keep the back straight"}};
      if (e == 3)
        exercise["recommendedPyramid"] = {{{"repeats", 12}, {"weight", 40}},
                                          {{"repeats", 10}, {"weight", 45}},
                                          {{"repeats", 8}, {"weight", 50}}};
      if (e == 4 || e == 5) exercise["superset"] = 1;
      exercises.push_back(exercise);
    }
    days.push_back({{"id", 9000 + d},
                    {"title", "Day " + std::to_string(d + 1)},
                    {"position", d + 1},
                    {"courseId", 77},
                    {"exercises", exercises}});
  }
  nlohmann::json course = {{"course", {{"id", 77}, {"name", "Year"}, {"trainingDays", days}}}};
  nlohmann::json sets = nlohmann::json::array();
  std::size_t n = 0;
  for (int workout = 0; workout < 208; ++workout) {  // four a week for a year
    const int d = workout % 48;
    for (int e = 0; e < 10; ++e)
      for (int s = 0; s < 4; ++s, ++n)
        sets.push_back({{"guid", "y-" + std::to_string(n)},
                        {"id", n + 1},
                        {"exerciseId", 500000 + d * 10 + e},
                        {"courseId", 77},
                        {"value", 40 + s * 2.5},
                        {"repeats", 10 - s},
                        {"executedAt", bench::serverTime(1735700000LL + workout * 151200LL +
                                                         (e * 4 + s) * 120)}});
  }
  context.performAndWait([&] {
    mapText(context, course.dump(), "TrainingCourseEntity", "course");
    mapText(context, nlohmann::json{{"completed_sets", sets}}.dump(), "ExerciseCompletedSetEntity",
            "completed_sets");
    for (std::size_t i = 0; i < n; i += 10) {
      auto* update = dynamic_cast<ExerciseCompletedSetUpdateEntity*>(
          context.insertNewObject(ExerciseCompletedSetUpdateEntity::kEntityName));
      update->setGuid("y-" + std::to_string(i));
      update->setRepeats(12);
      update->setValue(42.5);
    }
    context.save();
  });
}

// Everything the day screen shows; returns the number of texts built (for the check).
std::size_t renderDay(ManagedObjectContext& context, std::int64_t dayId) {
  std::size_t texts = 0;
  FetchRequest dayRequest(context.model().entityNamed(TrainingDayEntity::kEntityName));
  dayRequest.predicate = Predicate::keyEquals("entityID", Value(dayId));
  auto found = context.executeFetchRequest(dayRequest);
  auto* day = found.empty() ? nullptr : dynamic_cast<TrainingDayEntity*>(found.front());
  if (!day) throw std::runtime_error("day missing");
  auto exercises = day->exercises();
  std::sort(exercises.begin(), exercises.end(),
            [](auto* a, auto* b) { return a->position() < b->position(); });
  std::map<ExerciseEntity*, std::vector<ExerciseCompletedSetEntity*>> sets;
  for (auto* exercise : exercises) {
    if (exercise->isCardio())
      exercise->recommendedDurationString = std::to_string(exercise->recommendedSets());
    auto* post = exercise->currentPostExercise();
    texts += post && !post->title().empty();
    texts += exercise->recommendation().has_value();
    texts += exercise->recommendationNoRepeatsAndNoSetsForSet(0).has_value();
    texts += exercise->fixedCommentForSet(0).has_value();
    texts += exercise->repeatsExplanationText().has_value();
    FetchRequest setsRequest(context.model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
    setsRequest.predicate =
        Predicate::andPredicate({Predicate::keyEquals("exerciseId", Value(exercise->entityID())),
                                 ExerciseCompletedSetEntity::notMarkedDeletePredicate()});
    setsRequest.sortDescriptors = {{"executedAt", false}};
    setsRequest.fetchLimit = 20;  // the screen shows the latest sets
    auto& shown = sets[exercise];
    for (auto* object : context.executeFetchRequest(setsRequest))
      shown.push_back(dynamic_cast<ExerciseCompletedSetEntity*>(object));
  }
  // The corrections of every set shown, in one query, before the titles read them.
  std::vector<ExerciseCompletedSetEntity*> all;
  for (const auto& entry : sets) all.insert(all.end(), entry.second.begin(), entry.second.end());
  ExerciseCompletedSetEntity::primeUpdateEntities(context, all);
  for (auto* exercise : exercises) {
    const std::int64_t type = exercise->isCardio() ? 1 : 0;
    for (auto* set : sets[exercise]) texts += set->titleForExerciseType(type).has_value();
  }
  return texts;
}

int dayScreen(long n, const std::filesystem::path& dir) {
  auto store = openStore(dir);
  auto context = store->persistentStoreManagedObjectContext();
  fillYear(*context);
  std::vector<double> times;
  std::size_t texts = 0;
  const auto start = Clock::now();
  context->performAndWait([&] {
    for (long i = 0; i < n; ++i) {
      const auto before = Clock::now();
      texts += renderDay(*context, 9000 + i % 48);
      times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - before).count());
      context->reset();  // each screen reads from the store, as a freshly opened screen does
    }
  });
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::sort(times.begin(), times.end());
  const double p50 = times.empty() ? 0 : times[times.size() / 2];
  std::fprintf(stderr, "day screen p50 %.3f ms over %ld screens\n", p50, n);
  std::printf(
      "{\"workload\":\"training.day_screen\",\"impl\":\"DataModel\",\"records\":%ld,"
      "\"seconds\":%.6f,\"check\":\"%zu texts\",\"p50_ms\":%.4f}\n",
      n, seconds, texts, p50);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> workloads = {"training.map_course", "training.day_screen"};
  bench::Arguments arguments;
  arguments.records = 100000;
  if (auto status = bench::parseArguments(argc, argv, argv[0], workloads, arguments))
    return *status;
  if (arguments.dataDir.empty() || arguments.records <= 0)
    return bench::usage(argv[0], "--workload, --records and --data-dir are required");
  try {
    dm::registerRecordClasses();
    dm::setCurrentLocaleIdentifier("en_US");
    if (arguments.workload == "training.map_course")
      return mapCourse(static_cast<long>(arguments.records), arguments.dataDir);
    if (arguments.workload == "training.day_screen")
      return dayScreen(static_cast<long>(arguments.records), arguments.dataDir);
    return bench::usage(argv[0], "unknown workload " + arguments.workload);
  } catch (const std::exception& error) {
    std::cerr << arguments.workload << " failed: " << error.what() << "\n";
    return 1;
  }
}
