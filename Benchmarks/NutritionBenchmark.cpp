// Nutrition benchmarks (nutrition.map_plan, nutrition.day_totals) through the library's own
// diet records, following the harness protocol in Benchmarks/README.md. `--records` is the
// number of diet days.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "BenchmarkArguments.h"
#include "DataModel.h"
#include "DietPlanPayload.h"
#include "Handbook/Adapter/HandbookAdapter.h"
#include "Mapping/Records/ModelMapper.h"
#include "Mapping/Records/RecordClass.h"
#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/WindowedMapping.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace {

using namespace dm;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::size_t count(ManagedObjectContext& context, const char* entity) {
  return context.countForFetchRequest(FetchRequest(context.model().entityNamed(entity)));
}

// Maps the plan's diets (meals and lines nested) with DietEntity's declared mapping a window
// of diets at a time, and commits them as one.
void mapPlan(ManagedObjectContext& context, const std::string& payload) {
  auto mapping =
      ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed("DietEntity"));
  context.performAndWait([&] { WindowedMapping(context).map(payload, "diets", mapping); });
}

// Foods 50001... with label values per 100 g, as the handbook update carries them.
nlohmann::json handbookFoods() {
  nlohmann::json products = nlohmann::json::array();
  for (std::int64_t i = 0; i < bench::kFoodCount; ++i) {
    products.push_back({{"id", bench::kFirstFoodId + i},
                        {"title", "Food " + std::to_string(i)},
                        {"status", "published"},
                        {"language", "en"},
                        {"calories", 50 + i % 400},
                        {"proteins", (i % 300) / 10.0},
                        {"fats", (i % 200) / 10.0},
                        {"carbohydrates", (i % 700) / 10.0}});
  }
  return {{"status", "changed"}, {"version", 1000}, {"post_products", products}};
}

void report(const std::string& workload, std::size_t records, double seconds,
            const std::string& check, std::size_t payloadBytes = 0, double p50Ms = 0) {
  std::printf(
      "{\"workload\":\"%s\",\"impl\":\"DataModel\",\"records\":%zu,\"seconds\":%.6f,"
      "\"check\":\"%s\"",
      workload.c_str(), records, seconds, check.c_str());
  if (payloadBytes) std::printf(",\"payload_bytes\":%zu", payloadBytes);
  if (p50Ms > 0) std::printf(",\"p50_ms\":%.4f", p50Ms);
  std::printf("}\n");
}

int run(const bench::Arguments& arguments) {
  DataModelOptions options;
  options.dataRoot = arguments.dataDir;
  options.interfaceLanguage = "en";
  options.useRootContextForClassOperations = true;
  auto model = DataModel::open(options);
  auto context = model->mainStore()->persistentStoreManagedObjectContext();
  const std::int64_t days = arguments.records;

  std::string payload = bench::dietPlanPayload(days);
  std::cerr << arguments.workload << ": " << days << " days, payload " << payload.size() / 1e6
            << " MB\n";

  if (arguments.workload == "nutrition.map_plan") {
    const auto start = Clock::now();
    mapPlan(*context, payload);
    const double seconds = secondsSince(start);
    std::size_t lines = 0, meals = 0, diets = 0;
    context->performAndWait([&] {
      lines = count(*context, "DietProduct");
      meals = count(*context, "DietMealEntity");
      diets = count(*context, "DietEntity");
    });
    report(arguments.workload, diets + meals + lines, seconds, std::to_string(lines) + " lines",
           payload.size());
    return 0;
  }

  // nutrition.day_totals: a store holding the plan, the handbook holding its foods and each
  // measured day's product relation, as the diet screen records it after loading.
  mapPlan(*context, payload);
  payload.clear();
  payload.shrink_to_fit();
  HandbookAdapter& adapter = HandbookAdapter::shared();
  adapter.getHandbookUpdateEntityFromRequest(handbookFoods());
  const std::int64_t measured = std::min<std::int64_t>(days, 200);
  std::vector<std::int64_t> dietIds;
  for (std::int64_t k = 0; k < measured; ++k) dietIds.push_back(1 + (k * 7919) % days);
  context->performAndWait([&] {
    for (std::int64_t id : dietIds) {
      FetchRequest request(context->model().entityNamed(DietEntity::kEntityName));
      request.predicate = Predicate::parse("entityID == %@", {Value(id)});
      auto found = context->executeFetchRequest(request);
      auto* diet = found.empty() ? nullptr : dynamic_cast<DietEntity*>(found[0]);
      if (diet) adapter.saveProductHandbookRelationships(id, diet->allPostProductsIds(), {});
    }
  });
  adapter.saveAndWait();
  MainQueue::shared().runUntilIdle();

  // Each day: fetch the diet, read its products from the handbook, total them.
  std::vector<double> perDay;
  double calories = 0;
  const auto start = Clock::now();
  context->performAndWait([&] {
    for (std::int64_t id : dietIds) {
      const auto dayStart = Clock::now();
      FetchRequest request(context->model().entityNamed(DietEntity::kEntityName));
      request.predicate = Predicate::parse("entityID == %@", {Value(id)});
      auto found = context->executeFetchRequest(request);
      auto* diet = found.empty() ? nullptr : dynamic_cast<DietEntity*>(found[0]);
      if (!diet) throw std::runtime_error("diet " + std::to_string(id) + " is not stored");
      diet->setHanbookRelations(nullptr);
      diet->calculateTotals();
      calories += diet->caloriesTotal();
      perDay.push_back(secondsSince(dayStart));
      context->reset();  // the next day is read from the store, not from memory
    }
  });
  const double seconds = secondsSince(start);
  std::sort(perDay.begin(), perDay.end());
  std::cerr << "nutrition.day_totals: p50 " << perDay[perDay.size() / 2] * 1e3 << " ms, p90 "
            << perDay[perDay.size() * 9 / 10] * 1e3 << " ms over " << perDay.size() << " days\n";
  report(arguments.workload, perDay.size(), seconds,
         std::to_string(std::llround(calories)) + " kcal", 0, perDay[perDay.size() / 2] * 1e3);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bench::Arguments arguments;
  arguments.records = 365;
  if (auto status =
          bench::parseArguments(argc, argv, "NutritionBenchmark",
                                {"nutrition.map_plan", "nutrition.day_totals"}, arguments))
    return *status;
  if (arguments.workload != "nutrition.map_plan" && arguments.workload != "nutrition.day_totals")
    return bench::usage("NutritionBenchmark", "unknown workload '" + arguments.workload + "'");
  if (arguments.dataDir.empty() || arguments.records <= 0)
    return bench::usage("NutritionBenchmark", "--data-dir and a positive --records are needed");
  try {
    return run(arguments);
  } catch (const std::exception& error) {
    std::cerr << arguments.workload << " failed: " << error.what() << "\n";
    return 1;
  }
}
