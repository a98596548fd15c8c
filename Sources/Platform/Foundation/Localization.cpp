// Localisation tables held per language behind a reader-writer lock; the embedded tables are
// parsed once on first use.
#include "Platform/Foundation/Localization.h"

#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <shared_mutex>

#include "Platform/Foundation/EmbeddedResources.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

using Table = std::map<std::string, std::string, std::less<>>;

constexpr std::string_view kFallbackLanguage = "en";
constexpr std::string_view kEmbeddedLanguages[] = {"en", "ru"};

std::optional<Table> parseTable(std::string_view language, std::string_view json) {
  nlohmann::json root = nlohmann::json::parse(json, nullptr, false);
  if (root.is_discarded() || !root.is_object()) {
    logWarning("Localisation table \"" + std::string(language) + "\" is not a JSON object");
    return std::nullopt;
  }
  Table table;
  for (const auto& [key, value] : root.items()) {
    if (!value.is_string()) {
      logWarning("Localisation table \"" + std::string(language) + "\": value of \"" + key +
                 "\" is not a text");
      return std::nullopt;
    }
    table.emplace(key, value.get<std::string>());
  }
  return table;
}

class TableStore {
 public:
  TableStore() { loadEmbedded(); }

  void set(std::string_view language, Table table) {
    std::unique_lock lock(mutex_);
    tables_[std::string(language)] = std::move(table);
  }

  bool has(std::string_view language) const {
    std::shared_lock lock(mutex_);
    return tables_.find(language) != tables_.end();
  }

  std::optional<std::string> lookup(std::string_view key, std::string_view language) const {
    std::shared_lock lock(mutex_);
    for (std::string_view candidate : candidates(language)) {
      auto table = tables_.find(candidate);
      if (table == tables_.end()) continue;
      auto text = table->second.find(key);
      if (text != table->second.end()) return text->second;
    }
    return std::nullopt;
  }

  void reset() {
    std::unique_lock lock(mutex_);
    tables_.clear();
    lock.unlock();
    loadEmbedded();
  }

 private:
  // The exact code, its base language ("pt" of "pt_BR" or "pt-BR"), then English.
  static std::vector<std::string_view> candidates(std::string_view language) {
    std::vector<std::string_view> result{language};
    auto separator = language.find_first_of("_-");
    if (separator != std::string_view::npos) result.push_back(language.substr(0, separator));
    result.push_back(kFallbackLanguage);
    return result;
  }

  void loadEmbedded() {
    for (std::string_view language : kEmbeddedLanguages) {
      std::string name = "Localization/" + std::string(language) + ".json";
      auto bytes = EmbeddedResources::find(name);
      if (!bytes) {
        logError("Embedded localisation table " + name + " is missing");
        continue;
      }
      if (auto table = parseTable(language, *bytes)) set(language, std::move(*table));
    }
  }

  mutable std::shared_mutex mutex_;
  std::map<std::string, Table, std::less<>> tables_;  // guarded by mutex_
};

TableStore& store() {
  static TableStore instance;
  return instance;
}

}  // namespace

std::optional<std::string> localizedString(std::string_view key, std::string_view /*comment*/) {
  return store().lookup(key, currentInterfaceLanguage());
}

bool Localization::loadTable(std::string_view language, std::string_view json) {
  if (language.empty()) {
    logWarning("Localisation table without a language code ignored");
    return false;
  }
  auto table = parseTable(language, json);
  if (!table) return false;
  store().set(language, std::move(*table));
  return true;
}

std::optional<std::string> Localization::string(std::string_view key, std::string_view language) {
  return store().lookup(key, language);
}

bool Localization::hasTable(std::string_view language) {
  return store().has(language);
}

void Localization::reset() {
  store().reset();
}

}  // namespace dm
