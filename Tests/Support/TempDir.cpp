// Temporary directories and small file helpers for tests.
#include "Support/TempDir.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace dm::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "dmtest-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                               std::filesystem::perm_options::add, ignored);
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

std::filesystem::path fixturePath(const std::string& relative) {
  const char* root = std::getenv("DM_TEST_SOURCE_DIR");
  std::filesystem::path base = root ? root : DM_FALLBACK_SOURCE_DIR;
  return base / "Tests" / "Fixtures" / relative;
}

}  // namespace dm::test
