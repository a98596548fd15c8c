// URL references in server texts.
#include "Platform/Foundation/UrlText.h"

#include <cctype>

namespace dm {

namespace {

bool isHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool isSchemeValid(std::string_view scheme) {
  if (scheme.empty() || !std::isalpha(static_cast<unsigned char>(scheme[0]))) return false;
  for (char c : scheme) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.')
      return false;
  }
  return true;
}

}  // namespace

std::optional<std::string> urlFromText(std::string_view text) {
  if (text.empty()) return std::nullopt;
  static constexpr std::string_view kUnsafe = "\"<>\\^`{|}";
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c >= 0x7f || kUnsafe.find(static_cast<char>(c)) != std::string_view::npos)
      return std::nullopt;
    if (c == '%' && (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])))
      return std::nullopt;
  }
  auto colon = text.find(':');
  auto firstDelimiter = text.find_first_of("/?#");
  if (colon != std::string_view::npos && colon < firstDelimiter &&
      !isSchemeValid(text.substr(0, colon))) {
    return std::nullopt;
  }
  return std::string(text);
}

}  // namespace dm
