// The `dmctl training` command group, shared by every training subcommand file: each one asks
// for the group and adds its own subcommands to it, whichever file registers first.
#pragma once

#include <CLI/CLI.hpp>

namespace dmctl {

// The "training" subcommand of `app`, created on the first call and returned as it is on
// later ones. The group requires exactly one subcommand of its own. `app` owns the result.
// Called from command setup functions, on the main thread, before parsing.
CLI::App& trainingCommandGroup(CLI::App& app);

}  // namespace dmctl
