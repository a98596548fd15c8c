// The shape of what a handbook update stored, compared across implementations: how many
// product rows and how many columns of them hold a value (columns whose names begin with
// "_" are bookkeeping and not counted).
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// `table` holds the products; `where` (may be empty) picks them out of it.
inline std::string storedShape(sqlite3* db, const std::string& table, const std::string& where) {
  auto scalar = [&](const std::string& sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr) != SQLITE_OK)
      throw std::runtime_error(std::string("shape query: ") + sqlite3_errmsg(db));
    std::int64_t value = sqlite3_step(s) == SQLITE_ROW ? sqlite3_column_int64(s, 0) : -1;
    sqlite3_finalize(s);
    return value;
  };
  std::vector<std::string> columns;
  sqlite3_stmt* s = nullptr;
  const std::string info = "SELECT name FROM pragma_table_info('" + table + "')";
  if (sqlite3_prepare_v2(db, info.c_str(), -1, &s, nullptr) != SQLITE_OK)
    throw std::runtime_error(std::string("shape query: ") + sqlite3_errmsg(db));
  while (sqlite3_step(s) == SQLITE_ROW)
    columns.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(s, 0)));
  sqlite3_finalize(s);
  const std::string filter = where.empty() ? "" : " WHERE " + where;
  const std::int64_t rows = scalar("SELECT count(*) FROM \"" + table + "\"" + filter);
  std::int64_t filled = 0;
  for (const auto& column : columns) {
    if (column.empty() || column[0] == '_') continue;
    const std::string notNull = "\"" + column + "\" IS NOT NULL";
    if (scalar("SELECT EXISTS (SELECT 1 FROM \"" + table + "\"" +
               (where.empty() ? " WHERE " + notNull : filter + " AND " + notNull) + ")") == 1)
      ++filled;
  }
  return std::to_string(rows) + " rows, " + std::to_string(filled) + " columns";
}

}  // namespace bench
