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

// A dmctl started with `arguments` and `environment` ("NAME=value") added to this process's,
// stdin empty, stdout and stderr in `name`.out and `name`.err under `scratch`. Several may run
// at once; each is waited for at the latest when it is destroyed.
class DmctlChild {
 public:
  DmctlChild(const std::filesystem::path& scratch, const std::string& name,
             const std::vector<std::string>& arguments,
             const std::vector<std::string>& environment = {});
  ~DmctlChild() { wait(); }
  DmctlChild(const DmctlChild&) = delete;
  DmctlChild& operator=(const DmctlChild&) = delete;

  // Waits for the exit (once) and reads what it wrote.
  DmctlRun wait();

 private:
  std::filesystem::path out_, err_;
  int pid_ = -1;
  DmctlRun run_;
};

// Runs dmctl as above and waits for it; output goes through files under `scratch`.
DmctlRun runDmctl(const std::filesystem::path& scratch, const std::vector<std::string>& arguments,
                  const std::vector<std::string>& environment = {});

// The same with stdin, stdout and stderr on a new pseudo-terminal; `out` holds what the
// terminal showed.
DmctlRun runDmctlOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});

}  // namespace dm::test
