// Format filling: positional and sequential conversions, C numeric semantics, and the
// defined results of broken formats.
#include "Platform/Foundation/StringFormat.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "Support/TempDir.h"

namespace dm {
namespace {

class StringFormatTest : public ::testing::Test {
 protected:
  test::TempDir dir_;
};

TEST_F(StringFormatTest, ObjectConversionsWriteTextsAndNumbers) {
  EXPECT_EQ(stringWithFormat("%@x%@", 3, "kg"), "3xkg");
  EXPECT_EQ(stringWithFormat("%@ %@ %@", 2.5, 60.0, -0.125), "2.5 60 -0.125");
  EXPECT_EQ(stringWithFormat("%@", std::numeric_limits<uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(stringWithFormat("%@%@%@", "<b>", "вес", "</b>"), "<b>вес</b>");
  // Width pads by characters, so Cyrillic text is not under-padded.
  EXPECT_EQ(stringWithFormat("[%5@|%-5s]", "кг", "kg"), "[   кг|kg   ]");
  // An argument that itself contains a conversion is inserted, not re-read.
  EXPECT_EQ(stringWithFormat("%@ - %@", "%@", "x"), "%@ - x");
}

TEST_F(StringFormatTest, PositionalConversionsReorderArguments) {
  EXPECT_EQ(stringWithFormat("%2$@ %1$@", "first", "second"), "second first");
  EXPECT_EQ(stringWithFormat("%1$@/%1$@", "a"), "a/a");
  EXPECT_EQ(stringWithFormat("%2$ld of %1$.1f", 2.25, 7), "7 of 2.2");
  // Positional conversions do not move the sequential cursor.
  EXPECT_EQ(stringWithFormat("%2$@ %@ %@", "a", "b"), "b a b");
  std::vector<FormatArgument> arguments{"one", 2, 3.5};
  EXPECT_EQ(stringWithFormat("%3$g|%2$d|%1$@", arguments), "3.5|2|one");
}

TEST_F(StringFormatTest, NumericConversionsFollowPrintf) {
  EXPECT_EQ(stringWithFormat("%ld %lu %d %i", -5L, size_t{7}, 3u, short{-2}), "-5 7 3 -2");
  EXPECT_EQ(stringWithFormat("%ld", std::numeric_limits<int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(stringWithFormat("%lu", -1), "18446744073709551615");
  EXPECT_EQ(stringWithFormat("%d", std::numeric_limits<uint64_t>::max()), "-1");
  EXPECT_EQ(stringWithFormat("%.2f|%.0f|%.f|%f", 2.675, 0.5, 1.5, 1.0), "2.67|0|2|1.000000");
  EXPECT_EQ(stringWithFormat("%g|%g|%g", 0.1, 100000.0, 1e-5), "0.1|100000|1e-05");
  EXPECT_EQ(stringWithFormat("%05.1f|%-4d|%+d|%x|%X|%o", 3.14159, 7, 7, 255, 255, 8),
            "003.1|7   |+7|ff|FF|10");
  // Cross-kind arguments: integers print as floating point, floating point truncates.
  EXPECT_EQ(stringWithFormat("%.1f %d %d", 3, 2.9, -2.9), "3.0 2 -2");
  EXPECT_EQ(stringWithFormat("%d", 1e300), "9223372036854775807");
  EXPECT_EQ(stringWithFormat("%d %.0f%%", 50, 99.6), "50 100%");
}

TEST_F(StringFormatTest, BrokenFormatsKeepTheirTextAndNeverReadPastArguments) {
  EXPECT_EQ(stringWithFormat("%@ and %@", "one"), "one and %@");
  EXPECT_EQ(stringWithFormat("%5$@ %@", 1), "%5$@ 1");
  EXPECT_EQ(stringWithFormat("%0$@", 1), "%0$@");
  EXPECT_EQ(stringWithFormat("%d", "text"), "%d");
  EXPECT_EQ(stringWithFormat("%.2f|%@", "x", "y"), "%.2f|y");  // the text is still consumed
  EXPECT_EQ(stringWithFormat("100%"), "100%");
  EXPECT_EQ(stringWithFormat("%y %k%", 1), "%y %k%");
  EXPECT_EQ(stringWithFormat("%99999d", 1), "%99999d");
  EXPECT_EQ(stringWithFormat("%.99999f", 1.0), "%.99999f");
  EXPECT_EQ(stringWithFormat("%99999999999999999999$@", 1), "%99999999999999999999$@");
  EXPECT_EQ(stringWithFormat("%l", 1), "%l");
  EXPECT_EQ(stringWithFormat(""), "");
  EXPECT_EQ(stringWithFormat("no conversions", 1, 2), "no conversions");
  // A wide but permitted field is written in full.
  EXPECT_EQ(stringWithFormat("%500d", 1).size(), 500u);
  EXPECT_EQ(stringWithFormat("%.300f", 1e300).size(), 301u + 1u + 300u);
}

}  // namespace
}  // namespace dm
