// The data root defaults, directory creation, tilde expansion and disk facts.
#include <cstdlib>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "Platform/Foundation/Directories.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

// Sets an environment variable for one scope and restores the previous value.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) previous_ = old;
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  ~ScopedEnv() {
    if (previous_)
      ::setenv(name_, previous_->c_str(), 1);
    else
      ::unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> previous_;
};

TEST(DirectoriesTest, DefaultRootFollowsXdgDataHomeThenHome) {
  test::TempDir dir;
  ScopedEnv home("HOME", (dir / "home").c_str());
  {
    ScopedEnv xdg("XDG_DATA_HOME", (dir / "xdg").c_str());
    EXPECT_EQ(Directories::defaultDataRoot(), dir / "xdg" / "datamodel");
  }
  {
    ScopedEnv xdg("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(Directories::defaultDataRoot(), dir / "home/.local/share/datamodel");
  }
  {
    // A relative value is not a valid base directory and must not leak into the cwd.
    ScopedEnv xdg("XDG_DATA_HOME", "relative/path");
    EXPECT_EQ(Directories::defaultDataRoot(), dir / "home/.local/share/datamodel");
  }
}

TEST(DirectoriesTest, SharedInstanceUsesEnvironmentUntilHostSetsRoot) {
  test::TempDir dir;
  ScopedEnv xdg("XDG_DATA_HOME", dir.path().c_str());
  Directories::setShared(nullptr);
  EXPECT_EQ(Directories::shared()->dataRoot(), dir / "datamodel");

  Directories::setDataRoot(dir / "chosen");
  EXPECT_EQ(Directories::shared()->dataRoot(), dir / "chosen");
  EXPECT_EQ(Directories::shared()->documentsDirectory().parent_path(), dir / "chosen");
  Directories::setShared(nullptr);
}

TEST(DirectoriesTest, SubdirectoriesAreDistinctAndCreatedOnDemand) {
  test::TempDir dir;
  Directories directories(dir / "root");
  EXPECT_FALSE(std::filesystem::exists(dir / "root"));
  auto documents = directories.documentsDirectory();
  auto caches = directories.cachesDirectory();
  auto support = directories.applicationSupportDirectory();
  for (const auto& path : {documents, caches, support}) {
    EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
    EXPECT_EQ(path.parent_path(), dir / "root");
  }
  EXPECT_NE(documents, caches);
  EXPECT_NE(caches, support);
  // Asking again for an existing directory returns the same path.
  EXPECT_EQ(directories.cachesDirectory(), caches);
}

TEST(DirectoriesTest, TildeExpansion) {
  ScopedEnv home("HOME", "/home/someone");
  EXPECT_EQ(Directories::expandTildeInPath("~"), "/home/someone");
  EXPECT_EQ(Directories::expandTildeInPath("~/Library/Caches"), "/home/someone/Library/Caches");
  EXPECT_EQ(Directories::expandTildeInPath("/abs/~/x"), "/abs/~/x");
  EXPECT_EQ(Directories::expandTildeInPath("~other/x"), "~other/x");
  EXPECT_EQ(Directories::expandTildeInPath(""), "");
  EXPECT_EQ(Directories("~/data").dataRoot(), "/home/someone/data");
}

TEST(DirectoriesTest, FreeDiskSpaceAndVersion) {
  test::TempDir dir;
  EXPECT_GT(Directories::freeDiskSpace(dir.path()), 0u);
  EXPECT_EQ(Directories::freeDiskSpace(dir / "missing/deeper"), 0u);
  EXPECT_FALSE(Directories::applicationVersion().empty());
  EXPECT_GT(Directories::applicationVersionNumber(), 0.0);
}

}  // namespace
}  // namespace dm
