// Code and title tables of the record lifecycle status.
#include "Mapping/EntityStatus.h"

namespace dm {

const CodeTable& EntityStatusMappings() {
  static const CodeTable table{{0, "none"}, {1, "draft"}, {2, "published"}, {3, "deleted"}};
  return table;
}

const TitleTable& EntityStatusTitleMappings() {
  static const TitleTable table =
      storedTitleTable({{0, "None"}, {1, "Draft"}, {2, "Published"}, {3, "Deleted"}});
  return table;
}

std::string TitleForEntityStatus(int value) {
  return titleIn(EntityStatusTitleMappings(), value);
}

std::optional<EntityStatus> entityStatusForCode(std::string_view code) {
  return EntityStatusMappings().enumForCode<EntityStatus>(code);
}

std::optional<std::string> codeForEntityStatus(EntityStatus status) {
  return EntityStatusMappings().codeForEnum(status);
}

}  // namespace dm
