// `dmctl nutrition`: a stored diet day as its screen shows it, the body that uploads it, and
// a course's pharmacy and sport-food items.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/HandbookPostPharmacyEntity.h"
#include "Handbook/HandbookPostSportFoodEntity.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietMealSchedule.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/DietWholeUpload.h"
#include "Nutrition/PharmacyEntity.h"
#include "Nutrition/SportFoodEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Profile/UserEntity.h"
#include "Units/UnitsHelper.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

using nlohmann::json;

struct NutritionArguments {
  std::string date;  // yyyy-MM-dd
  std::string food;  // metric or imperial; empty: the stored unit settings
  std::string schedule;
  std::string weekday;
};

std::string text(const char* key) {
  return dm::localizedString(key).value_or(key);
}

// One decimal, in the current locale's notation.
std::string number(double value) {
  return dm::localizedNumberString(std::round(value * 10) / 10);
}

// Texts follow the interface language; a tool run without a locale still shows a clock
// style a person would read.
std::shared_ptr<dm::ManagedObjectContext> openForDisplay(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  if (dm::currentLocaleIdentifier() == "en_US_POSIX") dm::setCurrentLocaleIdentifier("en_US");
  return context;
}

// The stored diet of the day DATE (in the current time zone); nullptr when none.
dm::DietEntity* dietOn(dm::ManagedObjectContext& context, const std::string& date) {
  auto day = dm::dateFromString(date, "yyyy-MM-dd");
  if (!day) return nullptr;
  dm::FetchRequest request(context.model().entityNamed(dm::DietEntity::kEntityName));
  request.predicate = dm::Predicate::parse(
      "date >= %@ AND date < %@", {dm::Value(dm::startOfDay(*day)),
                                   dm::Value(dm::startOfDay(day->addingTimeInterval(36 * 3600)))});
  auto diets = context.executeFetchRequest(request);
  for (dm::ManagedObject* object : diets)
    if (auto* diet = dynamic_cast<dm::DietEntity*>(object)) return diet;
  return nullptr;
}

// The diet's id and the handbook products it uses; fails when DATE names no stored diet.
std::pair<std::int64_t, std::vector<std::int64_t>> requireDiet(dm::ManagedObjectContext& context,
                                                               const std::string& date) {
  std::optional<std::pair<std::int64_t, std::vector<std::int64_t>>> found;
  context.performAndWait([&] {
    if (dm::DietEntity* diet = dietOn(context, date))
      found.emplace(diet->entityID(), diet->allPostProductsIds());
  });
  if (!found) throw CommandError("no diet is stored for \"" + date + "\" (written yyyy-MM-dd)");
  return *found;
}

json nutrients(double kcal, double protein, double fat, double carbohydrate) {
  return {
      {"calories", kcal}, {"proteins", protein}, {"fats", fat}, {"carbohydrates", carbohydrate}};
}

std::string titleOf(dm::HandbookPostProductEntity* handbook) {
  return handbook ? handbook->title() : text("Nutrition.UnknownProduct");
}

// The day as the screen lays it out; quantities are stored metric, shown in the user's units.
json dietDayView(dm::DietEntity& diet, const std::string& schedule) {
  diet.setHanbookRelations(nullptr);  // read the relation recorded just before
  diet.calculateTotals();
  bool offered = diet.showAlternatives();
  json view = {{"date", diet.dateString()},
               {"id", diet.entityID()},
               {"valid", !diet.notValid()},
               {"created", diet.created()},
               {"alternativesOffered", offered},
               {"recommendations", diet.commentIsEmpty() ? "" : diet.commonRecommendations()},
               {"meals", json::array()}};
  for (const dm::ScheduledDietMeal& slot : dm::mealsAgainstSchedule(diet, schedule)) {
    json meal = {{"position", slot.position + 1},
                 {"time", slot.shownTime()},
                 {"scheduledTime", slot.scheduledTime()},
                 {"minutesFromSchedule", slot.minutesFromSchedule()},
                 {"products", json::array()}};
    double kcal = 0, protein = 0, fat = 0, carbohydrate = 0;
    for (dm::DietProductEntity* product : slot.meal->orderedProducts()) {
      json line = {
          {"id", product->entityID()},
          {"handbookId", product->handbookPostID()},
          {"title", titleOf(product->handbook())},
          {"portionGrams", product->amountToConsume()},
          {"portion", dm::UnitsHelper::grammWeightWithTitleInUnits(product->amountToConsume())},
          {"nutrients", nutrients(product->calories(), product->proteins(), product->fats(),
                                  product->carbohydrates())}};
      if (product->hasComment() && !product->comment().empty())
        line["comment"] = product->comment();
      kcal += product->calories();
      protein += product->proteins();
      fat += product->fats();
      carbohydrate += product->carbohydrates();
      json alternatives = json::array();
      if (offered) {
        for (const auto& alternative : product->alternatives())
          alternatives.push_back(
              {{"handbookId", alternative.postProductId},
               {"title", titleOf(alternative.handbook)},
               {"portion", dm::UnitsHelper::grammWeightWithTitleInUnits(
                               static_cast<double>(alternative.productPortion))}});
      }
      line["alternatives"] = std::move(alternatives);
      meal["products"].push_back(std::move(line));
    }
    meal["total"] = nutrients(kcal, protein, fat, carbohydrate);
    view["meals"].push_back(std::move(meal));
  }
  view["total"] =
      nutrients(diet.caloriesTotal(), diet.proteins(), diet.fats(), diet.carbohydrates());
  view["target"] = nutrients(diet.desiredCalories(), diet.desiredProteins(), diet.desiredFats(),
                             diet.desiredCarbohydrates());
  return view;
}

