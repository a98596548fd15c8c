// dmctl: runs the data layer's jobs from the command line.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "DataModel.h"
#include "Platform/Foundation/Version.h"
#include "dmctl/Command.h"

namespace dmctl {

std::vector<RegisteredCommand>& registeredCommands() {
  static std::vector<RegisteredCommand> commands;
  return commands;
}

CommandRegistration::CommandRegistration(const char* name, CommandSetup setup) {
  registeredCommands().push_back({name, setup});
}

}  // namespace dmctl

int main(int argc, char** argv) {
  dm::registerRecordClasses();
  CLI::App app{"dmctl: the DataModel command-line tool"};
  app.set_version_flag("--version", std::string(dm::DataModelVersionString));
  app.require_subcommand(1);
  dmctl::GlobalOptions options;
  app.add_option("--data-dir", options.dataDir, "Data root (default: $XDG_DATA_HOME/datamodel)");
  app.add_flag("--json", options.json, "Print JSON where the command supports it");
  app.add_option("--language", options.language,
                 "Interface language of display texts: en or ru (default: the device's)");
  app.add_flag("--verbose", options.verbose,
               "Print the library's diagnostic events as [event] lines on stderr");

  auto& commands = dmctl::registeredCommands();
  std::sort(commands.begin(), commands.end(),
            [](const auto& a, const auto& b) { return std::string_view(a.name) < b.name; });
  for (const auto& command : commands) command.setup(app, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // --help and --version end parsing too, successfully.
    return app.exit(error) == 0 ? dmctl::kExitSuccess : dmctl::kExitUsage;
  } catch (const dmctl::NotWrittenError& error) {
    std::fprintf(stderr, "dmctl: %s\n", error.what());
    return dmctl::kExitNotWritten;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "dmctl: %s\n", error.what());
    return dmctl::kExitFailure;
  }
  if (std::fflush(stdout) != 0) {
    std::fprintf(stderr, "dmctl: could not write the output\n");
    return dmctl::kExitFailure;
  }
  return dmctl::kExitSuccess;
}
