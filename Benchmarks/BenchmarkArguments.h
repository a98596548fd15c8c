// The command line every benchmark program shares with the runner:
// `--list | --workload NAME --records N --data-dir DIR`.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
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

// What one run of a workload measured: the records handled in the timed section, its wall
// time, and a check the runner compares across implementations.
struct Result {
  std::int64_t records = 0;
  double seconds = 0;
  std::string check;
  // The size of the text the workload maps, when it maps one: the runner relates peak memory
  // to it.
  std::size_t payloadBytes = 0;
  // For latency workloads: the median of one screen's or page's time, in milliseconds.
  double p50Ms = 0;
};

inline double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Workload {
  const char* name;
  Result (*run)(const std::string& dataDir, std::int64_t records);
};

// The whole main of a program whose workloads take (data dir, records): parses the shared
// options, runs the chosen workload once and prints its JSON line as implementation `impl`.
inline int runProgram(int argc, char** argv, const char* program, const char* impl,
                      std::int64_t defaultRecords, const std::vector<Workload>& workloads) {
  std::vector<std::string> names;
  for (const auto& w : workloads) names.push_back(w.name);
  Arguments args;
  args.records = defaultRecords;
  if (auto status = parseArguments(argc, argv, program, names, args)) return *status;
  if (args.dataDir.empty() || args.records < 1)
    return usage(program, "--workload, --records and --data-dir needed");
  for (const auto& w : workloads) {
    if (args.workload != w.name) continue;
    try {
      Result r = w.run(args.dataDir, args.records);
      std::printf(R"({"workload":"%s","impl":"%s","records":%lld,"seconds":%.6f,"check":"%s")",
                  w.name, impl, static_cast<long long>(r.records), r.seconds, r.check.c_str());
      if (r.payloadBytes) std::printf(R"(,"payload_bytes":%zu)", r.payloadBytes);
      if (r.p50Ms > 0) std::printf(R"(,"p50_ms":%.4f)", r.p50Ms);
      std::printf("}\n");
      return 0;
    } catch (const std::exception& error) {
      std::cerr << program << ": " << error.what() << "\n";
      return 1;
    }
  }
  return usage(program, "unknown workload " + args.workload);
}

}  // namespace bench
