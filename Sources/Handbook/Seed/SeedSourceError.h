// The error the handbook seed builder reports when a source file is missing or malformed.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "Platform/Foundation/Error.h"

namespace dm {

// Thrown by the seed source readers. `what()` reads "<file>:<line>: <problem>", or
// "<file>: <problem>" when the problem concerns the whole file (line 0), so a person can
// go straight to the offending place. Its code is InvalidSeedSource. Safe to copy and to
// catch on any thread.
class SeedSourceError : public Error {
 public:
  SeedSourceError(std::filesystem::path file, std::size_t line, const std::string& problem);

  const std::filesystem::path& file() const { return file_; }
  // 1-based line of the problem; 0 when it concerns the whole file.
  std::size_t line() const { return line_; }
  // The problem without the file and line.
  const std::string& problem() const { return problem_; }

 private:
  std::filesystem::path file_;
  std::size_t line_;
  std::string problem_;
};

}  // namespace dm
