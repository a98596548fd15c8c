// Outside input at its worst: truncated and bit-flipped settings files, keyed archives and
// ZIP archives, a read-only data directory, 100k-deep nesting, 50 MB strings, bytes that
// are not UTF-8, and filter arguments carrying SQL.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/ZipArchive.h"
#include "Platform/ObjectStore/Predicate.h"
#include "Support/RecordingSinks.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Keeps warnings and diagnostic events of hostile input out of the test output.
class HostileInputTest : public ::testing::Test {
 protected:
  fs::path settingsFile() const { return dir / SettingsStore::kFileName; }

  test::TempDir dir;
  test::RecordingSinks sinks;
};

std::string flipped(std::string bytes, std::size_t bit) {
  bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
  return bytes;
}

// ---- Settings file ----

TEST_F(HostileInputTest, DamagedSettingsFilesLoadWithoutThrowingAndKeepOnlyValidValues) {
  {
    SettingsStore store(settingsFile());
    store.setInteger("units", 2);
    store.setString("name", "Ann");
    store.setObject("list", json::array({1, "two", json::object({{"three", 3.5}})}));
    store.setDate("at", Date(1700000000.25));
  }
  const std::string good = test::readFile(settingsFile());
  ASSERT_FALSE(good.empty());
  auto loadsAndRecovers = [&](const std::string& bytes) {
    test::writeFile(settingsFile(), bytes);
    std::unique_ptr<SettingsStore> store;
    EXPECT_NO_THROW(store = std::make_unique<SettingsStore>(settingsFile())) << bytes;
    if (!store) return std::vector<std::string>{};
    auto keys = store->keys();
    for (const auto& key : keys) {  // typed reads of odd values must not overflow
      (void)store->integerForKey(key);
      (void)store->doubleForKey(key);
      (void)store->boolForKey(key);
      (void)store->dateForKey(key);
    }
    // The store still writes a valid file over the damage.
    store->setInteger("after", 1);
    EXPECT_EQ(SettingsStore(settingsFile()).integerForKey("after"), 1) << bytes;
    return keys;
  };
  // A cut file holds everything or nothing.
  for (std::size_t length = 0; length < good.size(); length += 7) {
    auto keys = loadsAndRecovers(good.substr(0, length));
    EXPECT_TRUE(keys.empty() || keys.size() == 4) << length;
  }
  std::mt19937 random(42);
  for (int i = 0; i < 300; ++i)
    loadsAndRecovers(
        flipped(good, std::uniform_int_distribution<std::size_t>(0, good.size() * 8 - 1)(random)));
  // Right syntax, wrong kinds where numbers and objects belong.
  for (const char* bytes : {
           R"({"format":"1","values":{}})",
           R"({"format":1.5e300,"values":[]})",
           R"({"format":1,"values":{"a":{"kind":7,"value":1},"b":{"kind":"date","value":1e999}}})",
           R"([])",
       }) {
    EXPECT_TRUE(loadsAndRecovers(bytes).empty()) << bytes;
  }
  // Valid, but at the edges of what the typed readers convert.
  EXPECT_EQ(loadsAndRecovers(R"({"format":1,"values":{"a":{"kind":"real","value":1e300},)"
                             R"("b":{"kind":"date","value":-1e300},)"
                             R"("c":{"kind":"integer","value":18446744073709551615}}})")
                .size(),
            3u);
}

TEST_F(HostileInputTest, DeeplyNestedSettingsAreRefusedWithoutExhaustingTheStack) {
  const std::size_t depth = 100000;
  std::string deep = R"({"format":1,"values":{"deep":{"kind":"list","value":)" +
                     std::string(depth, '[') + std::string(depth, ']') + "}}}";
  test::writeFile(settingsFile(), deep);
  SettingsStore store(settingsFile());
  store.setInteger("after", 1);  // writes the file back: the deep tree must not be dumped
  EXPECT_EQ(SettingsStore(settingsFile()).integerForKey("after"), 1);

  json nested = json::array();
  for (int i = 0; i < 100000; ++i) nested = json::array({std::move(nested)});
  store.setObject("nested", nested);
  EXPECT_EQ(SettingsStore(settingsFile()).integerForKey("after"), 1);
}

