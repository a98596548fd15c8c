// Strict reader of comma-separated tables with quoted fields.
#include "Handbook/Seed/CsvTable.h"

#include "Handbook/Seed/SeedFile.h"
#include "Handbook/Seed/SeedSourceError.h"

namespace dm {
namespace {

// Splits the text into records; every record remembers the line it starts on.
class CsvScanner {
 public:
  CsvScanner(std::string_view text, const std::filesystem::path& file) : text_(text), file_(file) {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") position_ = 3;
  }

  // The next record, or nothing at the end of the text. A blank line gives an empty record.
  std::optional<CsvRow> next() {
    if (position_ >= text_.size()) return std::nullopt;
    CsvRow row;
    row.line = line_;
    std::string field;
    while (true) {
      if (position_ < text_.size() && text_[position_] == '"') {
        readQuoted(field);
      } else {
        readPlain(field);
      }
      row.fields.push_back(std::move(field));
      field.clear();
      if (position_ >= text_.size()) break;
      char separator = text_[position_++];
      if (separator == ',') continue;
      // A line end ("\r\n" was reduced to "\n" by the field readers).
      ++line_;
      break;
    }
    if (row.fields.size() == 1 && row.fields.front().empty()) row.fields.clear();
    return row;
  }

 private:
  void readPlain(std::string& field) {
    while (position_ < text_.size()) {
      char c = text_[position_];
      if (c == ',' || c == '\n') return;
      if (c == '\r' && position_ + 1 < text_.size() && text_[position_ + 1] == '\n') {
        ++position_;
        return;
      }
      if (c == '\r' && position_ + 1 == text_.size()) {
        ++position_;
        return;
      }
      if (c == '"') throw SeedSourceError(file_, line_, "quote inside an unquoted field");
      field.push_back(c);
      ++position_;
    }
  }

  void readQuoted(std::string& field) {
    std::size_t openedOn = line_;
    ++position_;  // opening quote
    while (true) {
      if (position_ >= text_.size()) {
        throw SeedSourceError(file_, openedOn, "quoted field is never closed");
      }
      char c = text_[position_++];
      if (c == '"') {
        if (position_ < text_.size() && text_[position_] == '"') {
          field.push_back('"');
          ++position_;
          continue;
        }
        break;
      }
      if (c == '\n') ++line_;
      field.push_back(c);
    }
    if (position_ < text_.size() && text_[position_] == '\r' &&
        (position_ + 1 == text_.size() || text_[position_ + 1] == '\n')) {
      ++position_;
    }
    if (position_ < text_.size() && text_[position_] != ',' && text_[position_] != '\n') {
      throw SeedSourceError(file_, line_, "unexpected text after a closing quote");
    }
  }

  std::string_view text_;
  const std::filesystem::path& file_;
  std::size_t position_ = 0;
  std::size_t line_ = 1;
};

}  // namespace

CsvTable CsvTable::parse(std::string_view text, const std::filesystem::path& file) {
  CsvScanner scanner(text, file);
  CsvTable table;
  bool haveHeader = false;
  while (auto row = scanner.next()) {
    if (row->fields.empty()) continue;
    if (!haveHeader) {
      table.header_ = std::move(row->fields);
      haveHeader = true;
      continue;
    }
    if (row->fields.size() != table.header_.size()) {
      throw SeedSourceError(file, row->line,
                            "row has " + std::to_string(row->fields.size()) +
                                " fields, the header has " + std::to_string(table.header_.size()));
    }
    table.rows_.push_back(std::move(*row));
  }
  if (!haveHeader) throw SeedSourceError(file, 0, "no header row");
  return table;
}

CsvTable CsvTable::read(const std::filesystem::path& file) {
  return parse(readSeedFile(file), file);
}

std::optional<std::size_t> CsvTable::column(std::string_view name) const {
  for (std::size_t i = 0; i < header_.size(); ++i) {
    if (header_[i] == name) return i;
  }
  return std::nullopt;
}

}  // namespace dm
