// The diet-plan answer both nutrition benchmark programs map or store: `days` diet days of
// 5 meals x 6 product lines, every third line with two alternatives, products drawn from the
// seed's food id range. Deterministic: the same `days` give the same text.
#pragma once

#include <cstdint>
#include <ctime>
#include <sstream>
#include <string>

namespace bench {

inline constexpr int kMealsPerDiet = 5;
inline constexpr int kLinesPerMeal = 6;
inline constexpr std::int64_t kFirstFoodId = 50001;
inline constexpr std::int64_t kFoodCount = 500;

// Diet d (0-based) has id d + 1, meal m id (d + 1) * 10 + m, line l id meal * 10 + l.
inline std::int64_t foodOf(std::int64_t line) {
  return kFirstFoodId + (line * 7919) % kFoodCount;
}

// Noon UTC of day `d` counted from 2024-01-01, as the server writes dates.
inline std::string dietDate(std::int64_t d) {
  std::time_t t = static_cast<std::time_t>(1704110400 + d * 86400);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
  return buffer;
}

// {"diets": [...]} with the server's keys.
inline std::string dietPlanPayload(std::int64_t days) {
  static const char* const kTimes[kMealsPerDiet] = {"07:30", "10:30", "13:00", "16:30", "19:30"};
  std::ostringstream out;
  out << R"({"diets":[)";
  for (std::int64_t d = 0; d < days; ++d) {
    const std::int64_t dietId = d + 1;
    if (d) out << ',';
    out << R"({"id":)" << dietId << R"(,"course_id":31,"status":"created","date":")" << dietDate(d)
        << R"(","not_valid":0,"common_advices":"Day )" << d
        << R"(: drink water","desired_energy_value":)" << 2000 + d % 10 * 50
        << R"(,"desired_protein_amount":140,"desired_fats_amount":70,)"
        << R"("desired_carbohydrate_amount":250,"meals":[)";
    for (int m = 0; m < kMealsPerDiet; ++m) {
      const std::int64_t mealId = dietId * 10 + m;
      if (m) out << ',';
      out << R"({"id":)" << mealId << R"(,"time":")" << kTimes[m] << R"(","products":[)";
      for (int l = 0; l < kLinesPerMeal; ++l) {
        const std::int64_t lineId = mealId * 10 + l;
        if (l) out << ',';
        out << R"({"id":)" << lineId << R"(,"post_product_id":)" << foodOf(lineId)
            << R"(,"product_portion":)" << 50 + lineId % 20 * 10 << R"(,"number":)" << l + 1;
        if (lineId % 3 == 0) {
          out << R"(,"alternatives":[{"post_product_id":)" << foodOf(lineId + 1)
              << R"(,"product_portion":100},{"post_product_id":)" << foodOf(lineId + 2)
              << R"(,"product_portion":120}])";
        }
        if (lineId % 10 == 0) out << R"(,"comment":"boiled")";
        out << '}';
      }
      out << "]}";
    }
    out << "]}";
  }
  out << "]}";
  return out.str();
}

}  // namespace bench
