// `dmctl report --out DIR`: the client's progress as a self-contained HTML page with charts,
// in the interface language (--language) and the user's units.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Report/ProgressReport.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

void run(const std::string& out, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  std::filesystem::path page;
  context->performAndWait([&] {
    try {
      page = dm::writeProgressReport(*context, out);
    } catch (const std::runtime_error& error) {
      throw CommandError(error.what());
    }
  });
  if (options.json)
    std::printf("%s\n", nlohmann::json({{"report", page.string()}}).dump().c_str());
  else
    std::printf("progress report written to %s\n", page.string().c_str());
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string out;
  auto* command = app.add_subcommand(
      "report", "Write the client's progress as an HTML page with charts (report.html)");
  command->add_option("--out", out, "Directory for report.html")->required();
  command->callback([&options] { run(out, options); });
}

const CommandRegistration registration("report", &setup);

}  // namespace
}  // namespace dmctl
