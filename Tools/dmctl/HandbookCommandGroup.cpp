// Creation of the shared `dmctl handbook` command group.
#include "dmctl/HandbookCommandGroup.h"

namespace dmctl {

CLI::App& handbookCommandGroup(CLI::App& app) {
  auto existing =
      app.get_subcommands([](CLI::App* command) { return command->get_name() == "handbook"; });
  if (!existing.empty()) return *existing.front();
  auto* group = app.add_subcommand("handbook", "Handbook seed and store jobs");
  group->require_subcommand(1);
  return *group;
}

}  // namespace dmctl
