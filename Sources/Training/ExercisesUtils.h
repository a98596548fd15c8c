// Device-side memory of the training screens, kept in the device settings store and keyed by
// identifiers so it outlives the records: which alternative post exercise the client chose
// per exercise, when the first side of a one-side exercise was done, the selected chart tab
// and when chart data was last loaded.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Date.h"

namespace dm {

class SettingsStore;

// Posted with the exercise id (a pointer to the id's std::int64_t, valid during the post)
// when the alternative chosen for an exercise changes.
inline constexpr const char* kAlternativePostExercisesChanged = "kAlternativePostExercisesChanged";

// Thread-safe as far as the settings store is: each operation reads and writes one whole
// dictionary. The shared instance uses the standard settings store.
class ExercisesUtils {
 public:
  explicit ExercisesUtils(std::shared_ptr<SettingsStore> settings);
  static ExercisesUtils& shared();

  // Settings keys.
  static constexpr const char* kPostExercisesKey = "exercisesPostExercisesDict";
  static constexpr const char* kSidesKey = "exercisesSidesExercisesDict";
  static constexpr const char* kChartTabKey = "chartTabSelectedIndexDict";
  static constexpr const char* kChartLoadedKey = "chartDataLoadedFromInternetDict";
  // A first side older than this no longer waits for its second side.
  static constexpr double kSideInterval = 3600;

  // --- Chosen alternatives ---
  nlohmann::json exercisesPostExercisesDict() const { return dictionary(kPostExercisesKey); }
  void setExercisesPostExercisesDict(const nlohmann::json& dict);
  // An absent post exercise id removes the choice (back to the main exercise).
  void setPostExerciseIdForExerciseId(std::optional<std::int64_t> exerciseId,
                                      std::optional<std::int64_t> postExerciseId, bool notify);
  std::optional<std::int64_t> postExerciseIdForExerciseId(
      std::optional<std::int64_t> exerciseId) const;
  void resetPostExercisesAlternativesSelected();
  static void postNotificationkAlternativePostExercisesChanged(std::int64_t exerciseId);

  // --- Sides of one-side exercises ---
  nlohmann::json exercisesSidesExercisesDict() const { return dictionary(kSidesKey); }
  void setExercisesSidesExercisesDict(const nlohmann::json& dict);
  void setSideMadeForExercise(std::optional<std::int64_t> exerciseId);
  // 2 while the second side is due (first side done less than an hour ago), otherwise 1.
  int getSideOfExercise(std::optional<std::int64_t> exerciseId) const;
  void resetSideForExercise(std::optional<std::int64_t> exerciseId);
  void resetSidesForExercises();

  // --- Charts ---
  nlohmann::json chartTabSelectedIndexDict() const { return dictionary(kChartTabKey); }
  void setChartTabSelectedIndexDict(const nlohmann::json& dict);
  void setChartTabSelectedIndexForPostExerciseId(std::int64_t postExerciseId, std::int64_t tab);
  std::int64_t chartTabSelectedIndexForPostExerciseId(std::int64_t postExerciseId) const;
  void resetChartTabSelectedIndexes();
  nlohmann::json chartDataLoadedFromInternetDict() const { return dictionary(kChartLoadedKey); }
  void setChartDataLoadedFromInternetDict(const nlohmann::json& dict);
  void setChartDataLoadedFromInternetForPostExerciseId(std::int64_t postExerciseId, Date date);
  std::optional<Date> chartDataLoadedFromInternetForPostExerciseId(
      std::int64_t postExerciseId) const;
  void resetChartDataLoadedFromInternetDates();

  void resetAll();
  static std::optional<std::string> stringFromNumber(std::optional<std::int64_t> number);

 private:
  nlohmann::json dictionary(const char* key) const;
  void setDictionary(const char* key, const nlohmann::json& dict);
  std::shared_ptr<SettingsStore> settings_;
};

}  // namespace dm
