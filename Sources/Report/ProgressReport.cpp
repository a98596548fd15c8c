// Collecting the report's series from the main store and writing the page.
#include "Report/ProgressReport.h"

#include <cmath>
#include <fstream>
#include <map>
#include <stdexcept>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Measurements/MeasurementEntity.h"
#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/TypedFetch.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {
namespace {

constexpr double kDay = 86400;

std::string text(const char* key) {
  return localizedString(key).value_or(key);
}

std::string withUnit(const std::string& label, const std::optional<std::string>& unit) {
  return unit && !unit->empty() ? label + ", " + *unit : label;
}

// The day (UTC midnight of the local calendar day) a moment falls on, for grouping.
Date dayOf(Date date) {
  return startOfDay(date);
}

std::string exerciseTitle(std::int64_t postExerciseId) {
  if (postExerciseId != 0) {
    try {
      if (auto* post = HandbookAdapter::shared().getPostExerciseEntity(postExerciseId);
          post && !post->title().empty())
        return post->title();
    } catch (const std::exception&) {
      // No handbook at hand: the number names the exercise.
    }
  }
  return "#" + std::to_string(postExerciseId);
}

ProgressReportSection exercisesSection(ManagedObjectContext& context) {
  ProgressReportSection section{text("Report.Exercises"), {}};
  struct Day {
    double best = 0, volume = 0;
  };
  std::map<std::int64_t, std::map<double, Day>> byExercise;  // post exercise -> day -> values
  for (auto* set :
       fetchRecords<ExerciseCompletedSetEntity>(context, std::nullopt, {{"executedAt", true}})) {
    if (set->markedDeleted() || !set->hasExecutedAt() || set->deleteEntity()) continue;
    const double weight = set->updatedValue().value_or(0);
    const auto repeats = set->updatedRepeats().value_or(0);
    if (weight <= 0 || repeats <= 0) continue;  // not a set with a weight
    const std::int64_t exercise =
        set->hasPostExerciseId() ? set->postExerciseId() : set->exerciseId();
    auto& day = byExercise[exercise][dayOf(set->executedAt()).timeIntervalSince1970];
    day.best = std::max(day.best, UnitsHelper::weightToUnits(weight));
    day.volume += UnitsHelper::weightToUnits(weight) * static_cast<double>(repeats);
  }
  const auto weightUnit = UnitsHelper::weightUnitsStringShort();
  for (const auto& [exercise, days] : byExercise) {
    const std::string title = exerciseTitle(exercise);
    ChartSeries best{text("Report.BestSet"), {}}, volume{text("Report.Volume"), {}};
    for (const auto& [day, values] : days) {
      best.points.push_back({Date(day), values.best});
      volume.points.push_back({Date(day), values.volume});
    }
    section.charts.push_back({title + ": " + text("Report.BestSet"),
                              withUnit(text("Report.Weight"), weightUnit),
                              text("Report.Date"),
                              {best}});
    section.charts.push_back({title + ": " + text("Report.Volume"),
                              withUnit(text("Report.Volume"), weightUnit),
                              text("Report.Date"),
                              {volume}});
  }
  return section;
}

ProgressReportSection bodySection(ManagedObjectContext& context) {
  ProgressReportSection section{text("Report.Body"), {}};
  const bool inches = UnitsHelper::heightUnits() == 1;
  auto girth = [&](double centimetres) {
    return inches ? UnitsHelper::cmToIn(centimetres) : centimetres;
  };
  ChartSeries weight{text("Report.BodyWeight"), {}};
  ChartSeries waist{text("Report.Waist"), {}}, chest{text("Report.Chest"), {}},
      thigh{text("Report.Thigh"), {}};
  for (auto* measurement :
       fetchRecords<MeasurementEntity>(context, std::nullopt, {{"date", true}})) {
    if (!measurement->hasDate()) continue;
    const Date date = measurement->date();
    if (measurement->weight() > 0)
      weight.points.push_back({date, UnitsHelper::weightToUnits(measurement->weight())});
    if (measurement->waist() > 0) waist.points.push_back({date, girth(measurement->waist())});
    if (measurement->chest() > 0) chest.points.push_back({date, girth(measurement->chest())});
    if (measurement->leftHip() > 0) thigh.points.push_back({date, girth(measurement->leftHip())});
  }
  if (!weight.points.empty())
    section.charts.push_back(
        {text("Report.BodyWeight"),
         withUnit(text("Report.Weight"), UnitsHelper::weightUnitsStringShort()),
         text("Report.Date"),
         {weight}});
  std::vector<ChartSeries> girths;
  for (auto* series : {&waist, &chest, &thigh})
    if (!series->points.empty()) girths.push_back(std::move(*series));
  if (!girths.empty())
    section.charts.push_back(
        {text("Report.Girths"),
         withUnit(text("Report.Girths"), UnitsHelper::heightUnitsStringShort()),
         text("Report.Date"), std::move(girths)});
  return section;
}

ProgressReportSection dietSection(ManagedObjectContext& context) {
  ProgressReportSection section{text("Report.Diet"), {}};
  struct Week {
    double eaten = 0, target = 0;
    int days = 0;
  };
  std::map<double, Week> weeks;  // Monday of the week -> sums
  for (auto* diet : fetchRecords<DietEntity>(context, std::nullopt, {{"date", true}})) {
    if (!diet->hasDate()) continue;
    if (diet->caloriesTotal() == 0) diet->calculateTotals();  // totals from the handbook
    // Days counted at local noon, so any time zone lands on its own calendar day.
    const double day = std::floor((dayOf(diet->date()).timeIntervalSince1970 + kDay / 2) / kDay);
    // 1970-01-01 was a Thursday: three days after a Monday.
    const double monday = (day - std::fmod(day + 3, 7)) * kDay;
    auto& week = weeks[monday];
    week.eaten += diet->caloriesTotal();
    week.target += diet->desiredCalories();
    ++week.days;
  }
  if (weeks.empty()) return section;
  ChartSeries eaten{text("Report.Eaten"), {}}, target{text("Report.Target"), {}};
  for (const auto& [monday, week] : weeks) {
    const Date noon(monday + kDay / 2);
    eaten.points.push_back({noon, std::round(week.eaten / week.days)});
    target.points.push_back({noon, std::round(week.target / week.days)});
  }
  section.charts.push_back(
      {text("Report.Diet"),
       withUnit(text("Report.CaloriesPerDay"), UnitsHelper::caloriesUnitsStringShort()),
       text("Report.Week"),
       {eaten, target}});
  return section;
}

}  // namespace

