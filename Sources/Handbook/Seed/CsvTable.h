// A comma-separated table read strictly: quoted fields (with doubled quotes and line breaks
// inside), one header row, every row as wide as the header, each row knowing its line.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dm {

struct CsvRow {
  std::size_t line = 0;  // 1-based line on which the row starts
  std::vector<std::string> fields;
};

// An immutable parsed table. Not synchronised; share it read-only once built.
class CsvTable {
 public:
  // Parses `text` (UTF-8, optional byte-order mark, "\n" or "\r\n" line ends). `file` only
  // names the source in errors. Blank lines are skipped.
  // Throws SeedSourceError with the line for: a quoted field that never closes (the line
  // where it opened), text after a closing quote, a quote inside an unquoted field, a row
  // whose field count differs from the header's, and a text without a header.
  static CsvTable parse(std::string_view text, const std::filesystem::path& file);

  // Reads and parses a file. Throws SeedSourceError (line 0) when it is missing or
  // unreadable, and as `parse` for malformed content.
  static CsvTable read(const std::filesystem::path& file);

  const std::vector<std::string>& header() const { return header_; }
  const std::vector<CsvRow>& rows() const { return rows_; }
  // The index of the first header cell equal to `name`, or nothing.
  std::optional<std::size_t> column(std::string_view name) const;

 private:
  std::vector<std::string> header_;
  std::vector<CsvRow> rows_;
};

}  // namespace dm
