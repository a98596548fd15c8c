// What the raw SQLite peers share: owning handles, errors as exceptions, a file opened in
// the store's own journal mode (WAL, synchronous NORMAL), persistent prepared statements.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace bench::raw {

struct DbCloser {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
struct StmtFinalizer {
  void operator()(sqlite3_stmt* stmt) const { sqlite3_finalize(stmt); }
};
using Db = std::unique_ptr<sqlite3, DbCloser>;
using Stmt = std::unique_ptr<sqlite3_stmt, StmtFinalizer>;

[[noreturn]] inline void fail(sqlite3* db, const std::string& what) {
  throw std::runtime_error(what + ": " + (db ? sqlite3_errmsg(db) : "no database"));
}

inline void exec(sqlite3* db, const std::string& sql) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::string text = message ? message : "unknown error";
    sqlite3_free(message);
    throw std::runtime_error(sql + ": " + text);
  }
}

inline Db open(const std::string& file) {
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  Db db(raw);
  if (rc != SQLITE_OK) fail(raw, "open " + file);
  exec(db.get(), "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
  return db;
}

inline Stmt prepare(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr) !=
      SQLITE_OK)
    fail(db, "prepare " + sql);
  return Stmt(raw);
}

}  // namespace bench::raw
