// Kills a writer process at random moments and checks what it left on disk. The writer is
// this test binary started again with one writer test selected (so it begins without the
// parent's threads or open stores); it reports each durable step through a pipe. The
// parent kills it with SIGKILL after a seeded number of steps, plus a seeded spin so the
// kill lands at varying points of the next write, and asks the checker what survived.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace dm::test {

// What the parent checks after each kill: the last complete step found on disk, or an
// error text when what is on disk is torn, mixed or unreadable.
struct CrashCheck {
  std::int64_t lastStep = 0;
  std::string error;  // empty when consistent
};
using CrashChecker = std::function<CrashCheck()>;

struct CrashReport {
  int kills = 0;
  std::int64_t lastStep = 0;
  std::string failure;  // empty when every check passed
};

// `kills` rounds of start writer, SIGKILL, check. `writerTest` is the full name of the
// writer test ("CrashWriter.Settings"); `directory` is handed to it. Each check must find
// a consistent state at or after the last step the writer reported durable.
CrashReport runCrashLoop(const std::string& writerTest, const std::string& directory,
                         const CrashChecker& checker, int kills, std::uint32_t seed);

// In a writer test: whether this process was started as that writer. When false the
// writer test has nothing to do (it only runs inside runCrashLoop).
bool isCrashWriter();
// The directory the parent handed over, and the last step already on disk.
std::string crashDirectory();
std::int64_t crashLastStep();
// Tells the parent that `step` is on disk.
void reportDurable(std::int64_t step);

// A second process beside the writer: this test binary started again with `test` selected
// and `directory` handed to it, running until stopCompanion. Its tests check
// isCompanion() and read companionDirectory().
struct Companion {
  int pid = -1;
};
Companion startCompanion(const std::string& test, const std::string& directory);
// SIGKILLs the companion and reaps it. true when it was still running (it must not end on
// its own: a crash or an early exit is a failure).
bool stopCompanion(Companion& companion);
bool isCompanion();
std::string companionDirectory();

// Empty when SQLite's integrity check passes on `file`, else what it reported. Run it with
// no writer alive.
std::string sqliteIntegrityError(const std::string& file);

// A checksum over a counter and a payload, for writers to store beside their data.
std::uint64_t crashChecksum(std::int64_t step, const std::string& payload);

// For writers that save numbered batches of texts: the marker saved with batch `batch`,
// "<count>:<checksum of the texts>".
std::string batchMarker(std::int64_t batch, const std::vector<std::string>& texts);
// What a checker found: batches 1..n each whole (its marker matches its texts), none missing
// and no texts without their marker. `unit` names a batch in the error ("batch", "update").
CrashCheck checkWholeBatches(const std::map<std::int64_t, std::string>& markers,
                             const std::map<std::int64_t, std::vector<std::string>>& texts,
                             const std::string& unit);

}  // namespace dm::test
