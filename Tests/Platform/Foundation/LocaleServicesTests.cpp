// Locale state and locale-aware number texts: separators, percents, half-up rounding,
// native digits, and formatting from several threads while the locale changes.
#include "Platform/Foundation/LocaleServices.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Support/TempDir.h"

namespace dm {
namespace {

constexpr const char* kNoBreakSpace = "\u00A0";

class LocaleServicesTest : public ::testing::Test {
 protected:
  void TearDown() override {
    setCurrentLocaleIdentifier({});
    setCurrentInterfaceLanguage({});
  }
  test::TempDir dir_;
};

TEST_F(LocaleServicesTest, InterfaceLanguageFollowsLocaleUntilSet) {
  setCurrentLocaleIdentifier("ru-RU");
  EXPECT_EQ(currentLocaleIdentifier(), "ru_RU");
  EXPECT_EQ(currentInterfaceLanguage(), "ru");
  setCurrentInterfaceLanguage("ar");
  EXPECT_EQ(currentInterfaceLanguage(), "ar");
  EXPECT_TRUE(isRightToLeftInterface());
  setCurrentLocaleIdentifier("en_US");
  EXPECT_EQ(currentInterfaceLanguage(), "ar");  // set explicitly, so it stays
  setCurrentInterfaceLanguage({});
  EXPECT_EQ(currentInterfaceLanguage(), "en");
  EXPECT_FALSE(isRightToLeftInterface());
  for (const char* rtl : {"he", "fa", "ur"}) {
    setCurrentInterfaceLanguage(rtl);
    EXPECT_TRUE(isRightToLeftInterface()) << rtl;
  }
}

TEST_F(LocaleServicesTest, NumberAndPercentTextsFollowTheLocale) {
  setCurrentLocaleIdentifier("en_US");
  EXPECT_EQ(localizedNumberString(1234.5), "1,234.5");
  EXPECT_EQ(localizedNumberString(-1234567.25), "-1,234,567.25");
  EXPECT_EQ(localizedNumberString(60), "60");
  EXPECT_EQ(localizedNumberString(0.1234), "0.123");  // three fraction digits at most
  EXPECT_EQ(localizedPercentString(0.75), "75%");
  EXPECT_EQ(localizedPercentString(1.255), "126%");

  // Russian groups with a no-break space and writes a decimal comma.
  setCurrentLocaleIdentifier("ru_RU");
  EXPECT_EQ(localizedNumberString(1234.5), std::string("1") + kNoBreakSpace + "234,5");
  EXPECT_EQ(localizedNumberString(999.5), "999,5");
  EXPECT_EQ(localizedPercentString(0.75), std::string("75") + kNoBreakSpace + "%");

  // Switching back rebuilds this thread's cached formatters.
  setCurrentLocaleIdentifier("de_DE");
  EXPECT_EQ(localizedNumberString(1234.5), "1.234,5");
  setCurrentLocaleIdentifier("en_US");
  EXPECT_EQ(localizedNumberString(1234.5), "1,234.5");
}

TEST_F(LocaleServicesTest, RoundingFormatterRoundsHalfUp) {
  RoundingNumberFormatter oneDigit(1, "en_US");
  EXPECT_EQ(oneDigit.string(0.25), "0.3");
  EXPECT_EQ(oneDigit.string(0.35), "0.4");
  EXPECT_EQ(oneDigit.string(0.05), "0.1");
  EXPECT_EQ(oneDigit.string(0.24), "0.2");
  EXPECT_EQ(oneDigit.string(-0.25), "-0.3");  // away from zero
  EXPECT_EQ(oneDigit.string(2.0), "2");       // no forced fraction digits
  EXPECT_EQ(oneDigit.string(1234.55), "1,234.6");
  EXPECT_EQ(oneDigit.string(-0.04), "0");  // no "-0"

  // Decided on the shortest decimal text of the double, not its binary value.
  RoundingNumberFormatter twoDigits(2, "en_US");
  EXPECT_EQ(twoDigits.string(1.005), "1.01");
  EXPECT_EQ(twoDigits.string(2.675), "2.68");
  EXPECT_EQ(twoDigits.string(1.004999), "1");

  RoundingNumberFormatter whole(0, "ru_RU");
  EXPECT_EQ(whole.string(2.5), "3");
  EXPECT_EQ(whole.string(1234.5), std::string("1") + kNoBreakSpace + "235");
  EXPECT_EQ(RoundingNumberFormatter(1, "ru_RU").string(0.25), "0,3");

  // Moved-from formatters may be reassigned; the current locale is taken at construction.
  setCurrentLocaleIdentifier("de_DE");
  RoundingNumberFormatter current(1);
  setCurrentLocaleIdentifier("en_US");
  EXPECT_EQ(current.string(0.25), "0,3");
  RoundingNumberFormatter moved = std::move(current);
  EXPECT_EQ(moved.string(1.25), "1,3");
}

TEST_F(LocaleServicesTest, LocalizedDigitsConvertOnlyForNativeDigitLocales) {
  for (const char* latin : {"en_US", "ru_RU", "de_DE"}) {
    setCurrentLocaleIdentifier(latin);
    EXPECT_EQ(localizedDigits("Invoice №2024-07"), "Invoice №2024-07") << latin;
  }
  setCurrentLocaleIdentifier("ar_EG");
  EXPECT_EQ(localizedDigits("№ 109"), "№ \u0661\u0660\u0669");
  EXPECT_EQ(localizedDigits("no digits"), "no digits");
  EXPECT_EQ(localizedDigits(""), "");
  setCurrentLocaleIdentifier("fa_IR");
  EXPECT_EQ(localizedDigits("42"), "\u06F4\u06F2");
}

TEST_F(LocaleServicesTest, UnknownLocaleStillFormats) {
  setCurrentLocaleIdentifier("xx_YY");
  EXPECT_EQ(currentInterfaceLanguage(), "xx");
  EXPECT_FALSE(localizedNumberString(1.5).empty());
  EXPECT_EQ(localizedDigits("12"), "12");
}

// Every thread formats with its own formatters while another keeps switching the locale:
// each text must be one of the two locales' texts, never a mix or a crash.
TEST(LocaleServicesConcurrencyTest, FormattingWhileTheLocaleChanges) {
  const std::string english = "1,234.5";
  const std::string russian = std::string("1") + kNoBreakSpace + "234,5";
  setCurrentLocaleIdentifier("en_US");
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0};
  std::thread switcher([&] {
    for (int i = 0; i < 400; ++i) setCurrentLocaleIdentifier(i % 2 ? "ru_RU" : "en_US");
    stop = true;
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 3; ++t) {
    workers.emplace_back([&] {
      while (!stop) {
        std::string text = localizedNumberString(1234.5);
        if (text != english && text != russian) ++unexpected;
        RoundingNumberFormatter own(1, "en_US");
        if (own.string(0.25) != "0.3") ++unexpected;
      }
    });
  }
  switcher.join();
  for (auto& worker : workers) worker.join();
  setCurrentLocaleIdentifier({});
  EXPECT_EQ(unexpected.load(), 0);
}

}  // namespace
}  // namespace dm
