// Relocatable cache URLs: the documented conversions, what is left alone, and the round trip
// through the process-wide caches directory.
#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Foundation/Directories.h"
#include "Support/TempDir.h"
#include "UserData/CoreData/CachePathFixes.h"

namespace dm::test {
namespace {

const char* const kCaches = "/var/app/Library/Caches";

TEST(CachePathFixesTest, AbsoluteUrlInsideCachesBecomesRelative) {
  EXPECT_EQ(fixIfAbsoluteFilePath("file:///var/app/Library/Caches/img/1.jpg", kCaches),
            "/./img/1.jpg");
  // One character past the caches path is enough.
  EXPECT_EQ(fixIfAbsoluteFilePath("file:///var/app/Library/Caches/", kCaches), "/./");
  // The comparison is a plain prefix: a sibling sharing the prefix converts too.
  EXPECT_EQ(fixIfAbsoluteFilePath("file:///var/app/Library/CachesOld/a", kCaches), "/.Old/a");
}

TEST(CachePathFixesTest, AbsoluteFixLeavesOtherTextsAlone) {
  for (const char* text : {
           "file:///var/app/Library/Caches",          // exactly the directory, nothing after
           "file:///var/app/Library/Other/img.jpg",   // outside the caches directory
           "file:///var/app/library/caches/img.jpg",  // case differs
           "file:///var/app",                         // shorter than the caches path
           "/var/app/Library/Caches/img/1.jpg",       // a plain path
           "FILE:///var/app/Library/Caches/img.jpg",  // scheme is case-sensitive
           "file://",
           "",
           "https://example.org/img.jpg",
       }) {
    EXPECT_EQ(fixIfAbsoluteFilePath(text, kCaches), text) << text;
  }
}

TEST(CachePathFixesTest, RelativeFixPrefixesOnlySlashDot) {
  EXPECT_EQ(fixIfRelativeCache("/./img/1.jpg", kCaches),
            "file:///var/app/Library/Caches/./img/1.jpg");
  EXPECT_EQ(fixIfRelativeCache("/.x", kCaches), "file:///var/app/Library/Caches/.x");
  EXPECT_EQ(fixIfRelativeCache("/.", kCaches), "file:///var/app/Library/Caches/.");
  for (const char* text : {"/", "", "/a/b", "./img", "x/.", "file:///var/app/Library/Caches/a"})
    EXPECT_EQ(fixIfRelativeCache(text, kCaches), text) << text;
}

TEST(CachePathFixesTest, RoundTripThroughTheSharedCachesDirectoryNamesTheSameFile) {
  TempDir dir;
  Directories::setDataRoot(dir.path());
  const auto caches = Directories::shared()->cachesDirectory();
  std::filesystem::create_directories(caches / "img");
  const auto file = caches / "img" / "1.jpg";
  writeFile(file, "jpeg");
  const std::string url = "file://" + file.string();

  const std::string relative = fixIfAbsoluteFilePath(url);
  EXPECT_EQ(relative, "/./img/1.jpg");
  const std::string back = fixIfRelativeCache(relative);
  ASSERT_EQ(back.rfind("file://", 0), 0u);
  EXPECT_TRUE(std::filesystem::equivalent(back.substr(7), file)) << back;
  // Converting an already converted URL does nothing more.
  EXPECT_EQ(fixIfRelativeCache(back), back);
  Directories::setShared(nullptr);
}

}  // namespace
}  // namespace dm::test
