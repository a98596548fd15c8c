// The user signed in on this device: the profile's user, whose id is kept in the device
// settings when the profile answer is stored. Messages written here carry it as their author,
// and the outbox holds back records not to be uploaded for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace dm {

class SettingsStore;

// The settings key holding the signed-in user's entityID.
inline constexpr std::string_view kSignedInUserIdKey = "signedInUserId";

// The signed-in user's id; nothing when no profile is signed in (or the stored value is not a
// positive whole number).
std::optional<std::int64_t> signedInUserId(const SettingsStore& settings);
// Records `userID` (a positive server id) as the signed-in user; returns false (and changes
// nothing) for any other id, and when the settings file could not be written.
bool signIn(SettingsStore& settings, std::int64_t userID);
// Forgets the signed-in user.
void signOut(SettingsStore& settings);

}  // namespace dm
