// Date texts: fixed patterns at calendar boundaries, independence from the user's locale,
// the server date-time text, calendar days across zones and the clock text.
#include "Platform/Foundation/DateFormatting.h"

#include <gtest/gtest.h>

#include "Platform/Foundation/LocaleServices.h"
#include "Support/RecordingSinks.h"

namespace dm {
namespace {

// 2024-02-29 00:00:00 UTC.
constexpr double kLeapDay = 1709164800;
constexpr double kDay = 86400;

class DateFormattingTest : public ::testing::Test {
 protected:
  void TearDown() override {
    setCurrentLocaleIdentifier({});
    setCurrentTimeZoneIdentifier({});
  }
  test::RecordingSinks sinks_;
};

TEST_F(DateFormattingTest, PatternsAcrossYearAndLeapDayBoundaries) {
  const Date newYearsEve(1735689600 - 1);  // 2024-12-31 23:59:59 UTC
  EXPECT_EQ(stringFromDate(newYearsEve, kDayDatePattern, "UTC"), "2024-12-31");
  EXPECT_EQ(stringFromDate(newYearsEve.addingTimeInterval(1), kDayDatePattern, "UTC"),
            "2025-01-01");
  EXPECT_EQ(stringFromDate(newYearsEve, kDietDatePattern, "UTC"), "31.12.2024");
  EXPECT_EQ(stringFromDate(newYearsEve, kDateKeyPattern, "UTC"), "20241231");
  EXPECT_EQ(stringFromDate(newYearsEve, kTimeOfDayPattern, "UTC"), "23:59");
  // The same instant is already next year in Moscow.
  EXPECT_EQ(stringFromDate(newYearsEve, kDayDatePattern, "Europe/Moscow"), "2025-01-01");

  EXPECT_EQ(stringFromDate(Date(kLeapDay), kDayDatePattern, "UTC"), "2024-02-29");
  EXPECT_EQ(stringFromDate(Date(kLeapDay + kDay), kDayDatePattern, "UTC"), "2024-03-01");
  EXPECT_EQ(stringFromDate(Date(kLeapDay - kDay), kDietDatePattern, "UTC"), "28.02.2024");

  // Round trips at the same boundaries, for every pattern that carries a date.
  for (double seconds : {kLeapDay, kLeapDay + kDay, 1735689600.0, 0.0, -kDay}) {
    for (auto pattern : {kDayDatePattern, kDietDatePattern, kDateKeyPattern}) {
      auto text = stringFromDate(Date(seconds), pattern, "Asia/Tokyo");
      auto parsed = dateFromString(text, pattern, "Asia/Tokyo");
      ASSERT_TRUE(parsed) << text;
      EXPECT_EQ(stringFromDate(*parsed, pattern, "Asia/Tokyo"), text);
    }
  }
}

TEST_F(DateFormattingTest, StrictParsingRejectsImpossibleAndUnreadableDates) {
  EXPECT_EQ(dateFromString("2024-02-29", kDayDatePattern, "UTC"), Date(kLeapDay));
  EXPECT_EQ(dateFromString("29.02.2024", kDietDatePattern, "UTC"), Date(kLeapDay));
  EXPECT_EQ(dateFromString("20240229", kDateKeyPattern, "UTC"), Date(kLeapDay));
  EXPECT_EQ(dateFromString("2024-02-29", kDayDatePattern, "Europe/Moscow"),
            Date(kLeapDay - 3 * 3600));

  for (const char* bad : {"2023-02-29", "2024-02-30", "2024-13-01", "2024-00-10", "", "abc",
                          "2024-01-05 ", " 2024-01-05", "2024-01-05T00:00", "2024/01/05"}) {
    EXPECT_EQ(dateFromString(bad, kDayDatePattern, "UTC"), std::nullopt) << bad;
  }
  for (const char* bad : {"24:00", "07:60", "0730", "7", "07:30:00", "ab:cd"}) {
    EXPECT_EQ(dateFromString(bad, kTimeOfDayPattern, "UTC"), std::nullopt) << bad;
  }
  EXPECT_EQ(dateFromString("2024123", kDateKeyPattern, "UTC"), std::nullopt);
}

TEST_F(DateFormattingTest, TimeOfDayIgnoresTheUserLocale) {
  // Arabic and Russian locales write and read other digits and day periods; the fixed
  // patterns must not follow them.
  for (const char* locale : {"ru_RU", "ar_EG", "fa_IR", "th_TH@calendar=buddhist"}) {
    setCurrentLocaleIdentifier(locale);
    auto parsed = dateFromString("07:30", kTimeOfDayPattern, "UTC");
    ASSERT_TRUE(parsed) << locale;
    EXPECT_EQ(parsed->timeIntervalSince1970, 7.5 * 3600) << locale;
    EXPECT_EQ(stringFromDate(Date(kLeapDay + 19 * 3600), kTimeOfDayPattern, "UTC"), "19:00");
    EXPECT_EQ(stringFromDate(Date(kLeapDay), kDayDatePattern, "UTC"), "2024-02-29") << locale;
  }
}

TEST_F(DateFormattingTest, CurrentTimeZoneIsTheDefault) {
  ASSERT_TRUE(setCurrentTimeZoneIdentifier("America/New_York"));
  EXPECT_EQ(stringFromDate(Date(kLeapDay), kDayDatePattern), "2024-02-28");
  EXPECT_EQ(serverDateTimeString(Date(kLeapDay)), "2024-02-28T19:00:00.000-05:00");
  EXPECT_EQ(dateFromString("2024-02-29", kDayDatePattern), Date(kLeapDay + 5 * 3600));

  EXPECT_FALSE(setCurrentTimeZoneIdentifier("Mars/Olympus_Mons"));
  EXPECT_EQ(currentTimeZoneIdentifier(), "America/New_York");
}

TEST_F(DateFormattingTest, ServerDateTimeWritesMillisecondsAndZoneOffset) {
  const Date date(1795459610.123);  // 2026-11-23 18:46:50.123 UTC
  EXPECT_EQ(serverDateTimeString(date, "Europe/Moscow"), "2026-11-23T21:46:50.123+03:00");
  EXPECT_EQ(serverDateTimeString(date, "UTC"), "2026-11-23T18:46:50.123+00:00");
  EXPECT_EQ(serverDateTimeString(date, "Asia/Kolkata"), "2026-11-24T00:16:50.123+05:30");
  // Before 1970 and with a binary fraction just under the millisecond.
  EXPECT_EQ(serverDateTimeString(Date(-1.5), "UTC"), "1969-12-31T23:59:58.500+00:00");
  EXPECT_EQ(serverDateTimeString(Date(50.123), "UTC"), "1970-01-01T00:00:50.123+00:00");
  // Summer and winter offsets of the same zone.
  EXPECT_EQ(serverDateTimeString(Date(1719792000), "Europe/Berlin"),
            "2024-07-01T02:00:00.000+02:00");
  EXPECT_EQ(serverDateTimeString(Date(1704067200), "Europe/Berlin"),
            "2024-01-01T01:00:00.000+01:00");

  for (double seconds : {1795459610.123, 0.0, -1.5, 951782400.999}) {
    for (const char* zone : {"UTC", "Europe/Moscow", "America/St_Johns"}) {
      auto parsed = dateFromServerString(serverDateTimeString(Date(seconds), zone));
      ASSERT_TRUE(parsed) << seconds << " " << zone;
      EXPECT_NEAR(parsed->timeIntervalSince1970, seconds, 1e-6) << zone;
    }
  }
}

TEST_F(DateFormattingTest, ServerDateTimeParsingAcceptsFractionsZAndOffsets) {
  const double expected = 1795459610;  // 2026-11-23T18:46:50Z
  EXPECT_EQ(dateFromServerString("2026-11-23T18:46:50Z"), Date(expected));
  EXPECT_EQ(dateFromServerString("2026-11-23T21:46:50+03:00"), Date(expected));
  EXPECT_EQ(dateFromServerString("2026-11-23T21:46:50+0300"), Date(expected));
  EXPECT_EQ(dateFromServerString("2026-11-23T21:46:50+03"), Date(expected));
  EXPECT_EQ(dateFromServerString("2026-11-23T13:16:50-05:30"), Date(expected));
  EXPECT_NEAR(dateFromServerString("2026-11-23T21:46:50.123+03:00")->timeIntervalSince1970,
              expected + 0.123, 1e-6);
  EXPECT_NEAR(dateFromServerString("2026-11-23T18:46:50.5Z")->timeIntervalSince1970, expected + 0.5,
              1e-6);
  EXPECT_NEAR(dateFromServerString("2026-11-23T18:46:50.123456789Z")->timeIntervalSince1970,
              expected + 0.123456789, 1e-6);
  // Offsets move the date across the year and the leap day.
  EXPECT_EQ(dateFromServerString("2025-01-01T02:00:00+03:00"), Date(1735689600 - 3600));
  EXPECT_EQ(dateFromServerString("2024-02-29T00:00:00Z"), Date(kLeapDay));
  EXPECT_EQ(dateFromServerString("1969-12-31T23:59:59Z"), Date(-1));
}

TEST_F(DateFormattingTest, ServerDateTimeParsingRejectsGarbage) {
  for (const char* bad : {"",
                          "garbage",
                          "2026-11-23",
                          "2026-11-23T18:46:50",
                          "2026-11-23 18:46:50Z",
                          "2026-11-23T18:46Z",
                          "2026-11-23T18:46:50.Z",
                          "2026-11-23T18:46:50.1234567890Z",
                          "2026-11-23T18:46:50Zjunk",
                          "2026-11-23T18:46:50+3:00",
                          "2026-11-23T18:46:50+03:0",
                          "2026-11-23T18:46:50+24:00",
                          "2026-13-23T18:46:50Z",
                          "2023-02-29T00:00:00Z",
                          "2026-11-31T00:00:00Z",
                          "2026-11-23T24:00:00Z",
                          "2026-11-23T18:60:00Z",
                          "2026-11-23T18:46:60Z",
                          "-2026-11-23T18:46:50Z",
                          "２０２６-11-23T18:46:50Z",
                          "2026-11-23t18:46:50z"}) {
    EXPECT_EQ(dateFromServerString(bad), std::nullopt) << bad;
  }
}

TEST_F(DateFormattingTest, SameDayFollowsTheZoneMidnight) {
  // 2024-02-29 20:30 and 21:30 UTC: one day in UTC, but 21:00 UTC is midnight in Moscow.
  const Date before(kLeapDay + 20.5 * 3600), after(kLeapDay + 21.5 * 3600);
  EXPECT_TRUE(isSameDay(before, after, "UTC"));
  EXPECT_FALSE(isSameDay(before, after, "Europe/Moscow"));
  EXPECT_TRUE(isSameDay(after, Date(kLeapDay + kDay + 20 * 3600), "Europe/Moscow"));
  EXPECT_FALSE(isSameDay(Date(-1), Date(0), "UTC"));
  EXPECT_TRUE(isSameDay(Date(-1), Date(0), "America/Los_Angeles"));

  ASSERT_TRUE(setCurrentTimeZoneIdentifier("Europe/Moscow"));
  EXPECT_FALSE(isSameDay(before, after));
  EXPECT_EQ(startOfDay(after), Date(kLeapDay + 21 * 3600));
  EXPECT_EQ(startOfDay(before), Date(kLeapDay - 3 * 3600));
}

TEST_F(DateFormattingTest, StartOfDayOnATimeChangeSkippingMidnight) {
  // Santiago moved its clocks from 00:00 to 01:00 on 2024-09-08, so that day starts at 01:00
  // local time (04:00 UTC).
  const Date noon(1725807600);  // 2024-09-08 15:00 UTC = 12:00 local
  EXPECT_EQ(
      stringFromDate(startOfDay(noon, "America/Santiago"), "yyyy-MM-dd HH:mm", "America/Santiago"),
      "2024-09-08 01:00");
}

TEST_F(DateFormattingTest, ShortClockStringDoesNotWrapHours) {
  EXPECT_EQ(shortClockString(0), "00:00:00");
  EXPECT_EQ(shortClockString(59.999), "00:00:59");
  EXPECT_EQ(shortClockString(3661), "01:01:01");
  EXPECT_EQ(shortClockString(86399), "23:59:59");
  EXPECT_EQ(shortClockString(90000), "25:00:00");
  EXPECT_EQ(shortClockString(360000), "100:00:00");
  EXPECT_EQ(shortClockString(-5), "00:00:00");
  EXPECT_EQ(shortClockString(std::numeric_limits<double>::quiet_NaN()), "00:00:00");
  EXPECT_FALSE(shortClockString(std::numeric_limits<double>::infinity()).empty());
}

TEST_F(DateFormattingTest, BadPatternsAndZonesAreHarmless) {
  EXPECT_EQ(stringFromDate(Date(0), "yyyy-MM-dd", "No/Such_Zone"), "1970-01-01");
  EXPECT_TRUE(sinks_.logger->contains(LogLevel::Warning, "No/Such_Zone"));
  EXPECT_EQ(stringFromDate(Date(std::numeric_limits<double>::quiet_NaN()), kDayDatePattern), "");
  EXPECT_EQ(dateFromString("2024", "", "UTC"), std::nullopt);
}

}  // namespace
}  // namespace dm
