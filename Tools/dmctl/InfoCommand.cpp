// `dmctl info`: the library's version and what it carries.
#include <cstdio>

#include "Platform/Foundation/EmbeddedResources.h"
#include "Platform/Foundation/Version.h"
#include "dmctl/Command.h"
#include "dmctl/JsonOutput.h"

namespace dmctl {
namespace {

void setup(CLI::App& app, const GlobalOptions& options) {
  auto* command = app.add_subcommand("info", "Show the library version and its resources");
  command->callback([&options] {
    applyGlobalOptions(options);
    if (options.json) {
      nlohmann::json resources = nlohmann::json::array();
      for (auto name : dm::EmbeddedResources::names())
        resources.push_back({{"name", name}, {"bytes", dm::EmbeddedResources::find(name)->size()}});
      return printJson({{"version", dm::DataModelVersionString}, {"resources", resources}});
    }
    std::printf("DataModel %s\n", dm::DataModelVersionString);
    std::printf("embedded resources:\n");
    for (auto name : dm::EmbeddedResources::names()) {
      std::printf("  %.*s (%zu bytes)\n", static_cast<int>(name.size()), name.data(),
                  dm::EmbeddedResources::find(name)->size());
    }
  });
}

const CommandRegistration registration("info", &setup);

}  // namespace
}  // namespace dmctl
