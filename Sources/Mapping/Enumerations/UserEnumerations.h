// Enumerations describing people and their accounts: account kind, gender, social sign-in
// network, account status and subscription source.
//
// Every `<Type>Mappings` and `<Type>TitleMappings` function returns a table that is built
// once, on first use, under its own run-once guard; it is immutable afterwards and lives
// for the rest of the process, so any thread may call these and keep the reference.
// `TitleFor<Type>` never fails: a value without a title yields "".
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class AccountType : int { Client = 1, Trainer = 2, Admin = 3 };

// "client", "trainer", "admin".
const CodeTable& AccountTypeMappings();
// Display texts, localised once in the interface language current at first use; a later
// language change shows only in a new process.
const TitleTable& AccountTypeTitleMappings();
std::string TitleForAccountType(int value);

enum class GenderType : int { NotAvailable = 0, Male = 1, Female = 2 };

// "male", "female", "na".
const CodeTable& GenderTypeMappings();
// Stored titles "male" and "female"; "na" has none, so TitleForGenderType(0) is "".
const TitleTable& GenderTypeTitleMappings();
std::string TitleForGenderType(int value);

// Values are unsigned on purpose: they travel as unsigned numbers in sign-in requests.
enum class SocialMediaType : unsigned {
  None = 0,
  Facebook = 1,
  Vkontakte = 2,
  Instagram = 3,
  AppleID = 4
};

const CodeTable& SocialMediaTypeMappings();

enum class UserStatus : int { Active = 0, Deleted = 1, ClientNotConfirmed = 2 };

const CodeTable& UserStatusMappings();

enum class ServerSubscriptionType : int { Unknown = 0, Server = 1, AppStore = 2, PlayMarket = 3 };

const CodeTable& ServerSubscriptionTypeMappings();

}  // namespace dm
