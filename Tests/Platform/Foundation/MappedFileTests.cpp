// A mapped file reads as the file's bytes, before and after its pages are let go.
#include "Platform/Foundation/MappedFile.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Platform/Foundation/Error.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

TEST(MappedFileTest, ReadsTheSameBytesAfterPagesAreLetGo) {
  test::TempDir dir;
  // Several pages of bytes that differ from page to page, NULs included.
  std::string bytes;
  for (int i = 0; i < 50000; ++i) bytes.push_back(static_cast<char>(i * 7 % 251));
  test::writeFile(dir / "payload", bytes);

  MappedFile file(dir / "payload");
  ASSERT_EQ(file.text(), bytes);
  file.release(5000, 30000);
  file.release(0, 2);             // inside one page: nothing to let go
  file.release(40000, 1u << 30);  // past the end
  EXPECT_EQ(file.text(), bytes);
  file.release(0, bytes.size());
  EXPECT_EQ(file.text(), bytes);

  MappedFile moved(std::move(file));
  EXPECT_EQ(moved.text(), bytes);
  EXPECT_TRUE(file.text().empty());  // NOLINT(bugprone-use-after-move): moved-from is empty
}

TEST(MappedFileTest, EmptyFilesMapEmptyAndUnreadableOnesThrow) {
  test::TempDir dir;
  test::writeFile(dir / "empty", "");
  MappedFile empty(dir / "empty");
  EXPECT_TRUE(empty.text().empty());
  empty.release(0, 100);
  empty.prefetch();

  for (const auto& path : {dir / "missing", dir.path()}) {
    try {
      MappedFile file(path);
      ADD_FAILURE() << "mapped " << path;
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::InvalidInput);
      EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace dm
