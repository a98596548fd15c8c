// How dmctl's subcommands plug in: each command file registers a setup function that adds
// its subcommand to the application, so commands live in their own files.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Platform/Foundation/MappedFile.h"
#include "Platform/ObjectStore/StoreError.h"
#include "dmctl/ErrorCode.h"

namespace dm {
class ManagedObjectContext;
}

namespace dmctl {

// Options every command can read; filled by the top-level parser before callbacks run. They
// are accepted before or after the subcommand.
struct GlobalOptions {
  std::string dataDir;   // empty: the library's default data root
  bool json = false;     // stdout carries one JSON document, errors included
  bool quiet = false;    // no progress display and no notes on stderr; errors still shown
  bool verbose = false;  // the library's diagnostic events as "[event] {json}" lines on stderr
  std::string language;  // interface language of display texts ("en", "ru"); empty: current

  // Progress and notes go to stderr only when a person may be reading it.
  bool chatty() const { return !json && !quiet; }
};

// A failure that the user should read: its message and code are printed (as text on stderr,
// or as the JSON error document), and the code's exit status is returned.
class CommandError : public std::runtime_error {
 public:
  explicit CommandError(const std::string& message, FailureCode code = ErrorCode::Failed)
      : std::runtime_error(message), code_(code) {}
  FailureCode code() const { return code_; }

 private:
  FailureCode code_;
};

// A write the command was asked for did not reach the file: exit status 3.
class NotWrittenError : public CommandError {
 public:
  explicit NotWrittenError(const std::string& message)
      : CommandError(message, ErrorCode::NotWritten) {}
};

// The error for a store that failed to save: "saving failed (<kind>): <detail>; nothing was
// saved", a NotWrittenError when the command was asked to write, else under the library's code.
CommandError saveFailure(const dm::StoreError& error, bool writeAsked);

using CommandSetup = void (*)(CLI::App& app, const GlobalOptions& options);

struct CommandRegistration {
  CommandRegistration(const char* name, CommandSetup setup);
};

struct RegisteredCommand {
  const char* name;
  CommandSetup setup;
};
std::vector<RegisteredCommand>& registeredCommands();

// The whole file at `path` (a payload, an answer, a model). Throws CommandError (NotFound) when
// it cannot be read.
std::string readInputFile(const std::string& path);
// The same file mapped instead of read, for payloads too large to copy whole (the library's
// windowed readers let its pages go as they read). CommandError(NotFound) when it cannot be
// opened or mapped.
dm::MappedFile mapInputFile(const std::string& path);

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
