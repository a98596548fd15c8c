// The client's progress as one self-contained HTML page with inline SVG charts: each
// exercise's best set and volume over time (from the corrected sets, removed ones left out),
// body weight and girths from the measurements, and diet adherence per week (calories of the
// diet days against their targets). Labels in the interface language, values in the user's
// units.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Report/SvgLineChart.h"

namespace dm {

class ManagedObjectContext;

// The charts of the page, in order, each under a section heading.
struct ProgressReportSection {
  std::string heading;
  std::vector<LineChart> charts;
};

// Reads the records of `context` on its queue (call it there). Exercise titles come from the
// handbook when it knows the post exercise.
std::vector<ProgressReportSection> collectProgressReport(ManagedObjectContext& context);

// The page for the sections: charts, a note where a section has nothing yet.
std::string renderProgressReportHtml(const std::vector<ProgressReportSection>& sections);

// Collects and writes `directory`/report.html (creating the directory); the page's path.
// Throws std::runtime_error when the file cannot be written.
std::filesystem::path writeProgressReport(ManagedObjectContext& context,
                                          const std::filesystem::path& directory);

}  // namespace dm
