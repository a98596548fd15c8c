// A line chart over time as inline SVG: one path per series with a marker per point, value
// and date axes with their labels, and a legend. Self-contained: no scripts, no fonts.
#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/Date.h"

namespace dm {

struct ChartPoint {
  Date date;
  double value = 0;
};

struct ChartSeries {
  std::string name;
  std::vector<ChartPoint> points;  // drawn in the order given
};

struct LineChart {
  std::string title;
  std::string valueAxisLabel;  // with the unit: "Weight, kg"
  std::string dateAxisLabel;
  std::vector<ChartSeries> series;
};

// Each series' path carries data-series (its name) and data-points (its point count), so a
// reader of the page can tell what was drawn. Values are formatted with up to one decimal.
std::string renderSvgLineChart(const LineChart& chart);

// Escapes text for HTML and SVG content and attributes.
std::string escapeMarkup(const std::string& text);

}  // namespace dm