TEST_F(HostileInputTest, HugeAndNonUtf8SettingsTextsRoundTripOrAreRefused) {
  const std::string huge(50u << 20, 'z');
  const std::string invalid = "caf\xe9 \xff\xfe \xc3";
  {
    SettingsStore store(settingsFile());
    store.setString("huge", huge);
    store.setString("invalid", invalid);
    store.setInteger("after", 1);
  }
  SettingsStore reloaded(settingsFile());
  EXPECT_EQ(reloaded.integerForKey("after"), 1);
  EXPECT_EQ(reloaded.stringForKey("huge").value_or(""), huge);
  // Bytes that are not UTF-8 may be refused, but never stored as something else.
  if (auto text = reloaded.stringForKey("invalid")) {
    EXPECT_EQ(*text, invalid);
  }
}

// Root ignores permissions, so first find out whether chmod really protects the directory.
bool readOnlyDirectoriesWork(const fs::path& probe) {
  fs::create_directories(probe);
  ::chmod(probe.c_str(), 0500);
  std::ofstream out(probe / "x");
  bool writable = out.good();
  ::chmod(probe.c_str(), 0700);
  return !writable;
}

TEST_F(HostileInputTest, ReadOnlyDataDirectoryKeepsValuesInMemoryAndReportsTheFailure) {
  if (!readOnlyDirectoriesWork(dir / "probe"))
    GTEST_SKIP() << "running with privileges that ignore directory permissions (root?)";
  const fs::path data = dir / "data";
  fs::create_directories(data);
  {
    SettingsStore store(data / SettingsStore::kFileName);
    store.setInteger("kept", 1);
  }
  ::chmod(data.c_str(), 0500);
  {
    SettingsStore store(data / SettingsStore::kFileName);
    EXPECT_EQ(store.integerForKey("kept"), 1);
    store.setInteger("lost", 2);
    EXPECT_EQ(store.integerForKey("lost"), 2);
    EXPECT_FALSE(store.synchronize());
  }
  ::chmod(data.c_str(), 0700);
  SettingsStore reloaded(data / SettingsStore::kFileName);
  EXPECT_EQ(reloaded.integerForKey("kept"), 1);
  EXPECT_FALSE(reloaded.contains("lost"));
}

// ---- Keyed archives ----

TEST_F(HostileInputTest, FlippedKeyedArchivesNeverDecodeToAnotherTree) {
  const json tree = {{"name", "Ann"}, {"weights", {72.5, 71, -3}}, {"nested", {{"x", nullptr}}}};
  auto archive = KeyedArchive::archivedData(tree);
  ASSERT_TRUE(archive);
  for (std::size_t bit = 0; bit < archive->size() * 8; ++bit) {
    auto bytes = *archive;
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
    auto decoded = KeyedArchive::unarchivedObject(bytes);
    if (decoded) {
      EXPECT_TRUE(KeyedArchive::holdsOnlyAllowedKinds(*decoded));
      EXPECT_NE(*decoded, tree) << "bit " << bit << " flipped without effect";
    }
  }
}

TEST_F(HostileInputTest, KeyedArchivesCarryHugeTextsAndRefuseBrokenUtf8) {
  const json big = {{"text", std::string(50u << 20, 'q')}};
  auto archive = KeyedArchive::archivedData(big);
  ASSERT_TRUE(archive);
  auto back = KeyedArchive::unarchivedObject(*archive);
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, big);

  // A CBOR text of two bytes that are not UTF-8.
  std::vector<std::uint8_t> bytes = {'D',  'M',  'K', 'A', KeyedArchive::kFormatVersion,
                                     0x62, 0xff, 0xfe};
  auto decoded = KeyedArchive::unarchivedObject(bytes);
  if (decoded) {
    EXPECT_EQ(decoded->get<std::string>(), "\xff\xfe");
  }
}

