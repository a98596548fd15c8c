// Every enumeration table of the library, listed once so the tests can walk them all
// instead of restating their rows.
#pragma once

#include <string>
#include <vector>

#include "Mapping/Enumerations/Enumerations.h"

namespace dm::test {

struct CodeTableEntry {
  const char* name;
  const CodeTable& (*table)();
};

enum class TitleKind { Stored, Localized };

struct TitleTableEntry {
  const char* name;
  const TitleTable& (*table)();
  std::string (*titleFor)(int);
  TitleKind kind;
};

const std::vector<CodeTableEntry>& allCodeTables();
const std::vector<TitleTableEntry>& allTitleTables();

// Sets the interface language for the scope; afterwards it follows the locale again.
class ScopedInterfaceLanguage {
 public:
  explicit ScopedInterfaceLanguage(const std::string& language);
  ~ScopedInterfaceLanguage();
  ScopedInterfaceLanguage(const ScopedInterfaceLanguage&) = delete;
  ScopedInterfaceLanguage& operator=(const ScopedInterfaceLanguage&) = delete;
};

// The language every test of this binary builds the localised tables in. Since those
// tables are built once per process, all tests agree on it so their order doesn't matter.
inline constexpr const char* kFirstUseLanguage = "ru";

}  // namespace dm::test
