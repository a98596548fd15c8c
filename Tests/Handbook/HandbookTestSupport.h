// Shared set-up of the handbook tests: a storage or adapter in a temporary directory with
// in-memory settings and a directory of seed packs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Support/HandbookStorageOptions.h"
#include "Support/TempDir.h"

namespace dm::test {

// A small update dictionary: two categories, a tag pair, an article, two exercises and
// three products (one made of the other two).
nlohmann::json smallUpdateDictionary(const std::string& language = "en", int version = 1);

struct HandbookEnvironment {
  TempDir dir;
  std::shared_ptr<SettingsStore> settings = SettingsStore::inMemory();
  std::filesystem::path packs = dir / "packs";
  std::filesystem::path support = dir / "support";

  HandbookEnvironment();
  // A seed storage for the language over this environment's settings and packs.
  std::shared_ptr<SeedStorage> seedStorage(const std::string& language = "en",
                                           const std::string& version = "1.0") const;
  HandbookStorage::Options storageOptions(const std::string& language = "en",
                                          const std::string& version = "1.0") const;
  // Writes the pack "Handbook_<code>.sqlite" built from `dictionary`.
  std::filesystem::path writeSeedPack(const std::string& code,
                                      const nlohmann::json& dictionary) const;
  std::filesystem::path storeFile() const { return support / "sqlData" / "Handbook.sqlite"; }
};

// Every stored item's attribute values by entity name and id, each product's followed by the
// ids of its ingredient links; read on the saving context.
using StoredItems = std::map<std::pair<std::string, std::int64_t>, std::vector<Value>>;
StoredItems storedItems(HandbookAdapter& adapter);

// Installs an adapter over `options` as the shared one and removes it again on destruction.
struct SharedAdapterScope {
  explicit SharedAdapterScope(const HandbookStorage::Options& options);
  ~SharedAdapterScope();
  HandbookAdapter& adapter() { return HandbookAdapter::shared(); }
};

}  // namespace dm::test
