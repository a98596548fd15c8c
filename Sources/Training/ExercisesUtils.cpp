// Device-side memory of the training screens in the settings store.
#include "Training/ExercisesUtils.h"

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/SettingsStore.h"

namespace dm {

ExercisesUtils::ExercisesUtils(std::shared_ptr<SettingsStore> settings)
    : settings_(std::move(settings)) {}

ExercisesUtils& ExercisesUtils::shared() {
  // The standard store is looked up on every call, so a host or test replacing it is seen.
  static ExercisesUtils instance(nullptr);
  return instance;
}

nlohmann::json ExercisesUtils::dictionary(const char* key) const {
  auto store = settings_ ? settings_ : SettingsStore::standard();
  auto dict = store->dictionaryForKey(key);
  return dict && dict->is_object() ? *dict : nlohmann::json::object();
}

void ExercisesUtils::setDictionary(const char* key, const nlohmann::json& dict) {
  auto store = settings_ ? settings_ : SettingsStore::standard();
  if (dict.is_null())
    store->remove(key);
  else
    store->setObject(key, dict);
}

void ExercisesUtils::setExercisesPostExercisesDict(const nlohmann::json& dict) {
  setDictionary(kPostExercisesKey, dict);
}

void ExercisesUtils::setPostExerciseIdForExerciseId(std::optional<std::int64_t> exerciseId,
                                                    std::optional<std::int64_t> postExerciseId,
                                                    bool notify) {
  if (!exerciseId) return;
  auto dict = exercisesPostExercisesDict();
  auto key = std::to_string(*exerciseId);
  if (postExerciseId)
    dict[key] = *postExerciseId;
  else
    dict.erase(key);
  setExercisesPostExercisesDict(dict);
  if (notify) postNotificationkAlternativePostExercisesChanged(*exerciseId);
}

std::optional<std::int64_t> ExercisesUtils::postExerciseIdForExerciseId(
    std::optional<std::int64_t> exerciseId) const {
  if (!exerciseId) return std::nullopt;
  auto dict = exercisesPostExercisesDict();
  auto found = dict.find(std::to_string(*exerciseId));
  if (found == dict.end() || !found->is_number()) return std::nullopt;
  return found->get<std::int64_t>();
}

void ExercisesUtils::resetPostExercisesAlternativesSelected() {
  setDictionary(kPostExercisesKey, nullptr);
}

void ExercisesUtils::postNotificationkAlternativePostExercisesChanged(std::int64_t exerciseId) {
  EventCenter::defaultCenter()->post(kAlternativePostExercisesChanged, &exerciseId,
                                     nlohmann::json{{"exerciseId", exerciseId}});
}

void ExercisesUtils::setExercisesSidesExercisesDict(const nlohmann::json& dict) {
  setDictionary(kSidesKey, dict);
}

void ExercisesUtils::setSideMadeForExercise(std::optional<std::int64_t> exerciseId) {
  if (!exerciseId) return;
  auto dict = exercisesSidesExercisesDict();
  auto key = std::to_string(*exerciseId);
  if (getSideOfExercise(exerciseId) == 2)
    dict.erase(key);  // the second side is done: the pair is complete
  else
    dict[key] = Clock::shared()->now().timeIntervalSince1970;
  setExercisesSidesExercisesDict(dict);
}

int ExercisesUtils::getSideOfExercise(std::optional<std::int64_t> exerciseId) const {
  if (!exerciseId) return 1;
  auto dict = exercisesSidesExercisesDict();
  auto found = dict.find(std::to_string(*exerciseId));
  if (found == dict.end() || !found->is_number()) return 1;
  double age = Clock::shared()->now().timeIntervalSince1970 - found->get<double>();
  return age < kSideInterval ? 2 : 1;
}

void ExercisesUtils::resetSideForExercise(std::optional<std::int64_t> exerciseId) {
  if (!exerciseId) return;
  auto dict = exercisesSidesExercisesDict();
  dict.erase(std::to_string(*exerciseId));
  setExercisesSidesExercisesDict(dict);
}

void ExercisesUtils::resetSidesForExercises() {
  setDictionary(kSidesKey, nullptr);
}

void ExercisesUtils::setChartTabSelectedIndexDict(const nlohmann::json& dict) {
  setDictionary(kChartTabKey, dict);
}

void ExercisesUtils::setChartTabSelectedIndexForPostExerciseId(std::int64_t postExerciseId,
                                                               std::int64_t tab) {
  auto dict = chartTabSelectedIndexDict();
  dict[std::to_string(postExerciseId)] = tab;
  setChartTabSelectedIndexDict(dict);
}

std::int64_t ExercisesUtils::chartTabSelectedIndexForPostExerciseId(
    std::int64_t postExerciseId) const {
  auto dict = chartTabSelectedIndexDict();
  auto found = dict.find(std::to_string(postExerciseId));
  return found != dict.end() && found->is_number() ? found->get<std::int64_t>() : 0;
}

void ExercisesUtils::resetChartTabSelectedIndexes() {
  setDictionary(kChartTabKey, nullptr);
}

void ExercisesUtils::setChartDataLoadedFromInternetDict(const nlohmann::json& dict) {
  setDictionary(kChartLoadedKey, dict);
}

void ExercisesUtils::setChartDataLoadedFromInternetForPostExerciseId(std::int64_t postExerciseId,
                                                                     Date date) {
  auto dict = chartDataLoadedFromInternetDict();
  dict[std::to_string(postExerciseId)] = date.timeIntervalSince1970;
  setChartDataLoadedFromInternetDict(dict);
}

std::optional<Date> ExercisesUtils::chartDataLoadedFromInternetForPostExerciseId(
    std::int64_t postExerciseId) const {
  auto dict = chartDataLoadedFromInternetDict();
  auto found = dict.find(std::to_string(postExerciseId));
  if (found == dict.end() || !found->is_number()) return std::nullopt;
  return Date(found->get<double>());
}

void ExercisesUtils::resetChartDataLoadedFromInternetDates() {
  setDictionary(kChartLoadedKey, nullptr);
}

void ExercisesUtils::resetAll() {
  resetPostExercisesAlternativesSelected();
  resetSidesForExercises();
  resetChartTabSelectedIndexes();
  resetChartDataLoadedFromInternetDates();
}

std::optional<std::string> ExercisesUtils::stringFromNumber(std::optional<std::int64_t> number) {
  if (!number) return std::nullopt;
  return std::to_string(*number);
}

}  // namespace dm
