// training.course_screen: the course screen of a 48-week course with a year of history (days
// by week with the work done on each and its progress), built from the store file by the
// library. The measured time is the median of several builds, each in a fresh context.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <vector>

#include "BenchmarkArguments.h"
#include "Training/TrainingCourseScreen.h"
#include "TrainingCourseFixture.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRepetitions = 15;

}  // namespace

int main(int argc, char** argv) {
  bench::Arguments args;
  args.records = bench::kWeeks * bench::kDaysPerWeek;
  if (auto status = bench::parseArguments(argc, argv, "TrainingCourseBenchmark",
                                          {"training.course_screen"}, args))
    return *status;
  if (args.workload != "training.course_screen" || args.dataDir.empty())
    return bench::usage("TrainingCourseBenchmark",
                        "--workload training.course_screen and "
                        "--data-dir needed");
  try {
    auto store = bench::openTrainingStore(args.dataDir);
    if (!store || store->isInMemory()) throw std::runtime_error("the main store did not open");
    auto sets = bench::fillTrainingCourse(*store->persistentStoreManagedObjectContext());

    std::vector<double> seconds;
    std::size_t days = 0, counted = 0;
    double kilograms = 0, progress = 0;
    for (int run = 0; run <= kRepetitions; ++run) {  // run 0 warms caches, not counted
      auto context = store->newPrivateQueueContext("screen");
      auto begin = Clock::now();
      context->performAndWait([&] {
        auto* course = dm::TrainingCourseEntity::entity(*context, bench::kCourseId);
        if (!course) throw std::runtime_error("the course is not stored");
        auto screen = dm::trainingCourseScreen(*course);
        days = screen.days.size();
        counted = 0;
        kilograms = progress = 0;
        for (const auto& day : screen.days) {
          counted += day.totals.sets;
          kilograms += day.totals.kilograms;
          progress += day.progress;
        }
      });
      if (run > 0) seconds.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
    }
    std::sort(seconds.begin(), seconds.end());
    double p50 = seconds[seconds.size() / 2];
    std::cerr << "training.course_screen: " << days << " days, " << sets << " sets written, "
              << counted << " counted; p50 " << p50 * 1000 << " ms, p90 "
              << seconds[seconds.size() * 9 / 10] * 1000 << " ms; mean progress "
              << progress / static_cast<double>(std::max<std::size_t>(days, 1)) << "\n";
    std::printf(
        R"({"workload":"training.course_screen","impl":"DataModel","records":%zu,"seconds":%.6f,"check":"%zu sets, %lld kg","p50_ms":%.4f})"
        "\n",
        days, p50, counted, static_cast<long long>(std::llround(kilograms)), p50 * 1000);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "TrainingCourseBenchmark: " << error.what() << "\n";
    return 1;
  }
}
