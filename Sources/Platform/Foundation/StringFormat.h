// Filling of printf-style display formats with text and number arguments, including the
// positional form ("%2$@ %1$@") that translated templates use to reorder their arguments.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace dm {

// One argument of a format: a text, a signed or unsigned integer, or a floating-point number.
// Integers of every width convert implicitly to the matching 64-bit kind, so callers write
// stringWithFormat("%ld x %@", count, name) without casts.
class FormatArgument {
 public:
  using Value = std::variant<std::string, int64_t, uint64_t, double>;

  FormatArgument(std::string text) : value_(std::move(text)) {}
  FormatArgument(std::string_view text) : value_(std::string(text)) {}
  FormatArgument(const char* text) : value_(std::string(text ? text : "")) {}
  template <std::signed_integral T>
  FormatArgument(T number) : value_(static_cast<int64_t>(number)) {}
  template <std::unsigned_integral T>
  FormatArgument(T number) : value_(static_cast<uint64_t>(number)) {}
  template <std::floating_point T>
  FormatArgument(T number) : value_(static_cast<double>(number)) {}

  const Value& value() const { return value_; }

 private:
  Value value_;
};

// The format with its conversions replaced by the arguments:
// - "%@" and "%s" write a text as it is and a number as its shortest decimal text
//   (3 -> "3", 2.5 -> "2.5");
// - "%d", "%i", "%ld", "%lld", "%u", "%lu", "%x", "%o" ... write integers, and "%f", "%.2f",
//   "%g", "%e" ... floating-point numbers, with C printf semantics for flags, width,
//   precision and signedness (an integer given to "%f" is converted, a floating-point
//   number given to "%d" is truncated toward zero);
// - "%N$..." takes the N-th argument (from 1); other conversions take the arguments in turn;
// - "%%" writes "%".
// A conversion that is malformed or unknown, whose argument is missing, or that asks for a
// number but is given a text is copied into the result as it stands ("%5$@" with two
// arguments stays "%5$@"); surplus arguments are ignored. Never throws for any input.
// Any thread.
std::string stringWithFormat(std::string_view format, std::span<const FormatArgument> arguments);

template <typename... Arguments>
requires(std::constructible_from<FormatArgument, Arguments>&&...) std::string
    stringWithFormat(std::string_view format, Arguments&&... arguments) {
  const FormatArgument list[] = {FormatArgument(std::forward<Arguments>(arguments))..., {0}};
  return stringWithFormat(format, std::span<const FormatArgument>(list, sizeof...(Arguments)));
}

}  // namespace dm