std::vector<ProgressReportSection> collectProgressReport(ManagedObjectContext& context) {
  return {exercisesSection(context), bodySection(context), dietSection(context)};
}

std::string renderProgressReportHtml(const std::vector<ProgressReportSection>& sections) {
  const std::string language = currentInterfaceLanguage();
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"" + escapeMarkup(language.empty() ? "en" : language) +
      "\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + escapeMarkup(text("Report.Title")) +
      "</title>\n<style>\n"
      "body{font-family:sans-serif;margin:24px;color:#222;background:#fafafa}\n"
      "h1{font-size:22px}h2{font-size:18px;margin-top:28px}\n"
      "figure{margin:12px 0;display:inline-block;vertical-align:top}\n"
      "figcaption{font-size:13px;margin-bottom:4px}\n"
      ".empty{color:#777}\n</style>\n</head>\n<body>\n<h1>" +
      escapeMarkup(text("Report.Title")) + "</h1>\n";
  for (const auto& section : sections) {
    html += "<section>\n<h2>" + escapeMarkup(section.heading) + "</h2>\n";
    if (section.charts.empty())
      html += "<p class=\"empty\">" + escapeMarkup(text("Report.NoData")) + "</p>\n";
    for (const auto& chart : section.charts)
      html += "<figure>\n<figcaption>" + escapeMarkup(chart.title) + "</figcaption>\n" +
              renderSvgLineChart(chart) + "</figure>\n";
    html += "</section>\n";
  }
  html += "</body>\n</html>\n";
  return html;
}

std::filesystem::path writeProgressReport(ManagedObjectContext& context,
                                          const std::filesystem::path& directory) {
  const auto html = renderProgressReportHtml(collectProgressReport(context));
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error)
    throw std::runtime_error("cannot create " + directory.string() + ": " + error.message());
  const auto page = directory / "report.html";
  const auto partial = directory / "report.html.partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    out << html;
    out.flush();
    if (!out) throw std::runtime_error("cannot write " + partial.string());
  }
  std::filesystem::rename(partial, page, error);
  if (error) throw std::runtime_error("cannot write " + page.string() + ": " + error.message());
  return page;
}

}  // namespace dm
