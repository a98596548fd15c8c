// How dmctl's subcommands plug in: each command file registers a setup function that adds
// its subcommand to the application, so commands live in their own files.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace dmctl {

// Options every command can read; filled by the top-level parser before callbacks run.
struct GlobalOptions {
  std::string dataDir;  // empty: the library's default data root
  bool json = false;    // machine-readable output where a command supports it
};

// A failure that the user should read: printed to stderr, exit status 1.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using CommandSetup = void (*)(CLI::App& app, const GlobalOptions& options);

struct CommandRegistration {
  CommandRegistration(const char* name, CommandSetup setup);
};

struct RegisteredCommand {
  const char* name;
  CommandSetup setup;
};
std::vector<RegisteredCommand>& registeredCommands();

// Applies the global options to the library (data root, ...). Commands call it first.
void applyGlobalOptions(const GlobalOptions& options);

}  // namespace dmctl
