// First use of the enumeration tables from several threads at once: every thread must see
// the same single table, fully built, with the titles of the first-use language.
#include <gtest/gtest.h>

#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "EnumerationCatalog.h"
#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Platform/Foundation/Localization.h"

namespace dm {
namespace {

struct Observation {
  std::vector<const void*> codeTables;
  std::vector<const void*> titleTables;
  std::vector<std::string> titles;  // every title of every table, in catalog order
  std::vector<std::optional<int>> decodedValues;
  std::optional<ImageHandle> cardImage;
};

Observation observeEverything() {
  Observation seen;
  for (const auto& entry : test::allCodeTables()) {
    const CodeTable& table = entry.table();
    seen.codeTables.push_back(&table);
    for (const auto& [value, code] : table.codesByValue()) {
      seen.decodedValues.push_back(table.valueForCode(code));
    }
  }
  for (const auto& entry : test::allTitleTables()) {
    seen.titleTables.push_back(&entry.table());
    for (int value = -1; value <= 26; ++value) seen.titles.push_back(entry.titleFor(value));
  }
  seen.cardImage = ImageForCardType(1);
  return seen;
}

TEST(EnumerationsConcurrencyTest, ConcurrentFirstUseBuildsEachTableOnce) {
  test::ScopedInterfaceLanguage language(test::kFirstUseLanguage);
  constexpr int kThreads = 8;
  std::latch start(kThreads);
  std::vector<Observation> observations(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      observations[i] = observeEverything();
    });
  }
  for (auto& thread : threads) thread.join();

  const Observation& first = observations.front();
  for (const auto& seen : observations) {
    EXPECT_EQ(seen.codeTables, first.codeTables);
    EXPECT_EQ(seen.titleTables, first.titleTables);
    EXPECT_EQ(seen.titles, first.titles);
    EXPECT_EQ(seen.decodedValues, first.decodedValues);
    EXPECT_EQ(seen.cardImage, "Mastercard");
  }
  for (const auto& value : first.decodedValues) EXPECT_TRUE(value.has_value());
  EXPECT_EQ(TitleForAbuseType(1), Localization::string("Abuse.Spam", test::kFirstUseLanguage));
}

}  // namespace
}  // namespace dm
