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

// Each conversion over its cases; a text a conversion does not apply to comes back as it was.
TEST(CachePathFixesTest, ConversionsAndTheTextsTheyLeaveAlone) {
  struct Case {
    bool absolute;  // fixIfAbsoluteFilePath, else fixIfRelativeCache
    const char* text;
    const char* expected;  // nullptr: unchanged
  };
  for (const Case& c : {
           Case{true, "file:///var/app/Library/Caches/img/1.jpg", "/./img/1.jpg"},
           {true, "file:///var/app/Library/Caches/", "/./"},  // one character past is enough
           // The comparison is a plain prefix: a sibling sharing it converts too.
           {true, "file:///var/app/Library/CachesOld/a", "/.Old/a"},
           {true, "file:///var/app/Library/Caches", nullptr},  // nothing after the directory
           {true, "file:///var/app/Library/Other/img.jpg", nullptr},
           {true, "file:///var/app/library/caches/img.jpg", nullptr},  // case differs
           {true, "file:///var/app", nullptr},
           {true, "/var/app/Library/Caches/img/1.jpg", nullptr},  // a plain path
           {true, "FILE:///var/app/Library/Caches/img.jpg", nullptr},
           {true, "file://", nullptr},
           {true, "", nullptr},
           {true, "https://example.org/img.jpg", nullptr},
           {false, "/./img/1.jpg", "file:///var/app/Library/Caches/./img/1.jpg"},
           {false, "/.x", "file:///var/app/Library/Caches/.x"},
           {false, "/.", "file:///var/app/Library/Caches/."},
           {false, "/", nullptr},
           {false, "", nullptr},
           {false, "/a/b", nullptr},
           {false, "./img", nullptr},
           {false, "x/.", nullptr},
           {false, "file:///var/app/Library/Caches/a", nullptr},
       }) {
    SCOPED_TRACE(std::string(c.absolute ? "absolute " : "relative ") + "\"" + c.text + "\"");
    const std::string result =
        c.absolute ? fixIfAbsoluteFilePath(c.text, kCaches) : fixIfRelativeCache(c.text, kCaches);
    EXPECT_EQ(result, c.expected ? c.expected : c.text);
  }
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
