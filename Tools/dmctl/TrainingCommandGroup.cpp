// Creation of the shared `dmctl training` command group.
#include "dmctl/TrainingCommandGroup.h"

namespace dmctl {

CLI::App& trainingCommandGroup(CLI::App& app) {
  auto existing =
      app.get_subcommands([](CLI::App* command) { return command->get_name() == "training"; });
  if (!existing.empty()) return *existing.front();
  auto* group = app.add_subcommand("training", "Training days, completed sets and courses");
  group->require_subcommand(1);
  return *group;
}

}  // namespace dmctl
