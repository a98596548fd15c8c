// The storage limit for every workload: plain SQLite with prepared statements in one
// transaction (WAL, synchronous=NORMAL), payloads parsed with simdjson's DOM.
// Command line and workload definitions: Benchmarks/README.md.
#include <sqlite3.h>

#include <simdjson.h>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "RawSQLite.h"
#include "ReadPayload.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kImpl = "raw SQLite";

// ---- SQLite handles ----

using bench::raw::Db;
using bench::raw::exec;
using bench::raw::fail;
using bench::raw::Stmt;

Db open(const fs::path& file) {
  return bench::raw::open(file.string());
}

Stmt prepare(sqlite3* db, const std::string& sql) {
  return bench::raw::prepare(db, sql);
}

void stepDone(sqlite3* db, sqlite3_stmt* stmt) {
  if (sqlite3_step(stmt) != SQLITE_DONE) fail(db, "step");
  sqlite3_reset(stmt);
}

int64_t queryInt(sqlite3* db, const std::string& sql) {
  Stmt stmt = prepare(db, sql);
  if (sqlite3_step(stmt.get()) != SQLITE_ROW) fail(db, "query " + sql);
  return sqlite3_column_int64(stmt.get(), 0);
}

void bindText(sqlite3_stmt* stmt, int index, std::string_view text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

std::string readAll(const fs::path& file) {
  return bench::readPayload(file);
}

struct Result {
  int64_t records = 0;
  double seconds = 0;
  std::string check;
};

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- store.* ----

constexpr const char* kBenchRecordSchema =
    "CREATE TABLE BenchRecord (pk INTEGER PRIMARY KEY, entityID INTEGER NOT NULL, "
    "userID INTEGER, category INTEGER, repeats INTEGER, sets INTEGER, duration INTEGER, "
    "weight REAL, calories REAL, proteins REAL, fats REAL, carbohydrates REAL, title TEXT, "
    "notes TEXT, guid TEXT, statusString TEXT, unit TEXT, createdAt REAL, updatedAt REAL, "
    "isFavorite INTEGER, isHidden INTEGER);"
    "CREATE UNIQUE INDEX BenchRecord_entityID ON BenchRecord(entityID);";

void insertBenchRecords(sqlite3* db, int64_t count) {
  Stmt insert = prepare(db,
                        "INSERT INTO BenchRecord (entityID, userID, category, repeats, sets, "
                        "duration, weight, calories, proteins, fats, carbohydrates, title, "
                        "notes, guid, statusString, unit, createdAt, updatedAt, isFavorite, "
                        "isHidden) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  sqlite3_stmt* s = insert.get();
  exec(db, "BEGIN");
  char guid[48];
  for (int64_t i = 0; i < count; ++i) {
    sqlite3_bind_int64(s, 1, i + 1);
    sqlite3_bind_int64(s, 2, i % 1000);
    sqlite3_bind_int64(s, 3, i % 10);
    sqlite3_bind_int64(s, 4, i % 20);
    sqlite3_bind_int64(s, 5, 1 + i % 5);
    sqlite3_bind_int64(s, 6, i % 3600);
    sqlite3_bind_double(s, 7, static_cast<double>(i % 2000) / 10.0);
    sqlite3_bind_double(s, 8, static_cast<double>(i % 5000) / 4.0);
    sqlite3_bind_double(s, 9, static_cast<double>(i % 300) / 3.0);
    sqlite3_bind_double(s, 10, static_cast<double>(i % 700) / 7.0);
    sqlite3_bind_double(s, 11, static_cast<double>(i % 900) / 9.0);
    bindText(s, 12, "Record " + std::to_string(i));
    bindText(s, 13, "Notes for record " + std::to_string(i) + " of the benchmark");
    std::snprintf(guid, sizeof guid, "00000000-0000-4000-8000-%012lld", static_cast<long long>(i));
    bindText(s, 14, guid);
    bindText(s, 15, i % 50 == 0 ? "deleted" : "active");
    bindText(s, 16, i % 2 == 0 ? "kg" : "lb");
    sqlite3_bind_double(s, 17, 1704067200.0 + static_cast<double>(i));
    sqlite3_bind_double(s, 18, 1704067200.0 + 2.0 * static_cast<double>(i));
    sqlite3_bind_int(s, 19, i % 3 == 0);
    sqlite3_bind_int(s, 20, i % 7 == 0);
    stepDone(db, s);
  }
  exec(db, "COMMIT");
}

Result storeInsert(const fs::path& dir, int64_t n) {
  Db db = open(dir / "store.sqlite");
  exec(db.get(), kBenchRecordSchema);
  auto start = Clock::now();
  insertBenchRecords(db.get(), n);
  double seconds = since(start);
  return {n, seconds, std::to_string(queryInt(db.get(), "SELECT count(*) FROM BenchRecord"))};
}

Result storeFetchIndexed(const fs::path& dir, int64_t n) {
  Db db = open(dir / "store.sqlite");
  exec(db.get(), kBenchRecordSchema);
  insertBenchRecords(db.get(), n);
  int64_t lookups = std::min<int64_t>(1000, n);
  auto start = Clock::now();
  Stmt select = prepare(db.get(), "SELECT * FROM BenchRecord WHERE entityID = ?");
  sqlite3_stmt* s = select.get();
  int64_t userSum = 0;
  size_t textBytes = 0;
  double doubles = 0;
  for (int64_t j = 0; j < lookups; ++j) {
    sqlite3_bind_int64(s, 1, 1 + (j * 7919) % n);
    if (sqlite3_step(s) != SQLITE_ROW) fail(db.get(), "missing row");
    // Materialise every attribute, as an object fetch would.
    for (int c = 1; c < 21; ++c) {
      switch (sqlite3_column_type(s, c)) {
        case SQLITE_INTEGER:
          if (c == 2) userSum += sqlite3_column_int64(s, c);
          break;
        case SQLITE_FLOAT:
          doubles += sqlite3_column_double(s, c);
          break;
        case SQLITE_TEXT:
          textBytes += std::string(reinterpret_cast<const char*>(sqlite3_column_text(s, c)),
                                   static_cast<size_t>(sqlite3_column_bytes(s, c)))
                           .size();
          break;
        default:
          break;
      }
    }
    sqlite3_reset(s);
  }
  double seconds = since(start);
  if (textBytes == 0 || doubles <= 0) throw std::runtime_error("fetched rows were empty");
  return {lookups, seconds, std::to_string(userSum)};
}

Result storeCount(const fs::path& dir, int64_t n) {
  Db db = open(dir / "store.sqlite");
  exec(db.get(), kBenchRecordSchema);
  insertBenchRecords(db.get(), n);
  auto start = Clock::now();
  Stmt count = prepare(db.get(),
                       "SELECT count(*) FROM BenchRecord WHERE category = ? AND isFavorite = 1 "
                       "AND weight > 50.0");
  int64_t total = 0;
  for (int q = 0; q < 10; ++q) {
    sqlite3_bind_int(count.get(), 1, q);
    if (sqlite3_step(count.get()) != SQLITE_ROW) fail(db.get(), "count");
    total += sqlite3_column_int64(count.get(), 0);
    sqlite3_reset(count.get());
  }
  double seconds = since(start);
  return {10 * n, seconds, std::to_string(total)};
}

// ---- map.* ----

constexpr const char* kMapRecordSchema =
    "CREATE TABLE MapRecord (id INTEGER PRIMARY KEY, user_id INTEGER, title TEXT, "
    "description TEXT, weight REAL, calories REAL, is_public INTEGER, status TEXT, "
    "created_at TEXT, position INTEGER);";

// Parses the flat payload and upserts every object; returns the number of objects.
int64_t mapFlat(sqlite3* db, const std::string& json) {
  simdjson::dom::parser parser;
  simdjson::dom::array objects = parser.parse(json).get_array();
  Stmt upsert = prepare(
      db,
      "INSERT INTO MapRecord (id, user_id, title, description, weight, calories, is_public, "
      "status, created_at, position) VALUES (?,?,?,?,?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
      "user_id=excluded.user_id, title=excluded.title, description=excluded.description, "
      "weight=excluded.weight, calories=excluded.calories, is_public=excluded.is_public, "
      "status=excluded.status, created_at=excluded.created_at, position=excluded.position");
  sqlite3_stmt* s = upsert.get();
  exec(db, "BEGIN");
  int64_t count = 0;
  for (simdjson::dom::object o : objects) {
    sqlite3_bind_int64(s, 1, o["id"].get_int64());
    sqlite3_bind_int64(s, 2, o["user_id"].get_int64());
    bindText(s, 3, o["title"].get_string().value());
    bindText(s, 4, o["description"].get_string().value());
    sqlite3_bind_double(s, 5, o["weight"].get_double());
    sqlite3_bind_double(s, 6, o["calories"].get_double());
    sqlite3_bind_int(s, 7, o["is_public"].get_bool().value() ? 1 : 0);
    bindText(s, 8, o["status"].get_string().value());
    bindText(s, 9, o["created_at"].get_string().value());
    sqlite3_bind_int64(s, 10, o["position"].get_int64());
    stepDone(db, s);
    ++count;
  }
  exec(db, "COMMIT");
  return count;
}

Result mapInsert(const fs::path& dir, int64_t, bool update) {
  Db db = open(dir / "store.sqlite");
  exec(db.get(), kMapRecordSchema);
  std::string json = readAll(dir / "payload.json");
  if (update) mapFlat(db.get(), json);
  auto start = Clock::now();
  int64_t count = mapFlat(db.get(), json);
  double seconds = since(start);
  return {count, seconds, std::to_string(queryInt(db.get(), "SELECT count(*) FROM MapRecord"))};
}

Result mapNested(const fs::path& dir, int64_t) {
  Db db = open(dir / "store.sqlite");
  exec(db.get(),
       "CREATE TABLE MapParent (id INTEGER PRIMARY KEY, title TEXT, created_at TEXT);"
       "CREATE TABLE MapChild (id INTEGER PRIMARY KEY, parent_id INTEGER REFERENCES "
       "MapParent(id), title TEXT, amount REAL, position INTEGER);"
       "CREATE INDEX MapChild_parent ON MapChild(parent_id);");
  std::string json = readAll(dir / "payload.json");
  auto start = Clock::now();
  simdjson::dom::parser parser;
  simdjson::dom::array parents = parser.parse(json).get_array();
  Stmt parentInsert = prepare(db.get(),
                              "INSERT INTO MapParent (id, title, created_at) VALUES (?,?,?) "
                              "ON CONFLICT(id) DO UPDATE SET title=excluded.title, "
                              "created_at=excluded.created_at");
  Stmt childInsert = prepare(db.get(),
                             "INSERT INTO MapChild (id, parent_id, title, amount, position) "
                             "VALUES (?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
                             "parent_id=excluded.parent_id, title=excluded.title, "
                             "amount=excluded.amount, position=excluded.position");
  sqlite3_stmt* p = parentInsert.get();
  sqlite3_stmt* c = childInsert.get();
  exec(db.get(), "BEGIN");
  int64_t count = 0;
  for (simdjson::dom::object parent : parents) {
    int64_t parentID = parent["id"].get_int64();
    sqlite3_bind_int64(p, 1, parentID);
    bindText(p, 2, parent["title"].get_string().value());
    bindText(p, 3, parent["created_at"].get_string().value());
    stepDone(db.get(), p);
    ++count;
    for (simdjson::dom::object child : parent["items"].get_array()) {
      sqlite3_bind_int64(c, 1, child["id"].get_int64());
      sqlite3_bind_int64(c, 2, parentID);
      bindText(c, 3, child["title"].get_string().value());
      sqlite3_bind_double(c, 4, child["amount"].get_double());
      sqlite3_bind_int64(c, 5, child["position"].get_int64());
      stepDone(db.get(), c);
      ++count;
    }
  }
  exec(db.get(), "COMMIT");
  double seconds = since(start);
  return {count, seconds, std::to_string(queryInt(db.get(), "SELECT count(*) FROM MapChild"))};
}

// ---- handbook.update ----

// Every key a product record may carry; absent keys are stored as NULL.
const std::vector<std::string> kProductColumns = {"id",
                                                  "title",
                                                  "created_at",
                                                  "category_id",
                                                  "status",
                                                  "description",
                                                  "calories",
                                                  "density_of_calories_index",
                                                  "proteins",
                                                  "fats",
                                                  "carbohydrates",
                                                  "cellulose",
                                                  "cholesterol",
                                                  "saturated_fats",
                                                  "monounsaturated_fats",
                                                  "polyunsaturated_fats",
                                                  "trans_fatty_acids",
                                                  "beta_carotene",
                                                  "vitamin_a",
                                                  "vitamin_b6",
                                                  "vitamin_e",
                                                  "vitamin_c",
                                                  "riboflavin",
                                                  "iron",
                                                  "potassium",
                                                  "calcium",
                                                  "magnesium",
                                                  "cuprum",
                                                  "natrium",
                                                  "phosphorus",
                                                  "zinc",
                                                  "antioxidant",
                                                  "vitamin_d",
                                                  "glycemia_index",
                                                  "inflammatory_factor",
                                                  "cooking_time"};

// category_id is indexed as in the handbook store.
std::string productSchema() {
  std::string sql = "CREATE TABLE PostProduct (id INTEGER PRIMARY KEY";
  for (size_t i = 1; i < kProductColumns.size(); ++i) sql += ", " + kProductColumns[i];
  return sql + "); CREATE INDEX PostProduct_category ON PostProduct(category_id);";
}

std::string productUpsert() {
  std::string columns, marks, updates;
  for (size_t i = 0; i < kProductColumns.size(); ++i) {
    columns += (i ? "," : "") + kProductColumns[i];
    marks += i ? ",?" : "?";
    if (i) {
      updates += (i > 1 ? "," : "") + kProductColumns[i] + "=excluded." + kProductColumns[i];
    }
  }
  return "INSERT INTO PostProduct (" + columns + ") VALUES (" + marks +
         ") ON CONFLICT(id) DO UPDATE SET " + updates;
}

int64_t storeProducts(sqlite3* db, const std::string& json) {
  std::unordered_map<std::string_view, int> parameter;
  for (size_t i = 0; i < kProductColumns.size(); ++i)
    parameter.emplace(kProductColumns[i], static_cast<int>(i) + 1);
  simdjson::dom::parser parser;
  simdjson::dom::element doc = parser.parse(json);
  Stmt upsert = prepare(db, productUpsert());
  sqlite3_stmt* s = upsert.get();
  exec(db, "BEGIN");
  int64_t count = 0;
  for (simdjson::dom::object record : doc["post_products"].get_array()) {
    sqlite3_clear_bindings(s);
    for (auto field : record) {
      auto found = parameter.find(field.key);
      if (found == parameter.end()) continue;
      int index = found->second;
      switch (field.value.type()) {
        case simdjson::dom::element_type::INT64:
          sqlite3_bind_int64(s, index, field.value.get_int64());
          break;
        case simdjson::dom::element_type::UINT64:
          sqlite3_bind_int64(s, index, static_cast<int64_t>(field.value.get_uint64().value()));
          break;
        case simdjson::dom::element_type::DOUBLE:
          sqlite3_bind_double(s, index, field.value.get_double());
          break;
        case simdjson::dom::element_type::STRING:
          bindText(s, index, field.value.get_string().value());
          break;
        case simdjson::dom::element_type::BOOL:
          sqlite3_bind_int(s, index, field.value.get_bool().value() ? 1 : 0);
          break;
        default:
          break;
      }
    }
    stepDone(db, s);
    ++count;
  }
  exec(db, "COMMIT");
  return count;
}

std::string caloriesCheck(sqlite3* db) {
  return std::to_string(
      queryInt(db, "SELECT CAST(round(sum(calories)) AS INTEGER) FROM PostProduct"));
}

Result handbookInsert(const fs::path& dir, int64_t) {
  Db db = open(dir / "handbook.sqlite");
  exec(db.get(), productSchema());
  std::string json = readAll(dir / "payload-v1.json");
  auto start = Clock::now();
  int64_t count = storeProducts(db.get(), json);
  double seconds = since(start);
  return {count, seconds, caloriesCheck(db.get())};
}

// The posts of the category holding the most posts (the lowest id among equals), whole rows
// in id order, every column read once.
Result handbookFetchCategory(const fs::path& dir, int64_t) {
  Db db = open(dir / "handbook.sqlite");
  exec(db.get(), productSchema());
  storeProducts(db.get(), readAll(dir / "payload-v1.json"));
  int64_t category = queryInt(db.get(),
                              "SELECT category_id FROM PostProduct GROUP BY category_id "
                              "ORDER BY count(*) DESC, category_id LIMIT 1");
  auto start = Clock::now();
  Stmt select = prepare(db.get(), "SELECT * FROM PostProduct WHERE category_id = ? ORDER BY id");
  sqlite3_bind_int64(select.get(), 1, category);
  int64_t count = 0, idSum = 0;
  double touched = 0;
  int rc;
  while ((rc = sqlite3_step(select.get())) == SQLITE_ROW) {
    ++count;
    idSum += sqlite3_column_int64(select.get(), 0);
    for (int c = 1; c < sqlite3_column_count(select.get()); ++c) {
      if (sqlite3_column_type(select.get(), c) == SQLITE_TEXT)
        touched += sqlite3_column_bytes(select.get(), c);
      else
        touched += sqlite3_column_double(select.get(), c);
    }
  }
  if (rc != SQLITE_DONE) fail(db.get(), "step");
  double seconds = since(start);
  if (touched < 0) std::fprintf(stderr, "%f\n", touched);  // keeps the reads
  return {count, seconds, std::to_string(idSum)};
}

Result handbookUpdate(const fs::path& dir, int64_t) {
  Db db = open(dir / "handbook.sqlite");
  exec(db.get(), productSchema());
  storeProducts(db.get(), readAll(dir / "payload-v1.json"));
  std::string json = readAll(dir / "payload-v2.json");
  auto start = Clock::now();
  int64_t count = storeProducts(db.get(), json);
  double seconds = since(start);
  return {count, seconds, caloriesCheck(db.get())};
}

const std::map<std::string, std::function<Result(const fs::path&, int64_t)>>& workloads() {
  static const std::map<std::string, std::function<Result(const fs::path&, int64_t)>> table = {
      {"store.insert", storeInsert},
      {"store.fetch_indexed", storeFetchIndexed},
      {"store.count", storeCount},
      {"map.insert", [](const fs::path& d, int64_t n) { return mapInsert(d, n, false); }},
      {"map.update", [](const fs::path& d, int64_t n) { return mapInsert(d, n, true); }},
      {"map.nested", mapNested},
      {"handbook.insert", handbookInsert},
      {"handbook.update", handbookUpdate},
      {"handbook.fetch_category", handbookFetchCategory},
  };
  return table;
}

}  // namespace

int main(int argc, char** argv) {
  std::string workload, dataDir;
  int64_t records = -1;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) throw std::invalid_argument(arg + " needs a value");
      return argv[++i];
    };
    try {
      if (arg == "--list") {
        for (const auto& [name, run] : workloads()) std::cout << name << '\n';
        return 0;
      } else if (arg == "--workload") {
        workload = next();
      } else if (arg == "--records") {
        records = std::stoll(next());
      } else if (arg == "--data-dir") {
        dataDir = next();
      } else {
        throw std::invalid_argument("unknown argument " + arg);
      }
    } catch (const std::exception& error) {
      std::cerr << error.what() << '\n';
      return 2;
    }
  }
  auto found = workloads().find(workload);
  if (found == workloads().end() || records <= 0 || dataDir.empty()) {
    std::cerr << "usage: " << argv[0] << " --list | --workload NAME --records N --data-dir DIR\n";
    return 2;
  }
  try {
    Result result = found->second(dataDir, records);
    std::cout << "{\"workload\":\"" << workload << "\",\"impl\":\"" << kImpl
              << "\",\"records\":" << result.records << ",\"seconds\":" << result.seconds
              << ",\"check\":\"" << result.check << "\"}" << std::endl;
  } catch (const std::exception& error) {
    std::cerr << workload << ": " << error.what() << '\n';
    return 1;
  }
  return 0;
}
