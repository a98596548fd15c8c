// `dmctl training day|sets|complete-set|correct-set|remove-set`: a stored training day as its
// screen shows it, and completed sets recorded on the device with their pending corrections and
// removals, each with the request body that would send it.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Mapping/Records/EntitySyncState.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/Guid.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Platform/ObjectStore/TypedFetch.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingDayEntity.h"
#include "Training/TrainingRequests.h"
#include "Units/UnitsHelper.h"
#include "dmctl/Command.h"
#include "dmctl/TrainingCommandGroup.h"

namespace dmctl {
namespace {

struct SetArguments {
  std::int64_t id = 0;  // day or exercise
  std::string guid;
  std::optional<double> value;
  std::optional<std::int64_t> repeats;
  std::optional<std::string> comment;
  std::optional<std::int64_t> postExerciseId;
  std::string resultGuid;
  std::string newGuid;     // complete-set --guid: a chosen client identifier (replays, tests)
  std::string executedAt;  // yyyy-MM-dd HH:mm, local time
};

template <typename Record>
Record* byEntityID(dm::ManagedObjectContext& context, std::int64_t id) {
  auto found =
      dm::fetchRecords<Record>(context, dm::Predicate::keyEquals("entityID", dm::Value(id)));
  return found.empty() ? nullptr : found.front();
}

dm::ExerciseCompletedSetEntity* setWithGuid(dm::ManagedObjectContext& context,
                                            const std::string& guid) {
  auto found = dm::fetchRecords<dm::ExerciseCompletedSetEntity>(
      context, dm::Predicate::keyEquals("guid", dm::Value(guid)));
  if (found.empty()) throw CommandError("no completed set has the guid \"" + guid + "\"");
  return found.front();
}

// The exercise kind as the completed-set titles code it.
std::int64_t titleType(const dm::ExerciseEntity& exercise) {
  if (exercise.isCardio()) return 1;
  if (exercise.isFunctionalRepeats()) return 2;
  if (exercise.isFunctionalSeconds()) return 3;
  return 0;
}

std::string postTitle(const dm::ExerciseEntity& exercise) {
  if (auto* post = exercise.currentPostExercise(); post && !post->title().empty())
    return post->title();
  return "post exercise " + std::to_string(exercise.postExerciseID());
}

nlohmann::json orNull(const std::optional<std::string>& text) {
  return text ? nlohmann::json(*text) : nlohmann::json();
}

void saveOrFail(dm::ManagedObjectContext& context) {
  try {
    context.save();
  } catch (const dm::StoreError& error) {
    throw saveFailure(error, true);
  }
}

// Runs `body` on the context's queue and rethrows what it threw on the caller's thread.
template <typename Body>
void onQueue(dm::ManagedObjectContext& context, Body body) {
  std::exception_ptr failure;
  context.performAndWait([&] {
    try {
      body();
    } catch (...) {
      failure = std::current_exception();
    }
  });
  if (failure) std::rethrow_exception(failure);
}

// Opens the store and fixes what every text of a screen depends on before the first one is
// built: the first read of an underived unit default answers metric while storing the derived
// one, so a line could mix kilograms and pounds; the POSIX locale writes numbers unrounded.
std::shared_ptr<dm::ManagedObjectContext> openForScreens(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  if (dm::currentLocaleIdentifier() == "en_US_POSIX") dm::setCurrentLocaleIdentifier("en_US");
  dm::UnitsHelper::weightUnits();
  dm::UnitsHelper::heightUnits();
  return context;
}

void showDay(const SetArguments& arguments, const GlobalOptions& options) {
  auto context = openForScreens(options);
  onQueue(*context, [&] {
    auto* day = byEntityID<dm::TrainingDayEntity>(*context, arguments.id);
    if (!day) throw CommandError("no training day has the id " + std::to_string(arguments.id));
    auto exercises = day->exercises();
    std::stable_sort(exercises.begin(), exercises.end(), [](auto* a, auto* b) {
      return a->position() != b->position() ? a->position() < b->position()
                                            : a->entityID() < b->entityID();
    });

    nlohmann::json rows = nlohmann::json::array();
    for (auto* exercise : exercises) {
      // The screen fills the cardio editing fields from the record: minutes are sent as the
      // sets count of a cardio exercise.
      if (exercise->isCardio() && exercise->recommendedDurationString.empty())
        exercise->recommendedDurationString = std::to_string(exercise->recommendedSets());
      nlohmann::json row = {
          {"id", exercise->entityID()},
          {"postExerciseId", exercise->currentPostExerciseIdForPostExerciseId(
                                 exercise->customAlternativeExercisePostId)},
          {"title", postTitle(*exercise)},
          {"recommendation", orNull(exercise->recommendation())},
          {"sentence", orNull(exercise->recommendationNoRepeatsAndNoSetsForSet(0))},
          {"comment", orNull(exercise->fixedCommentForSet(0))}};
      row["superset"] =
          exercise->isInSuperset() ? nlohmann::json(exercise->superset()) : nlohmann::json();
      rows.push_back(row);
    }
    if (options.json) {
      nlohmann::json out = {{"id", day->entityID()},
                            {"title", day->title()},
                            {"courseId", day->courseId()},
                            {"exercises", rows}};
      std::printf("%s\n", out.dump(2).c_str());
      return;
    }
    std::printf("%s (day %lld)\n", day->title().c_str(), static_cast<long long>(day->entityID()));
    // Exercises of one superset are done back to back: a bracket joins them.
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const auto& row = rows[i];
      auto sameSuperset = [&](std::size_t other) {
        return other < rows.size() && !row["superset"].is_null() &&
               rows[other]["superset"] == row["superset"];
      };
      bool joinedAbove = i > 0 && sameSuperset(i - 1), joinedBelow = sameSuperset(i + 1);
      const char* bracket = joinedAbove && joinedBelow ? "|"
                            : joinedBelow              ? "┌"
                            : joinedAbove              ? "└"
                                                       : " ";
      std::printf(
          "%s %2zu. %s%s\n", bracket, i + 1, row["title"].get<std::string>().c_str(),
          row["superset"].is_null() ? "" : (" [superset " + row["superset"].dump() + "]").c_str());
      const char* gutter = joinedBelow ? "|" : " ";
      for (const char* key : {"recommendation", "sentence", "comment"}) {
        if (row[key].is_null()) continue;
        std::string text = row[key].get<std::string>();
        for (std::size_t at; (at = text.find('\n')) != std::string::npos;)
          text.replace(at, 1, "\n" + std::string(gutter) + "     ");
        std::printf("%s     %s\n", gutter, text.c_str());
      }
    }
  });
}

void showSets(const SetArguments& arguments, const GlobalOptions& options) {
  auto context = openForScreens(options);
  onQueue(*context, [&] {
    auto* exercise = byEntityID<dm::ExerciseEntity>(*context, arguments.id);
    auto sets = dm::fetchRecords<dm::ExerciseCompletedSetEntity>(
        *context, dm::Predicate::keyEquals("exerciseId", dm::Value(arguments.id)),
        {{"executedAt", true}});
    if (!exercise && sets.empty())
      throw CommandError("no exercise has the id " + std::to_string(arguments.id));
    const std::int64_t type = exercise ? titleType(*exercise) : 0;
    dm::ExerciseCompletedSetEntity::primeUpdateEntities(*context, sets);
    nlohmann::json rows = nlohmann::json::array();
    for (auto* set : sets) {
      set->shouldCacheDeleteEntity = true;
      nlohmann::json row = {
          {"guid", set->guid()},
          {"entityID", set->entityID()},
          {"executedAt",
           set->hasExecutedAt() ? dm::stringFromDate(set->executedAt(), "yyyy-MM-dd HH:mm") : ""},
          {"title", orNull(set->titleForExerciseType(type))},
          {"corrected", set->updateEntity() != nullptr},
          {"removed", set->markedDeleted() || set->deleteEntity() != nullptr}};
      auto value = set->updatedValue();
      auto repeats = set->updatedRepeats();
      row["value"] = value ? nlohmann::json(*value) : nlohmann::json();
      row["repeats"] = repeats ? nlohmann::json(*repeats) : nlohmann::json();
      row["comment"] = orNull(set->updatedComment());
      rows.push_back(row);
    }
    if (options.json) {
      std::printf("%s\n", rows.dump(2).c_str());
      return;
    }
    if (rows.empty()) std::printf("no completed sets\n");
    for (const auto& row : rows) {
      std::string state = row["entityID"] == 0 ? "on the device" : "sent";
      if (row["corrected"].get<bool>()) state += ", corrected";
      if (row["removed"].get<bool>()) state += ", removed";
      std::printf("%s  %-16s  %-28s  (%s)\n", row["guid"].get<std::string>().c_str(),
                  row["executedAt"].get<std::string>().c_str(),
                  row["title"].is_null() ? "" : row["title"].get<std::string>().c_str(),
                  state.c_str());
    }
  });
}

void printRecorded(const std::string& what, const nlohmann::json& record,
                   const std::string& requestClass, const nlohmann::json& body,
                   const GlobalOptions& options) {
  if (options.json) {
    nlohmann::json out = record;
    out["request"] = {{"class", requestClass}, {"body", body}};
    std::printf("%s\n", out.dump(2).c_str());
    return;
  }
  std::printf("%s\n%s body:\n%s\n", what.c_str(), requestClass.c_str(), body.dump(2).c_str());
}

void completeSet(const SetArguments& arguments, const GlobalOptions& options) {
  std::optional<dm::Date> executedAt = dm::Date::now();
  if (!arguments.executedAt.empty()) {
    executedAt = dm::dateFromString(arguments.executedAt, "yyyy-MM-dd HH:mm");
    if (!executedAt)
      throw CommandError("--at needs a time as \"yyyy-MM-dd HH:mm\", e.g. \"2026-01-31 18:30\"");
  }
  if (!arguments.value && !arguments.repeats)
    throw CommandError("a completed set needs --value, --repeats or both");
  auto context = openForScreens(options);
  onQueue(*context, [&] {
    auto* exercise = byEntityID<dm::ExerciseEntity>(*context, arguments.id);
    if (!exercise) throw CommandError("no exercise has the id " + std::to_string(arguments.id));
    auto* set = dynamic_cast<dm::ExerciseCompletedSetEntity*>(
        context->insertNewObject(dm::ExerciseCompletedSetEntity::kEntityName));
    set->setGuid(arguments.newGuid.empty() ? dm::newGuid() : arguments.newGuid);
    set->setEntityID(0);  // the server assigns the id when the set is uploaded
    set->setExersice(exercise);
    set->setExerciseId(exercise->entityID());
    set->setPostExerciseId(arguments.postExerciseId.value_or(
        exercise->currentPostExerciseIdForPostExerciseId(std::nullopt)));
    set->setCourseId(exercise->getCourseId());
    set->setValue_type(exercise->exerciseValueType());
    if (arguments.value) set->setValue(*arguments.value);
    if (arguments.repeats) set->setRepeats(*arguments.repeats);
    if (arguments.comment) set->setComment(*arguments.comment);
    if (!arguments.resultGuid.empty()) set->setResultGuid(arguments.resultGuid);
    set->setExecutedAt(*executedAt);
    set->setMarkedDeleted(false);
    dm::markCreatedOnDevice(*set);
    auto body =
        dm::training_requests::requestWithCompletedSets({set}, false)->serialized().description();
    auto title = set->titleForExerciseType(titleType(*exercise));
    saveOrFail(*context);
    printRecorded("completed set " + set->guid() + " (" + title.value_or("") +
                      "), on the device until sent (entityID 0)",
                  {{"guid", set->guid()}, {"entityID", 0}, {"title", orNull(title)}},
                  "ExerciseSetAddRequest", body, options);
  });
}

void correctSet(const SetArguments& arguments, const GlobalOptions& options) {
  if (!arguments.value && !arguments.repeats && !arguments.comment)
    throw CommandError("a correction needs --value, --repeats or --comment");
  auto context = openForScreens(options);
  onQueue(*context, [&] {
    auto* set = setWithGuid(*context, arguments.guid);
    if (set->markedDeleted()) throw CommandError("the set " + arguments.guid + " is removed");
    // The correction replaces all three values once it exists, so it starts from what the
    // reader sees now (an earlier correction included).
    auto value = set->updatedValue();
    auto repeats = set->updatedRepeats();
    auto comment = set->updatedComment();
    auto* update = set->updateEntity();
    if (!update) {
      update = dynamic_cast<dm::ExerciseCompletedSetUpdateEntity*>(
          context->insertNewObject(dm::ExerciseCompletedSetUpdateEntity::kEntityName));
      update->setGuid(set->guid());
    }
    if (set->entityID() != 0) update->setEntityID(set->entityID());
    if (set->hasCourseId()) update->setCourseId(set->courseId());
    value = arguments.value ? arguments.value : value;
    repeats = arguments.repeats ? arguments.repeats : repeats;
    comment = arguments.comment ? arguments.comment : comment;
    if (value) update->setValue(*value);
    if (repeats) update->setRepeats(*repeats);
    if (comment) update->setComment(*comment);
    dm::markChangedOnDevice(*set);
    auto body = dm::training_requests::requestWithUpdate(*update)->serialized().description();
    auto* exercise = set->exersice();
    auto title = set->titleForExerciseType(exercise ? titleType(*exercise) : 0);
    saveOrFail(*context);
    printRecorded("correction of " + set->guid() + " (" + title.value_or("") + "), pending",
                  {{"guid", set->guid()}, {"entityID", set->entityID()}, {"title", orNull(title)}},
                  "ExerciseCompletedSetUpdateRequest", body, options);
  });
}

void removeSet(const SetArguments& arguments, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  onQueue(*context, [&] {
    auto* set = setWithGuid(*context, arguments.guid);
    set->setMarkedDeleted(true);
    dm::markRemovalPending(*set);
    auto* removal = set->deleteEntity();
    if (!removal) {
      removal = dynamic_cast<dm::ExerciseCompletedSetDeleteEntity*>(
          context->insertNewObject(dm::ExerciseCompletedSetDeleteEntity::kEntityName));
      removal->setGuid(set->guid());
    }
    if (set->entityID() != 0) removal->setEntityID(set->entityID());
    // A pending correction of a removed set would only be refused by the server.
    set->removeAllUpdateEntities();
    nlohmann::json body = {{"guid", removal->guid()}, {"id", removal->updatedEntityID()}};
    saveOrFail(*context);
    printRecorded(
        "removal of " + set->guid() + ", pending" +
            (removal->updatedEntityID() == 0 ? " (never sent: nothing to remove there)" : ""),
        {{"guid", set->guid()}, {"entityID", set->entityID()}}, "removal", body, options);
  });
}

void addValueOptions(CLI::App* command, SetArguments& arguments) {
  command->add_option("--value", arguments.value,
                      "Weight in kilograms, minutes (cardio) or seconds (timed exercises)");
  command->add_option("--repeats", arguments.repeats, "Repeats done (cardio: the pulse reached)");
  command->add_option("--comment", arguments.comment, "A note on the set");
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static SetArguments arguments;
  auto& group = trainingCommandGroup(app);

  auto* day = group.add_subcommand(
      "day", "A stored training day as its screen shows it, in the current language and units");
  day->add_option("id", arguments.id, "Training day id")->required();
  day->callback([&options] { showDay(arguments, options); });

  auto* sets = group.add_subcommand(
      "sets", "The completed sets of an exercise with their corrected values and titles");
  sets->add_option("exercise", arguments.id, "Exercise id")->required();
  sets->callback([&options] { showSets(arguments, options); });

  auto* complete = group.add_subcommand(
      "complete-set", "Record a set done on the device (a new guid, entityID 0) and show its body");
  complete->add_option("exercise", arguments.id, "Exercise id")->required();
  addValueOptions(complete, arguments);
  complete->add_option("--post-exercise", arguments.postExerciseId,
                       "The post exercise done, when an alternative was chosen");
  complete->add_option("--result", arguments.resultGuid, "Guid of the workout result");
  complete->add_option("--at", arguments.executedAt, "When: \"yyyy-MM-dd HH:mm\" (default now)");
  complete->add_option("--guid", arguments.newGuid,
                       "The set's client identifier (default: a new random one)");
  complete->callback([&options] { completeSet(arguments, options); });

  auto* correct = group.add_subcommand(
      "correct-set", "Record a pending correction of a completed set and show its body");
  correct->add_option("guid", arguments.guid, "Guid of the completed set")->required();
  addValueOptions(correct, arguments);
  correct->callback([&options] { correctSet(arguments, options); });

  auto* remove = group.add_subcommand("remove-set", "Mark a completed set removed, pending upload");
  remove->add_option("guid", arguments.guid, "Guid of the completed set")->required();
  remove->callback([&options] { removeSet(arguments, options); });
}

const CommandRegistration registration("training", &setup);

}  // namespace
}  // namespace dmctl
