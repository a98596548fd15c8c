// Start writer, SIGKILL, check.
#include "Reliability/CrashHarness.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sqlite3.h>

#include <cstdlib>
#include <random>

namespace dm::test {

namespace {

const char* const kWriterFd = "DM_CRASH_FD";
const char* const kWriterDir = "DM_CRASH_DIR";
const char* const kWriterLast = "DM_CRASH_LAST";
const char* const kCompanionDir = "DM_COMPANION_DIR";

// false when the writer ended or made no progress for two minutes.
bool readStep(int fd, std::int64_t& step) {
  char* out = reinterpret_cast<char*>(&step);
  std::size_t got = 0;
  while (got < sizeof step) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 120000) <= 0) return false;
    ssize_t n = ::read(fd, out + got, sizeof step - got);
    if (n <= 0) return false;
    got += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

bool isCrashWriter() {
  return std::getenv(kWriterFd) != nullptr;
}

std::string crashDirectory() {
  const char* dir = std::getenv(kWriterDir);
  return dir ? dir : "";
}

std::int64_t crashLastStep() {
  const char* last = std::getenv(kWriterLast);
  return last ? std::strtoll(last, nullptr, 10) : 0;
}

void reportDurable(std::int64_t step) {
  static const int fd = std::atoi(std::getenv(kWriterFd));
  if (::write(fd, &step, sizeof step) != static_cast<ssize_t>(sizeof step)) ::_exit(3);
}

Companion startCompanion(const std::string& test, const std::string& directory) {
  const std::string filter = "--gtest_filter=" + test;
  Companion companion;
  companion.pid = ::fork();
  if (companion.pid == 0) {
    int devnull = ::open("/dev/null", O_WRONLY);
    if (devnull >= 0) ::dup2(devnull, STDOUT_FILENO);
    ::unsetenv(kWriterFd);
    ::setenv(kCompanionDir, directory.c_str(), 1);
    ::execl("/proc/self/exe", "/proc/self/exe", filter.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  return companion;
}

bool stopCompanion(Companion& companion) {
  if (companion.pid <= 0) return false;
  ::kill(companion.pid, SIGKILL);
  int status = 0;
  ::waitpid(companion.pid, &status, 0);
  companion.pid = -1;
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

bool isCompanion() {
  return std::getenv(kCompanionDir) != nullptr;
}

std::string companionDirectory() {
  const char* dir = std::getenv(kCompanionDir);
  return dir ? dir : "";
}

std::string sqliteIntegrityError(const std::string& file) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    std::string error = db ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close(db);
    return "cannot open " + file + ": " + error;
  }
  std::string result;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) != SQLITE_OK) {
    result = sqlite3_errmsg(db);
  } else {
    while (sqlite3_step(statement) == SQLITE_ROW) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
      std::string line = text ? text : "";
      if (line != "ok") result += line + "; ";
    }
  }
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return result;
}

std::uint64_t crashChecksum(std::int64_t step, const std::string& payload) {
  std::uint64_t hash = 1469598103934665603ull ^ static_cast<std::uint64_t>(step);
  for (unsigned char c : payload) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

std::string batchMarker(std::int64_t batch, const std::vector<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts) joined += text;
  return std::to_string(texts.size()) + ":" + std::to_string(crashChecksum(batch, joined));
}

CrashCheck checkWholeBatches(const std::map<std::int64_t, std::string>& markers,
                             const std::map<std::int64_t, std::vector<std::string>>& texts,
                             const std::string& unit) {
  std::int64_t last = 0;
  for (const auto& [batch, marker] : markers) {
    if (batch != last + 1) return {0, unit + " " + std::to_string(last + 1) + " is missing"};
    auto found = texts.find(batch);
    const std::string expected =
        batchMarker(batch, found == texts.end() ? std::vector<std::string>{} : found->second);
    if (marker != expected)
      return {0, unit + " " + std::to_string(batch) + " is torn: marker " + marker + ", found " +
                     expected};
    last = batch;
  }
  if (texts.size() != markers.size()) return {0, unit + " texts saved without their marker"};
  return {last, ""};
}

CrashReport runCrashLoop(const std::string& writerTest, const std::string& directory,
                         const CrashChecker& checker, int kills, std::uint32_t seed) {
  std::mt19937 random(seed);
  CrashReport report;
  CrashCheck initial = checker();
  if (!initial.error.empty()) {
    report.failure = "before the first kill: " + initial.error;
    return report;
  }
  report.lastStep = initial.lastStep;
  const std::string filter = "--gtest_filter=" + writerTest;
  for (int round = 0; round < kills; ++round) {
    const std::string where = "round " + std::to_string(round) + ": ";
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
      report.failure = where + "pipe failed";
      return report;
    }
    const std::string start = std::to_string(report.lastStep);
    const std::string fd = std::to_string(fds[1]);
    pid_t child = ::fork();
    if (child < 0) {
      report.failure = where + "fork failed";
      return report;
    }
    if (child == 0) {
      ::fcntl(fds[1], F_SETFD, 0);  // the write end survives exec
      int devnull = ::open("/dev/null", O_WRONLY);
      if (devnull >= 0) ::dup2(devnull, STDOUT_FILENO);
      ::setenv(kWriterFd, fd.c_str(), 1);
      ::setenv(kWriterDir, directory.c_str(), 1);
      ::setenv(kWriterLast, start.c_str(), 1);
      ::execl("/proc/self/exe", "/proc/self/exe", filter.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(fds[1]);
    const int steps = std::uniform_int_distribution<int>(1, 4)(random);
    std::int64_t durable = report.lastStep;
    bool writing = true;
    for (int i = 0; i < steps && writing; ++i) writing = readStep(fds[0], durable);
    volatile std::uint64_t spin = 0;
    const auto spins = std::uniform_int_distribution<std::uint64_t>(0, 300000)(random);
    for (std::uint64_t i = 0; i < spins; ++i) spin = spin + i;
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(fds[0]);
    if (!writing || !WIFSIGNALED(status)) {
      report.failure = where + "the writer stopped or stalled before the kill";
      return report;
    }
    ++report.kills;
    CrashCheck check = checker();
    if (!check.error.empty()) {
      report.failure = where + check.error;
      return report;
    }
    if (check.lastStep < durable) {
      report.failure = where + "step " + std::to_string(durable) +
                       " was reported durable but only step " + std::to_string(check.lastStep) +
                       " is on disk";
      return report;
    }
    report.lastStep = check.lastStep;
  }
  return report;
}

}  // namespace dm::test
