// The reference for `dmctl handbook apply-update`: the same payload parsed in place with
// simdjson on-demand and the same product rows and columns the handbook store keeps, written
// with prepared statements in one transaction. Timed as a whole (reading the file, opening
// the database, writing, closing), like the dmctl process it is compared with.
#include <sqlite3.h>

#include <simdjson.h>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BenchmarkArguments.h"
#include "ReadPayload.h"
#include "StoredShape.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Payload key -> stored column, as the handbook store names them.
const std::vector<std::pair<std::string_view, std::string_view>> kColumns = {
    {"id", "entityID"},
    {"title", "title"},
    {"created_at", "createdAt"},
    {"updated_at", "updatedAt"},
    {"status", "statusString"},
    {"category_id", "categoryID"},
    {"description", "desc"},
    {"calories", "calories"},
    {"density_of_calories_index", "densityOfCaloriesIndex"},
    {"proteins", "proteins"},
    {"fats", "fats"},
    {"carbohydrates", "carbohydrates"},
    {"cellulose", "cellulose"},
    {"cholesterol", "cholesterol"},
    {"saturated_fats", "saturatedFats"},
    {"monounsaturated_fats", "monounsaturatedFats"},
    {"polyunsaturated_fats", "polyunsaturatedFats"},
    {"trans_fatty_acids", "transFattyAcids"},
    {"beta_carotene", "betaCarotene"},
    {"vitamin_a", "vitaminA"},
    {"vitamin_b6", "vitaminB6"},
    {"vitamin_b12", "vitaminB12"},
    {"vitamin_d", "vitaminD"},
    {"vitamin_e", "vitaminE"},
    {"vitamin_c", "vitaminC"},
    {"riboflavin", "riboflavin"},
    {"iron", "iron"},
    {"potassium", "potassium"},
    {"calcium", "calcium"},
    {"magnesium", "magnesium"},
    {"cuprum", "cuprum"},
    {"natrium", "natrium"},
    {"phosphorus", "phosphorus"},
    {"zinc", "zinc"},
    {"antioxidant", "antioxidant"},
    {"glycemia_index", "glycemiaIndex"},
    {"inflammatory_factor", "inflammatoryFactor"},
    {"cooking_time", "cookingTime"},
    {"photo", "photo"},
    {"weight", "weight"},
};

// The column the store fills for every product from the update itself, not from its fields.
constexpr std::string_view kNeedsCacheColumn = "isNeedsCache";

struct DbClose {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};
struct StmtFinalize {
  void operator()(sqlite3_stmt* s) const { sqlite3_finalize(s); }
};
using Db = std::unique_ptr<sqlite3, DbClose>;
using Stmt = std::unique_ptr<sqlite3_stmt, StmtFinalize>;

void exec(sqlite3* db, const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "exec failed";
    sqlite3_free(error);
    throw std::runtime_error(message + ": " + sql);
  }
}

Db open(const fs::path& file) {
  sqlite3* raw = nullptr;
  int rc = sqlite3_open(file.c_str(), &raw);
  Db db(raw);
  if (rc != SQLITE_OK) throw std::runtime_error("cannot open " + file.string());
  exec(db.get(), "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
  exec(db.get(),
       "CREATE TABLE IF NOT EXISTS HandbookPostProduct (_pk INTEGER PRIMARY KEY, "
       "entityID INTEGER UNIQUE, title, createdAt, updatedAt, statusString, categoryID, desc, "
       "calories, densityOfCaloriesIndex, proteins, fats, carbohydrates, cellulose, cholesterol, "
       "saturatedFats, monounsaturatedFats, polyunsaturatedFats, transFattyAcids, betaCarotene, "
       "vitaminA, vitaminB6, vitaminB12, vitaminD, vitaminE, vitaminC, riboflavin, iron, "
       "potassium, calcium, magnesium, cuprum, natrium, phosphorus, zinc, antioxidant, "
       "glycemiaIndex, inflammatoryFactor, cookingTime, photo, weight, isNeedsCache);"
       "CREATE INDEX IF NOT EXISTS HandbookPostProduct_categoryID "
       "ON HandbookPostProduct(categoryID)");
  return db;
}

Stmt prepare(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* s = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr) != SQLITE_OK)
    throw std::runtime_error(std::string(sqlite3_errmsg(db)) + ": " + sql);
  return Stmt(s);
}