// ---- ZIP archives ----

TEST_F(HostileInputTest, DamagedZipArchivesFailWithoutTouchingTheTarget) {
  test::writeFile(dir / "a.txt", std::string(5000, 'a') + "end");
  test::writeFile(dir / "b.txt", "bee");
  const fs::path archive = dir / "good.zip";
  zip::create(archive, {{"a.txt", dir / "a.txt"}, {"sub/b.txt", dir / "b.txt"}});
  const std::string good = test::readFile(archive);
  const fs::path target = dir / "target";
  fs::create_directories(target);
  test::writeFile(target / "a.txt", "old");

  std::mt19937 random(7);
  std::vector<std::string> damaged;
  for (std::size_t length = 0; length < good.size(); length += 11)
    damaged.push_back(good.substr(0, length));
  for (int i = 0; i < 200; ++i)
    damaged.push_back(
        flipped(good, std::uniform_int_distribution<std::size_t>(0, good.size() * 8 - 1)(random)));
  int refused = 0;
  for (const auto& bytes : damaged) {
    test::writeFile(dir / "bad.zip", bytes);
    try {
      zip::extract(dir / "bad.zip", target);
      // A flip in an unchecked field (a timestamp, say) may still extract correctly.
      EXPECT_EQ(test::readFile(target / "a.txt"), std::string(5000, 'a') + "end");
      EXPECT_EQ(test::readFile(target / "sub" / "b.txt"), "bee");
      fs::remove_all(target);
      fs::create_directories(target);
      test::writeFile(target / "a.txt", "old");
    } catch (const zip::ZipError&) {
      ++refused;
      EXPECT_EQ(test::readFile(target / "a.txt"), "old");
      EXPECT_FALSE(fs::exists(target / "sub"));
    }
  }
  EXPECT_GT(refused, static_cast<int>(damaged.size()) / 2);
  // Nothing but the archives, the sources and the target beside them.
  for (const auto& entry : fs::directory_iterator(dir.path()))
    EXPECT_TRUE(entry.path().extension() == ".zip" || entry.path().extension() == ".txt" ||
                entry.path().filename() == "target")
        << entry.path();
}

// ---- Filter arguments ----

class FixedColumns : public PredicateSqlResolver {
 public:
  Column resolve(const std::string& keyPath) override {
    if (keyPath != "name" && keyPath != "count") throw PredicateError("unknown key " + keyPath);
    return {"t0.\"" + keyPath + "\"",
            keyPath == "name" ? AttributeType::String : AttributeType::Integer64};
  }
  Value primaryKeyOf(const ManagedObject*) override { throw PredicateError("no rows"); }
};

TEST_F(HostileInputTest, PredicateArgumentsAreBoundNeverSpliced) {
  const std::string hostile = "x'); DROP TABLE t0; SELECT (\"1";
  FixedColumns columns;
  for (const char* format :
       {"name == %@", "name CONTAINS[c] %@", "name BEGINSWITH %@", "name LIKE %@", "name IN %@"}) {
    std::vector<PredicateArgument> args;
    if (std::string(format).find(" IN ") != std::string::npos)
      args.emplace_back(std::vector<Value>{Value(hostile), Value("ok")});
    else
      args.emplace_back(Value(hostile));
    SqlCondition condition = compileToSql(Predicate::parse(format, args), columns);
    EXPECT_EQ(condition.sql.find("DROP"), std::string::npos) << format << ": " << condition.sql;
    EXPECT_EQ(condition.sql.find(';'), std::string::npos) << condition.sql;
    EXPECT_FALSE(condition.parameters.empty()) << format;
  }
  // A key given through %K must name a known key, whatever it holds.
  for (const char* key : {"name\" OR 1=1 --", "count; DROP TABLE t0", "nosuchkey", ""}) {
    EXPECT_THROW(
        {
          auto predicate = Predicate::parse("%K == 1", {Value(key)});
          compileToSql(predicate, columns);
        },
        PredicateError)
        << key;
  }
}

}  // namespace
}  // namespace dm
