// Device-side memory of training days in the settings store.
#include "Training/TrainingDayUtils.h"

#include <string>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/SettingsStore.h"

namespace dm {

TrainingDayUtils::TrainingDayUtils(std::shared_ptr<SettingsStore> settings)
    : settings_(std::move(settings)) {}

TrainingDayUtils& TrainingDayUtils::shared() {
  static TrainingDayUtils instance(nullptr);
  return instance;
}

std::shared_ptr<SettingsStore> TrainingDayUtils::store() const {
  return settings_ ? settings_ : SettingsStore::standard();
}

nlohmann::json TrainingDayUtils::dictionary(const char* key) const {
  auto dict = store()->dictionaryForKey(key);
  return dict && dict->is_object() ? *dict : nlohmann::json::object();
}

void TrainingDayUtils::setDictionary(const char* key, const nlohmann::json& dict) {
  if (dict.is_null())
    store()->remove(key);
  else
    store()->setObject(key, dict);
}

void TrainingDayUtils::setPercentsTrainingDayIdsDict(const nlohmann::json& dict) {
  setDictionary(kPercentsKey, dict);
}

void TrainingDayUtils::setPercentForTrainingDayId(std::optional<std::int64_t> trainingDayId,
                                                  double percent, bool notify) {
  if (!trainingDayId) return;
  auto dict = percentsTrainingDayIdsDict();
  dict[std::to_string(*trainingDayId)] = percent;
  setPercentsTrainingDayIdsDict(dict);
  if (notify) {
    std::int64_t id = *trainingDayId;
    EventCenter::defaultCenter()->post(kPercentTrainingDayIdChanged, &id,
                                       nlohmann::json{{"trainingDayId", id}});
  }
}

std::optional<double> TrainingDayUtils::percentForTrainingDayId(
    std::optional<std::int64_t> trainingDayId) const {
  if (!trainingDayId) return std::nullopt;
  auto dict = percentsTrainingDayIdsDict();
  auto found = dict.find(std::to_string(*trainingDayId));
  if (found == dict.end() || !found->is_number()) return std::nullopt;
  return found->get<double>();
}

std::optional<Date> TrainingDayUtils::dateIn(const char* key,
                                             std::optional<std::int64_t> id) const {
  if (!id) return std::nullopt;
  auto dict = dictionary(key);
  auto found = dict.find(std::to_string(*id));
  if (found == dict.end() || !found->is_number()) return std::nullopt;
  return Date(found->get<double>());
}

void TrainingDayUtils::setDateIn(const char* key, std::optional<std::int64_t> id, Date date) {
  if (!id) return;
  auto dict = dictionary(key);
  dict[std::to_string(*id)] = date.timeIntervalSince1970;
  setDictionary(key, dict);
}

void TrainingDayUtils::setTrainingDayUpdateIdsDict(const nlohmann::json& dict) {
  setDictionary(kUpdateDatesKey, dict);
}
void TrainingDayUtils::setTrainingDayUpdateDate(std::optional<std::int64_t> trainingDayId,
                                                Date date) {
  setDateIn(kUpdateDatesKey, trainingDayId, date);
}
std::optional<Date> TrainingDayUtils::trainingDayUpdateDate(
    std::optional<std::int64_t> trainingDayId) const {
  return dateIn(kUpdateDatesKey, trainingDayId);
}

bool TrainingDayUtils::shouldUpdateTrainingDay(std::optional<std::int64_t> trainingDayId) const {
  if (!trainingDayId) return false;
  auto last = trainingDayUpdateDate(trainingDayId);
  if (!last) return true;
  return Clock::shared()->now().timeIntervalSinceDate(*last) >= kDayRefreshInterval;
}

void TrainingDayUtils::setTrainingDaysUpdatedDict(const nlohmann::json& dict) {
  setDictionary(kLoadedDatesKey, dict);
}
void TrainingDayUtils::setTrainingDaysLoadedFromInternetDate(std::optional<std::int64_t> courseId,
                                                             Date date) {
  setDateIn(kLoadedDatesKey, courseId, date);
}
std::optional<Date> TrainingDayUtils::trainingDaysUpdatedDate(
    std::optional<std::int64_t> courseId) const {
  return dateIn(kLoadedDatesKey, courseId);
}

bool TrainingDayUtils::trainingDaysLoadedFromInternet(std::optional<std::int64_t> courseId) const {
  auto loaded = trainingDaysUpdatedDate(courseId);
  if (!loaded) return false;
  return Clock::shared()->now().timeIntervalSinceDate(*loaded) < kDaysLoadedInterval;
}

void TrainingDayUtils::resetCaches() {
  store()->remove(kPercentsKey);
  store()->remove(kUpdateDatesKey);
  store()->remove(kLoadedDatesKey);
}

}  // namespace dm
