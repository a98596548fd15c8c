// `dmctl nutrition`: a stored diet day as its screen shows it, and the body that uploads it.
#include <algorithm>
#include <cstdio>
#include <string>

#include "DataModel.h"
#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/DietWholeUpload.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

struct NutritionArguments {
  std::string date;  // yyyy-MM-dd
  std::string language;
  std::string food;  // metric or imperial
  std::string weekday;
};

std::string text(const char* key) {
  return dm::localizedString(key).value_or(key);
}

std::string number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", value);
  return buffer;
}

// The stored diet of the day DATE (in the current time zone), or an error.
dm::DietEntity* dietOn(dm::ManagedObjectContext& context, const std::string& date) {
  auto day = dm::dateFromString(date, "yyyy-MM-dd");
  if (!day) return nullptr;
  dm::FetchRequest request(context.model().entityNamed(dm::DietEntity::kEntityName));
  for (dm::ManagedObject* object : context.executeFetchRequest(request)) {
    auto* diet = dynamic_cast<dm::DietEntity*>(object);
    if (diet && diet->hasDate() && dm::isSameDay(diet->date(), *day)) return diet;
  }
  return nullptr;
}

// Fails (outside the context's queue) when DATE names no stored diet.
void requireDiet(dm::ManagedObjectContext& context, const std::string& date) {
  bool found = false;
  context.performAndWait([&] { found = dietOn(context, date) != nullptr; });
  if (!found) throw CommandError("no diet is stored for \"" + date + "\" (written yyyy-MM-dd)");
}

std::shared_ptr<dm::ManagedObjectStore> openStore(const GlobalOptions& options) {
  applyGlobalOptions(options);
  auto store = dm::ManagedObjectStore::initWithModelName(dm::ManagedObjectStore::modelName);
  if (!store || !store->persistentStore()) throw CommandError("the main store could not be opened");
  return store;
}

void printNutrients(const char* indent, double kcal, double protein, double fat, double carb) {
  std::printf("%s%s %s, %s %s, %s %s, %s %s\n", indent, number(kcal).c_str(),
              dm::UnitsHelper::caloriesUnitsStringShort().c_str(),
              text("Nutrition.Proteins").c_str(), number(protein).c_str(),
              text("Nutrition.Fats").c_str(), number(fat).c_str(),
              text("Nutrition.Carbohydrates").c_str(), number(carb).c_str());
}

void showDiet(const NutritionArguments& arguments, const GlobalOptions& options) {
  if (dm::currentLocaleIdentifier() == "en_US_POSIX") dm::setCurrentLocaleIdentifier("en_US");
  if (!arguments.language.empty()) {
    dm::setCurrentInterfaceLanguage(arguments.language);
    if (arguments.language == "ru") dm::setCurrentLocaleIdentifier("ru_RU");
  }
  auto store = openStore(options);
  auto& units = dm::UnitsHelper::sharedInstance();
  units.setPrefs(dm::SettingsStore::inMemory());
  units.setWeightMealUnitsValue(arguments.food == "imperial" ? dm::MealWeightUnitsTypeOunces
                                                             : dm::MealWeightUnitsTypeGrams);
  auto context = store->persistentStoreManagedObjectContext();
  // The screen first records which handbook products the diet uses, then reads them there.
  std::int64_t dietId = 0;
  std::vector<std::int64_t> ids;
  requireDiet(*context, arguments.date);
  context->performAndWait([&] {
    dm::DietEntity* diet = dietOn(*context, arguments.date);
    dietId = diet->entityID();
    ids = diet->allPostProductsIds();
  });
  dm::HandbookAdapter::shared().saveProductHandbookRelationships(dietId, ids, {});
  dm::HandbookAdapter::shared().saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
  context->performAndWait([&] {
    dm::DietEntity* diet = dietOn(*context, arguments.date);
    diet->setHanbookRelations(nullptr);
    diet->calculateTotals();

    std::printf("%s %s%s\n", text("Nutrition.Diet").c_str(), diet->dateString().c_str(),
                diet->notValid() ? (" (" + text("Nutrition.NotValid") + ")").c_str() : "");
    auto meals = diet->meals();
    std::stable_sort(meals.begin(), meals.end(), [](auto* a, auto* b) {
      return a->consumeTimeInMinutes() < b->consumeTimeInMinutes();
    });
    for (dm::DietMealEntity* meal : meals) {
      std::printf("\n%s %s\n", text("Nutrition.Meal").c_str(),
                  meal->formattedConsumeTime().c_str());
      double kcal = 0, protein = 0, fat = 0, carb = 0;
      for (dm::DietProductEntity* product : meal->orderedProducts()) {
        auto* handbook = product->handbook();
        std::string title = handbook ? handbook->title() : text("Nutrition.UnknownProduct");
        std::printf(
            "  %s, %s\n", title.c_str(),
            dm::UnitsHelper::grammWeightWithTitleInUnits(product->amountToConsume()).c_str());
        printNutrients("    ", product->calories(), product->proteins(), product->fats(),
                       product->carbohydrates());
        kcal += product->calories();
        protein += product->proteins();
        fat += product->fats();
        carb += product->carbohydrates();
        for (const auto& alternative : product->alternatives()) {
          std::string name = alternative.handbook ? alternative.handbook->title()
                                                  : text("Nutrition.UnknownProduct");
          std::printf(
              "    %s: %s, %s\n", text("Nutrition.Alternative").c_str(), name.c_str(),
              dm::UnitsHelper::grammWeightWithTitleInUnits(alternative.productPortion).c_str());
        }
      }
      std::printf("  %s:", text("Nutrition.MealTotal").c_str());
      printNutrients(" ", kcal, protein, fat, carb);
    }
    std::printf("\n%s:", text("Nutrition.DayTotal").c_str());
    printNutrients(" ", diet->caloriesTotal(), diet->proteins(), diet->fats(),
                   diet->carbohydrates());
    std::printf("%s:", text("Nutrition.Target").c_str());
    printNutrients(" ", diet->desiredCalories(), diet->desiredProteins(), diet->desiredFats(),
                   diet->desiredCarbohydrates());
  });
}

void showUpload(const NutritionArguments& arguments, const GlobalOptions& options) {
  auto store = openStore(options);
  auto context = store->persistentStoreManagedObjectContext();
  requireDiet(*context, arguments.date);
  context->performAndWait([&] {
    dm::DietEntity* diet = dietOn(*context, arguments.date);
    auto body = dm::requestWithDiet(*diet, arguments.weekday)->serialized().toJson();
    std::printf("%s\n", body ? body->dump(options.json ? -1 : 2).c_str() : "null");
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static NutritionArguments arguments;
  auto* group = app.add_subcommand("nutrition", "Diet days as the screens show them");
  group->require_subcommand(1);
  auto* diet = group->add_subcommand("diet", "Print a stored diet day with its totals");
  diet->add_option("date", arguments.date, "Day, yyyy-MM-dd")->required();
  diet->add_option("--language", arguments.language, "Interface language: en or ru");
  diet->add_option("--food", arguments.food, "Food weights: metric or imperial")
      ->check(CLI::IsMember({"metric", "imperial"}));
  diet->callback([&options] { showDiet(arguments, options); });
  auto* upload = group->add_subcommand("upload", "Print the request body uploading a diet day");
  upload->add_option("date", arguments.date, "Day, yyyy-MM-dd")->required();
  upload->add_option("--weekday", arguments.weekday, "Week day sent with the day")
      ->default_val("monday");
  upload->callback([&options] { showUpload(arguments, options); });
}

const CommandRegistration registration("nutrition", &setup);

}  // namespace
}  // namespace dmctl
