// `dmctl completion bash`: a shell completion script generated from the command tree, so
// commands added later complete without editing it.
#include <cstdio>

#include "dmctl/Command.h"
#include "dmctl/CommandTree.h"

namespace dmctl {
namespace {

void setup(CLI::App& app, const GlobalOptions&) {
  auto* command = app.add_subcommand("completion", "Print a shell completion script");
  command->require_subcommand(1);
  command->add_subcommand("bash", "Bash: source <(dmctl completion bash)")->callback([&app] {
    const std::string script = bashCompletionScript(app);
    std::fwrite(script.data(), 1, script.size(), stdout);
  });
}

const CommandRegistration registration("completion", &setup);

}  // namespace
}  // namespace dmctl
