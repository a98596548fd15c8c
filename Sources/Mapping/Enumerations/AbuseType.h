// Reasons a user can give when reporting content or another user.
//
// The tables are built once, on first use, under their own run-once guards; they are
// immutable afterwards and live for the rest of the process, so any thread may call these
// functions and keep the references.
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class AbuseType : int {
  SexualContent = 0,
  Spam = 1,
  HateSpeech = 2,
  Fraud = 3,
  CopyrightInfringement = 4,
  Insult = 5,
  FoulLanguage = 6,
  Bullying = 7
};

// The server's codes. The code of CopyrightInfringement begins with the Cyrillic small
// letter es (U+0441) followed by Latin letters; the server spells it that way, so it is
// sent and matched exactly as it stands and must not be "corrected". The same text with
// a Latin "c" is not a known code.
const CodeTable& AbuseTypeMappings();
// Display texts, localised once in the interface language current at first use.
const TitleTable& AbuseTypeTitleMappings();
// The display text of `value`, or "" for a value outside the table.
std::string TitleForAbuseType(int value);

}  // namespace dm
