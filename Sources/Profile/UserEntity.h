// Every person in the app (client, trainer, administrator): the stored user record, its
// mappings, and the computed properties the screens read (name, age, avatar, services,
// photos, subscription, meal schedule).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Mapping/Enumerations/UserEnumerations.h"
#include "Profile/CityEntity.h"
#include "Profile/CountryEntity.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/ServerSubscription.h"
#include "Profile/TrainerRecallStatsEntity.h"
#include "Profile/TrainerServiceEntity.h"
#include "Profile/TrainerSpecEntity.h"
#include "Profile/UserEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject: use on the owning context's queue; related records
// returned are owned by the same context. The generated base holds every stored field.
class UserEntity : public UserEntityGenerated {
 public:
  // The enumerated fields type(), gender() and status() are generated; an unknown code reads as
  // 0 (for the account type, no type at all, so isCoach and canTrackProgress are false).
  bool isMale() const { return gender() == GenderType::Male; }
  bool isFemale() const { return gender() == GenderType::Female; }
  bool isCoach() const { return type() == AccountType::Trainer; }
  bool canTrackProgress() const { return type() == AccountType::Client; }
  bool isLazyRegistered() const { return lazyRegistered(); }
  std::int32_t subscriptionLeftDays() const {
    return static_cast<std::int32_t>(subscriptionLeft());
  }

  // Mapping-side names of trainerRecallStats and defaultTrainerService.
  TrainerRecallStatsEntity* stats() const { return trainerRecallStats(); }
  void setStats(TrainerRecallStatsEntity* stats) { setTrainerRecallStats(stats); }
  TrainerServiceEntity* service() const { return defaultTrainerService(); }
  void setService(TrainerServiceEntity* service) { setDefaultTrainerService(service); }

  // The display name: the deleted-account text for a deleted user, the no-name text when both
  // names are empty, one name alone, or both through fullNameFormat. Localised texts fall
  // back to their keys.
  std::string fullName() const;
  // "%2$@ %1$@" (last name first) for the interface languages ja, vi, ko and zh-Hans;
  // "%@ %@" otherwise.
  static std::string fullNameFormat();

  // Avatar addresses; "" (never nothing) when no address can be formed.
  std::string fullAvatarUrl() const;
  std::string thumbAvatarUrl() const;
  std::string smallThumbAvatarUrl() const;

  // birthday / supposedBirthday read as "yyyy-MM-dd" (Gregorian, current time zone); nothing
  // when absent or unreadable.
  std::optional<Date> birthdayDate() const;
  std::optional<Date> supposedBirthdayDate() const;
  // Whole years from the birthday (else the supposed birthday) to the shared clock's now;
  // 0 without either or when unreadable.
  std::int64_t age() const;
  // Whole years since trainerSince; 0 when it is absent, empty or unreadable.
  std::int64_t trainerExperienceYears() const;

  // Services not deleted, not free and enabled, by entityID ascending.
  std::vector<TrainerServiceEntity*> activeServices() const;
  // For a trainer: the names of general services that are disabled or free, or nothing when
  // one general service is enabled and paid (no alert due). Nothing for a client.
  std::optional<std::vector<std::string>> serviceNamesForNonactveAlert() const;
  // Specialisation names joined with " \n", in no particular order.
  std::string trainerSpecializationsNames() const;
  // Photos not deleted (by status or in the context), by sequence descending then photo.
  std::vector<ProfileCommonPhotoEntity*> orderedPhotos() const;
  // Achievement photos not deleted by status, by sequence descending.
  std::vector<ProfileCommonPhotoEntity*> orderedAchievementPhotos() const;

  // The subscription dictionary archived in `subscription`; nothing when there is none, the
  // archive is corrupt or it is not a dictionary.
  std::optional<ServerSubscription> serverSubscription() const;
  // Archives the dictionary into `subscription` (nothing clears it). False, and nothing
  // changes, when the tree is not a dictionary or cannot be archived.
  bool setServerSubscriptionDict(const std::optional<nlohmann::json>& dict);

  // "07:00 10:00 13:00 16:00 19:00".
  static std::string defaultMealsSchedule();
  // The meal time at `position` of the schedule sorted by time of day (the last one when
  // the position is beyond it), in the user's short time style; "" for a schedule with no
  // readable time.
  std::string mealTimeForPos(std::int64_t position) const;
  // Replaces the time at `position` of the sorted schedule (appends when beyond it) with
  // `time`, given in the user's short time style, and stores the list unsorted. False, and
  // nothing changes, when `time` cannot be read.
  bool setMealTimeForPos(std::string_view time, std::int64_t position);

 private:
  // The schedule's times, sorted by time of day (unreadable ones dropped).
  std::vector<std::string> sortedMealsSchedule() const;
};

}  // namespace dm
