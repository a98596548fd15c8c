// Several dmctl processes on one data directory, and what dmctl's exit status promises:
// concurrent map --save writers beside store query readers keep every record, concurrent
// settings set calls keep every key, a write that did not reach the file exits 3, and deep
// or malformed input ends in a clear error, never a crash.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Support/DmctlProcess.h"
#include "Support/TempDir.h"

extern char** environ;

namespace dm {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using test::dmctlBinary;

// One dmctl run with its output in files named after `name` under `dir`.
class DmctlProcess {
 public:
  DmctlProcess(const fs::path& dir, const std::string& name, std::vector<std::string> arguments)
      : out_(dir / (name + ".out")), err_(dir / (name + ".err")) {
    static const std::string binary = dmctlBinary().string();
    arguments.insert(arguments.begin(), binary);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (posix_spawn(&pid_, binary.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  // The exit status; 128 + the signal when it was killed, -1 when it never started.
  int wait() {
    if (pid_ < 0) return -1;
    int status = 0;
    if (::waitpid(pid_, &status, 0) != pid_) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  ~DmctlProcess() { wait(); }
  std::string out() const { return test::readFile(out_); }
  std::string err() const { return test::readFile(err_); }

 private:
  fs::path out_, err_;
  pid_t pid_ = -1;
};

class ProcessSafetyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  }
  // Runs dmctl on this test's data directory and waits for it.
  int run(const std::string& name, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--data-dir", data().string()});
    DmctlProcess process(dir.path(), name, std::move(arguments));
    int status = process.wait();
    lastOut = process.out();
    lastErr = process.err();
    return status;
  }
  fs::path data() const { return dir / "data"; }

  test::TempDir dir;
  std::string lastOut, lastErr;
};

TEST_F(ProcessSafetyTest, ConcurrentMapWritersAndQueryReadersKeepEveryRecord) {
  constexpr int kWriters = 12, kReaders = 12;
  std::vector<std::unique_ptr<DmctlProcess>> processes;
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
        std::make_unique<DmctlProcess>(dir.path(), "p" + std::to_string(i), arguments));
  }
  for (std::size_t i = 0; i < processes.size(); ++i)
    EXPECT_EQ(processes[i]->wait(), 0) << "process " << i + 1 << ": " << processes[i]->err();

  ASSERT_EQ(run("final", {"store", "query", "UserEntity", "--sort", "entityID"}), 0) << lastErr;
  auto users = json::parse(lastOut);
  ASSERT_EQ(users.size(), static_cast<std::size_t>(kWriters));
  for (int i = 0; i < kWriters; ++i) EXPECT_EQ(users[i]["entityID"], i + 1);
  EXPECT_FALSE(fs::exists(data() / "Documents" / "Korvalo.sqlite.damaged"));
}

TEST_F(ProcessSafetyTest, ConcurrentSettingsSetCallsKeepEveryKey) {
  constexpr int kProcesses = 20;
  std::vector<std::unique_ptr<DmctlProcess>> processes;
  for (int i = 0; i < kProcesses; ++i)
    processes.push_back(std::make_unique<DmctlProcess>(
        dir.path(), "s" + std::to_string(i),
        std::vector<std::string>{"--data-dir", data().string(), "settings", "set",
                                 "key" + std::to_string(i), std::to_string(i)}));
  for (auto& process : processes) EXPECT_EQ(process->wait(), 0) << process->err();
  ASSERT_EQ(run("list", {"settings"}), 0) << lastErr;
  auto settings = json::parse(lastOut);
  for (int i = 0; i < kProcesses; ++i) EXPECT_EQ(settings["key" + std::to_string(i)], i);
}

TEST_F(ProcessSafetyTest, WritesThatDoNotReachTheFileExitThreeWithTheReason) {
  // A directory where the store file should be: the store can only run in memory.
  fs::create_directories(data() / "Documents" / "Korvalo.sqlite" / "keep");
  test::writeFile(dir / "user.json", json{{"id", 1}}.dump());
  EXPECT_EQ(run("map", {"map", "UserEntity", (dir / "user.json").string(), "--save"}), 3);
  EXPECT_NE(lastErr.find("not in use"), std::string::npos) << lastErr;
  EXPECT_EQ(lastErr.find("[event]"), std::string::npos) << "events only with --verbose";
  EXPECT_EQ(lastOut.find("saved"), std::string::npos) << lastOut;

  EXPECT_EQ(run("info", {"store", "info"}), 1);  // a read: a failure, not an empty store
  EXPECT_EQ(run("verbose", {"--verbose", "store", "info"}), 1);
  EXPECT_NE(lastErr.find("[event]"), std::string::npos) << lastErr;
  EXPECT_TRUE(fs::exists(data() / "Documents" / "Korvalo.sqlite" / "keep"));

  // The settings directory is a file: nothing can be written there.
  test::writeFile(dir / "flat", "x");
  DmctlProcess settings(dir.path(), "settings",
                        {"--data-dir", (dir / "flat").string(), "settings", "set", "a", "1"});
  EXPECT_EQ(settings.wait(), 3) << settings.err();
  EXPECT_EQ(run("usage", {"settings", "set"}), 2);
}

TEST_F(ProcessSafetyTest, MalformedAndDeepInputEndsInAClearErrorNotACrash) {
  constexpr int kDepth = 100000;
  const std::string deepList = std::string(kDepth, '[') + std::string(kDepth, ']');
  test::writeFile(dir / "list.json", "[1,2,3]");
  EXPECT_EQ(run("list", {"handbook", "apply-update", (dir / "list.json").string()}), 1);
  EXPECT_NE(lastErr.find("not an update dictionary"), std::string::npos) << lastErr;

  test::writeFile(dir / "deep-update.json",
                  R"({"status":"ok","version":3,"post_exercises":[{"id":1,"title":"deep",)"
                  R"("execution_order":)" +
                      deepList + "}]}");
  int status =
      run("deep-update", {"handbook", "apply-update", (dir / "deep-update.json").string()});
  EXPECT_LT(status, 128) << "killed by signal " << status - 128;

  test::writeFile(dir / "deep-fields.json", R"({"name":)" + deepList + "}");
  status = run("serialize", {"serialize", "ProfileRequest", (dir / "deep-fields.json").string()});
  EXPECT_LT(status, 128) << "killed by signal " << status - 128;
  EXPECT_EQ(status, 1) << lastErr;

  // A NUL in a title does not cut off what follows it.
  test::writeFile(dir / "nul.json",
                  R"({"status":"ok","version":"4.5","post_articles":[{"id":7,"title":"a\u0000b",)"
                  R"("description":"after the title"}]})");
  ASSERT_EQ(run("nul", {"handbook", "apply-update", (dir / "nul.json").string()}), 0) << lastErr;
  EXPECT_NE(lastOut.find("version 4.5"), std::string::npos) << lastOut;
  ASSERT_EQ(run("post", {"handbook", "post", "7"}), 0) << lastErr;
  EXPECT_NE(lastOut.find(std::string("a\0b", 3)), std::string::npos);
  EXPECT_NE(lastOut.find("photoURL"), std::string::npos) << "output after the title is missing";
}

}  // namespace
}  // namespace dm
