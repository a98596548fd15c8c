// Reading a server's text as a URL: absolute ("https://host/page") or relative ("/captcha/1").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dm {

// `text` when it is a URL reference: not empty, no blanks, control or unsafe characters
// (" < > \ ^ ` { | }), every "%" followed by two hex digits, and a scheme (when there is a
// colon before any "/", "?" or "#") that starts with a letter and holds only letters, digits,
// "+", "-" and ".". Nothing otherwise.
std::optional<std::string> urlFromText(std::string_view text);

}  // namespace dm
