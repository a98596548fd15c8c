// The progress report: series from corrected sets (removed ones left out), measurements and
// diet weeks in the chosen units and language, and the page as headless Chromium draws it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Measurements/MeasurementEntity.h"
#include "Profile/ProfileTestSupport.h"
#include "Report/ProgressReport.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"

namespace dm::test {
namespace {

namespace fs = std::filesystem;

TEST(SvgLineChartTest, OnePathPerSeriesWithItsPointsAndEscapedLabels) {
  LineChart chart{
      "Squat <&>",
      "Weight, kg",
      "Date",
      {{"Best",
        {{Date(1'764'000'000), 60}, {Date(1'764'086'400), 62.5}, {Date(1'764'172'800), 65}}},
       {"One \"day\"", {{Date(1'764'000'000), 10}}}}};
  const auto svg = renderSvgLineChart(chart);
  EXPECT_NE(svg.find("data-series=\"Best\" data-points=\"3\" d=\"M"), std::string::npos) << svg;
  EXPECT_NE(svg.find("data-series=\"One &quot;day&quot;\" data-points=\"1\" d=\"M"),
            std::string::npos);
  EXPECT_NE(svg.find("aria-label=\"Squat &lt;&amp;&gt;\""), std::string::npos);
  EXPECT_NE(svg.find(">Weight, kg</text>"), std::string::npos);
  // Three points: one move and two lines, all inside the drawing.
  std::smatch path;
  ASSERT_TRUE(std::regex_search(svg, path, std::regex("data-points=\"3\" d=\"([^\"]*)\"")));
  const std::string d = path[1];
  EXPECT_EQ(std::count(d.begin(), d.end(), 'L'), 2);
  std::regex number("-?[0-9.]+");
  for (auto it = std::sregex_iterator(d.begin(), d.end(), number); it != std::sregex_iterator();
       ++it) {
    const double value = std::stod(it->str());
    EXPECT_GE(value, 0);
    EXPECT_LE(value, 720);
  }
  // The lowest value sits lower on the page than the highest.
  std::smatch ys;
  ASSERT_TRUE(std::regex_search(
      d, ys, std::regex("M[0-9.]+ ([0-9.]+) L[0-9.]+ [0-9.]+ L[0-9.]+ ([0-9.]+)")));
  EXPECT_GT(std::stod(ys[1]), std::stod(ys[2]));
}

class ProgressReportTest : public ProfileStoreTest {
 protected:
  void SetUp() override {
    ProfileStoreTest::SetUp();
    UnitsHelper::sharedInstance().setPrefs(prefs);
  }
  void TearDown() override {
    setCurrentInterfaceLanguage("");
    setCurrentLocaleIdentifier("");
    UnitsHelper::sharedInstance().setPrefs(nullptr);
    ProfileStoreTest::TearDown();
  }
  static Date day(const char* text) {
    return dateFromString(std::string(text) + " 12:00", "yyyy-MM-dd HH:mm").value();
  }
  void recordDay() {
    perform([&] {
      auto addSet = [&](const char* guid, const char* when, double kg, std::int64_t repeats) {
        auto* set = insert<ExerciseCompletedSetEntity>();
        set->setGuid(guid);
        set->setExecutedAt(day(when));
        set->setValue(kg);
        set->setRepeats(repeats);
        set->setPostExerciseId(10044);
        return set;
      };
      addSet("a", "2026-11-10", 60, 10);
      addSet("b", "2026-11-10", 70, 5);
      addSet("c", "2026-11-17", 70, 8);
      auto* corrected = insert<ExerciseCompletedSetUpdateEntity>();  // 70 x 8 became 75 x 8
      corrected->setGuid("c");
      corrected->setValue(75);
      corrected->setRepeats(8);
      auto* removed = addSet("d", "2026-11-17", 200, 1);  // a slip of the finger, removed
      removed->setMarkedDeleted(true);
      insert<ExerciseCompletedSetDeleteEntity>()->setGuid("d");

      for (auto [when, weight, waist] :
           {std::tuple{"2026-11-01", 82.0, 90.0}, std::tuple{"2026-11-15", 81.0, 0.0},
            std::tuple{"2026-11-22", 80.5, 88.0}}) {
        auto* measurement = insert<MeasurementEntity>();
        measurement->setDate(day(when));
        measurement->setWeight(weight);
        measurement->setWaist(waist);
      }
      // Two days of one week and one of the next: averages per day of each week.
      for (auto [when, eaten, target] :
           {std::tuple{"2026-11-16", 2000.0, 2100.0}, std::tuple{"2026-11-18", 2300.0, 2100.0},
            std::tuple{"2026-11-24", 1900.0, 2000.0}}) {
        auto* diet = insert<DietEntity>();
        diet->setDate(day(when));
        diet->setCaloriesTotal(static_cast<float>(eaten));
        diet->setDesiredCalories(target);
      }
      context->save();
    });
  }
  static std::vector<double> values(const LineChart& chart, std::size_t series = 0) {
    std::vector<double> result;
    for (const auto& point : chart.series.at(series).points) result.push_back(point.value);
    return result;
  }
};

TEST_F(ProgressReportTest, SeriesComeFromCorrectedSetsMeasurementsAndDietWeeks) {
  recordDay();
  UnitsHelper::sharedInstance().setWeightUnitsValue(0);
  UnitsHelper::sharedInstance().setHeightUnitsValue(0);
  std::vector<ProgressReportSection> sections;
  perform([&] { sections = collectProgressReport(*context); });
  ASSERT_EQ(sections.size(), 3u);
  ASSERT_EQ(sections[0].charts.size(), 2u);  // best set and volume of the one exercise
  EXPECT_EQ(values(sections[0].charts[0]), (std::vector<double>{70, 75}));
  EXPECT_EQ(values(sections[0].charts[1]), (std::vector<double>{950, 600}));
  ASSERT_EQ(sections[1].charts.size(), 2u);
  EXPECT_EQ(values(sections[1].charts[0]), (std::vector<double>{82, 81, 80.5}));
  EXPECT_EQ(values(sections[1].charts[1]), (std::vector<double>{90, 88}));  // 0 is no value
  ASSERT_EQ(sections[2].charts.size(), 1u);
  EXPECT_EQ(values(sections[2].charts[0], 0), (std::vector<double>{2150, 1900}));
  EXPECT_EQ(values(sections[2].charts[0], 1), (std::vector<double>{2100, 2000}));
  EXPECT_EQ(stringFromDate(sections[2].charts[0].series[0].points[0].date, "yyyy-MM-dd"),
            "2026-11-16");  // the week's Monday

  // Imperial units and Russian labels.
  setCurrentInterfaceLanguage("ru");
  UnitsHelper::sharedInstance().setWeightUnitsValue(1);
  UnitsHelper::sharedInstance().setHeightUnitsValue(1);
  perform([&] { sections = collectProgressReport(*context); });
  EXPECT_NEAR(values(sections[0].charts[0])[1], 165.3, 0.001);  // to a tenth
  EXPECT_NEAR(values(sections[1].charts[1])[0], 35.4, 0.001);
  EXPECT_EQ(sections[1].charts[0].valueAxisLabel, "Вес, фунт");
  EXPECT_EQ(sections[2].heading, "Соблюдение диеты по неделям");
}

// The path of the browser, or "" when it is not installed here.
std::string chromium() {
  for (const char* candidate : {"/usr/bin/chromium", "/usr/bin/chromium-browser"})
    if (fs::exists(candidate)) return candidate;
  return "";
}

TEST_F(ProgressReportTest, HeadlessChromiumDrawsEveryChart) {
  const auto browser = chromium();
  if (browser.empty()) GTEST_SKIP() << "chromium is not installed (scripts/install-deps adds it)";
  recordDay();
  setCurrentInterfaceLanguage("ru");
  UnitsHelper::sharedInstance().setWeightUnitsValue(1);
  UnitsHelper::sharedInstance().setHeightUnitsValue(0);
  fs::path page;
  perform([&] { page = writeProgressReport(*context, dir / "report"); });

  const auto profile = dir / "chromium-profile";
  const std::string common = "timeout 120 " + browser +
                             " --headless --no-sandbox --disable-gpu --no-first-run"
                             " --user-data-dir=" +
                             profile.string() + " ";
  const auto dom = dir / "dom.html", shot = dir / "report.png";
  ASSERT_EQ(std::system((common + "--dump-dom file://" + page.string() + " > " + dom.string() +
                         " 2>/dev/null")
                            .c_str()),
            0);
  ASSERT_EQ(std::system((common + "--window-size=1280,2400 --screenshot=" + shot.string() +
                         " file://" + page.string() + " > /dev/null 2>&1")
                            .c_str()),
            0);
  EXPECT_GT(fs::file_size(shot), 10'000u) << "the screenshot is blank";
  RecordProperty("screenshot", shot.string());

  const std::string drawn = readFile(dom);
  std::vector<std::string> counts;
  std::regex path(
      "<path class=\"series\" data-series=\"([^\"]*)\" data-points=\"([0-9]+)\" d=\"(M[^\"]+)\"");
  for (auto it = std::sregex_iterator(drawn.begin(), drawn.end(), path);
       it != std::sregex_iterator(); ++it)
    counts.push_back((*it)[1].str() + " " + (*it)[2].str());
  EXPECT_EQ(counts, (std::vector<std::string>{"Лучший подход 2", "Объём 2", "Вес тела 3", "Талия 2",
                                              "Съедено 2", "Цель 2"}));
  EXPECT_NE(drawn.find(">Вес, фунт</text>"), std::string::npos);
  EXPECT_NE(drawn.find(">Обхваты, см</text>"), std::string::npos);
  EXPECT_NE(drawn.find("<h1>Отчёт о прогрессе</h1>"), std::string::npos);
}

}  // namespace
}  // namespace dm::test
