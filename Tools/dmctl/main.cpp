// dmctl: runs the data layer's jobs from the command line.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>

#include "DataModel.h"
#include "Platform/Foundation/Version.h"
#include "dmctl/Command.h"
#include "dmctl/CommandTree.h"
#include "dmctl/JsonOutput.h"

namespace dmctl {

std::vector<RegisteredCommand>& registeredCommands() {
  static std::vector<RegisteredCommand> commands;
  return commands;
}

CommandRegistration::CommandRegistration(const char* name, CommandSetup setup) {
  registeredCommands().push_back({name, setup});
}

namespace {

// Appends `word` to `text`, starting a new indented line before the line grows past 80.
void appendWrapped(std::string& text, const std::string& word) {
  const auto lineStart = text.rfind('\n');
  const auto lineLength = text.size() - (lineStart == std::string::npos ? 0 : lineStart + 1);
  text += lineLength + word.size() + 1 > 80 ? "\n  " : " ";
  text += word;
}

std::string helpFooter() {
  std::string footer =
      "Global options may come before or after the command.\n\n"
      "Exit status:\n"
      "  0  success\n"
      "  1  the command failed (bad input, a store that cannot be opened, ...)\n"
      "  2  usage error (unknown command or option, a missing or out-of-range value)\n"
      "  3  a requested write did not reach the file: nothing was stored\n\n"
      "With --json, stdout carries one JSON document; a failure is\n"
      "{\"error\": {\"code\": CODE, \"message\": TEXT}} with CODE one of dmctl's codes";
  for (ErrorCode code : kAllErrorCodes) appendWrapped(footer, errorCodeName(code));
  footer += "\nor, for a failure the library reports, one of the library's";
  for (dm::ErrorCode code : dm::kAllErrorCodes) appendWrapped(footer, dm::errorCodeName(code));
  return footer + ".\nShell completion: source <(dmctl completion bash)";
}

// --json is looked for before parsing, so that a command line the parser refuses is
// answered in JSON too.
bool jsonRequested(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) return false;
    if (std::strcmp(argv[i], "--json") == 0) return true;
  }
  return false;
}

// The deepest command the parser got to, for "needs a command" messages.
const CLI::App* deepestParsedCommand(const CLI::App& app) {
  const CLI::App* at = &app;
  for (auto parsed = at->get_subcommands(); !parsed.empty(); parsed = at->get_subcommands())
    at = parsed.front();
  return at;
}

std::string commandPath(const CLI::App& command) {
  std::string path;
  for (const CLI::App* at = &command; at && at->get_parent(); at = at->get_parent())
    path = at->get_name() + (path.empty() ? "" : " " + path);
  return path;
}

// The parser's message, made specific where it is vague about commands.
std::string usageMessage(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
  if (auto unknown = findUnknownCommand(app, argc, argv)) {
    std::string where = unknown->parentPath.empty() ? "" : " of \"" + unknown->parentPath + "\"";
    std::string message = "unknown command \"" + unknown->word + "\"" + where;
    if (auto nearest = nearestWord(unknown->word, unknown->known))
      return message + "; did you mean \"" + *nearest + "\"?";
    std::string known;
    for (const auto& name : unknown->known) known += (known.empty() ? "" : ", ") + name;
    return message + " (commands: " + known + ")";
  }
  const CLI::App* at = deepestParsedCommand(app);
  if (std::string(error.what()).find("subcommand is required") != std::string::npos) {
    std::vector<std::string> names;
    for (const auto* sub : at->get_subcommands([](const CLI::App*) { return true; }))
      names.push_back(sub->get_name());
    std::sort(names.begin(), names.end());
    std::string known;
    for (const auto& name : names) known += (known.empty() ? "" : ", ") + name;
    std::string path = commandPath(*at);
    return (path.empty() ? "dmctl" : path) + " needs a command: " + known;
  }
  return error.what();
}

struct Failure {
  FailureCode code;
  std::string message;
};

}  // namespace
}  // namespace dmctl

int main(int argc, char** argv) {
  using namespace dmctl;
  dm::registerRecordClasses();
  CLI::App app{"dmctl: the DataModel command-line tool", "dmctl"};
  app.set_version_flag("--version", std::string(dm::DataModelVersionString));
  app.require_subcommand(1);
  // Subcommands inherit this: options of the commands above them are accepted after them.
  app.fallthrough();
  GlobalOptions options;
  app.add_option("--data-dir", options.dataDir, "Data root (default: $XDG_DATA_HOME/datamodel)");
  app.add_flag("--json", options.json, "Print one JSON document on stdout, errors included");
  app.add_option("--language", options.language,
                 "Interface language of display texts: en or ru (default: the device's)");
  app.add_flag("--quiet", options.quiet, "No progress display or notes on stderr");
  app.add_flag("--verbose", options.verbose,
               "Print the library's diagnostic events as [event] lines on stderr");
  app.footer(helpFooter);

  auto& commands = registeredCommands();
  std::sort(commands.begin(), commands.end(),
            [](const auto& a, const auto& b) { return std::string_view(a.name) < b.name; });
  for (const auto& command : commands) command.setup(app, options);

  if (argc <= 1) {
    std::fputs(app.help().c_str(), stdout);
    return kExitSuccess;
  }

  const bool json = jsonRequested(argc, argv);
  std::optional<StdoutCapture> capture;
  if (json) capture.emplace();
  std::optional<Failure> failure;
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // --help and --version end parsing successfully
      if (capture) capture->finish();
      app.exit(error);
      return kExitSuccess;
    }
    failure = Failure{ErrorCode::Usage, usageMessage(app, error, argc, argv)};
  } catch (const CommandError& error) {
    failure = Failure{error.code(), error.what()};
  } catch (const dm::StoreError& error) {
    failure = Failure{libraryCode(error),
                      std::string(dm::storeFailureKindName(error.kind())) + ": " + error.what()};
  } catch (const dm::Error& error) {
    failure = Failure{libraryCode(error), error.what()};
  } catch (const std::exception& error) {
    failure = Failure{ErrorCode::Failed, error.what()};
  }

  if (capture) {
    // Output of a command that failed is dropped: the document is the error alone.
    std::string printed = capture->finish();
    const std::string document = failure
                                     ? errorDocument(failure->code, failure->message).dump(2) + "\n"
                                     : normalizedJsonOutput(printed);
    std::fwrite(document.data(), 1, document.size(), stdout);
  } else if (failure) {
    std::fprintf(stderr, "dmctl: %s\n", failure->message.c_str());
    if (failure->code.is(ErrorCode::Usage)) std::fprintf(stderr, "Run with --help for usage.\n");
  }
  if (std::fflush(stdout) != 0) {
    std::fprintf(stderr, "dmctl: could not write the output\n");
    return kExitFailure;
  }
  return failure ? failure->code.exitStatus() : kExitSuccess;
}
