// Formatting of seed source errors.
#include "Handbook/Seed/SeedSourceError.h"

#include <utility>

namespace dm {
namespace {

std::string describe(const std::filesystem::path& file, std::size_t line,
                     const std::string& problem) {
  std::string text = file.string();
  if (line > 0) text += ":" + std::to_string(line);
  return text + ": " + problem;
}

}  // namespace

SeedSourceError::SeedSourceError(std::filesystem::path file, std::size_t line,
                                 const std::string& problem)
    : Error(ErrorCode::InvalidSeedSource, describe(file, line, problem)),
      file_(std::move(file)),
      line_(line),
      problem_(problem) {}

}  // namespace dm
