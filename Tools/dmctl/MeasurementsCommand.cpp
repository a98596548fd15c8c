// `dmctl measurements [--since DATE]`: the stored body measurements in the current units, each
// with the change since the previous record, as `dmctl map` stored them; --json for scripts.
// `dmctl measurements edit MEASUREMENT --set FIELD=VALUE...`: values edited on the device, in
// the current units; the outbox sends the change.
#include <cstdio>
#include <map>
#include <optional>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Measurements/MeasurementEdit.h"
#include "Measurements/MeasurementEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Platform/ObjectStore/TypedFetch.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

// The values shown, by field: the weight in the weight unit, body fat in percent, every
// length in the height unit (inches or centimetres).
enum class Quantity { Weight, Length, Percent };
const std::vector<std::pair<const char*, Quantity>>& shownFields() {
  static const std::vector<std::pair<const char*, Quantity>> fields = {
      {"weight", Quantity::Weight},       {"height", Quantity::Length},
      {"neck", Quantity::Length},         {"shoulders", Quantity::Length},
      {"chest", Quantity::Length},        {"waist", Quantity::Length},
      {"buttocks", Quantity::Length},     {"leftBiceps", Quantity::Length},
      {"rightBiceps", Quantity::Length},  {"leftForearm", Quantity::Length},
      {"rightForearm", Quantity::Length}, {"leftWrist", Quantity::Length},
      {"rightWrist", Quantity::Length},   {"leftHip", Quantity::Length},
      {"rightHip", Quantity::Length},     {"leftShin", Quantity::Length},
      {"rightShin", Quantity::Length},    {"leftAnkle", Quantity::Length},
      {"rightAnkle", Quantity::Length},   {"bodyFatPercentage", Quantity::Percent}};
  return fields;
}

// A stored value in the current units; nothing when empty (absent or 0).
std::optional<double> inUnits(const dm::MeasurementEntity& m, const char* field,
                              Quantity quantity) {
  if (m.isEmptyValueForKey(field)) return std::nullopt;
  double metric = m.valueForKey(field).asDouble();
  switch (quantity) {
    case Quantity::Weight:
      return dm::UnitsHelper::weightToUnitsWithTenth(metric, true);
    case Quantity::Length:
      return dm::UnitsHelper::heightValueInUnits(metric);
    case Quantity::Percent:
      break;
  }
  return metric;
}

std::string column(std::optional<double> value) {
  if (!value) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", *value);
  return text;
}

std::string change(std::optional<double> difference) {
  if (!difference) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%+.1f", *difference);
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
    request.sortDescriptors = {{"date", true}, {"entityID", true}};
    std::map<std::string, double> previous;  // last non-empty value of each field
    // The first read of a default not derived yet answers metric and derives it; read once
    // so the labels and the values below agree.
    (void)dm::UnitsHelper::weightUnits();
    (void)dm::UnitsHelper::heightUnits();
    std::string weightUnit = dm::UnitsHelper::weightUnitsStringShort().value_or("");
    std::string lengthUnit = dm::UnitsHelper::heightUnitsStringShort().value_or("");
    nlohmann::json list = nlohmann::json::array();
    if (!options.json) {
      std::printf("%-10s %9s %7s %9s %7s %9s %7s %6s %6s %6s\n", "date",
                  ("weight " + weightUnit).c_str(), "change", ("waist " + lengthUnit).c_str(),
                  "change", ("chest " + lengthUnit).c_str(), "change", "fat %", "change", "photos");
    }
    for (auto* object : context->executeFetchRequest(request)) {
      auto* m = dynamic_cast<dm::MeasurementEntity*>(object);
      if (!m) continue;
      bool shown =
          !from || (m->hasDate() && m->date().timeIntervalSince1970 >= from->timeIntervalSince1970);
      std::map<std::string, std::optional<double>> values, changes;
      for (const auto& [field, quantity] : shownFields()) {
        auto value = inUnits(*m, field, quantity);
        auto before = previous.find(field);
        values[field] = value;
        changes[field] = value && before != previous.end()
                             ? std::optional<double>(*value - before->second)
                             : std::nullopt;
        if (value) previous[field] = *value;
      }
      if (!shown) continue;
      std::string date = m->hasDate() ? dm::stringFromDate(m->date(), "yyyy-MM-dd") : "";
      if (options.json) {
        nlohmann::json row = {{"id", m->entityID()},
                              {"date", date},
                              {"photos", m->photosOrdered().size()},
                              {"weightUnit", weightUnit},
                              {"lengthUnit", lengthUnit}};
        for (const auto& [field, quantity] : shownFields()) {
          row["values"][field] = values[field] ? nlohmann::json(*values[field]) : nlohmann::json();
          if (changes[field]) row["changes"][field] = *changes[field];
        }
        list.push_back(row);
        continue;
      }
      std::printf("%-10s %9s %7s %9s %7s %9s %7s %6s %6s %6zu\n", date.c_str(),
                  column(values["weight"]).c_str(), change(changes["weight"]).c_str(),
                  column(values["waist"]).c_str(), change(changes["waist"]).c_str(),
                  column(values["chest"]).c_str(), change(changes["chest"]).c_str(),
                  column(values["bodyFatPercentage"]).c_str(),
                  change(changes["bodyFatPercentage"]).c_str(), m->photosOrdered().size());
    }
    if (options.json) std::printf("%s\n", list.dump(2).c_str());
  });
}

