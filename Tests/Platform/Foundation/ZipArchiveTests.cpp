// ZIP extraction and creation: round trips, and hostile or damaged archives that must be
// refused without leaving anything behind or touching what the target already holds.
#include "Platform/Foundation/ZipArchive.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Support/TempDir.h"

namespace dm::zip {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::TempDir;
using test::writeFile;

// Every file and directory under `root`, relative, with file contents ("/" for directories).
std::map<std::string, std::string> tree(const fs::path& root) {
  std::map<std::string, std::string> out;
  if (!fs::exists(root)) return out;
  for (const auto& item : fs::recursive_directory_iterator(root)) {
    std::string name = fs::relative(item.path(), root).string();
    out[name] = item.is_directory() ? "/" : readFile(item.path());
  }
  return out;
}

struct RawEntry {
  std::string name;
  std::string content;
  bool symlink = false;
  bool stored = false;  // no compression, so the content appears verbatim in the file
};

// Writes entries exactly as given, names included: how a hostile archive is made.
void writeRawArchive(const fs::path& path, const std::vector<RawEntry>& entries) {
  int error = 0;
  zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
  ASSERT_NE(zip, nullptr);
  for (const RawEntry& entry : entries) {
    zip_source_t* source = zip_source_buffer(zip, entry.content.data(), entry.content.size(), 0);
    ASSERT_NE(source, nullptr);
    zip_int64_t index = zip_file_add(zip, entry.name.c_str(), source, ZIP_FL_ENC_RAW);
    ASSERT_GE(index, 0) << zip_strerror(zip);
    if (entry.symlink) {
      ASSERT_EQ(
          zip_file_set_external_attributes(zip, index, 0, ZIP_OPSYS_UNIX, (S_IFLNK | 0777u) << 16),
          0);
    }
    if (entry.stored) {
      ASSERT_EQ(zip_set_file_compression(zip, index, ZIP_CM_STORE, 0), 0);
    }
  }
  ASSERT_EQ(zip_close(zip), 0);
}

class ZipArchiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    target = dir / "sqlData";
    fs::create_directories(target);
    writeFile(target / "Handbook.sqlite", "old store");
    writeFile(target / "keep.txt", "untouched");
    before = tree(target);
    archive = dir / "Handbook_en.sqlite";
  }

  // The refused extraction left the target as it was and nothing beside it.
  void expectNothingChanged() {
    EXPECT_EQ(tree(target), before);
    expectNoLeftovers();
  }

  void expectNoLeftovers() {
    std::vector<std::string> siblings;
    for (const auto& item : fs::directory_iterator(dir.path()))
      siblings.push_back(item.path().filename().string());
    std::sort(siblings.begin(), siblings.end());
    EXPECT_EQ(siblings, (std::vector<std::string>{"Handbook_en.sqlite", "sqlData"}));
  }

  ZipError extractExpectingError(const ExtractOptions& options = {}) {
    try {
      extract(archive, target, options);
    } catch (const ZipError& error) {
      return error;
    }
    ADD_FAILURE() << "extraction of a bad archive succeeded";
    return ZipError(ZipErrorReason::Io, archive, "", "none");
  }

  TempDir dir;
  fs::path target;
  fs::path archive;
  std::map<std::string, std::string> before;
};

TEST_F(ZipArchiveTest, CreatedArchiveExtractsOverExistingFiles) {
  std::string binary;
  for (size_t i = 0; i < 300000; ++i) binary.push_back(static_cast<char>((i * 7919u) % 251u));
  writeFile(dir / "store", "new store");
  writeFile(dir / "image", binary);
  writeFile(dir / "empty", "");
  create(archive, {{"Handbook.sqlite", dir / "store"},
                   {"images/2a/photo.bin", dir / "image"},
                   {"empty.txt", dir / "empty"}});
  fs::remove(dir / "store");
  fs::remove(dir / "image");
  fs::remove(dir / "empty");

  extract(archive, target);
  std::map<std::string, std::string> expected = {{"Handbook.sqlite", "new store"},
                                                 {"keep.txt", "untouched"},
                                                 {"empty.txt", ""},
                                                 {"images", "/"},
                                                 {"images/2a", "/"},
                                                 {"images/2a/photo.bin", binary}};
  EXPECT_EQ(tree(target), expected);
  expectNoLeftovers();
}

