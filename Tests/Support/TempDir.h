// A temporary directory per test, removed when the test ends.
#pragma once

#include <filesystem>
#include <string>

namespace dm::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// Reads a whole file as bytes; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);
// Writes bytes to a file, replacing it.
void writeFile(const std::filesystem::path& path, const std::string& bytes);
// A file under the project's Tests/Fixtures directory.
std::filesystem::path fixturePath(const std::string& relative);

}  // namespace dm::test
