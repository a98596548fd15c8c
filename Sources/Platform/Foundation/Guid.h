// Client identifiers for records made on the device: the server knows such a record by its
// guid until it has given it an id.
#pragma once

#include <string>

namespace dm {

// A random (version 4, RFC 4122 variant) identifier in lower-case hex,
// "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx". Any thread.
std::string newGuid();

}  // namespace dm