TEST_F(ZipArchiveTest, ExtractsIntoMissingDirectoryAndEmptyArchive) {
  writeFile(dir / "a", "A");
  create(archive, {{"a.txt", dir / "a"}});
  fs::path fresh = dir / "new" / "nested";
  extract(archive, fresh);
  EXPECT_EQ(readFile(fresh / "a.txt"), "A");

  fs::path emptyArchive = dir / "empty.zip";
  create(emptyArchive, {});
  fs::path other = dir / "other";
  extract(emptyArchive, other);
  EXPECT_TRUE(fs::is_directory(other));
  EXPECT_TRUE(fs::is_empty(other));
}

TEST_F(ZipArchiveTest, RefusesEntriesLeavingTheTarget) {
  for (std::string name : {"../escaped.txt", "/tmp/absolute.txt", "a/../../escaped.txt",
                           "..\\windows.txt", "C:/drive.txt"}) {
    SCOPED_TRACE(name);
    // The good entry first: all or nothing means it must not land either.
    writeRawArchive(archive, {{"Handbook.sqlite", "good"}, {name, "evil"}});
    ZipError error = extractExpectingError();
    EXPECT_EQ(error.reason(), ZipErrorReason::UnsafeEntry);
    EXPECT_EQ(error.entry(), name);
    EXPECT_NE(std::string(error.what()).find("Handbook_en.sqlite"), std::string::npos);
    EXPECT_NE(std::string(error.what()).find(name), std::string::npos);
    expectNothingChanged();
    EXPECT_FALSE(fs::exists(dir / "escaped.txt"));
  }
}

TEST_F(ZipArchiveTest, RefusesSymbolicLinksInTheArchiveAndInTheTarget) {
  writeRawArchive(archive, {{"Handbook.sqlite", "good"}, {"link", "/etc/passwd", true}});
  EXPECT_EQ(extractExpectingError().reason(), ZipErrorReason::UnsafeEntry);
  expectNothingChanged();

  // A link already in the target must not carry an entry outside it.
  fs::path outside = dir / "outside";
  fs::create_directory(outside);
  fs::create_directory_symlink(outside, target / "images");
  before = tree(target);
  writeRawArchive(archive, {{"images/x.png", "evil"}});
  ZipError error = extractExpectingError();
  EXPECT_EQ(error.reason(), ZipErrorReason::UnsafeEntry);
  EXPECT_TRUE(fs::is_empty(outside));
  EXPECT_EQ(tree(target), before);
}

TEST_F(ZipArchiveTest, RefusesCorruptData) {
  std::string content(4000, 'x');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>('a' + i % 26);
  for (bool stored : {true, false}) {
    SCOPED_TRACE(stored ? "stored" : "deflated");
    writeRawArchive(archive,
                    {{"keep.txt", "replacement"}, {"Handbook.sqlite", content, false, stored}});
    std::string bytes = readFile(archive);
    // Flip a byte in the middle of the second entry's data.
    size_t header = bytes.find("Handbook.sqlite");
    ASSERT_NE(header, std::string::npos);
    size_t dataEnd = bytes.find("PK\x01\x02");
    size_t middle = (header + dataEnd) / 2 + 8;
    bytes[middle] = static_cast<char>(bytes[middle] ^ 0x20);
    writeFile(archive, bytes);
    ZipError error = extractExpectingError();
    EXPECT_EQ(error.reason(), ZipErrorReason::Corrupt);
    EXPECT_EQ(error.entry(), "Handbook.sqlite");
    if (stored) {
      EXPECT_NE(std::string(error.what()).find("CRC"), std::string::npos);
    }
    expectNothingChanged();
  }
}

