// Device-side memory of training days, kept in the device settings store and keyed by
// identifier texts so it outlives the records: each day's progress percent, when each day
// was last refreshed and when each course's days were loaded from the server.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Date.h"

namespace dm {

class SettingsStore;

// Posted (sender: a pointer to the day id's std::int64_t, valid during the post; info
// {"trainingDayId": id}) when a day's progress percent is stored with notification.
inline constexpr const char* kPercentTrainingDayIdChanged = "kPercentTrainingDayIdChanged";

// Thread-safe as far as the settings store is: each operation reads and writes one whole
// dictionary. The shared instance uses the standard settings store of the moment, so a host
// or test that replaces it is seen. Dates are kept as seconds since 1970.
class TrainingDayUtils {
 public:
  explicit TrainingDayUtils(std::shared_ptr<SettingsStore> settings);
  static TrainingDayUtils& shared();

  static constexpr const char* kPercentsKey = "percentsTrainingDayIdsDict";
  static constexpr const char* kUpdateDatesKey = "trainingDayUpdateIdsDict";
  static constexpr const char* kLoadedDatesKey = "trainingDaysUpdatedDict";
  // A day is refreshed again once its last refresh is this old.
  static constexpr double kDayRefreshInterval = 86400;
  // A course's days count as loaded from the server for this long.
  static constexpr double kDaysLoadedInterval = 604800;

  // --- Progress percents: day id text -> percent ---
  nlohmann::json percentsTrainingDayIdsDict() const { return dictionary(kPercentsKey); }
  void setPercentsTrainingDayIdsDict(const nlohmann::json& dict);
  // Nothing for an absent id; with `notify` posts kPercentTrainingDayIdChanged.
  void setPercentForTrainingDayId(std::optional<std::int64_t> trainingDayId, double percent,
                                  bool notify);
  std::optional<double> percentForTrainingDayId(std::optional<std::int64_t> trainingDayId) const;

  // --- Refresh of single days: day id text -> date ---
  nlohmann::json trainingDayUpdateIdsDict() const { return dictionary(kUpdateDatesKey); }
  void setTrainingDayUpdateIdsDict(const nlohmann::json& dict);
  void setTrainingDayUpdateDate(std::optional<std::int64_t> trainingDayId, Date date);
  std::optional<Date> trainingDayUpdateDate(std::optional<std::int64_t> trainingDayId) const;
  // False for an absent id; true when never refreshed or refreshed a day ago or earlier.
  bool shouldUpdateTrainingDay(std::optional<std::int64_t> trainingDayId) const;

  // --- Days of a course loaded from the server: course id text -> date ---
  nlohmann::json trainingDaysUpdatedDict() const { return dictionary(kLoadedDatesKey); }
  void setTrainingDaysUpdatedDict(const nlohmann::json& dict);
  void setTrainingDaysLoadedFromInternetDate(std::optional<std::int64_t> courseId, Date date);
  std::optional<Date> trainingDaysUpdatedDate(std::optional<std::int64_t> courseId) const;
  // True while the course's days were loaded less than seven days ago.
  bool trainingDaysLoadedFromInternet(std::optional<std::int64_t> courseId) const;

  // Removes all three dictionaries.
  void resetCaches();

 private:
  std::shared_ptr<SettingsStore> store() const;
  nlohmann::json dictionary(const char* key) const;
  void setDictionary(const char* key, const nlohmann::json& dict);
  std::optional<Date> dateIn(const char* key, std::optional<std::int64_t> id) const;
  void setDateIn(const char* key, std::optional<std::int64_t> id, Date date);

  std::shared_ptr<SettingsStore> settings_;  // nullptr: the standard store of the moment
};

}  // namespace dm