// The measurement a command names: its server id, or the day it was taken (yyyy-MM-dd) when
// exactly one was taken that day.
dm::MeasurementEntity* measurementNamed(dm::ManagedObjectContext& context,
                                        const std::string& name) {
  const bool isID = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
  if (isID) {
    for (auto* m : dm::fetchRecords<dm::MeasurementEntity>(context))
      if (std::to_string(m->entityID()) == name) return m;
    throw CommandError("no measurement has the id " + name, ErrorCode::NotFound);
  }
  auto day = dm::dateFromString(name, "yyyy-MM-dd");
  if (!day) throw CommandError("name a measurement by its id or its day (yyyy-MM-dd): " + name);
  std::vector<dm::MeasurementEntity*> found;
  for (auto* m : dm::fetchRecords<dm::MeasurementEntity>(context))
    if (m->hasDate() && dm::isSameDay(m->date(), *day)) found.push_back(m);
  if (found.empty()) throw CommandError("no measurement was taken on " + name, ErrorCode::NotFound);
  if (found.size() > 1)
    throw CommandError("several measurements were taken on " + name + "; name one by its id");
  return found.front();
}

void edit(const std::string& name, const std::vector<std::string>& changes,
          const GlobalOptions& options) {
  if (changes.empty()) throw CommandError("an edit needs at least one --set FIELD=VALUE");
  auto context = openMainStoreForReading(options);
  std::string failure;
  context->performAndWait([&] {
    auto* measurement = measurementNamed(*context, name);
    for (const auto& change : changes) {
      const auto equals = change.find('=');
      std::optional<double> value;
      if (equals != std::string::npos) {
        try {
          std::size_t used = 0;
          value = std::stod(change.substr(equals + 1), &used);
          if (used != change.size() - equals - 1) value.reset();
        } catch (const std::exception&) {
          value.reset();
        }
      }
      if (!value) {
        context->reset();
        throw CommandError("--set takes FIELD=NUMBER, e.g. waist=91: " + change);
      }
      try {
        dm::editMeasurementInUnits(*measurement, change.substr(0, equals), *value);
      } catch (const dm::Error& error) {
        context->reset();
        throw CommandError(change + ": " + error.what(), libraryCode(error));
      }
    }
    try {
      context->save();
    } catch (const dm::StoreError& error) {
      failure = error.what();
    }
  });
  if (!failure.empty()) throw NotWrittenError("the edit was not saved (" + failure + ")");
  run("", options);
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string since;
  static std::string name;
  static std::vector<std::string> changes;
  auto* command =
      app.add_subcommand("measurements", "Show stored body measurements in the current units");
  command->add_option("--since", since, "Only records from this day on (yyyy-MM-dd)");
  command->require_subcommand(0, 1);
  command->callback([command, &options] {
    if (command->get_subcommands().empty()) run(since, options);
  });
  auto* editCommand = command->add_subcommand(
      "edit", "Change values of a stored measurement, in the current units, to be sent");
  editCommand
      ->add_option("MEASUREMENT", name,
                   "The measurement's id, or the day it was taken (yyyy-MM-dd)")
      ->required();
  editCommand->add_option("--set", changes,
                          "FIELD=VALUE: weight, height, a girth (e.g. waist, leftBiceps) or "
                          "bodyFatPercentage, in the current units");
  editCommand->callback([&options] { edit(name, changes, options); });
}

const CommandRegistration registration("measurements", &setup);

}  // namespace
}  // namespace dmctl
