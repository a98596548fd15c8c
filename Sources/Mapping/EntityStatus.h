// The lifecycle status of records that the client can create before the server knows them
// (drafts, published and deleted records), with its server codes and stored titles.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class EntityStatus : int { None = 0, Draft = 1, Published = 2, Deleted = 3 };

// Value <-> server code ("none", "draft", "published", "deleted"). Built once on first
// use, then immutable; any thread; the table lives for the rest of the process.
const CodeTable& EntityStatusMappings();

// Value -> title as stored ("None", "Draft", ...), returned unlocalised. Same lifetime and
// threading as the code table.
const TitleTable& EntityStatusTitleMappings();

// The stored title of `value`, or "" for a value outside the table. Any thread.
std::string TitleForEntityStatus(int value);
inline std::string TitleForEntityStatus(EntityStatus value) {
  return TitleForEntityStatus(static_cast<int>(value));
}

// The status a record's status code stands for; nothing for an empty or unknown code,
// which records treat as having no status. Any thread.
std::optional<EntityStatus> entityStatusForCode(std::string_view code);

// The server code of `status`; nothing for a value outside the table. Any thread.
std::optional<std::string> codeForEntityStatus(EntityStatus status);

}  // namespace dm
