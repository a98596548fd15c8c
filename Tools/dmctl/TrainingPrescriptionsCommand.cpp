// `dmctl training prescriptions COURSE_ID FILE`: a course's pharmacy or sport-food list, as the
// server answers the course's own route, mapped onto the stored course: the records become the
// course's and those the list no longer names are removed, all in one transaction.
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Training/CoursePrescriptions.h"
#include "dmctl/Command.h"
#include "dmctl/JsonOutput.h"
#include "dmctl/SkippedValues.h"
#include "dmctl/TrainingCommandGroup.h"

namespace dmctl {
namespace {

struct PrescriptionsArguments {
  std::int64_t courseId = 0;
  std::string file;
  std::string kind;  // "pharmacy", "sport-food"; empty: the list the file holds
  bool save = false;
};

const char* kindName(dm::CoursePrescriptionKind kind) {
  return kind == dm::CoursePrescriptionKind::Pharmacy ? "pharmacy" : "sport-food";
}

// The list the answer holds, or the one --kind names. The server answers each route with one
// list; a file holding both must say which one is meant.
dm::CoursePrescriptionKind kindOf(const std::string& payload,
                                  const PrescriptionsArguments& arguments) {
  if (arguments.kind == "pharmacy") return dm::CoursePrescriptionKind::Pharmacy;
  if (arguments.kind == "sport-food") return dm::CoursePrescriptionKind::SportFood;
  // Text that is not JSON is left to the mapping, which says where it breaks.
  auto tree = nlohmann::json::parse(payload, nullptr, /*allow_exceptions=*/false);
  if (!tree.is_object()) return dm::CoursePrescriptionKind::Pharmacy;
  const bool pharmacy = tree.contains("pharmacies") || tree.contains("pharmacy");
  const bool sportFood = tree.contains("sport_foods") || tree.contains("sport_food");
  if (pharmacy && sportFood)
    throw CommandError(
        arguments.file + " holds both a pharmacy and a sport-food list; choose one with --kind",
        ErrorCode::Usage);
  if (!pharmacy && !sportFood)
    throw CommandError(arguments.file +
                           " holds no course list: none of the keys \"pharmacies\", \"pharmacy\", "
                           "\"sport_foods\", \"sport_food\"; nothing was saved",
                       ErrorCode::NothingMapped);
  return pharmacy ? dm::CoursePrescriptionKind::Pharmacy : dm::CoursePrescriptionKind::SportFood;
}

void run(const PrescriptionsArguments& arguments, const GlobalOptions& options) {
  const std::string payload = readInputFile(arguments.file);
  const auto kind = kindOf(payload, arguments);
  std::shared_ptr<dm::ManagedObjectContext> root;
  try {
    root = openMainStoreForReading(options);
  } catch (const CommandError& error) {
    if (arguments.save) throw NotWrittenError(std::string(error.what()) + "; nothing was saved");
    throw;
  }

  dm::CoursePrescriptionsOptions mapping;
  mapping.commitIf = [&](const dm::CoursePrescriptionsResult&) { return arguments.save; };
  dm::CoursePrescriptionsResult result;
  std::optional<CommandError> failure;
  root->performAndWait([&] {
    try {
      result = dm::mapCoursePrescriptions(*root, arguments.courseId, kind, payload, mapping);
    } catch (const dm::CourseNotStoredError& error) {
      failure.emplace(std::string(error.what()) + "; nothing was saved", ErrorCode::NotFound);
    } catch (const dm::MappingError& error) {
      failure.emplace(
          std::string("the answer cannot be mapped: ") + error.what() + "; nothing was saved",
          libraryCode(error));
    } catch (const dm::StoreError& error) {
      failure.emplace(saveFailure(error, arguments.save));
    }
  });
  if (failure) throw *failure;

  nlohmann::json skipped = nlohmann::json::array();
  appendSkippedValues(skipped, result.skipped);
  if (options.json) {
    nlohmann::json out = {{"course", arguments.courseId},
                          {"kind", kindName(kind)},
                          {"class", dm::coursePrescriptionClassName(kind)},
                          {"mapped", result.mapped},
                          {"inserted", result.inserted},
                          {"updated", result.updated},
                          {"unchanged", result.unchanged},
                          {"removed", result.removed},
                          {"skipped", result.skippedCount},
                          {"saved", result.committed}};
    if (!skipped.empty()) out["skippedValues"] = skipped;
    return printJson(out);
  }
  printSkippedValues(skipped, options);
  std::printf(
      "%s list of course %lld: %zu record(s) mapped: %zu inserted, %zu updated, %zu unchanged; "
      "%zu removed; %zu skipped value(s)%s\n",
      kind == dm::CoursePrescriptionKind::Pharmacy ? "Pharmacy" : "Sport-food",
      static_cast<long long>(arguments.courseId), result.mapped, result.inserted, result.updated,
      result.unchanged, result.removed, result.skippedCount,
      result.committed ? "; saved" : " (not saved; use --save)");
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static PrescriptionsArguments arguments;
  auto& group = trainingCommandGroup(app);
  auto* command = group.add_subcommand(
      "prescriptions",
      "Map a course's pharmacy or sport-food list (the answer of the course's own route) onto "
      "the stored course; records it no longer lists are removed");
  command->add_option("course", arguments.courseId, "Course id")->required();
  command
      ->add_option("file", arguments.file,
                   "JSON answer holding \"pharmacies\" or "
                   "\"sport_foods\" (or one \"pharmacy\", "
                   "\"sport_food\")")
      ->required();
  command->add_option("--kind", arguments.kind, "The list to map when the file holds both")
      ->check(CLI::IsMember({"pharmacy", "sport-food"}));
  command->add_flag("--save", arguments.save, "Save the list into the store");
  command->callback([&options] { run(arguments, options); });
}

const CommandRegistration registration("training-prescriptions", &setup);

}  // namespace
}  // namespace dmctl
