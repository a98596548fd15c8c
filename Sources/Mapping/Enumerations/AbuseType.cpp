// Tables of the abuse report reasons.
#include "Mapping/Enumerations/AbuseType.h"

namespace dm {

const CodeTable& AbuseTypeMappings() {
  // "\u0441" is the Cyrillic es the server's code starts with; written as an escape so no
  // editor or formatter can quietly turn it into a Latin c.
  static const CodeTable table{{0, "sexual_content"},
                               {1, "spam"},
                               {2, "hate_speech"},
                               {3, "fraud"},
                               {4, "\u0441opyright_infringement"},
                               {5, "insult"},
                               {6, "foul_language"},
                               {7, "bullying"}};
  return table;
}

const TitleTable& AbuseTypeTitleMappings() {
  static const TitleTable table = localizedTitleTable({{0, "Abuse.SexualContent"},
                                                       {1, "Abuse.Spam"},
                                                       {2, "Abuse.HateSpeech"},
                                                       {3, "Abuse.Fraud"},
                                                       {4, "Abuse.Copyright"},
                                                       {5, "Abuse.Insult"},
                                                       {6, "Abuse.FoulLanguage"},
                                                       {7, "Abuse.Bullying"}});
  return table;
}

std::string TitleForAbuseType(int value) {
  return titleIn(AbuseTypeTitleMappings(), value);
}

}  // namespace dm
