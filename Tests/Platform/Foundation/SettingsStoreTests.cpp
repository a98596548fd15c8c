// The settings store: typed persistence across reopen, damaged files, failing writes and
// concurrent writers.
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Support/RecordingSinks.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

using nlohmann::json;

// The real file system, with writes or renames that can be made to fail on demand. A failing
// write leaves half of the bytes behind, as a full disk would.
class FlakyFileSystem final : public SettingsStore::FileSystem {
 public:
  std::atomic<bool> failWrite{false};
  std::atomic<bool> failRename{false};

  ReadStatus readFile(const std::filesystem::path& path, std::string& contents,
                      std::string& error) override {
    return real_->readFile(path, contents, error);
  }
  bool writeFile(const std::filesystem::path& path, std::string_view bytes,
                 std::string& error) override {
    if (!failWrite) return real_->writeFile(path, bytes, error);
    real_->writeFile(path, bytes.substr(0, bytes.size() / 2), error);
    error = "No space left on device";
    return false;
  }
  bool rename(const std::filesystem::path& from, const std::filesystem::path& to,
              std::string& error) override {
    if (failRename) {
      error = "Input/output error";
      return false;
    }
    return real_->rename(from, to, error);
  }
  bool syncDirectory(const std::filesystem::path& directory, std::string& error) override {
    return real_->syncDirectory(directory, error);
  }
  void removeFile(const std::filesystem::path& path) override { real_->removeFile(path); }

 private:
  std::shared_ptr<FileSystem> real_ = FileSystem::posix();
};

class SettingsStoreTest : public ::testing::Test {
 protected:
  std::filesystem::path file() const { return dir_ / SettingsStore::kFileName; }
  std::size_t filesInDirectory() const {
    std::size_t count = 0;
    // The lock file that writers share is not the store's content.
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
      if (entry.path().extension() != ".lock") ++count;
    return count;
  }

  test::TempDir dir_;
  test::RecordingSinks sinks_;
};

TEST_F(SettingsStoreTest, EveryKindSurvivesReopen) {
  const json list = json::parse(R"([1, "two", {"three": [3.5, null]}])");
  const json dictionary = json::parse(R"({"weightUnits": 1, "nested": {"on": true}})");
  {
    SettingsStore store(file());
    store.setInteger("integer", -9007199254740993);
    store.setDouble("real", 2.0);
    store.setBool("boolean", true);
    store.setString("text", "Привет, \"мир\"\n");
    store.setDate("date", Date(1700000000.25));
    store.setObject("list", list);
    store.setObject("dictionary", dictionary);
    store.setInteger("removed", 1);
    store.remove("removed");
  }
  SettingsStore store(file());
  EXPECT_EQ(store.keys(), (std::vector<std::string>{"boolean", "date", "dictionary", "integer",
                                                    "list", "real", "text"}));
  EXPECT_EQ(store.integerForKey("integer"), -9007199254740993);
  EXPECT_TRUE(store.objectForKey("real")->is_number_float());  // 2.0 stays a real
  EXPECT_EQ(store.doubleForKey("real"), 2.0);
  EXPECT_TRUE(store.boolForKey("boolean"));
  EXPECT_EQ(store.stringForKey("text"), "Привет, \"мир\"\n");
  EXPECT_EQ(store.dateForKey("date"), Date(1700000000.25));
  EXPECT_EQ(store.objectForKey("date"), json(1700000000.25));
  EXPECT_EQ(store.arrayForKey("list"), list);
  EXPECT_EQ(store.dictionaryForKey("dictionary"), dictionary);
  EXPECT_FALSE(store.contains("removed"));
  // Only dates read back as dates.
  EXPECT_EQ(store.dateForKey("real"), std::nullopt);
  EXPECT_TRUE(sinks_.events->events().empty());
}

