// Tables of the people and account enumerations.
#include "Mapping/Enumerations/UserEnumerations.h"

namespace dm {

const CodeTable& AccountTypeMappings() {
  static const CodeTable table{{1, "client"}, {2, "trainer"}, {3, "admin"}};
  return table;
}

const TitleTable& AccountTypeTitleMappings() {
  static const TitleTable table =
      localizedTitleTable({{1, "Signup.Client"}, {2, "Signup.Coach"}, {3, "Account.Admin"}});
  return table;
}

std::string TitleForAccountType(int value) {
  return titleIn(AccountTypeTitleMappings(), value);
}

const CodeTable& GenderTypeMappings() {
  static const CodeTable table{{1, "male"}, {2, "female"}, {0, "na"}};
  return table;
}

const TitleTable& GenderTypeTitleMappings() {
  static const TitleTable table = storedTitleTable({{1, "male"}, {2, "female"}});
  return table;
}

std::string TitleForGenderType(int value) {
  return titleIn(GenderTypeTitleMappings(), value);
}

const CodeTable& SocialMediaTypeMappings() {
  static const CodeTable table{
      {0, "none"}, {1, "facebook"}, {2, "vkontakte"}, {3, "instagram"}, {4, "appleid"}};
  return table;
}

const CodeTable& UserStatusMappings() {
  static const CodeTable table{{0, "active"}, {1, "deleted"}, {2, "client_not_confirmed"}};
  return table;
}

const CodeTable& ServerSubscriptionTypeMappings() {
  static const CodeTable table{{0, "unknown"}, {1, "server"}, {2, "appstore"}, {3, "playmarket"}};
  return table;
}

}  // namespace dm
