// `dmctl report --out DIR`: the client's progress as a self-contained HTML page with charts,
// in the interface language (--language) and the user's units.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Report/ProgressReport.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

// As the diet screen does: records which handbook products each diet uses, so its totals
// can be computed from the handbook.
void relateDietsToTheHandbook(dm::ManagedObjectContext& context) {
  std::vector<std::pair<std::int64_t, std::vector<std::int64_t>>> diets;
  context.performAndWait([&] {
    dm::FetchRequest request(context.model().entityNamed(dm::DietEntity::kEntityName));
    for (auto* object : context.executeFetchRequest(request))
      if (auto* diet = dynamic_cast<dm::DietEntity*>(object); diet && diet->caloriesTotal() == 0)
        diets.emplace_back(diet->entityID(), diet->allPostProductsIds());
  });
  if (diets.empty()) return;
  for (const auto& [dietId, ids] : diets)
    dm::HandbookAdapter::shared().saveProductHandbookRelationships(dietId, ids, {});
  dm::HandbookAdapter::shared().saveAndWait();
  dm::MainQueue::shared().runUntilIdle();
}

void run(const std::string& out, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  relateDietsToTheHandbook(*context);
  std::filesystem::path page;
  context->performAndWait([&] {
    try {
      page = dm::writeProgressReport(*context, out);
    } catch (const std::runtime_error& error) {
      throw CommandError(error.what());
    }
  });
  if (options.json)
    std::printf("%s\n", nlohmann::json({{"report", page.string()}}).dump().c_str());
  else
    std::printf("progress report written to %s\n", page.string().c_str());
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string out;
  auto* command = app.add_subcommand(
      "report", "Write the client's progress as an HTML page with charts (report.html)");
  command->add_option("--out", out, "Directory for report.html")->required();
  command->callback([&options] { run(out, options); });
}

const CommandRegistration registration("report", &setup);

}  // namespace
}  // namespace dmctl
