// Loads the fuzz bytes as the settings file. A file system in memory stands in for the
// disk so a write and a reload per input stay cheap; what loads must survive a change,
// a write and a reload with every other value intact.
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "Platform/Foundation/SettingsStore.h"

namespace {

class MemoryFileSystem : public dm::SettingsStore::FileSystem {
 public:
  std::map<std::string, std::string> files;
  ReadStatus readFile(const std::filesystem::path& path, std::string& contents,
                      std::string&) override {
    auto it = files.find(path.string());
    if (it == files.end()) return ReadStatus::Missing;
    contents = it->second;
    return ReadStatus::Ok;
  }
  bool writeFile(const std::filesystem::path& path, std::string_view bytes, std::string&) override {
    files[path.string()] = std::string(bytes);
    return true;
  }
  bool rename(const std::filesystem::path& from, const std::filesystem::path& to,
              std::string& error) override {
    auto it = files.find(from.string());
    if (it == files.end()) {
      error = "missing";
      return false;
    }
    files[to.string()] = std::move(it->second);
    files.erase(it);
    return true;
  }
  bool syncDirectory(const std::filesystem::path&, std::string&) override { return true; }
  void removeFile(const std::filesystem::path& path) override { files.erase(path.string()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path file = "/fuzz/Settings.json";
  auto fs = std::make_shared<MemoryFileSystem>();
  fs->files[file.string()] = std::string(reinterpret_cast<const char*>(data), size);

  nlohmann::json before;
  {
    dm::SettingsStore store(file, fs);
    for (const auto& key : store.keys()) {
      (void)store.integerForKey(key);
      (void)store.doubleForKey(key);
      (void)store.boolForKey(key);
      (void)store.stringForKey(key);
      (void)store.dateForKey(key);
      (void)store.arrayForKey(key);
      (void)store.dictionaryForKey(key);
    }
    store.setInteger("fuzz.counter", 7);
    before = store.dictionaryRepresentation();
  }
  dm::SettingsStore reloaded(file, fs);
  if (reloaded.integerForKey("fuzz.counter") != 7) __builtin_trap();
  if (reloaded.dictionaryRepresentation().dump() != before.dump()) __builtin_trap();
  return 0;
}
