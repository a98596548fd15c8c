// The storage limit for nutrition.map_plan: the same diet rows (diets, meals, product lines
// with their alternatives kept as bytes) parsed with simdjson's DOM and inserted by prepared
// statements in one transaction (WAL, synchronous=NORMAL). `--records` is the number of days.
#include <sqlite3.h>

#include <simdjson.h>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "BenchmarkArguments.h"
#include "DietPlanPayload.h"
#include "RawSQLite.h"

namespace {

using Clock = std::chrono::steady_clock;

using bench::raw::Db;
using bench::raw::exec;
using bench::raw::fail;
using bench::raw::prepare;
using bench::raw::Stmt;

void step(sqlite3* db, sqlite3_stmt* stmt) {
  if (sqlite3_step(stmt) != SQLITE_DONE) fail(db, "step");
  sqlite3_reset(stmt);
}

// "2024-01-01T12:00:00Z" as seconds since 1970.
double serverDate(std::string_view text) {
  std::tm tm{};
  if (!strptime(std::string(text).c_str(), "%Y-%m-%dT%H:%M:%SZ", &tm)) return 0;
  return static_cast<double>(timegm(&tm));
}

void bindText(sqlite3_stmt* stmt, int index, std::string_view text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

int run(const bench::Arguments& arguments) {
  const std::string payload = bench::dietPlanPayload(arguments.records);
  sqlite3* raw = nullptr;
  const auto file = std::filesystem::path(arguments.dataDir) / "diets.sqlite";
  if (sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
      SQLITE_OK)
    fail(raw, "open");
  Db db(raw);
  exec(raw, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
  exec(raw,
       "CREATE TABLE Diet (entityID INTEGER UNIQUE, courseId INTEGER, status TEXT, date REAL, "
       "notValid INTEGER, commonRecommendations TEXT, desiredCalories REAL, desiredProteins "
       "REAL, desiredFats REAL, desiredCarbohydrates REAL);"
       "CREATE INDEX DietCourse ON Diet(courseId); CREATE INDEX DietDate ON Diet(date);"
       "CREATE TABLE Meal (entityID INTEGER UNIQUE, dietId INTEGER, consumeTime TEXT);"
       "CREATE INDEX MealDiet ON Meal(dietId);"
       "CREATE TABLE Line (entityID INTEGER UNIQUE, mealId INTEGER, ord INTEGER, "
       "handbookPostID INTEGER, amountToConsume REAL, alternatives BLOB, position INTEGER, "
       "comment TEXT);"
       "CREATE INDEX LineMeal ON Line(mealId);");

  const auto start = Clock::now();
  simdjson::dom::parser parser;
  simdjson::dom::element document = parser.parse(payload);
  Stmt diet = prepare(raw, "INSERT INTO Diet VALUES (?,?,?,?,?,?,?,?,?,?)");
  Stmt meal = prepare(raw, "INSERT INTO Meal VALUES (?,?,?)");
  Stmt line = prepare(raw, "INSERT INTO Line VALUES (?,?,?,?,?,?,?,?)");
  exec(raw, "BEGIN");
  std::size_t rows = 0, lines = 0;
  for (simdjson::dom::object d : document["diets"].get_array()) {
    const std::int64_t dietId = d["id"].get_int64();
    sqlite3_bind_int64(diet.get(), 1, dietId);
    sqlite3_bind_int64(diet.get(), 2, d["course_id"].get_int64());
    bindText(diet.get(), 3, d["status"].get_string().value());
    sqlite3_bind_double(diet.get(), 4, serverDate(d["date"].get_string().value()));
    sqlite3_bind_int64(diet.get(), 5, d["not_valid"].get_int64());
    bindText(diet.get(), 6, d["common_advices"].get_string().value());
    sqlite3_bind_double(diet.get(), 7, double(d["desired_energy_value"].get_int64()));
    sqlite3_bind_double(diet.get(), 8, double(d["desired_protein_amount"].get_int64()));
    sqlite3_bind_double(diet.get(), 9, double(d["desired_fats_amount"].get_int64()));
    sqlite3_bind_double(diet.get(), 10, double(d["desired_carbohydrate_amount"].get_int64()));
    step(raw, diet.get());
    ++rows;
    for (simdjson::dom::object m : d["meals"].get_array()) {
      const std::int64_t mealId = m["id"].get_int64();
      sqlite3_bind_int64(meal.get(), 1, mealId);
      sqlite3_bind_int64(meal.get(), 2, dietId);
      bindText(meal.get(), 3, m["time"].get_string().value());
      step(raw, meal.get());
      ++rows;
      int order = 0;
      for (simdjson::dom::object l : m["products"].get_array()) {
        sqlite3_bind_int64(line.get(), 1, l["id"].get_int64());
        sqlite3_bind_int64(line.get(), 2, mealId);
        sqlite3_bind_int64(line.get(), 3, order++);
        sqlite3_bind_int64(line.get(), 4, l["post_product_id"].get_int64());
        sqlite3_bind_double(line.get(), 5, double(l["product_portion"].get_int64()));
        std::string alternatives;
        if (simdjson::dom::element list; !l["alternatives"].get(list))
          alternatives = simdjson::minify(list);
        if (alternatives.empty())
          sqlite3_bind_null(line.get(), 6);
        else
          sqlite3_bind_blob(line.get(), 6, alternatives.data(),
                            static_cast<int>(alternatives.size()), SQLITE_TRANSIENT);
        sqlite3_bind_int64(line.get(), 7, l["number"].get_int64());
        if (std::string_view comment; !l["comment"].get(comment))
          bindText(line.get(), 8, comment);
        else
          sqlite3_bind_null(line.get(), 8);
        step(raw, line.get());
        ++rows;
        ++lines;
      }
    }
  }
  exec(raw, "COMMIT");
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf(
      "{\"workload\":\"nutrition.map_plan\",\"impl\":\"raw SQLite\",\"records\":%zu,"
      "\"seconds\":%.6f,\"check\":\"%zu lines\",\"payload_bytes\":%zu}\n",
      rows, seconds, lines, payload.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bench::Arguments arguments;
  arguments.records = 365;
  if (auto status = bench::parseArguments(argc, argv, "NutritionRawSQLiteBenchmark",
                                          {"nutrition.map_plan"}, arguments))
    return *status;
  if (arguments.workload != "nutrition.map_plan")
    return bench::usage("NutritionRawSQLiteBenchmark",
                        "unknown workload '" + arguments.workload + "'");
  if (arguments.dataDir.empty() || arguments.records <= 0)
    return bench::usage("NutritionRawSQLiteBenchmark",
                        "--data-dir and a positive --records are needed");
  try {
    return run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "nutrition.map_plan failed: " << error.what() << "\n";
    return 1;
  }
}