TEST_F(SettingsStoreTest, TypedGettersConvertAndDefault) {
  auto store = SettingsStore::inMemory();
  EXPECT_EQ(store->integerForKey("absent"), 0);
  EXPECT_EQ(store->doubleForKey("absent"), 0.0);
  EXPECT_FALSE(store->boolForKey("absent"));
  EXPECT_EQ(store->stringForKey("absent"), std::nullopt);
  EXPECT_EQ(store->objectForKey("absent"), std::nullopt);

  store->setString("number", " 42.9kg");
  EXPECT_EQ(store->integerForKey("number"), 42);
  EXPECT_DOUBLE_EQ(store->doubleForKey("number"), 42.9);
  EXPECT_TRUE(store->boolForKey("number"));
  store->setString("flag", "YES");
  EXPECT_TRUE(store->boolForKey("flag"));
  store->setString("flag", "no");
  EXPECT_FALSE(store->boolForKey("flag"));
  store->setDouble("real", -3.99);
  EXPECT_EQ(store->integerForKey("real"), -3);
  EXPECT_EQ(store->stringForKey("real"), "-3.99");
  store->setDouble("huge", 1e300);
  EXPECT_EQ(store->integerForKey("huge"), 0);
  store->setBool("bool", true);
  EXPECT_EQ(store->integerForKey("bool"), 1);
  EXPECT_EQ(store->stringForKey("bool"), "1");
  store->setObject("list", json::array({1}));
  EXPECT_EQ(store->stringForKey("list"), std::nullopt);
  EXPECT_EQ(store->dictionaryForKey("list"), std::nullopt);
  store->setDate("date", Date(86400));
  EXPECT_EQ(store->integerForKey("date"), 0);

  // A null value removes; values that cannot round-trip are refused.
  store->setObject("list", nullptr);
  EXPECT_FALSE(store->contains("list"));
  store->setDouble("real", std::nan(""));
  store->setObject("blob", json::binary({1, 2}));
  EXPECT_EQ(store->doubleForKey("real"), -3.99);
  EXPECT_FALSE(store->contains("blob"));
  EXPECT_TRUE(store->synchronize());
  EXPECT_TRUE(store->filePath().empty());
}

// A file this version cannot read starts the store empty and is reported; it stays as it was
// until a change is saved, and is then kept aside (the last one) beside the new file.
TEST_F(SettingsStoreTest, DamagedFileStartsEmptyIsKeptAsideAndRepairedByNextSave) {
  std::string good;
  {
    SettingsStore store(file());
    store.setInteger("weightUnits", 1);
    store.setString("currency", "EUR");
    good = test::readFile(file());
  }
  const std::string deep = std::string(600, '[') + std::string(600, ']');
  const std::vector<std::pair<std::string, std::string>> damaged = {
      {"empty", ""},
      {"truncated", good.substr(0, good.size() / 2)},
      {"not JSON", "\x89PNG\r\n\x1a\n garbage"},
      {"wrong layout", R"([1, 2, 3])"},
      {"a format from the future", R"({"format": 99, "values": {}})"},
      {"format 2", R"({"format": 2, "values": {"a": {"kind": "integer", "value": 1}}})"},
      {"600 deep", R"({"format": 1, "values": {"a": {"kind": "list", "value": )" + deep + "}}}"},
      {"1e400", R"({"format": 1, "values": {"a": {"kind": "real", "value": 1e400}}})"},
      {"bad UTF-8",
       "{\"format\": 1, \"values\": {\"a\": {\"kind\": \"text\", \"value\": \"\xff\"}}}"},
  };
  const std::string refused = file().string() + ".refused";
  for (const auto& [name, contents] : damaged) {
    SCOPED_TRACE(name);
    std::filesystem::remove(refused);
    test::writeFile(file(), contents);
    sinks_.events->clear();
    {
      SettingsStore store(file());
      EXPECT_TRUE(store.keys().empty());
      ASSERT_GE(sinks_.events->events().size(), 1u);
      EXPECT_EQ(sinks_.events->events()[0].parameters["path"], file().string());
      EXPECT_EQ(test::readFile(file()), contents);  // untouched until a change is saved
      store.setInteger("weightUnits", 0);
    }
    EXPECT_EQ(test::readFile(refused), contents);
    EXPECT_EQ(sinks_.events->events().back().description, "Settings file kept aside");
    sinks_.events->clear();
    SettingsStore reopened(file());
    EXPECT_TRUE(sinks_.events->events().empty());
    EXPECT_EQ(reopened.keys(), std::vector<std::string>{"weightUnits"});
  }
}

