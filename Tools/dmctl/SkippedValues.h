// How dmctl reports the values a mapping left out: as "skippedValues" in a command's JSON
// answer, and as one line each on stderr otherwise.
#pragma once

#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/MappingError.h"
#include "dmctl/Command.h"

namespace dmctl {

// Appends {"keyPath", "class", "reason"} for each issue to the array `out`.
void appendSkippedValues(nlohmann::json& out, const std::vector<dm::MappingError::Issue>& issues);

// "skipped <keyPath> (<class>): <reason>" on stderr for each entry, unless --quiet.
void printSkippedValues(const nlohmann::json& skipped, const GlobalOptions& options);

}  // namespace dmctl
