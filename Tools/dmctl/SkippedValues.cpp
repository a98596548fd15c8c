// The values a mapping left out, as dmctl reports them.
#include "dmctl/SkippedValues.h"

#include <cstdio>
#include <string>

namespace dmctl {

void appendSkippedValues(nlohmann::json& out, const std::vector<dm::MappingError::Issue>& issues) {
  for (const auto& issue : issues)
    out.push_back(
        {{"keyPath", issue.keyPath}, {"class", issue.className}, {"reason", issue.message}});
}

void printSkippedValues(const nlohmann::json& skipped, const GlobalOptions& options) {
  if (options.quiet) return;
  for (const auto& issue : skipped)
    std::fprintf(stderr, "skipped %s (%s): %s\n", issue["keyPath"].get<std::string>().c_str(),
                 issue["class"].get<std::string>().c_str(),
                 issue["reason"].get<std::string>().c_str());
}

}  // namespace dmctl