TEST_F(SettingsStoreTest, MalformedEntriesAreSkippedOthersKept) {
  test::writeFile(file(), R"({"format": 1, "values": {
      "good": {"kind": "integer", "value": 3},
      "wrongKind": {"kind": "date", "value": "yesterday"},
      "noValue": {"kind": "text"},
      "notAnEntry": 5}})");
  SettingsStore store(file());
  EXPECT_EQ(store.keys(), std::vector<std::string>{"good"});
  ASSERT_EQ(sinks_.events->events().size(), 1u);
}

TEST_F(SettingsStoreTest, FailedWriteLeavesPreviousFileIntact) {
  {
    SettingsStore store(file());
    store.setInteger("kept", 7);
  }
  const std::string before = test::readFile(file());
  auto fileSystem = std::make_shared<FlakyFileSystem>();
  SettingsStore store(file(), fileSystem);

  fileSystem->failWrite = true;
  store.setInteger("lost", 1);
  fileSystem->failWrite = false;
  fileSystem->failRename = true;
  store.setString("alsoLost", "x");
  EXPECT_FALSE(store.synchronize());

  EXPECT_EQ(test::readFile(file()), before);
  EXPECT_EQ(filesInDirectory(), 1u);  // no temporary file left behind
  ASSERT_GE(sinks_.events->events().size(), 2u);
  EXPECT_EQ(sinks_.events->events()[0].parameters["reason"], "No space left on device");
  EXPECT_EQ(store.integerForKey("lost"), 1);  // memory keeps the value for a retry

  fileSystem->failRename = false;
  EXPECT_TRUE(store.synchronize());
  SettingsStore reopened(file());
  EXPECT_EQ(reopened.integerForKey("kept"), 7);
  EXPECT_EQ(reopened.integerForKey("lost"), 1);
  EXPECT_EQ(reopened.stringForKey("alsoLost"), "x");
}

TEST_F(SettingsStoreTest, StandardStoreLivesUnderTheDataRoot) {
  Directories::setDataRoot(dir_ / "root");
  SettingsStore::setStandard(nullptr);
  auto standard = SettingsStore::standard();
  EXPECT_EQ(standard->filePath(), dir_ / "root" / "ApplicationSupport" / SettingsStore::kFileName);
  EXPECT_EQ(SettingsStore::standard(), standard);
  auto replacement = SettingsStore::inMemory();
  SettingsStore::setStandard(replacement);
  EXPECT_EQ(SettingsStore::standard(), replacement);
  SettingsStore::setStandard(nullptr);
  Directories::setShared(nullptr);
}

class SettingsStoreConcurrencyTest : public SettingsStoreTest {};

TEST_F(SettingsStoreConcurrencyTest, ConcurrentWritersAllSurviveReopen) {
  constexpr int kThreads = 4;
  constexpr int kKeysPerThread = 20;
  {
    SettingsStore store(file());
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        for (int i = 0; i < kKeysPerThread; ++i) {
          const auto key = "thread" + std::to_string(t) + ".key" + std::to_string(i);
          store.setInteger(key, t * 1000 + i);
          EXPECT_EQ(store.integerForKey(key), t * 1000 + i);
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  SettingsStore reopened(file());
  EXPECT_EQ(reopened.keys().size(), std::size_t{kThreads * kKeysPerThread});
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kKeysPerThread; ++i) {
      EXPECT_EQ(reopened.integerForKey("thread" + std::to_string(t) + ".key" + std::to_string(i)),
                t * 1000 + i);
    }
  }
  EXPECT_EQ(filesInDirectory(), 1u);
}

}  // namespace
}  // namespace dm
