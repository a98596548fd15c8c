// Runs the built dmctl as a subprocess for tests: with its output in files, or on a
// pseudo-terminal as a person would see it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace dm::test {

struct DmctlRun {
  int status = -1;  // exit status; 128 + the signal when killed; -1 when it never started
  std::string out;
  std::string err;  // on a terminal: empty, everything is in `out`
};

// The dmctl beside the test binaries' directory (or under $DM_BINARY_DIR); empty when absent.
std::filesystem::path dmctlBinary();

// Runs dmctl with `arguments` and `environment` ("NAME=value") added to this process's;
// output goes through files under `scratch`.
DmctlRun runDmctl(const std::filesystem::path& scratch, const std::vector<std::string>& arguments,
                  const std::vector<std::string>& environment = {});

// The same with stdin, stdout and stderr on a new pseudo-terminal; `out` holds what the
// terminal showed.
DmctlRun runDmctlOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});

}  // namespace dm::test
