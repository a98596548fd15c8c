// `dmctl handbook apply-update` timed as a user meets it: the whole process, from start to
// exit, with its own peak memory. The first update goes into an empty store; the changed one
// runs over a store that a first (untimed) process filled.
#include <fcntl.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "StoredShape.h"

extern char** environ;

#include "BenchmarkArguments.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Run {
  double seconds = 0;
  long peakKilobytes = 0;
};

// dmctl is built beside the Benchmarks folder of the same build.
fs::path dmctlPath() {
  fs::path self = fs::read_symlink("/proc/self/exe");
  fs::path tool = self.parent_path().parent_path() / "dmctl";
  if (!fs::exists(tool)) throw std::runtime_error("dmctl not found at " + tool.string());
  return tool;
}

Run applyUpdate(const fs::path& dataDir, const fs::path& payload) {
  std::vector<std::string> args = {dmctlPath().string(), "--data-dir",   (dataDir / "dm").string(),
                                   "handbook",           "apply-update", payload.string()};
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (dataDir / "dmctl.err").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  auto start = Clock::now();
  pid_t pid = 0;
  int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) throw std::runtime_error("cannot start dmctl");
  int status = 0;
  rusage usage{};
  if (wait4(pid, &status, 0, &usage) != pid) throw std::runtime_error("lost the dmctl process");
  Run run;
  run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  run.peakKilobytes = usage.ru_maxrss;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error("dmctl failed; see " + (dataDir / "dmctl.err").string());
  return run;
}

std::string shapeOfStore(const fs::path& dataDir) {
  for (const auto& entry : fs::recursive_directory_iterator(dataDir / "dm")) {
    if (entry.path().filename() != "Handbook.sqlite") continue;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(entry.path().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      sqlite3_close(db);
      throw std::runtime_error("cannot open " + entry.path().string());
    }
    std::string shape;
    try {
      // The products of the latest update (the store also holds the seed it started from).
      shape =
          bench::storedShape(db, "HandbookPostProductEntity",
                             "_pk IN (SELECT b FROM _J_HandbookUpdateEntity_postsProduct WHERE a = "
                             "(SELECT max(_pk) FROM HandbookUpdateEntity))");
    } catch (...) {
      sqlite3_close(db);
      throw;
    }
    sqlite3_close(db);
    return shape;
  }
  throw std::runtime_error("dmctl left no Handbook.sqlite");
}

int usage(const char* message) {
  return bench::usage("DmctlBenchmark", message);
}

}  // namespace

int main(int argc, char** argv) {
  const char* first = "handbook.apply_update";
  const char* changed = "handbook.apply_update_changed";
  bench::Arguments args;
  args.records = 50000;
  if (auto status = bench::parseArguments(argc, argv, "DmctlBenchmark", {first, changed}, args))
    return *status;
  const std::string& workload = args.workload;
  const std::string& dir = args.dataDir;
  const std::int64_t records = args.records;
  if (dir.empty() || (workload != first && workload != changed))
    return usage("--workload and --data-dir needed");
  try {
    fs::path data(dir);
    const fs::path timed = data / (workload == changed ? "payload-v2.json" : "payload-v1.json");
    if (workload == changed) applyUpdate(data, data / "payload-v1.json");
    Run run = applyUpdate(data, timed);
    // The payload's size, for the table's peak-memory-to-payload column.
    std::printf(
        R"({"workload":"%s","impl":"DataModel","records":%lld,"seconds":%.6f,"peak_rss_bytes":%lld,"payload_bytes":%llu,"check":"%s"})"
        "\n",
        workload.c_str(), static_cast<long long>(records), run.seconds,
        static_cast<long long>(run.peakKilobytes) * 1024,
        static_cast<unsigned long long>(fs::file_size(timed)), shapeOfStore(data).c_str());
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "DmctlBenchmark: " << error.what() << "\n";
    return 1;
  }
}
