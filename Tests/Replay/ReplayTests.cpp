// dmctl replay: recordings under Tests/Fixtures/Replay run against a fresh data directory and
// print exactly the committed screens; the first failing step stops the replay with its exit
// status; malformed recordings are refused before anything runs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Support/TempDir.h"

namespace dm {
namespace {

namespace fs = std::filesystem;

fs::path dmctlBinary() {
  std::error_code error;
  fs::path binaryDir;
  if (const char* dir = std::getenv("DM_BINARY_DIR"))
    binaryDir = dir;
  else
    binaryDir = fs::read_symlink("/proc/self/exe", error).parent_path().parent_path();
  auto path = binaryDir / "dmctl";
  return fs::exists(path, error) ? path : fs::path();
}

struct ReplayRun {
  int status = -1;
  std::string out, err;
};

class ReplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  }
  ReplayRun replay(const fs::path& recording) {
    const auto out = dir / "out.txt", err = dir / "err.txt";
    const std::string command = dmctlBinary().string() + " --data-dir " + (dir / "data").string() +
                                " replay " + recording.string() + " > " + out.string() + " 2> " +
                                err.string();
    ReplayRun run;
    const int raw = std::system(command.c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = test::readFile(out);
    run.err = test::readFile(err);
    return run;
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
            "  2  completed_update_sets correction of set set-2: 9 repeats\n\n");
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
