// `dmctl measurements [--since DATE]`: the stored body measurements in the current units, each
// with the change since the previous record, as `dmctl map` stored them.
#include <cstdio>
#include <optional>

#include "DataModel.h"
#include "Measurements/MeasurementEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

// The change of a value since the previous record, "" when either is missing.
std::string change(double now, std::optional<double> before) {
  if (!before || *before == 0 || now == 0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%+.1f", now - *before);
  return text;
}

void run(const std::string& since, const GlobalOptions& options) {
  std::optional<dm::Date> from;
  if (!since.empty()) {
    from = dm::dateFromString(since, "yyyy-MM-dd");
    if (!from) throw CommandError("--since needs a date as yyyy-MM-dd, e.g. 2026-01-31");
  }
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::MeasurementEntity::kEntityName));
    request.sortDescriptors = {{"date", true}};
    std::optional<double> lastWeight, lastWaist;
    std::printf("%-10s %10s %7s %10s %7s %6s %6s\n", "date", "weight", "change", "waist", "change",
                "fat %", "photos");
    for (auto* object : context->executeFetchRequest(request)) {
      auto* m = dynamic_cast<dm::MeasurementEntity*>(object);
      if (!m) continue;
      double weight = dm::UnitsHelper::weightToUnits(m->weight());
      // Girths follow the height unit: 1 is inches, anything else centimetres.
      double waist =
          dm::UnitsHelper::heightUnits() == 1 ? dm::UnitsHelper::cmToIn(m->waist()) : m->waist();
      bool shown = !from || m->date().timeIntervalSince1970 >= from->timeIntervalSince1970;
      if (shown) {
        std::printf("%-10s %10s %7s %10.1f %7s %6.1f %6zu\n",
                    dm::stringFromDate(m->date(), "yyyy-MM-dd").c_str(),
                    dm::UnitsHelper::weightInUnitsForMyProgress(m->weight()).c_str(),
                    change(weight, lastWeight).c_str(), waist, change(waist, lastWaist).c_str(),
                    m->bodyFatPercentage(), m->photosOrdered().size());
      }
      if (m->weight() != 0) lastWeight = weight;
      if (m->waist() != 0) lastWaist = waist;
    }
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string since;
  auto* command =
      app.add_subcommand("measurements", "Show stored body measurements in the current units");
  command->add_option("--since", since, "Only records from this day on (yyyy-MM-dd)");
  command->callback([&options] { run(since, options); });
}

const CommandRegistration registration("measurements", &setup);

}  // namespace
}  // namespace dmctl
