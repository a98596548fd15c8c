// MD5 digests as lowercase hex text; handbook image resources are named by them.
#pragma once

#include <string>
#include <string_view>

namespace dm {

// The MD5 digest of `bytes` as 32 lowercase hex characters, owned by the caller. Any
// thread. Fails only when libcrypto cannot provide MD5 at all (a crypto policy disabling
// it, no memory for a context): throws std::runtime_error.
std::string md5Hex(std::string_view bytes);

}  // namespace dm
