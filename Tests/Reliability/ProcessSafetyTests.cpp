// Several dmctl processes on one data directory, and what dmctl's exit status promises:
// concurrent map --save writers beside store query readers keep every record, concurrent
// settings set calls keep every key, a write that did not reach the file exits 3, and deep
// or malformed input ends in a clear error, never a crash.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Support/DmctlProcess.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using test::dmctlBinary;

class ProcessSafetyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  }
  // Runs dmctl on this test's data directory and waits for it.
  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--data-dir", data().string()});
    const auto result = test::runDmctl(dir.path(), arguments);
    lastOut = result.out;
    lastErr = result.err;
    return result.status;
  }
  fs::path data() const { return dir / "data"; }

  test::TempDir dir;
  std::string lastOut, lastErr;
};

TEST_F(ProcessSafetyTest, ConcurrentMapWritersAndQueryReadersKeepEveryRecord) {
  constexpr int kWriters = 12, kReaders = 12;
  std::vector<std::unique_ptr<test::DmctlChild>> processes;
  for (int i = 1; i <= kWriters + kReaders; ++i) {
    std::vector<std::string> arguments = {"--data-dir", data().string()};
    if (i <= kWriters) {
      fs::path payload = dir / ("user" + std::to_string(i) + ".json");
      test::writeFile(payload, json{{"id", i}, {"first_name", "user " + std::to_string(i)}}.dump());
      arguments.insert(arguments.end(), {"map", "UserEntity", payload.string(), "--save"});
    } else {
      arguments.insert(arguments.end(), {"store", "query", "UserEntity"});
    }
    processes.push_back(
        std::make_unique<test::DmctlChild>(dir.path(), "p" + std::to_string(i), arguments));
  }
  for (std::size_t i = 0; i < processes.size(); ++i) {
    const auto result = processes[i]->wait();
    EXPECT_EQ(result.status, 0) << "process " << i + 1 << ": " << result.err;
  }

  ASSERT_EQ(run({"store", "query", "UserEntity", "--sort", "entityID"}), 0) << lastErr;
  auto users = json::parse(lastOut);
  ASSERT_EQ(users.size(), static_cast<std::size_t>(kWriters));
  for (int i = 0; i < kWriters; ++i) EXPECT_EQ(users[i]["entityID"], i + 1);
  EXPECT_FALSE(fs::exists(data() / "Documents" / "Korvalo.sqlite.damaged"));
}

TEST_F(ProcessSafetyTest, ConcurrentSettingsSetCallsKeepEveryKey) {
  constexpr int kProcesses = 20;
  std::vector<std::unique_ptr<test::DmctlChild>> processes;
  for (int i = 0; i < kProcesses; ++i)
    processes.push_back(std::make_unique<test::DmctlChild>(
        dir.path(), "s" + std::to_string(i),
        std::vector<std::string>{"--data-dir", data().string(), "settings", "set",
                                 "key" + std::to_string(i), std::to_string(i)}));
  for (auto& process : processes) EXPECT_EQ(process->wait().status, 0) << process->wait().err;
  ASSERT_EQ(run({"settings"}), 0) << lastErr;
  auto settings = json::parse(lastOut);
  for (int i = 0; i < kProcesses; ++i) EXPECT_EQ(settings["key" + std::to_string(i)], i);
}

TEST_F(ProcessSafetyTest, WritesThatDoNotReachTheFileExitThreeWithTheReason) {
  // A directory where the store file should be: the store can only run in memory.
  fs::create_directories(data() / "Documents" / "Korvalo.sqlite" / "keep");
  test::writeFile(dir / "user.json", json{{"id", 1}}.dump());
  EXPECT_EQ(run({"map", "UserEntity", (dir / "user.json").string(), "--save"}), 3);
  EXPECT_NE(lastErr.find("not in use"), std::string::npos) << lastErr;
  EXPECT_EQ(lastErr.find("[event]"), std::string::npos) << "events only with --verbose";
  EXPECT_EQ(lastOut.find("saved"), std::string::npos) << lastOut;

  EXPECT_EQ(run({"store", "info"}), 1);  // a read: a failure, not an empty store
  EXPECT_EQ(run({"--verbose", "store", "info"}), 1);
  EXPECT_NE(lastErr.find("[event]"), std::string::npos) << lastErr;
  EXPECT_TRUE(fs::exists(data() / "Documents" / "Korvalo.sqlite" / "keep"));
}

TEST_F(ProcessSafetyTest, MalformedAndDeepInputEndsInAClearErrorNotACrash) {
  constexpr int kDepth = 100000;
  const std::string deepList = std::string(kDepth, '[') + std::string(kDepth, ']');
  test::writeFile(dir / "list.json", "[1,2,3]");
  EXPECT_EQ(run({"handbook", "apply-update", (dir / "list.json").string()}), 1);
  EXPECT_NE(lastErr.find("not an update dictionary"), std::string::npos) << lastErr;

  test::writeFile(dir / "deep-update.json",
                  R"({"status":"ok","version":3,"post_exercises":[{"id":1,"title":"deep",)"
                  R"("execution_order":)" +
                      deepList + "}]}");
  int status = run({"handbook", "apply-update", (dir / "deep-update.json").string()});
  EXPECT_LT(status, 128) << "killed by signal " << status - 128;

  test::writeFile(dir / "deep-fields.json", R"({"name":)" + deepList + "}");
  status = run({"serialize", "ProfileRequest", (dir / "deep-fields.json").string()});
  EXPECT_LT(status, 128) << "killed by signal " << status - 128;
  EXPECT_EQ(status, 1) << lastErr;

  // A NUL in a title does not cut off what follows it.
  test::writeFile(dir / "nul.json",
                  R"({"status":"ok","version":"4.5","post_articles":[{"id":7,"title":"a\u0000b",)"
                  R"("description":"after the title"}]})");
  ASSERT_EQ(run({"handbook", "apply-update", (dir / "nul.json").string()}), 0) << lastErr;
  EXPECT_NE(lastOut.find("version 4.5"), std::string::npos) << lastOut;
  ASSERT_EQ(run({"handbook", "post", "7"}), 0) << lastErr;
  EXPECT_NE(lastOut.find(std::string("a\0b", 3)), std::string::npos);
  EXPECT_NE(lastOut.find("photoURL"), std::string::npos) << "output after the title is missing";
}

}  // namespace
}  // namespace dm