// Truncated archives: HostileInputTests cuts one at many lengths.
TEST_F(ZipArchiveTest, RefusesAMissingArchive) {
  EXPECT_EQ(extractExpectingError().reason(), ZipErrorReason::CannotOpen);
  EXPECT_EQ(tree(target), before);
}

TEST_F(ZipArchiveTest, RefusesArchivesBeyondTheSizeLimitOrFreeSpace) {
  writeRawArchive(archive, {{"bomb.bin", std::string(1 << 20, '\0')}});
  ASSERT_LT(fs::file_size(archive), 10000u);  // small archive, large content
  ExtractOptions limited;
  limited.maximumTotalSize = 64 * 1024;
  EXPECT_EQ(extractExpectingError(limited).reason(), ZipErrorReason::TooLarge);
  expectNothingChanged();

  ExtractOptions noSpace;
  noSpace.availableSpace = [](const fs::path&) { return std::uint64_t{1000}; };
  EXPECT_EQ(extractExpectingError(noSpace).reason(), ZipErrorReason::NoSpace);
  expectNothingChanged();
}

TEST_F(ZipArchiveTest, RefusesEntriesInflatingBeyondTheirDeclaredSize) {
  writeRawArchive(archive, {{"bomb.bin", std::string(1 << 20, '\0')}});
  // Declare 16 bytes in both the local and the central header, so the headers agree and
  // only the inflated data tells the truth.
  std::string bytes = readFile(archive);
  auto patch = [&](size_t at) {
    for (int i = 0; i < 4; ++i) bytes[at + static_cast<size_t>(i)] = i == 0 ? 16 : 0;
  };
  size_t local = bytes.find("PK\x03\x04");
  size_t central = bytes.find("PK\x01\x02");
  ASSERT_NE(local, std::string::npos);
  ASSERT_NE(central, std::string::npos);
  patch(local + 22);
  patch(central + 24);
  writeFile(archive, bytes);
  ExtractOptions limited;
  limited.maximumTotalSize = 64 * 1024;
  ZipError error = extractExpectingError(limited);
  EXPECT_NE(error.reason(), ZipErrorReason::UnsafeEntry);
  expectNothingChanged();
}

TEST_F(ZipArchiveTest, RefusesEntriesCollidingWithTheTarget) {
  fs::create_directory(target / "images");
  before = tree(target);
  writeRawArchive(archive, {{"Handbook.sqlite", "new"}, {"images", "a file, not a dir"}});
  EXPECT_EQ(extractExpectingError().reason(), ZipErrorReason::Conflict);
  expectNothingChanged();

  writeRawArchive(archive, {{"keep.txt/inner", "under a file"}});
  EXPECT_EQ(extractExpectingError().reason(), ZipErrorReason::Conflict);
  expectNothingChanged();

  writeRawArchive(archive, {{"a.txt", "1"}, {"./a.txt", "2"}});
  EXPECT_EQ(extractExpectingError().reason(), ZipErrorReason::UnsafeEntry);
  expectNothingChanged();
}

TEST_F(ZipArchiveTest, CreateRefusesBadInputAndKeepsTheOldArchive) {
  writeFile(dir / "a", "A");
  create(archive, {{"a.txt", dir / "a"}});
  std::string original = readFile(archive);
  for (const auto& entries :
       std::vector<std::vector<ZipEntrySource>>{{{"../a.txt", dir / "a"}},
                                                {{"a.txt", dir / "a"}, {"a.txt", dir / "a"}},
                                                {{"a.txt", dir / "missing"}},
                                                {{"dir/", dir / "a"}}}) {
    EXPECT_THROW(create(archive, entries), ZipError);
    EXPECT_EQ(readFile(archive), original);
  }
  fs::remove(dir / "a");
  expectNothingChanged();
}

}  // namespace
}  // namespace dm::zip
