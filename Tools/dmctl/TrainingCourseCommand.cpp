// `dmctl training course|stats|favourites`: a stored course as its screen shows it (status,
// days by week with their totals and progress, diets by date, pharmacy and sport food), the
// per-period statistics and the favourite exercises.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/HandbookPostPharmacyEntity.h"
#include "Handbook/HandbookPostSportFoodEntity.h"
#include "Mapping/Enumerations/Enumerations.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/PharmacyEntity.h"
#include "Nutrition/SportFoodEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseTypeEntity.h"
#include "Training/FavoriteExerciseEntity.h"
#include "Training/MuscleGroupEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingCourseScreen.h"
#include "Training/TrainingDayEntity.h"
#include "dmctl/Command.h"
#include "dmctl/TrainingCommandGroup.h"

namespace dmctl {
namespace {

std::string text(const std::string& key) {
  return dm::localizedString(key).value_or(key);
}

std::string number(double value) {
  return dm::localizedNumberString(std::round(value * 10) / 10);
}

std::string statusTitle(const dm::TrainingCourseEntity& course) {
  if (!course.hasStatusString()) return text("TrainingCourse.Status.none");
  // A code the status table does not know is shown as the server sent it.
  const std::string key = "TrainingCourse.Status." + course.statusString();
  const std::string title = text(key);
  return title == key ? course.statusString() : title;
}

// "1 234,5 kg · 20 min · 135 s · 60 repeats", only the kinds the day has.
std::string totalsLine(const dm::TrainingDayTotals& totals) {
  std::vector<std::string> parts;
  if (totals.kilograms > 0)
    parts.push_back(number(totals.kilograms) + " " + text("TrainingCourse.Kilograms"));
  if (totals.minutes > 0)
    parts.push_back(number(totals.minutes) + " " + text("TrainingCourse.Minutes"));
  if (totals.seconds > 0)
    parts.push_back(number(totals.seconds) + " " + text("TrainingCourse.Seconds"));
  if (totals.repeats > 0)
    parts.push_back(number(static_cast<double>(totals.repeats)) + " " +
                    text("TrainingCourse.Repeats"));
  if (parts.empty()) return text("TrainingCourse.NothingDone");
  std::string line;
  for (const auto& part : parts) line += (line.empty() ? "" : " · ") + part;
  return line;
}

std::vector<dm::DietEntity*> dietsByDate(const dm::TrainingCourseEntity& course) {
  std::vector<dm::DietEntity*> diets;
  for (auto* diet : course.diets())
    if (diet->hasDate()) diets.push_back(diet);
  std::sort(diets.begin(), diets.end(), [](auto* a, auto* b) { return a->date() < b->date(); });
  return diets;
}

// The course's pharmacy by use date, undated items first (as the pharmacy screen groups them),
// ties by id so the order is stable.
std::vector<dm::PharmacyEntity*> pharmacyByUseDate(const dm::TrainingCourseEntity& course) {
  auto items = course.pharmacies();
  std::sort(items.begin(), items.end(), [](auto* a, auto* b) {
    if (a->hasUseDate() != b->hasUseDate()) return !a->hasUseDate();
    if (a->hasUseDate() && a->useDate() != b->useDate()) return a->useDate() < b->useDate();
    return a->entityID() < b->entityID();
  });
  return items;
}

std::vector<dm::SportFoodEntity*> sportFoodById(const dm::TrainingCourseEntity& course) {
  auto items = course.sportFoods();
  std::sort(items.begin(), items.end(),
            [](auto* a, auto* b) { return a->entityID() < b->entityID(); });
  return items;
}

std::string pharmacyTitle(const dm::PharmacyEntity& item) {
  // An item whose handbook id was unreadable names no entry at all.
  if (!item.hasPost_pharmacy_id()) return text("Nutrition.UnknownHandbookEntry");
  auto* post = item.handbookPost();
  return post ? post->title()
              : text("TrainingCourse.HandbookItem") + " " + std::to_string(item.post_pharmacy_id());
}

std::string sportFoodTitle(const dm::SportFoodEntity& item) {
  if (!item.hasPost_sport_food_id()) return text("Nutrition.UnknownHandbookEntry");
  auto* post = item.handbookPost();
  return post ? post->title()
              : text("TrainingCourse.HandbookItem") + " " +
                    std::to_string(item.post_sport_food_id());
}

void showCourse(std::int64_t courseId, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  bool stored = false;
  context->performAndWait(
      [&] { stored = dm::TrainingCourseEntity::entity(*context, courseId) != nullptr; });
  if (!stored) throw CommandError("no course " + std::to_string(courseId) + " is stored");
  context->performAndWait([&] {
    auto* course = dm::TrainingCourseEntity::entity(*context, courseId);
    auto screen = dm::trainingCourseScreen(*course);
    auto diets = dietsByDate(*course);
    auto pharmacies = pharmacyByUseDate(*course);
    auto sportFoods = sportFoodById(*course);

    if (options.json) {
      nlohmann::json out = {{"id", course->entityID()},
                            {"name", course->name()},
                            {"status", course->statusString()},
                            {"daysPerWeek", screen.daysPerWeek},
                            {"days", nlohmann::json::array()},
                            {"diets", nlohmann::json::array()},
                            {"pharmacy", nlohmann::json::array()},
                            {"sportFood", nlohmann::json::array()}};
      for (const auto& day : screen.days)
        out["days"].push_back({{"id", day.dayId},
                               {"week", day.week},
                               {"position", day.displayPosition},
                               {"title", day.title},
                               {"progress", day.progress},
                               {"kilograms", day.totals.kilograms},
                               {"minutes", day.totals.minutes},
                               {"seconds", day.totals.seconds},
                               {"repeats", day.totals.repeats},
                               {"sets", day.totals.sets}});
      for (auto* diet : diets)
        out["diets"].push_back({{"id", diet->entityID()},
                                {"date", dm::stringFromDate(diet->date(), dm::kDietDatePattern)},
                                {"notValid", diet->notValid()}});
      for (auto* item : pharmacies)
        out["pharmacy"].push_back(
            {{"id", item->entityID()},
             {"postPharmacyId", item->post_pharmacy_id()},
             {"title", pharmacyTitle(*item)},
             {"useDate", item->hasUseDate() ? nlohmann::json(dm::stringFromDate(
                                                  item->useDate(), dm::kDietDatePattern))
                                            : nlohmann::json()},
             {"comment", item->comment()}});
      for (auto* item : sportFoods)
        out["sportFood"].push_back({{"id", item->entityID()},
                                    {"postSportFoodId", item->post_sport_food_id()},
                                    {"title", sportFoodTitle(*item)},
                                    {"comment", item->comment()}});
      std::printf("%s\n", out.dump(2).c_str());
      return;
    }

    std::printf("%s\n%s: %s\n", course->name().c_str(), text("TrainingCourse.StatusLabel").c_str(),
                statusTitle(*course).c_str());
    std::int64_t week = 0;
    for (const auto& day : screen.days) {
      if (day.week != week) {
        week = day.week;
        std::printf("\n%s\n", dm::stringWithFormat(text("TrainingCourse.Week"),
                                                   dm::localizedNumberString(week))
                                  .c_str());
      }
      std::printf("  %s. %s: %s\n    %s\n",
                  dm::TrainingDayEntity::positionStringForIndex(day.displayPosition).c_str(),
                  day.title.c_str(), dm::localizedPercentString(day.progress).c_str(),
                  totalsLine(day.totals).c_str());
    }
    std::printf("\n%s\n", text("TrainingCourse.Diet").c_str());
    if (diets.empty()) std::printf("  %s\n", text("TrainingCourse.NoDiets").c_str());
    for (auto* diet : diets)
      std::printf("  %s%s\n", dm::stringFromDate(diet->date(), dm::kDietDatePattern).c_str(),
                  diet->notValid() ? (" (" + text("Nutrition.NotValid") + ")").c_str() : "");
    std::printf("\n%s\n", text("TrainingCourse.Pharmacy").c_str());
    if (pharmacies.empty()) std::printf("  %s\n", text("TrainingCourse.NothingPrescribed").c_str());
    for (auto* item : pharmacies) {
      const std::string date =
          item->hasUseDate() ? dm::stringFromDate(item->useDate(), dm::kDietDatePattern) + "  "
                             : "";
      std::printf("  %s%s%s%s\n", date.c_str(), pharmacyTitle(*item).c_str(),
                  item->hasComment() ? ": " : "", item->comment().c_str());
    }
    std::printf("\n%s\n", text("TrainingCourse.SportFood").c_str());
    if (sportFoods.empty()) std::printf("  %s\n", text("TrainingCourse.NothingPrescribed").c_str());
    for (auto* item : sportFoods)
      std::printf("  %s%s%s\n", sportFoodTitle(*item).c_str(), item->hasComment() ? ": " : "",
                  item->comment().c_str());
  });
}

template <class Entity>
nlohmann::json rowsJson(Entity* record) {
  nlohmann::json rows = nlohmann::json::array();
  if (record)
    for (const auto& model : record->models())
      rows.push_back({{"name", model.name}, {"percent", model.percent}});
  return rows;
}

template <class Entity>
void printRows(const char* titleKey, Entity* record) {
  std::printf("%s\n", text(titleKey).c_str());
  auto models = record ? record->models() : std::vector<dm::StatisticRowModel>{};
  if (models.empty()) std::printf("  %s\n", text("TrainingStats.NoData").c_str());
  for (const auto& model : models)
    std::printf("  %-24s %s\n", model.name.c_str(),
                dm::localizedPercentString(model.percent / 100).c_str());
}

void showStats(const std::string& period, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    auto* types = dm::ExerciseTypeEntity::entity(*context, period);
    auto* groups = dm::MuscleGroupEntity::entity(*context, period);
    if (options.json) {
      nlohmann::json out = {{"period", period},
                            {"exerciseTypes", rowsJson(types)},
                            {"muscleGroups", rowsJson(groups)}};
      std::printf("%s\n", out.dump(2).c_str());
      return;
    }
    printRows("TrainingStats.ExerciseTypes", types);
    printRows("TrainingStats.MuscleGroups", groups);
  });
}

