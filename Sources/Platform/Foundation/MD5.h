// MD5 digests as lowercase hex text; handbook image resources are named by them.
#pragma once

#include <string>
#include <string_view>

namespace dm {

// The MD5 digest of `bytes` as 32 lowercase hex characters. Any thread. The digest
// routines cannot fail on in-memory input short of allocation failure, which throws
// std::bad_alloc like any other allocation.
std::string md5Hex(std::string_view bytes);

}  // namespace dm
