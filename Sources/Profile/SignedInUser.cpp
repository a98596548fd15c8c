// The signed-in user's id in the device settings.
#include "Profile/SignedInUser.h"

#include "Platform/Foundation/SettingsStore.h"

namespace dm {

std::optional<std::int64_t> signedInUserId(const SettingsStore& settings) {
  auto stored = settings.objectForKey(kSignedInUserIdKey);
  if (!stored || !stored->is_number_integer()) return std::nullopt;
  const auto id = stored->get<std::int64_t>();
  if (id <= 0) return std::nullopt;
  return id;
}

bool signIn(SettingsStore& settings, std::int64_t userID) {
  if (userID <= 0) return false;
  settings.setInteger(kSignedInUserIdKey, userID);
  return settings.synchronize();
}

void signOut(SettingsStore& settings) {
  settings.remove(kSignedInUserIdKey);
}

}  // namespace dm
