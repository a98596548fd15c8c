// Questions about dmctl's command tree that the parser does not answer: the commands it
// holds (for help, completion and tests), the nearest command to a mistyped one, and
// validators that refuse out-of-range numbers with a message a person can read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace dmctl {

// One command of the tree: its words after "dmctl" ("handbook status"; empty for dmctl
// itself), its subcommands' names and its option names (long forms, with "--").
struct CommandNode {
  std::string path;
  std::vector<std::string> subcommands;
  std::vector<std::string> options;
};

// Every command of `app`, depth first, `app` itself first. Options of the parents that
// commands accept as their own (the global ones) are listed on the root only.
std::vector<CommandNode> commandTree(const CLI::App& app);

// The word of `argv` that names no command where a command is expected ("dmctl nosuch",
// "dmctl handbook nosuch"), with the command path it was given to; nothing when every
// command word is known.
struct UnknownCommand {
  std::string word;
  std::string parentPath;  // "" for dmctl itself
  std::vector<std::string> known;
};
std::optional<UnknownCommand> findUnknownCommand(const CLI::App& app, int argc,
                                                 const char* const* argv);

// The candidate closest to `word` by edit distance (or that starts with it), when it is
// close enough to be what was meant.
std::optional<std::string> nearestWord(const std::string& word,
                                       const std::vector<std::string>& candidates);

// A bash completion script for the tree: completes commands, subcommands and options.
std::string bashCompletionScript(const CLI::App& app);

// Validators for numeric options: "must be 0 or more" instead of the parser's range text.
CLI::Validator nonNegativeNumber();
CLI::Validator numberBetween(double low, double high);

}  // namespace dmctl
