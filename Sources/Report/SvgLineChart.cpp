// Line charts as SVG text.
#include "Report/SvgLineChart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "Platform/Foundation/DateFormatting.h"

namespace dm {
namespace {

constexpr double kWidth = 720, kHeight = 300;
constexpr double kLeft = 70, kRight = 20, kTop = 20, kBottom = 60;
const char* const kColors[] = {"#1f77b4", "#d62728", "#2ca02c", "#ff7f0e", "#9467bd", "#8c564b"};

std::string number(double value, int decimals = 1) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  std::string result = text;
  if (result.find('.') != std::string::npos) {
    while (result.back() == '0') result.pop_back();
    if (result.back() == '.') result.pop_back();
  }
  return result == "-0" ? "0" : result;
}

// A step of 1, 2 or 5 times a power of ten giving about `count` intervals over `span`.
double niceStep(double span, int count) {
  if (span <= 0) return 1;
  const double raw = span / count;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  for (double factor : {1.0, 2.0, 5.0, 10.0})
    if (raw <= factor * magnitude) return factor * magnitude;
  return 10 * magnitude;
}

}  // namespace

std::string escapeMarkup(const std::string& text) {
  std::string escaped;
  for (char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string renderSvgLineChart(const LineChart& chart) {
  double minValue = INFINITY, maxValue = -INFINITY, minTime = INFINITY, maxTime = -INFINITY;
  for (const auto& series : chart.series) {
    for (const auto& point : series.points) {
      minValue = std::min(minValue, point.value);
      maxValue = std::max(maxValue, point.value);
      minTime = std::min(minTime, point.date.timeIntervalSince1970);
      maxTime = std::max(maxTime, point.date.timeIntervalSince1970);
    }
  }
  if (!std::isfinite(minValue)) minValue = 0, maxValue = 1, minTime = 0, maxTime = 1;
  // Values start from a nice step below the lowest one, so small changes stay visible.
  const double step = niceStep(std::max(maxValue - minValue, std::abs(maxValue) * 0.05 + 1e-9), 4);
  // A step of room below and above when a value sits on the edge, so no point lies on an axis.
  double low = std::floor(minValue / step) * step;
  // Quantities that cannot be negative keep 0 as their floor.
  if (low >= minValue && !(minValue >= 0 && low - step < 0)) low -= step;
  double high = std::ceil(maxValue / step) * step;
  if (high <= maxValue) high += step;
  const bool oneMoment = maxTime <= minTime;
  if (oneMoment) minTime -= 43200, maxTime += 43200;  // centre the only day

  const double plotWidth = kWidth - kLeft - kRight, plotHeight = kHeight - kTop - kBottom;
  auto x = [&](Date date) {
    return kLeft + (date.timeIntervalSince1970 - minTime) / (maxTime - minTime) * plotWidth;
  };
  auto y = [&](double value) { return kTop + (high - value) / (high - low) * plotHeight; };

  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"chart\" width=\"" +
                    number(kWidth) + "\" height=\"" + number(kHeight) + "\" viewBox=\"0 0 " +
                    number(kWidth) + " " + number(kHeight) + "\" role=\"img\" aria-label=\"" +
                    escapeMarkup(chart.title) + "\">\n";
  svg += "<rect x=\"0\" y=\"0\" width=\"" + number(kWidth) + "\" height=\"" + number(kHeight) +
         "\" fill=\"#ffffff\"/>\n";
  // Value axis with grid lines.
  for (double value = low; value <= high + step / 2; value += step) {
    const std::string at = number(y(value), 2);
    svg += "<line x1=\"" + number(kLeft) + "\" y1=\"" + at + "\" x2=\"" + number(kWidth - kRight) +
           "\" y2=\"" + at + "\" stroke=\"#e0e0e0\"/>\n";
    svg += "<text class=\"tick y\" x=\"" + number(kLeft - 6) + "\" y=\"" + number(y(value) + 4, 2) +
           "\" text-anchor=\"end\" font-size=\"11\">" + number(value) + "</text>\n";
  }
  // Date axis: first, middle and last day, the outer ones kept inside the drawing.
  const std::pair<double, const char*> ticks[] = {
      {minTime, "start"}, {(minTime + maxTime) / 2, "middle"}, {maxTime, "end"}};
  for (const auto& [t, anchor] : ticks) {
    if (oneMoment && t != ticks[1].first) continue;
    svg += "<text class=\"tick x\" x=\"" + number(x(Date(t)), 2) + "\" y=\"" +
           number(kHeight - kBottom + 16) + "\" text-anchor=\"" + anchor + "\" font-size=\"11\">" +
           stringFromDate(Date(t), "yyyy-MM-dd") + "</text>\n";
  }
  svg += "<line x1=\"" + number(kLeft) + "\" y1=\"" + number(kHeight - kBottom) + "\" x2=\"" +
         number(kWidth - kRight) + "\" y2=\"" + number(kHeight - kBottom) +
         "\" stroke=\"#333\"/>\n";
  svg += "<line x1=\"" + number(kLeft) + "\" y1=\"" + number(kTop) + "\" x2=\"" + number(kLeft) +
         "\" y2=\"" + number(kHeight - kBottom) + "\" stroke=\"#333\"/>\n";
  svg += "<text class=\"axis-label y\" x=\"14\" y=\"" + number(kTop + plotHeight / 2) +
         "\" transform=\"rotate(-90 14 " + number(kTop + plotHeight / 2) +
         ")\" text-anchor=\"middle\" font-size=\"12\">" + escapeMarkup(chart.valueAxisLabel) +
         "</text>\n";
  svg += "<text class=\"axis-label x\" x=\"" + number(kLeft + plotWidth / 2) + "\" y=\"" +
         number(kHeight - kBottom + 34) + "\" text-anchor=\"middle\" font-size=\"12\">" +
         escapeMarkup(chart.dateAxisLabel) + "</text>\n";

  double legendX = kLeft;
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    const auto& series = chart.series[i];
    const char* color = kColors[i % std::size(kColors)];
    std::string d;
    for (const auto& point : series.points)
      d += (d.empty() ? "M" : " L") + number(x(point.date), 2) + " " + number(y(point.value), 2);
    svg += "<path class=\"series\" data-series=\"" + escapeMarkup(series.name) +
           "\" data-points=\"" + std::to_string(series.points.size()) + "\" d=\"" + d +
           "\" fill=\"none\" stroke=\"" + color + "\" stroke-width=\"2\"/>\n";
    for (const auto& point : series.points) {
      svg += "<circle cx=\"" + number(x(point.date), 2) + "\" cy=\"" + number(y(point.value), 2) +
             "\" r=\"3\" fill=\"" + color + "\"><title>" +
             stringFromDate(point.date, "yyyy-MM-dd") + ": " + number(point.value) +
             "</title></circle>\n";
    }
    svg += "<rect x=\"" + number(legendX) + "\" y=\"" + number(kHeight - 14) +
           "\" width=\"10\" height=\"10\" fill=\"" + color + "\"/>\n";
    svg += "<text class=\"legend\" x=\"" + number(legendX + 14) + "\" y=\"" + number(kHeight - 5) +
           "\" font-size=\"11\">" + escapeMarkup(series.name) + "</text>\n";
    legendX += 24 + 7.0 * static_cast<double>(series.name.size());
  }
  svg += "</svg>\n";
  return svg;
}

}  // namespace dm
