// dmctl replay: recordings under Tests/Fixtures/Replay run against a fresh data directory and
// print exactly the committed screens; the first failing step stops the replay with its exit
// status; malformed recordings are refused before anything runs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Support/DmctlProcess.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

namespace fs = std::filesystem;

class ReplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (test::dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  }
  test::DmctlRun replay(const fs::path& recording) {
    return test::runDmctl(dir.path(),
                          {"--data-dir", (dir / "data").string(), "replay", recording.string()});
  }
  test::TempDir dir;
};

TEST_F(ReplayTest, OfflineSetsPrintTheCommittedScreens) {
  const auto recording = test::fixturePath("Replay/offline-sets");
  auto run = replay(recording);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, test::readFile(recording / "expected.txt"));
  // The recording's state is stored: replaying only the outbox shows what is left.
  std::ofstream(dir / "again.jsonl") << R"({"run": ["outbox", "list"]})"
                                     << "\n";
  run = replay(dir / "again.jsonl");
  EXPECT_EQ(run.out,
            "$ dmctl outbox list\n"
            "  1  completed_sets        1 completed set of workout w-1\n"
            "  2  completed_update_sets correction of set set-2: 9 repeats\n"
            "  3  measurements_update   changes of measurement 31 of 2026-11-10\n\n");
}

TEST_F(ReplayTest, TheFirstFailingStepStopsTheReplayWithItsStatus) {
  const auto recording = test::fixturePath("Replay/stops-at-failure");
  auto run = replay(recording / "recording.jsonl");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, test::readFile(recording / "expected.txt"));
  EXPECT_NE(run.err.find("there is no request 3"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("replay stopped at line 2"), std::string::npos) << run.err;
}

TEST_F(ReplayTest, MalformedRecordingsAreRefusedBeforeAnythingRuns) {
  for (const char* line : {R"({"run": []})", R"({"run": "outbox list"})",
                           R"({"run": ["outbox", 1]})", R"({"title": "no command"})",
                           R"(["outbox"])", "{not json", R"({"run": ["replay", "x"]})"}) {
    std::ofstream(dir / "bad.jsonl") << R"({"run": ["map", "x", "y", "--save"]})"
                                     << "\n"
                                     << line << "\n";
    auto run = replay(dir / "bad.jsonl");
    EXPECT_EQ(run.status, 1) << line;
    EXPECT_EQ(run.out, "") << line;  // not even the first, valid step ran
    EXPECT_NE(run.err.find("bad.jsonl:2"), std::string::npos) << line << ": " << run.err;
  }
  EXPECT_EQ(replay(dir / "missing.jsonl").status, 1);
}

}  // namespace
}  // namespace dm
