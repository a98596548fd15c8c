// The signed-in user's id in the settings: only a positive whole number counts, and a sign-in
// that reached the file survives a new store over the same file.
#include <gtest/gtest.h>

#include "Platform/Foundation/SettingsStore.h"
#include "Profile/SignedInUser.h"
#include "Support/TempDir.h"

namespace dm::test {
namespace {

TEST(SignedInUser, OnlyAPositiveIdSignsInAndItIsKeptInTheFile) {
  TempDir dir;
  const auto file = dir / "Settings.json";
  {
    SettingsStore settings(file);
    EXPECT_EQ(signedInUserId(settings), std::nullopt);
    EXPECT_FALSE(signIn(settings, 0));
    EXPECT_FALSE(signIn(settings, -5));
    EXPECT_EQ(signedInUserId(settings), std::nullopt);
    EXPECT_TRUE(signIn(settings, 5120));
  }
  SettingsStore reopened(file);
  EXPECT_EQ(signedInUserId(reopened), 5120);
  for (const auto& stored : {nlohmann::json("5120"), nlohmann::json(5120.5), nlohmann::json(-1)}) {
    reopened.setObject(kSignedInUserIdKey, stored);
    EXPECT_EQ(signedInUserId(reopened), std::nullopt) << stored.dump();
  }
  signIn(reopened, 7);
  signOut(reopened);
  EXPECT_EQ(signedInUserId(reopened), std::nullopt);
}

}  // namespace
}  // namespace dm::test
