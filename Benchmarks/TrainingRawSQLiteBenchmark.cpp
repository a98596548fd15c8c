// The storage limit for training.map_course: the same course and history payloads parsed with
// simdjson's DOM and upserted with prepared statements in one transaction (WAL,
// synchronous=NORMAL), one table per record kind. Command line: Benchmarks/README.md.
#include <sqlite3.h>

#include <simdjson.h>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "BenchmarkArguments.h"
#include "TrainingPayload.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

using Db = std::unique_ptr<sqlite3, int (*)(sqlite3*)>;
using Stmt = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  throw std::runtime_error(what + ": " + sqlite3_errmsg(db));
}

void exec(sqlite3* db, const char* sql) {
  if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(db, sql);
}

Stmt prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) fail(db, sql);
  return Stmt(statement, sqlite3_finalize);
}

void step(sqlite3* db, sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE) fail(db, "step");
  sqlite3_reset(statement);
}

void bindText(sqlite3_stmt* s, int column, std::string_view text) {
  sqlite3_bind_text(s, column, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// Binds a number field when present, NULL otherwise.
void bindNumber(sqlite3_stmt* s, int column, simdjson::dom::object object, const char* key) {
  double value;
  if (object[key].get_double().get(value) == simdjson::SUCCESS)
    sqlite3_bind_double(s, column, value);
  else
    sqlite3_bind_null(s, column);
}

void bindString(sqlite3_stmt* s, int column, simdjson::dom::object object, const char* key) {
  std::string_view value;
  if (object[key].get_string().get(value) == simdjson::SUCCESS)
    bindText(s, column, value);
  else
    sqlite3_bind_null(s, column);
}

constexpr const char* kSchema =
    "CREATE TABLE course (id INTEGER PRIMARY KEY, name TEXT, status TEXT, template_id INTEGER);"
    "CREATE TABLE training_day (id INTEGER PRIMARY KEY, course_id INTEGER, title TEXT, "
    "position INTEGER, location_type TEXT);"
    "CREATE INDEX training_day_course ON training_day(course_id);"
    "CREATE TABLE exercise (id INTEGER PRIMARY KEY, training_day_id INTEGER, post_exercise_id "
    "INTEGER, position INTEGER, superset INTEGER, top_connection INTEGER, bottom_connection "
    "INTEGER, set_type TEXT, handbook_type TEXT, weight_type TEXT, recommended_sets INTEGER, "
    "recommended_repeats INTEGER, recommended_weight REAL, recommended_percent REAL, rest_time "
    "INTEGER, sets INTEGER, comment TEXT, pyramid TEXT);"
    "CREATE INDEX exercise_day ON exercise(training_day_id);"
    "CREATE INDEX exercise_post ON exercise(post_exercise_id);"
    "CREATE TABLE completed_set (guid TEXT PRIMARY KEY, id INTEGER, exercise_id INTEGER, "
    "post_exercise_id INTEGER, course_id INTEGER, value REAL, repeats INTEGER, value_type "
    "INTEGER, executed_at TEXT);"
    "CREATE INDEX completed_set_exercise ON completed_set(exercise_id);"
    "CREATE INDEX completed_set_executed ON completed_set(executed_at);"
    "CREATE INDEX completed_set_course ON completed_set(course_id);";

struct Counts {
  long days = 0, exercises = 0, sets = 0;
};

void storeCourses(sqlite3* db, const std::string& json, Counts& counts) {
  simdjson::dom::parser parser;
  simdjson::dom::element document = parser.parse(json);
  Stmt course = prepare(db,
                        "INSERT INTO course VALUES (?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
                        "name=excluded.name, status=excluded.status, "
                        "template_id=excluded.template_id");
  Stmt day = prepare(db,
                     "INSERT INTO training_day VALUES (?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
                     "course_id=excluded.course_id, title=excluded.title, "
                     "position=excluded.position, location_type=excluded.location_type");
  Stmt exercise =
      prepare(db, "INSERT OR REPLACE INTO exercise VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  for (simdjson::dom::object c : document["courses"].get_array()) {
    sqlite3_stmt* s = course.get();
    const std::int64_t courseId = c["id"].get_int64();
    sqlite3_bind_int64(s, 1, courseId);
    bindString(s, 2, c, "name");
    bindString(s, 3, c, "course_status");
    bindNumber(s, 4, c, "template_id");
    step(db, s);
    for (simdjson::dom::object d : c["trainingDays"].get_array()) {
      s = day.get();
      const std::int64_t dayId = d["id"].get_int64();
      sqlite3_bind_int64(s, 1, dayId);
      sqlite3_bind_int64(s, 2, courseId);
      bindString(s, 3, d, "title");
      bindNumber(s, 4, d, "position");
      bindString(s, 5, d, "ios_location_type");
      step(db, s);
      ++counts.days;
      for (simdjson::dom::object e : d["exercises"].get_array()) {
        s = exercise.get();
        sqlite3_bind_int64(s, 1, e["id"].get_int64());
        sqlite3_bind_int64(s, 2, dayId);
        bindNumber(s, 3, e, "postExerciseID");
        bindNumber(s, 4, e, "position");
        bindNumber(s, 5, e, "superset");
        bool flag;
        if (e["topSupersetConnection"].get_bool().get(flag) == simdjson::SUCCESS)
          sqlite3_bind_int(s, 6, flag);
        else
          sqlite3_bind_null(s, 6);
        if (e["bottomSupersetConnection"].get_bool().get(flag) == simdjson::SUCCESS)
          sqlite3_bind_int(s, 7, flag);
        else
          sqlite3_bind_null(s, 7);
        bindString(s, 8, e, "set_type");
        bindString(s, 9, e, "handbook_type");
        bindString(s, 10, e, "weight_type");
        bindNumber(s, 11, e, "recommendedSets");
        bindNumber(s, 12, e, "recommendedRepeats");
        bindNumber(s, 13, e, "recommendedWeightValue");
        bindNumber(s, 14, e, "recommendedMaxWeightPercent");
        bindNumber(s, 15, e, "restTime");
        bindNumber(s, 16, e, "sets");
        bindString(s, 17, e, "comment");
        simdjson::dom::array pyramid;
        if (e["recommendedPyramid"].get_array().get(pyramid) == simdjson::SUCCESS)
          bindText(s, 18, simdjson::minify(pyramid));
        else
          sqlite3_bind_null(s, 18);
        step(db, s);
        ++counts.exercises;
      }
    }
  }
}

void storeSets(sqlite3* db, const std::string& json, Counts& counts) {
  simdjson::dom::parser parser;
  simdjson::dom::element document = parser.parse(json);
  Stmt set = prepare(db, "INSERT OR REPLACE INTO completed_set VALUES (?,?,?,?,?,?,?,?,?)");
  sqlite3_stmt* s = set.get();
  for (simdjson::dom::object o : document["completed_sets"].get_array()) {
    bindString(s, 1, o, "guid");
    bindNumber(s, 2, o, "id");
    bindNumber(s, 3, o, "exerciseId");
    bindNumber(s, 4, o, "postExerciseId");
    bindNumber(s, 5, o, "courseId");
    bindNumber(s, 6, o, "value");
    bindNumber(s, 7, o, "repeats");
    bindNumber(s, 8, o, "value_type");
    bindString(s, 9, o, "executedAt");
    step(db, s);
    ++counts.sets;
  }
}

int mapCourse(const fs::path& dir, long n) {
  const std::string course = bench::coursePayload(dir, n, simdjson::SIMDJSON_PADDING);
  std::size_t setCount = 0;
  const std::string history = bench::historyPayload(course, &setCount, simdjson::SIMDJSON_PADDING);
  sqlite3* raw = nullptr;
  if (sqlite3_open((dir / "training.sqlite").c_str(), &raw) != SQLITE_OK)
    throw std::runtime_error("cannot open the database");
  Db db(raw, sqlite3_close);
  exec(db.get(), "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
  exec(db.get(), kSchema);

  Counts counts;
  const auto start = Clock::now();
  exec(db.get(), "BEGIN");
  storeCourses(db.get(), course, counts);
  storeSets(db.get(), history, counts);
  exec(db.get(), "COMMIT");
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  std::printf(
      "{\"workload\":\"training.map_course\",\"impl\":\"raw SQLite\",\"records\":%ld,"
      "\"seconds\":%.6f,\"check\":\"%ld exercises, %ld sets\",\"payload_bytes\":%zu}\n",
      counts.days + counts.exercises + counts.sets, seconds, counts.exercises, counts.sets,
      course.size() + history.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bench::Arguments arguments;
  arguments.records = 100000;
  if (auto status = bench::parseArguments(argc, argv, argv[0], {"training.map_course"}, arguments))
    return *status;
  if (arguments.workload != "training.map_course")
    return bench::usage(argv[0], "unknown workload " + arguments.workload);
  if (arguments.dataDir.empty() || arguments.records <= 0)
    return bench::usage(argv[0], "--records and --data-dir are required");
  try {
    return mapCourse(arguments.dataDir, static_cast<long>(arguments.records));
  } catch (const std::exception& error) {
    std::cerr << arguments.workload << " failed: " << error.what() << "\n";
    return 1;
  }
}