// Every product row replaced by the payload's values (absent keys become NULL).
std::string upsertSql() {
  std::string columns, marks, updates;
  auto add = [&](std::string_view column) {
    const bool first = columns.empty();
    columns += (first ? "" : ",") + std::string(column);
    marks += first ? "?" : ",?";
    if (column != "entityID")
      updates +=
          (updates.empty() ? "" : ",") + std::string(column) + "=excluded." + std::string(column);
  };
  for (const auto& [key, column] : kColumns) add(column);
  add(kNeedsCacheColumn);
  return "INSERT INTO HandbookPostProduct (" + columns + ") VALUES (" + marks +
         ") ON CONFLICT(entityID) DO UPDATE SET " + updates;
}

void bindText(sqlite3_stmt* s, int index, std::string_view text) {
  sqlite3_bind_text(s, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

void step(sqlite3* db, sqlite3_stmt* s) {
  if (sqlite3_step(s) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(db));
  sqlite3_reset(s);
}

// Reads, parses and writes one update file; returns the products written.
std::int64_t applyUpdate(const fs::path& store, const fs::path& payload) {
  std::string text = bench::readPayload(payload, simdjson::SIMDJSON_PADDING);
  Db db = open(store);
  std::unordered_map<std::string_view, int> parameter;
  for (std::size_t i = 0; i < kColumns.size(); ++i)
    parameter.emplace(kColumns[i].first, static_cast<int>(i) + 1);
  const int needsCacheIndex = static_cast<int>(kColumns.size()) + 1;
  Stmt upsert = prepare(db.get(), upsertSql());
  sqlite3_stmt* s = upsert.get();

  simdjson::ondemand::parser parser;
  simdjson::padded_string_view view(text.data(), text.size(), text.capacity());
  simdjson::ondemand::document doc = parser.iterate(view);
  exec(db.get(), "BEGIN");
  std::int64_t count = 0;
  for (simdjson::ondemand::object record : doc.find_field_unordered("post_products").get_array()) {
    sqlite3_clear_bindings(s);
    for (auto field : record) {
      auto found = parameter.find(field.unescaped_key().value());
      if (found == parameter.end()) continue;
      const int index = found->second;
      simdjson::ondemand::value value = field.value();
      switch (value.type()) {
        case simdjson::ondemand::json_type::number:
          if (value.get_number_type() == simdjson::ondemand::number_type::floating_point_number)
            sqlite3_bind_double(s, index, value.get_double());
          else
            sqlite3_bind_int64(s, index, value.get_int64());
          break;
        case simdjson::ondemand::json_type::string:
          bindText(s, index, value.get_string().value());
          break;
        case simdjson::ondemand::json_type::boolean:
          sqlite3_bind_int(s, index, value.get_bool().value() ? 1 : 0);
          break;
        default:
          break;
      }
    }
    sqlite3_bind_int(s, needsCacheIndex, 0);
    step(db.get(), s);
    ++count;
  }
  exec(db.get(), "COMMIT");
  return count;
}

std::string shapeOf(const fs::path& store) {
  Db db = open(store);
  return bench::storedShape(db.get(), "HandbookPostProduct", "");
}

int usage(const char* message) {
  return bench::usage("HandbookReferenceBenchmark", message);
}

}  // namespace

int main(int argc, char** argv) {
  const char* first = "handbook.apply_update";
  const char* changed = "handbook.apply_update_changed";
  bench::Arguments args;
  if (auto status =
          bench::parseArguments(argc, argv, "HandbookReferenceBenchmark", {first, changed}, args))
    return *status;
  const std::string& workload = args.workload;
  const std::string& dir = args.dataDir;
  if (dir.empty() || (workload != first && workload != changed))
    return usage("--workload and --data-dir needed");
  try {
    fs::path data(dir);
    fs::path store = data / "reference.sqlite";
    if (workload == changed) applyUpdate(store, data / "payload-v1.json");
    auto start = Clock::now();
    std::int64_t count =
        applyUpdate(store, data / (workload == changed ? "payload-v2.json" : "payload-v1.json"));
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const char* line =
        "{\"workload\":\"%s\",\"impl\":\"reference (simdjson + SQLite)\",\"records\":%lld,"
        "\"seconds\":%.6f,\"check\":\"%s\"}\n";
    std::printf(line, workload.c_str(), static_cast<long long>(count), seconds,
                shapeOf(store).c_str());
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "HandbookReferenceBenchmark: " << error.what() << "\n";
    return 1;
  }
}
