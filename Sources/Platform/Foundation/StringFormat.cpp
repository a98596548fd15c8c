// Format filling: each conversion is parsed here and written with snprintf, so numeric output
// follows C exactly while malformed conversions and missing arguments stay harmless.
#include "Platform/Foundation/StringFormat.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>

namespace dm {

namespace {

// Width and precision above this are treated as malformed rather than allocating megabytes.
constexpr int kMaximumFieldSize = 512;

struct Conversion {
  std::optional<size_t> position;  // 1-based, when written as "%N$"
  std::string flags;
  std::optional<int> width;
  std::optional<int> precision;
  char conversion = 0;
  size_t end = 0;  // index just past the conversion in the format
};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Reads a run of digits; nothing when there is none or it exceeds `limit`.
std::optional<size_t> readNumber(std::string_view text, size_t& at, size_t limit) {
  if (at >= text.size() || !isDigit(text[at])) return std::nullopt;
  size_t value = 0;
  while (at < text.size() && isDigit(text[at])) {
    value = value * 10 + static_cast<size_t>(text[at] - '0');
    if (value > limit) return std::nullopt;
    ++at;
  }
  return value;
}

// Parses the conversion whose '%' is at `start`; nothing when it is malformed or unknown.
std::optional<Conversion> parseConversion(std::string_view format, size_t start) {
  Conversion result;
  size_t at = start + 1;

  // "%N$": a run of digits followed by '$'; otherwise the digits are a width.
  size_t probe = at;
  if (auto number = readNumber(format, probe, std::numeric_limits<uint32_t>::max());
      number && probe < format.size() && format[probe] == '$') {
    if (*number == 0) return std::nullopt;
    result.position = *number;
    at = probe + 1;
  }
  while (at < format.size() && std::string_view("-+ #0'").find(format[at]) != std::string::npos) {
    if (format[at] != '\'') result.flags.push_back(format[at]);  // grouping flag not supported
    ++at;
  }
  if (at < format.size() && isDigit(format[at])) {
    auto width = readNumber(format, at, kMaximumFieldSize);
    if (!width) return std::nullopt;
    result.width = static_cast<int>(*width);
  }
  if (at < format.size() && format[at] == '.') {
    ++at;
    if (at < format.size() && isDigit(format[at])) {
      auto precision = readNumber(format, at, kMaximumFieldSize);
      if (!precision) return std::nullopt;
      result.precision = static_cast<int>(*precision);
    } else {
      result.precision = 0;  // "%.f" means precision 0, as in C
    }
  }
  // Length modifiers only describe the caller's C type; arguments carry their own.
  while (at < format.size() && std::string_view("hlqLzjt").find(format[at]) != std::string::npos) {
    ++at;
  }
  if (at >= format.size()) return std::nullopt;
  result.conversion = format[at];
  if (std::string_view("@sdiuxXofFeEgGaA").find(result.conversion) == std::string::npos) {
    return std::nullopt;
  }
  result.end = at + 1;
  return result;
}

// The printf specification for one conversion, with `length` ("ll" or "") before it.
std::string printfSpecification(const Conversion& conversion, std::string_view length) {
  std::string specification = "%" + conversion.flags;
  if (conversion.width) specification += std::to_string(*conversion.width);
  if (conversion.precision) specification += "." + std::to_string(*conversion.precision);
  specification.append(length).push_back(conversion.conversion);
  return specification;
}

template <typename Number>
std::string printNumber(const std::string& specification, Number number) {
  // The largest output: width/precision (<= 512) plus the digits of a double (~310).
  char buffer[2 * kMaximumFieldSize + 400];
  int written = std::snprintf(buffer, sizeof buffer, specification.c_str(), number);
  if (written < 0) return {};
  return std::string(buffer, std::min(static_cast<size_t>(written), sizeof buffer - 1));
}

// Shortest decimal text that reads back as the same double ("2.5", "60", "1e+21").
std::string shortestText(double number) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

size_t codePointCount(std::string_view text) {
  size_t count = 0;
  for (char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  return count;
}

std::string objectText(const FormatArgument::Value& value, const Conversion& conversion) {
  std::string text;
  if (const auto* string = std::get_if<std::string>(&value)) {
    text = *string;
  } else if (const auto* signedNumber = std::get_if<int64_t>(&value)) {
    text = std::to_string(*signedNumber);
  } else if (const auto* unsignedNumber = std::get_if<uint64_t>(&value)) {
    text = std::to_string(*unsignedNumber);
  } else {
    text = shortestText(std::get<double>(value));
  }
  // Width pads by characters, not bytes; precision does not cut texts.
  size_t length = codePointCount(text);
  if (conversion.width && length < static_cast<size_t>(*conversion.width)) {
    std::string padding(static_cast<size_t>(*conversion.width) - length, ' ');
    text = conversion.flags.find('-') != std::string::npos ? text + padding : padding + text;
  }
  return text;
}

// The text of one conversion, or nothing when the argument does not suit it.
std::optional<std::string> convert(const Conversion& conversion, const FormatArgument& argument) {
  const auto& value = argument.value();
  const char kind = conversion.conversion;
  if (kind == '@' || kind == 's') return objectText(value, conversion);
  if (std::holds_alternative<std::string>(value)) return std::nullopt;

  if (std::string_view("di").find(kind) != std::string::npos ||
      std::string_view("uxXo").find(kind) != std::string::npos) {
    const bool isSigned = kind == 'd' || kind == 'i';
    int64_t signedValue = 0;
    if (const auto* number = std::get_if<int64_t>(&value)) {
      signedValue = *number;
    } else if (const auto* unsignedNumber = std::get_if<uint64_t>(&value)) {
      signedValue = static_cast<int64_t>(*unsignedNumber);  // two's complement, as C would
    } else {
      double number = std::get<double>(value);
      if (std::isnan(number)) {
        signedValue = 0;
      } else if (number >= 9223372036854775807.0) {
        signedValue = std::numeric_limits<int64_t>::max();
      } else if (number <= -9223372036854775808.0) {
        signedValue = std::numeric_limits<int64_t>::min();
      } else {
        signedValue = static_cast<int64_t>(number);
      }
    }
    std::string specification = printfSpecification(conversion, "ll");
    if (isSigned) return printNumber(specification, static_cast<long long>(signedValue));
    return printNumber(specification,
                       static_cast<unsigned long long>(static_cast<uint64_t>(signedValue)));
  }

  double number = 0;
  if (const auto* signedNumber = std::get_if<int64_t>(&value)) {
    number = static_cast<double>(*signedNumber);
  } else if (const auto* unsignedNumber = std::get_if<uint64_t>(&value)) {
    number = static_cast<double>(*unsignedNumber);
  } else {
    number = std::get<double>(value);
  }
  return printNumber(printfSpecification(conversion, ""), number);
}

}  // namespace

std::string stringWithFormat(std::string_view format, std::span<const FormatArgument> arguments) {
  std::string result;
  result.reserve(format.size() + 16 * arguments.size());
  size_t nextArgument = 0;
  size_t at = 0;
  while (at < format.size()) {
    size_t percent = format.find('%', at);
    if (percent == std::string_view::npos) {
      result.append(format.substr(at));
      break;
    }
    result.append(format.substr(at, percent - at));
    if (percent + 1 < format.size() && format[percent + 1] == '%') {
      result.push_back('%');
      at = percent + 2;
      continue;
    }
    auto conversion = parseConversion(format, percent);
    if (!conversion) {
      // Copy the '%' alone; what follows is ordinary text.
      result.push_back('%');
      at = percent + 1;
      continue;
    }
    size_t index = conversion->position ? *conversion->position - 1 : nextArgument++;
    std::optional<std::string> text;
    if (index < arguments.size()) text = convert(*conversion, arguments[index]);
    if (text) {
      result.append(*text);
    } else {
      result.append(format.substr(percent, conversion->end - percent));
    }
    at = conversion->end;
  }
  return result;
}

}  // namespace dm
