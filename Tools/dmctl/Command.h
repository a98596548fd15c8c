// How dmctl's subcommands plug in: each command file registers a setup function that adds
// its subcommand to the application, so commands live in their own files.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Platform/ObjectStore/StoreError.h"

namespace dm {
class ManagedObjectContext;
}

namespace dmctl {

// Exit statuses: scripts tell "it failed" from "what you asked to store is not stored".
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitFailure = 1,     // the command could not do its job (bad input, unreadable store, ...)
  kExitUsage = 2,       // the command line itself is wrong
  kExitNotWritten = 3,  // a requested write did not reach the file (memory-only store, full
                        // disk, lost lock, ...); nothing the command printed was stored
};

// Options every command can read; filled by the top-level parser before callbacks run.
struct GlobalOptions {
  std::string dataDir;   // empty: the library's default data root
  bool json = false;     // machine-readable output where a command supports it
  bool verbose = false;  // the library's diagnostic events as "[event] {json}" lines on stderr
  std::string language;  // interface language of display texts ("en", "ru"); empty: current
};

// A failure that the user should read: printed to stderr, exit status 1.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A write the command was asked for did not reach the file: printed to stderr, exit status 3.
class NotWrittenError : public CommandError {
 public:
  using CommandError::CommandError;
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

// Why a store runs memory-only: "<what> is not in use (<kind>: <detail>)", for messages.
std::string storeUnavailableReason(const std::string& what,
                                   const std::optional<dm::StoreError>& error);

// Applies the global options to the library (data root, diagnostic events). Commands call
// it first.
void applyGlobalOptions(const GlobalOptions& options);

// Applies the global options, opens the library and returns the main store's root context
// for a command that reads stored records. Throws CommandError when the library cannot open
// or the main store runs memory-only (its file could not be opened): an empty answer would
// then be a lie about what is stored.
std::shared_ptr<dm::ManagedObjectContext> openMainStoreForReading(const GlobalOptions& options);

}  // namespace dmctl
