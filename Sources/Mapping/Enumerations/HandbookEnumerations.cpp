// Tables of the handbook enumerations.
#include "Mapping/Enumerations/HandbookEnumerations.h"

namespace dm {

const CodeTable& HandbookStatusMappings() {
  static const CodeTable table{{0, "changed"}, {1, "not_modified"}};
  return table;
}

const CodeTable& HandbookPostTypeMappings() {
  static const CodeTable table{{1, "post_article"},  {2, "post_sport_food"}, {3, "post_pharmacy"},
                               {4, "post_exercise"}, {5, "post_product"},    {6, "post_faq"}};
  return table;
}

const TitleTable& HandbookPostTypeTitleMappings() {
  static const TitleTable table = storedTitleTable({{0, "Undefined"},
                                                    {1, "Article"},
                                                    {2, "Sport food"},
                                                    {3, "Pharmacy"},
                                                    {4, "Exercise"},
                                                    {5, "Product"},
                                                    {6, "Faq"}});
  return table;
}

std::string TitleForHandbookPostType(int value) {
  return titleIn(HandbookPostTypeTitleMappings(), value);
}

const CodeTable& HandbookFilterTagTypeMappings() {
  static const CodeTable table{{0, "undefined"}, {1, "location"}, {2, "muscles"}, {3, "equipment"}};
  return table;
}

const TitleTable& PharmacyScreenModeTitleMappings() {
  static const TitleTable table = localizedTitleTable(
      {{0, "PharmacyScreenMode.Calendar"}, {1, "PharmacyScreenMode.List"}}, kNoCommentProvided);
  return table;
}

std::string TitleForPharmacyScreenMode(int value) {
  return titleIn(PharmacyScreenModeTitleMappings(), value);
}

}  // namespace dm
