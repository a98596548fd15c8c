// Extracts the fuzz bytes as an archive into a fresh directory. Extraction either fails
// leaving nothing behind or puts regular files and directories inside the target only;
// nothing may appear beside it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "Platform/Foundation/ZipArchive.h"

namespace fs = std::filesystem;

namespace {

const fs::path& workRoot() {
  static const fs::path root = [] {
    fs::path base = fs::temp_directory_path() / ("dm-fuzz-zip-" + std::to_string(getpid()));
    fs::create_directories(base);
    std::atexit([] {
      std::error_code ec;
      fs::remove_all(workRoot(), ec);
    });
    return base;
  }();
  return root;
}

std::set<std::string> listing(const fs::path& dir) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename());
  return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path root = workRoot();
  const fs::path archive = root / "input.zip";
  const fs::path target = root / "out";
  {
    std::ofstream out(archive, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  dm::zip::ExtractOptions options;
  options.maximumTotalSize = 4u << 20;
  bool extracted = true;
  try {
    dm::zip::extract(archive, target, options);
  } catch (const dm::zip::ZipError&) {
    extracted = false;
  }
  const std::set<std::string> expected =
      extracted ? std::set<std::string>{"input.zip", "out"} : std::set<std::string>{"input.zip"};
  if (listing(root) != expected) __builtin_trap();
  if (extracted) {
    const fs::path canonicalTarget = fs::canonical(target);
    for (const auto& entry : fs::recursive_directory_iterator(target)) {
      if (entry.is_symlink() || !(entry.is_regular_file() || entry.is_directory()))
        __builtin_trap();
      auto real = fs::canonical(entry.path()).string();
      if (real.rfind(canonicalTarget.string() + "/", 0) != 0) __builtin_trap();
    }
  }
  std::error_code ec;
  fs::remove_all(target, ec);
  fs::remove(archive, ec);
  return 0;
}