std::string nutrientsLine(const json& values) {
  // Nutrients are grams on every label, whatever unit portions are weighed in.
  auto grams = [](const json& value) {
    return number(value.get<double>()) + " " + text("Settings.gr");
  };
  return number(values["calories"].get<double>()) + " " +
         dm::UnitsHelper::caloriesUnitsStringShort() + ", " + text("Nutrition.Proteins") + " " +
         grams(values["proteins"]) + ", " + text("Nutrition.Fats") + " " + grams(values["fats"]) +
         ", " + text("Nutrition.Carbohydrates") + " " + grams(values["carbohydrates"]);
}

void printDietDay(const json& view) {
  std::printf("%s %s (%s)\n", text("Nutrition.Diet").c_str(),
              view["date"].get<std::string>().c_str(),
              text(view["valid"].get<bool>() ? "Nutrition.Valid" : "Nutrition.NotValid").c_str());
  if (!view["recommendations"].get<std::string>().empty())
    std::printf("%s\n", view["recommendations"].get<std::string>().c_str());
  if (!view["alternativesOffered"].get<bool>())
    std::printf("%s\n", text("Nutrition.AlternativesNotOffered").c_str());
  for (const json& meal : view["meals"]) {
    std::printf("\n%s %s", text("Nutrition.Meal").c_str(), meal["time"].get<std::string>().c_str());
    int offset = meal["minutesFromSchedule"].get<int>();
    if (offset != 0)
      std::printf(" (%s %s, %+d %s)", text("Nutrition.Scheduled").c_str(),
                  meal["scheduledTime"].get<std::string>().c_str(), offset,
                  text("Nutrition.Minutes").c_str());
    std::printf("\n");
    for (const json& line : meal["products"]) {
      std::printf("  %s, %s\n", line["title"].get<std::string>().c_str(),
                  line["portion"].get<std::string>().c_str());
      std::printf("    %s\n", nutrientsLine(line["nutrients"]).c_str());
      if (line.contains("comment"))
        std::printf("    \"%s\"\n", line["comment"].get<std::string>().c_str());
      for (const json& alternative : line["alternatives"])
        std::printf("    %s: %s, %s\n", text("Nutrition.Alternative").c_str(),
                    alternative["title"].get<std::string>().c_str(),
                    alternative["portion"].get<std::string>().c_str());
    }
    std::printf("  %s: %s\n", text("Nutrition.MealTotal").c_str(),
                nutrientsLine(meal["total"]).c_str());
  }
  std::printf("\n%s: %s\n", text("Nutrition.DayTotal").c_str(),
              nutrientsLine(view["total"]).c_str());
  std::printf("%s: %s\n", text("Nutrition.Target").c_str(), nutrientsLine(view["target"]).c_str());
}

void showDiet(const NutritionArguments& arguments, const GlobalOptions& options) {
  auto context = openForDisplay(options);
  if (!arguments.food.empty()) {
    // A one-off choice: shown in that unit without changing the stored settings.
    auto& units = dm::UnitsHelper::sharedInstance();
    units.setPrefs(dm::SettingsStore::inMemory());
    units.setWeightMealUnitsValue(arguments.food == "imperial" ? dm::MealWeightUnitsTypeOunces
                                                               : dm::MealWeightUnitsTypeGrams);
  }
  // Settle the units now: they may be derived on first use, and the whole day is to be
  // shown in one unit.
  dm::UnitsHelper::weightMealUnits();
  // The screen first records which handbook products the diet uses, then reads them there.
  auto [dietId, ids] = requireDiet(*context, arguments.date);
  dm::HandbookAdapter::shared().saveProductHandbookRelationships(dietId, ids, {});
  dm::HandbookAdapter::shared().saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
  json view;
  context->performAndWait([&] {
    std::string schedule =
        arguments.schedule.empty() ? dm::UserEntity::defaultMealsSchedule() : arguments.schedule;
    view = dietDayView(*dietOn(*context, arguments.date), schedule);
  });
  if (options.json) {
    std::printf("%s\n", view.dump().c_str());
  } else {
    printDietDay(view);
  }
}

void showUpload(const NutritionArguments& arguments, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  requireDiet(*context, arguments.date);
  context->performAndWait([&] {
    dm::DietEntity* diet = dietOn(*context, arguments.date);
    auto body = dm::requestWithDiet(*diet, arguments.weekday)->serialized().toJson();
    std::printf("%s\n", body ? body->dump(options.json ? -1 : 2).c_str() : "null");
  });
}

