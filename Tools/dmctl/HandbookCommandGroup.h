// The `dmctl handbook` command group, shared by every handbook subcommand file: each one
// asks for the group and adds its own subcommand to it, whichever file registers first.
#pragma once

#include <CLI/CLI.hpp>

namespace dmctl {

// The "handbook" subcommand of `app`, created on the first call and returned as it is on
// later ones. The group requires exactly one subcommand of its own. `app` owns the result.
// Called from command setup functions, on the main thread, before parsing.
CLI::App& handbookCommandGroup(CLI::App& app);

}  // namespace dmctl
