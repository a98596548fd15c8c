// User records: enumerations, display name, ages, avatar addresses, service and photo lists,
// the archived subscription and the meal schedule.
#include "Profile/UserEntity.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <tuple>

#include "Mapping/EntityStatus.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Profile/MealsTimeFormatter.h"
#include "Profile/MediaAddresses.h"

namespace dm {

namespace {

std::string localizedOrKey(std::string_view key) {
  return localizedString(key).value_or(std::string(key));
}

std::optional<Date> dayDate(bool present, const std::string& text) {
  if (!present || text.empty()) return std::nullopt;
  return dateFromString(text, kDayDatePattern);
}

// Calendar fields of a date in the current time zone, ordered for comparison.
using Fields = std::tuple<int, int, int, int, int, int>;
std::optional<Fields> fieldsOf(Date date) {
  std::string text = stringFromDate(date, "yyyy MM dd HH mm ss");
  Fields f{};
  auto& [y, mo, d, h, mi, s] = f;
  if (std::sscanf(text.c_str(), "%d %d %d %d %d %d", &y, &mo, &d, &h, &mi, &s) != 6) {
    return std::nullopt;
  }
  return f;
}

// Whole Gregorian years from `from` to `to` (negative when `to` is earlier).
std::int64_t wholeYearsBetween(Date from, Date to) {
  auto a = fieldsOf(from), b = fieldsOf(to);
  if (!a || !b) return 0;
  auto rest = [](const Fields& f) {
    return std::make_tuple(std::get<1>(f), std::get<2>(f), std::get<3>(f), std::get<4>(f),
                           std::get<5>(f));
  };
  std::int64_t years = std::get<0>(*b) - std::get<0>(*a);
  if (years > 0 && rest(*b) < rest(*a)) --years;
  if (years < 0 && rest(*b) > rest(*a)) ++years;
  return years;
}

template <class T, class Source>
std::vector<T*> castAll(const std::vector<Source*>& objects) {
  std::vector<T*> out;
  for (Source* object : objects)
    if (auto* typed = dynamic_cast<T*>(object)) out.push_back(typed);
  return out;
}

std::string deletedCode() {
  return EntityStatusMappings().codeForEnum(EntityStatus::Deleted).value_or("deleted");
}

}  // namespace

std::string UserEntity::fullName() const {
  if (status() == UserStatus::Deleted) return localizedOrKey("ChatList.DeletedAccount");
  std::string first = firstName(), last = lastName();
  if (first.empty() && last.empty()) return localizedOrKey("User.NoName");
  if (last.empty()) return first;
  if (first.empty()) return last;
  return stringWithFormat(fullNameFormat(), first, last);
}

std::string UserEntity::fullNameFormat() {
  std::string language = currentInterfaceLanguage();
  for (const char* lastFirst : {"ja", "vi", "ko", "zh-Hans"})
    if (language == lastFirst) return "%2$@ %1$@";
  return "%@ %@";
}

std::string UserEntity::fullAvatarUrl() const {
  return avatarUrl();
}
std::string UserEntity::thumbAvatarUrl() const {
  return MediaAddresses::shared()->thumbnailAddress(avatarUrl());
}
std::string UserEntity::smallThumbAvatarUrl() const {
  return MediaAddresses::shared()->smallThumbnailAddress(avatarUrl());
}

std::optional<Date> UserEntity::birthdayDate() const {
  return dayDate(hasBirthday(), birthday());
}
std::optional<Date> UserEntity::supposedBirthdayDate() const {
  return dayDate(hasSupposedBirthday(), supposedBirthday());
}

std::int64_t UserEntity::age() const {
  if (!hasBirthday() && !hasSupposedBirthday()) return 0;
  auto born = birthdayDate();
  if (!born) born = supposedBirthdayDate();
  if (!born) return 0;
  return wholeYearsBetween(*born, Clock::shared()->now());
}

std::int64_t UserEntity::trainerExperienceYears() const {
  auto since = dayDate(hasTrainerSince(), trainerSince());
  return since ? wholeYearsBetween(*since, Clock::shared()->now()) : 0;
}

std::vector<TrainerServiceEntity*> UserEntity::activeServices() const {
  std::vector<TrainerServiceEntity*> out;
  for (auto* service : castAll<TrainerServiceEntity>(services())) {
    if (service->entityStatus() != EntityStatus::Deleted && service->price() != 0 &&
        service->enabled()) {
      out.push_back(service);
    }
  }
  std::stable_sort(out.begin(), out.end(),
                   [](auto* a, auto* b) { return a->entityID() < b->entityID(); });
  return out;
}

std::optional<std::vector<std::string>> UserEntity::serviceNamesForNonactveAlert() const {
  if (type() == AccountType::Client) return std::nullopt;
  std::vector<std::string> names;
  for (auto* service : castAll<TrainerServiceEntity>(services())) {
    if (!service->general()) continue;
    if (service->enabled() && service->price() != 0) return std::nullopt;
    names.push_back(service->serviceName());
  }
  return names;
}

std::string UserEntity::trainerSpecializationsNames() const {
  std::string out;
  for (auto* spec : castAll<TrainerSpecEntity>(trainerSpecializations())) {
    if (!out.empty()) out += " \n";
    out += spec->name();
  }
  return out;
}

std::vector<ProfileCommonPhotoEntity*> UserEntity::orderedPhotos() const {
  const std::string deleted = deletedCode();
  std::vector<ProfileCommonPhotoEntity*> out;
  for (auto* photo : castAll<ProfileCommonPhotoEntity>(photos())) {
    bool markedDeleted = photo->entityStatusString() == deleted;
    if (!markedDeleted && !photo->isDeleted()) out.push_back(photo);
  }
  std::stable_sort(out.begin(), out.end(), [](auto* a, auto* b) {
    if (a->sequence() != b->sequence()) return a->sequence() > b->sequence();
    return a->photo() < b->photo();
  });
  return out;
}

std::vector<ProfileCommonPhotoEntity*> UserEntity::orderedAchievementPhotos() const {
  const std::string deleted = deletedCode();
  std::vector<ProfileCommonPhotoEntity*> out;
  for (auto* photo : castAll<ProfileCommonPhotoEntity>(clientAchievementPhotos())) {
    if (photo->entityStatusString() != deleted) out.push_back(photo);
  }
  std::stable_sort(out.begin(), out.end(),
                   [](auto* a, auto* b) { return a->sequence() > b->sequence(); });
  return out;
}

std::optional<ServerSubscription> UserEntity::serverSubscription() const {
  // An archive that does not hold a dictionary reads as the empty one, which describes no
  // subscription.
  if (!hasSubscription()) return std::nullopt;
  nlohmann::json tree = subscription();
  if (tree.empty()) return std::nullopt;
  return ServerSubscription::serverSubscriptionWithDict(tree);
}

bool UserEntity::setServerSubscriptionDict(const std::optional<nlohmann::json>& dict) {
  if (!dict) {
    clearSubscription();
    return true;
  }
  if (!isStructureOfType(*dict, AttributeType::Dictionary) ||
      !KeyedArchive::holdsOnlyAllowedKinds(*dict))
    return false;
  setSubscription(*dict);
  return true;
}

std::string UserEntity::defaultMealsSchedule() {
  return "07:00 10:00 13:00 16:00 19:00";
}

std::vector<std::string> UserEntity::sortedMealsSchedule() const {
  std::string schedule = hasMealsSchedule() ? mealsSchedule() : std::string();
  if (schedule.empty()) schedule = defaultMealsSchedule();
  std::vector<std::pair<Date, std::string>> times;
  std::istringstream words(schedule);
  for (std::string word; std::getline(words, word, ' ');) {
    if (auto time = timeOfDayFromStoredString(word)) times.emplace_back(*time, word);
  }
  std::stable_sort(times.begin(), times.end(), [](const auto& a, const auto& b) {
    return a.first.timeIntervalSince1970 < b.first.timeIntervalSince1970;
  });
  std::vector<std::string> out;
  for (auto& [time, word] : times) out.push_back(std::move(word));
  return out;
}

std::string UserEntity::mealTimeForPos(std::int64_t position) const {
  auto times = sortedMealsSchedule();
  if (times.empty()) return {};
  auto index = static_cast<std::int32_t>(position);
  const std::string& chosen =
      index >= 0 && static_cast<std::size_t>(index) < times.size() ? times[index] : times.back();
  auto time = timeOfDayFromStoredString(chosen);
  return time ? mealsTimeStringFromTimeOfDay(*time) : std::string();
}

bool UserEntity::setMealTimeForPos(std::string_view time, std::int64_t position) {
  auto parsed = timeOfDayFromMealsTimeString(time);
  if (!parsed) return false;
  auto times = sortedMealsSchedule();
  std::string stored = storedStringFromTimeOfDay(*parsed);
  auto index = static_cast<std::int32_t>(position);
  if (index >= 0 && static_cast<std::size_t>(index) < times.size()) {
    times[index] = stored;
  } else {
    times.push_back(stored);
  }
  std::string joined;
  for (const auto& t : times) joined += (joined.empty() ? "" : " ") + t;
  setMealsSchedule(joined);
  return true;
}

}  // namespace dm