std::string titleOrUnknown(dm::HandbookPostEntity* post) {
  return post ? post->title() : text("Nutrition.UnknownHandbookEntry");
}

// Pharmacy items grouped by month (undated first), oldest first within a month.
void showPharmacy(const GlobalOptions& options) {
  auto context = openForDisplay(options);
  json months = json::array();
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::PharmacyEntity::kEntityName));
    request.sortDescriptors = {{"useDate", true}, {"entityID", true}};
    std::map<std::string, json> byMonth;
    std::map<std::string, std::string> titles;
    for (dm::ManagedObject* object : context->executeFetchRequest(request)) {
      auto* item = dynamic_cast<dm::PharmacyEntity*>(object);
      if (!item) continue;
      json entry = {
          {"id", item->entityID()},
          {"handbookId", item->post_pharmacy_id()},
          {"title", titleOrUnknown(item->handbookPost())},
          {"date", item->hasUseDate() ? dm::stringFromDate(item->useDate(), "dd.MM.yyyy") : ""},
          {"comment", item->hasComment() ? item->comment() : ""}};
      std::string key = item->monthKey();
      if (!titles.count(key))
        titles[key] = item->hasUseDate() ? dm::stringFromDate(item->useDate(), "LLLL yyyy", {},
                                                              dm::currentLocaleIdentifier())
                                         : text("Nutrition.Undated");
      byMonth[key].push_back(std::move(entry));
    }
    for (auto& [key, items] : byMonth)
      months.push_back({{"month", key}, {"title", titles[key]}, {"items", items}});
  });
  if (options.json) {
    std::printf("%s\n", months.dump().c_str());
    return;
  }
  if (months.empty()) std::printf("%s\n", text("Nutrition.NoPharmacy").c_str());
  for (const json& month : months) {
    std::printf("%s\n", month["title"].get<std::string>().c_str());
    for (const json& item : month["items"]) {
      std::printf("  %s%s%s\n", item["title"].get<std::string>().c_str(),
                  item["date"].get<std::string>().empty() ? "" : ", ",
                  item["date"].get<std::string>().c_str());
      if (!item["comment"].get<std::string>().empty())
        std::printf("    \"%s\"\n", item["comment"].get<std::string>().c_str());
    }
  }
}

void showSportFood(const GlobalOptions& options) {
  auto context = openForDisplay(options);
  json items = json::array();
  context->performAndWait([&] {
    dm::FetchRequest request = dm::SportFoodEntity::fetchRequest(context->model());
    request.sortDescriptors = {{"entityID", true}};
    for (dm::ManagedObject* object : context->executeFetchRequest(request)) {
      auto* item = dynamic_cast<dm::SportFoodEntity*>(object);
      if (!item) continue;
      items.push_back({{"id", item->entityID()},
                       {"handbookId", item->post_sport_food_id()},
                       {"title", titleOrUnknown(item->handbookPost())},
                       {"comment", item->hasComment() ? item->comment() : ""}});
    }
  });
  if (options.json) {
    std::printf("%s\n", items.dump().c_str());
    return;
  }
  if (items.empty()) std::printf("%s\n", text("Nutrition.NoSportFood").c_str());
  for (const json& item : items) {
    std::printf("%s\n", item["title"].get<std::string>().c_str());
    if (!item["comment"].get<std::string>().empty())
      std::printf("  \"%s\"\n", item["comment"].get<std::string>().c_str());
  }
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static NutritionArguments arguments;
  auto* group = app.add_subcommand("nutrition", "Diet days, pharmacy and sport food");
  group->require_subcommand(1);
  auto* diet = group->add_subcommand("diet", "Print a stored diet day with its totals");
  diet->add_option("date", arguments.date, "Day, yyyy-MM-dd")->required();
  diet->add_option("--food", arguments.food,
                   "Food weights for this run: metric or imperial (default: the unit settings)")
      ->check(CLI::IsMember({"metric", "imperial"}));
  diet->add_option("--schedule", arguments.schedule,
                   "Meal schedule, \"HH:mm\" times separated by blanks (default: the usual one)");
  diet->callback([&options] { showDiet(arguments, options); });
  auto* upload = group->add_subcommand("upload", "Print the request body uploading a diet day");
  upload->add_option("date", arguments.date, "Day, yyyy-MM-dd")->required();
  upload->add_option("--weekday", arguments.weekday, "Week day sent with the day")
      ->default_val("monday");
  upload->callback([&options] { showUpload(arguments, options); });
  group->add_subcommand("pharmacy", "List the stored pharmacy items by month")
      ->callback([&options] { showPharmacy(options); });
  group->add_subcommand("sport-food", "List the stored sport-food items")->callback([&options] {
    showSportFood(options);
  });
}

const CommandRegistration registration("nutrition", &setup);

}  // namespace
}  // namespace dmctl
