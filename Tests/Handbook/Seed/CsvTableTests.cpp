// The strict CSV reader: quoting rules, line tracking and the errors it reports.
#include "Handbook/Seed/CsvTable.h"

#include <gtest/gtest.h>

#include "Handbook/Seed/SeedSourceError.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

const std::filesystem::path kFile = "table.csv";

// The error `text` raises, or a failed expectation when it parses.
SeedSourceError parseError(const std::string& text) {
  try {
    CsvTable::parse(text, kFile);
  } catch (const SeedSourceError& error) {
    return error;
  }
  ADD_FAILURE() << "parsed without error: " << text;
  return SeedSourceError(kFile, 0, "none");
}

TEST(CsvTableTest, QuotedFieldsKeepSeparatorsQuotesAndLineBreaks) {
  auto table = CsvTable::parse(
      "\xEF\xBB\xBF"
      "a,b,c\r\n"
      "\"x, y\",\"say \"\"hi\"\"\",\"two\nlines\"\r\n"
      "\n"
      ",\"\",last\n",
      kFile);
  ASSERT_EQ(table.header(), (std::vector<std::string>{"a", "b", "c"}));
  ASSERT_EQ(table.rows().size(), 2u);
  EXPECT_EQ(table.rows()[0].fields, (std::vector<std::string>{"x, y", "say \"hi\"", "two\nlines"}));
  EXPECT_EQ(table.rows()[0].line, 2u);
  // The quoted line break and the blank line both count.
  EXPECT_EQ(table.rows()[1].line, 5u);
  EXPECT_EQ(table.rows()[1].fields, (std::vector<std::string>{"", "", "last"}));
  EXPECT_EQ(table.column("c"), 2u);
  EXPECT_FALSE(table.column("d").has_value());
}

TEST(CsvTableTest, LastRowWithoutLineEndAndTrailingEmptyField) {
  auto table = CsvTable::parse("a,b\n1,", kFile);
  ASSERT_EQ(table.rows().size(), 1u);
  EXPECT_EQ(table.rows()[0].fields, (std::vector<std::string>{"1", ""}));
}

TEST(CsvTableTest, MalformedTextNamesTheLine) {
  auto unclosed = parseError("a,b\n1,2\n3,\"open\nstill open\n");
  EXPECT_EQ(unclosed.line(), 3u);  // where the quote opened
  EXPECT_NE(std::string(unclosed.what()).find("table.csv:3:"), std::string::npos);

  auto shortRow = parseError("a,b,c\n1,2,3\n\"x,y\",2\n");
  EXPECT_EQ(shortRow.line(), 3u);
  EXPECT_NE(shortRow.problem().find("2 fields"), std::string::npos);

  EXPECT_EQ(parseError("a,b\n1,2,3\n").line(), 2u);        // long row
  EXPECT_EQ(parseError("a,b\n\"x\"y,2\n").line(), 2u);     // text after the quote
  EXPECT_EQ(parseError("a,b\n1,2\nx\"y,2\n").line(), 3u);  // stray quote
  EXPECT_EQ(parseError("\n\n").line(), 0u);                // no header
}

TEST(CsvTableTest, MissingFileIsAWholeFileError) {
  test::TempDir dir;
  try {
    CsvTable::read(dir / "absent.csv");
    FAIL() << "expected an error";
  } catch (const SeedSourceError& error) {
    EXPECT_EQ(error.line(), 0u);
    EXPECT_EQ(error.file(), dir / "absent.csv");
    EXPECT_NE(std::string(error.what()).find("absent.csv: file not found"), std::string::npos);
  }
}

}  // namespace
}  // namespace dm
