// Request methods as a bit set, so a descriptor can answer to several.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace dm {

enum class RequestMethod : std::uint8_t {
  GET = 1,
  POST = 2,
  PUT = 4,
  DELETE = 8,
  HEAD = 16,
  PATCH = 32,
  OPTIONS = 64,
  Any = 127,
};

constexpr RequestMethod operator|(RequestMethod a, RequestMethod b) {
  return static_cast<RequestMethod>(static_cast<std::uint8_t>(a) | static_cast<std::uint8_t>(b));
}
// True when the sets share a method.
constexpr bool matches(RequestMethod set, RequestMethod method) {
  return (static_cast<std::uint8_t>(set) & static_cast<std::uint8_t>(method)) != 0;
}
// "GET", "post", ...; nullopt for anything else.
std::optional<RequestMethod> requestMethodFromString(std::string_view text);

}  // namespace dm