void showFavourites(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    auto favourites = dm::FavoriteExerciseEntity::allEntities(*context);
    nlohmann::json out = nlohmann::json::array();
    for (auto* favourite : favourites) {
      auto* post = dm::HandbookAdapter::shared().getPostExerciseEntity(favourite->exerciseID());
      std::string title = post ? post->title()
                               : text("TrainingCourse.HandbookItem") + " " +
                                     std::to_string(favourite->exerciseID());
      if (options.json)
        out.push_back({{"id", favourite->entityID()},
                       {"postExerciseId", favourite->exerciseID()},
                       {"position", favourite->position()},
                       {"title", title}});
      else
        std::printf("%s\n", title.c_str());
    }
    if (options.json)
      std::printf("%s\n", out.dump(2).c_str());
    else if (favourites.empty())
      std::printf("%s\n", text("TrainingFavourites.None").c_str());
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::int64_t courseId = 0;
  static std::string period;
  auto& group = trainingCommandGroup(app);
  auto* course = group.add_subcommand(
      "course", "Show a stored course: status, days by week with progress, diets, pharmacy");
  course->add_option("id", courseId, "Course id")->required();
  course->callback([&options] { showCourse(courseId, options); });
  auto* stats = group.add_subcommand("stats", "Show the training statistics of a period");
  stats->add_option("period", period, "last_day, week, month or all_time")
      ->required()
      ->check(CLI::IsMember({"last_day", "week", "month", "all_time"}));
  stats->callback([&options] { showStats(period, options); });
  auto* favourites = group.add_subcommand("favourites", "List the favourite exercises");
  favourites->callback([&options] { showFavourites(options); });
}

const CommandRegistration registration("training-course", &setup);

}  // namespace
}  // namespace dmctl
