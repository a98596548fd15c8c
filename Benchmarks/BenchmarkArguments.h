// The command line every benchmark program shares with the runner:
// `--list | --workload NAME --records N --data-dir DIR`.
#pragma once

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace bench {

struct Arguments {
  std::string workload;
  std::string dataDir;
  std::int64_t records = 0;
};

// Prints the problem and the usage line of `program` on stderr; returns the usage status 2.
inline int usage(const char* program, const std::string& message) {
  std::cerr << program << ": " << message << "\n"
            << "usage: " << program << " --list | --workload NAME --records N --data-dir DIR\n";
  return 2;
}

// Parses the shared options into `out` (whose records member holds the default). Returns the
// status main must return at once (0 after --list printed `workloads`, 2 on a usage error),
// or nothing when the program is to run `out.workload`.
inline std::optional<int> parseArguments(int argc, char** argv, const char* program,
                                         const std::vector<std::string>& workloads,
                                         Arguments& out) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--list") {
      for (const auto& name : workloads) std::cout << name << "\n";
      return 0;
    }
    if (i + 1 >= argc) return usage(program, "missing value for " + arg);
    if (arg == "--workload")
      out.workload = argv[++i];
    else if (arg == "--records")
      out.records = std::stoll(argv[++i]);
    else if (arg == "--data-dir")
      out.dataDir = argv[++i];
    else
      return usage(program, "unknown option " + arg);
  }
  return std::nullopt;
}

}  // namespace bench
