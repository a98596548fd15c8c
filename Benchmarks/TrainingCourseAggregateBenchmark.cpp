// training.course_screen, the storage limit: the same day totals as the course screen (sets,
// kilograms, minutes, seconds, repeats per published day, corrections applied, removed sets
// left out) computed by one SQL aggregate query on the same store file, raw SQLite with a
// prepared statement. It computes no progress, so it bounds what the totals alone cost.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "BenchmarkArguments.h"
#include "TrainingCourseFixture.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRepetitions = 15;

// The store's tables: sets s, their exercise e, its day d and the day's course c; the
// pending correction u joined by guid.
constexpr const char* kQuery = R"(
SELECT count(*),
  sum(CASE WHEN e.handbookTypeString = 'power'
      THEN coalesce(u.value, s.value) * coalesce(u.repeats, s.repeats) ELSE 0 END),
  sum(CASE WHEN e.handbookTypeString = 'cardio' THEN coalesce(u.value, s.value) ELSE 0 END),
  sum(CASE WHEN e.handbookTypeString = 'functional_seconds'
      THEN coalesce(u.value, s.value) ELSE 0 END),
  sum(CASE WHEN e.handbookTypeString IN ('power', 'functional_repeats')
      THEN coalesce(u.repeats, s.repeats) ELSE 0 END)
FROM ExerciseCompletedSetEntity s
JOIN Exercise e ON e._pk = s._fk_exersice
JOIN TrainingDayEntity d ON d._pk = e._fk_trainingDay
JOIN TrainingCourseEntity c ON c._pk = d._fk_cource
LEFT JOIN ExerciseCompletedSetUpdateEntity u ON u.guid = s.guid
WHERE c.entityID = ?1
  AND coalesce(s.markedDeleted, 0) = 0
  AND d.entityStatusString = 'published' AND coalesce(d.markDeleted, 0) = 0
GROUP BY d._pk)";

}  // namespace

int main(int argc, char** argv) {
  bench::Arguments args;
  args.records = bench::kWeeks * bench::kDaysPerWeek;
  if (auto status = bench::parseArguments(argc, argv, "TrainingCourseAggregateBenchmark",
                                          {"training.course_screen"}, args))
    return *status;
  if (args.workload != "training.course_screen" || args.dataDir.empty())
    return bench::usage("TrainingCourseAggregateBenchmark",
                        "--workload training.course_screen and --data-dir needed");
  sqlite3* db = nullptr;
  try {
    std::string path;
    {
      auto store = bench::openTrainingStore(args.dataDir);
      if (!store || store->isInMemory()) throw std::runtime_error("the main store did not open");
      bench::fillTrainingCourse(*store->persistentStoreManagedObjectContext());
      path = store->persistentStore()->path();
      dm::ManagedObjectStore::resetSharedInstance();
    }
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
      throw std::runtime_error("cannot open " + path);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, kQuery, -1, &statement, nullptr) != SQLITE_OK)
      throw std::runtime_error(std::string("query: ") + sqlite3_errmsg(db));

    std::vector<double> seconds;
    std::size_t days = 0;
    std::int64_t sets = 0;
    double kilograms = 0;
    for (int run = 0; run <= kRepetitions; ++run) {  // run 0 warms the page cache
      auto begin = Clock::now();
      sqlite3_reset(statement);
      sqlite3_bind_int64(statement, 1, bench::kCourseId);
      days = 0;
      sets = 0;
      kilograms = 0;
      double minutes = 0, secondsDone = 0, repeats = 0;
      while (sqlite3_step(statement) == SQLITE_ROW) {
        ++days;
        sets += sqlite3_column_int64(statement, 0);
        kilograms += sqlite3_column_double(statement, 1);
        minutes += sqlite3_column_double(statement, 2);
        secondsDone += sqlite3_column_double(statement, 3);
        repeats += sqlite3_column_double(statement, 4);
      }
      if (run > 0) seconds.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
      if (minutes < 0 || secondsDone < 0 || repeats < 0) throw std::runtime_error("bad sums");
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    std::sort(seconds.begin(), seconds.end());
    double p50 = seconds[seconds.size() / 2];
    std::cerr << "training.course_screen (SQL aggregate): " << days << " days with sets, p50 "
              << p50 * 1000 << " ms\n";
    // Days without sets give no row here; the screen lists every day, so records are the
    // course's days in both programs.
    std::printf(
        R"({"workload":"training.course_screen","impl":"raw SQLite","records":%lld,"seconds":%.6f,"check":"%lld sets, %lld kg","p50_ms":%.4f})"
        "\n",
        static_cast<long long>(bench::kWeeks * bench::kDaysPerWeek), p50,
        static_cast<long long>(sets), static_cast<long long>(std::llround(kilograms)), p50 * 1000);
    return 0;
  } catch (const std::exception& error) {
    if (db) sqlite3_close(db);
    std::cerr << "TrainingCourseAggregateBenchmark: " << error.what() << "\n";
    return 1;
  }
}
