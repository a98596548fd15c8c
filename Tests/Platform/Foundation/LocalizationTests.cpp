// Localisation lookup: embedded tables, language fallback, host-loaded tables.
#include "Platform/Foundation/Localization.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/StringFormat.h"
#include "Support/RecordingSinks.h"

namespace dm {
namespace {

class LocalizationTest : public ::testing::Test {
 protected:
  void SetUp() override { Localization::reset(); }
  void TearDown() override {
    setCurrentInterfaceLanguage({});
    Localization::reset();
  }
  test::RecordingSinks sinks_;
};

// A translated template filled with a locale-aware number, as the display texts are built.
TEST_F(LocalizationTest, TemplatesFillWithLocalizedNumbers) {
  setCurrentLocaleIdentifier("ru_RU");
  setCurrentInterfaceLanguage("ru");
  auto minutes = localizedString("Exercise.MinutesUnitTemplate");
  ASSERT_TRUE(minutes);
  EXPECT_EQ(stringWithFormat(*minutes, localizedNumberString(2.5)), "2,5 мин");
  auto label = localizedString("MyProgress.MeasurementWithUnitFormat");
  ASSERT_TRUE(label);
  EXPECT_EQ(stringWithFormat(*label, "Вес", *localizedString("Settings.kg")), "Вес, кг");
  setCurrentLocaleIdentifier({});
}

TEST_F(LocalizationTest, MissingKeyYieldsNothingInEveryLanguage) {
  for (const char* language : {"en", "ru", "de"}) {
    setCurrentInterfaceLanguage(language);
    EXPECT_EQ(localizedString("No.Such.Key"), std::nullopt) << language;
    EXPECT_EQ(localizedString(""), std::nullopt) << language;
  }
}

// The interface language picks the embedded table, the current locale's language when none is
// set; a regional variant falls back to its base language, a language without a table to
// English.
TEST_F(LocalizationTest, TheLanguageChoosesTheTableAndFallsBackToBaseThenEnglish) {
  struct Case {
    const char* language;
    const char* locale;
    const char* kilograms;
  };
  for (const Case& c : {Case{"en", "", "kg"},
                        {"ru", "", "кг"},
                        {"", "ru_RU", "кг"},
                        {"", "en_GB", "kg"},
                        {"de", "", "kg"},
                        {"ru_RU", "", "кг"},
                        {"ru-UA", "", "кг"}}) {
    SCOPED_TRACE(std::string(c.language) + " / " + c.locale);
    setCurrentLocaleIdentifier(c.locale);
    setCurrentInterfaceLanguage(c.language);
    EXPECT_EQ(localizedString("Settings.kg", "weight unit"), c.kilograms);
  }
  setCurrentLocaleIdentifier({});
  EXPECT_FALSE(Localization::hasTable("de"));
  setCurrentInterfaceLanguage("ru");
  EXPECT_EQ(localizedString("Settings.cm"), "см");

  // A key translated into English only shows English rather than nothing.
  ASSERT_TRUE(Localization::loadTable("en", R"({"Only.English": "Hello", "Settings.kg": "kg"})"));
  setCurrentInterfaceLanguage("ru");
  EXPECT_EQ(localizedString("Only.English"), "Hello");
  EXPECT_EQ(localizedString("Settings.kg"), "кг");
}

TEST_F(LocalizationTest, HostLoadedTableReplacesAndFollowsFallback) {
  ASSERT_TRUE(Localization::loadTable("de", R"({"Settings.kg": "Kilogramm"})"));
  setCurrentInterfaceLanguage("de");
  EXPECT_EQ(localizedString("Settings.kg"), "Kilogramm");
  EXPECT_EQ(localizedString("Settings.cm"), "cm");  // not in the German table
  EXPECT_EQ(Localization::string("Settings.kg", "de_AT"), "Kilogramm");

  Localization::reset();
  EXPECT_FALSE(Localization::hasTable("de"));
  EXPECT_EQ(localizedString("Settings.kg"), "kg");
}

TEST_F(LocalizationTest, MalformedTablesAreRejectedAndKeepThePreviousTable) {
  for (const char* bad : {"", "{", "[]", R"({"a": 1})", R"({"a": {"b": "c"}})", "null"}) {
    EXPECT_FALSE(Localization::loadTable("ru", bad)) << bad;
  }
  EXPECT_FALSE(Localization::loadTable("", R"({"a": "b"})"));
  EXPECT_TRUE(sinks_.logger->contains(LogLevel::Warning, "ru"));
  EXPECT_EQ(Localization::string("Settings.kg", "ru"), "кг");
}

// Readers look keys up while a host replaces a table: every read sees either the old or the
// new text, never a torn table.
TEST(LocalizationConcurrencyTest, LookupsWhileTablesAreReplaced) {
  Localization::reset();
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0};
  const std::string kilogramm = R"({"Settings.kg": "Kilogramm"})";
  const std::string kgDe = R"({"Settings.kg": "kg de"})";
  std::thread writer([&] {
    for (int i = 0; i < 200; ++i) Localization::loadTable("de", i % 2 ? kilogramm : kgDe);
    stop = true;
  });
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        auto text = Localization::string("Settings.kg", "de");
        if (text != "Kilogramm" && text != "kg de" && text != "kg") ++unexpected;
        if (Localization::string("Settings.kg", "ru") != "кг") ++unexpected;
      }
    });
  }
  writer.join();
  for (auto& reader : readers) reader.join();
  Localization::reset();
  EXPECT_EQ(unexpected.load(), 0);
}

}  // namespace
}  // namespace dm
