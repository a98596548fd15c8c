// Enumerations of the reference handbook: the update status the server reports, the kinds
// of posts, the kinds of filter tags and the two ways the pharmacy screen shows a plan.
//
// Every `<Type>Mappings` and `<Type>TitleMappings` function returns a table that is built
// once, on first use, under its own run-once guard; it is immutable afterwards and lives
// for the rest of the process, so any thread may call these and keep the reference.
// `TitleFor<Type>` never fails: a value without a title yields "".
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class HandbookStatus : int { Changed = 0, NotModified = 1 };

// "changed", "not_modified".
const CodeTable& HandbookStatusMappings();

enum class HandbookPostType : int {
  Undefined = 0,
  Article = 1,
  SportFood = 2,
  Pharmacy = 3,
  Exercise = 4,
  Product = 5,
  Faq = 6
};

// "post_article" ... "post_faq". Undefined has no code: the server never sends it.
const CodeTable& HandbookPostTypeMappings();
// Stored titles; Undefined has one ("Undefined") although it has no code.
const TitleTable& HandbookPostTypeTitleMappings();
std::string TitleForHandbookPostType(int value);

enum class HandbookFilterTagType : int { Undefined = 0, Location = 1, Muscles = 2, Equipment = 3 };

const CodeTable& HandbookFilterTagTypeMappings();

// No server code: a screen setting only.
enum class PharmacyScreenMode : int { Calendar = 0, List = 1 };

// Display texts, localised once (with the comment kNoCommentProvided) in the interface
// language current at first use.
const TitleTable& PharmacyScreenModeTitleMappings();
std::string TitleForPharmacyScreenMode(int value);

}  // namespace dm
