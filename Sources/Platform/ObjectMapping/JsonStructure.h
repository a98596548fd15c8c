// Where the values of a JSON text begin and end, found without parsing them: large payloads
// are located once and then parsed a window of array elements at a time.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace dm::json_structure {

// A value's text: [begin, end) offsets into the text it was found in.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
};

inline bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Told of stretches [from, to) of text a scan has gone past; see Scanner::reportScanned.
using ScannedText = std::function<void(std::size_t from, std::size_t to)>;
inline constexpr std::size_t kScanStep = std::size_t{1} << 20;

// Walks the structure of the text without reading values: strings are skipped quote to
// quote, nested values by bracket depth. Whatever is skipped here is checked by the parser
// that later reads it.
class Scanner {
 public:
  explicit Scanner(std::string_view text)
      : begin_(text.data()), p_(text.data()), end_(text.data() + text.size()) {}

  std::size_t offset() const { return static_cast<std::size_t>(p_ - begin_); }
  // `scanned` is told each stretch [from, to) of text the scan of an array has passed, in
  // steps of about kScanStep bytes, so a caller can let go of the text behind it.
  void reportScanned(ScannedText scanned) {
    scanned_ = std::move(scanned);
    reported_ = offset();
  }
  bool atEnd() const { return p_ == end_; }
  char peek() const { return p_ < end_ ? *p_ : '\0'; }
  void skipSpace() {
    while (p_ < end_ && isSpace(*p_)) ++p_;
  }
  bool consume(char c) {
    if (p_ == end_ || *p_ != c) return false;
    ++p_;
    return true;
  }

  // At an opening quote: moves past the closing one. A quote ends the string unless an odd
  // number of backslashes precedes it.
  bool skipString() {
    ++p_;
    for (;;) {
      const auto* quote = static_cast<const char*>(std::memchr(p_, '"', end_ - p_));
      if (!quote) return false;
      // The character before p_ is a quote, so the count cannot run past the string.
      const char* run = quote;
      while (run > p_ && run[-1] == '\\') --run;
      p_ = quote + 1;
      if (((quote - run) & 1) == 0) return true;
    }
  }

  // Moves past one value of any kind; false when none starts here or it does not end.
  bool skipValue() {
    if (p_ == end_) return false;
    const char c = *p_;
    if (c == '"') return skipString();
    if (c == '[' || c == '{') return skipNested();
    const char* start = p_;
    while (p_ < end_ && !isSpace(*p_) && *p_ != ',' && *p_ != ']' && *p_ != '}' && *p_ != ':') ++p_;
    return p_ != start;
  }

  // At '[': moves past the array, appending where each element begins and ends.
  bool skipArray(std::vector<Span>& elements) {
    if (!consume('[')) return false;
    skipSpace();
    if (consume(']')) return true;
    for (;;) {
      skipSpace();
      Span element{offset(), 0};
      if (!skipValue()) return false;
      element.end = offset();
      elements.push_back(element);
      if (scanned_ && element.end - reported_ >= kScanStep) {
        scanned_(reported_, element.end);
        reported_ = element.end;
      }
      skipSpace();
      if (consume(',')) continue;
      return consume(']');
    }
  }

 private:
  bool skipNested() {
    std::size_t depth = 0;
    while (p_ < end_) {
      const char c = *p_;
      if (c == '"') {
        if (!skipString()) return false;
        continue;
      }
      ++p_;
      if (c == '[' || c == '{') {
        ++depth;
      } else if (c == ']' || c == '}') {
        if (--depth == 0) return true;
      }
    }
    return false;
  }

  const char* begin_;
  const char* p_;
  const char* end_;
  ScannedText scanned_;
  std::size_t reported_ = 0;  // text before this offset was reported scanned
};

// The elements of the array that is the whole text (`key` empty) or the value of the
// top-level member `key` (the first of repeated keys, as the mapping reads text). False when the
// text has no such array or its structure is broken, and when a top-level key is written with
// escapes (it might spell `key`). The values themselves are not checked.
// `scanned`, when given, hears of the text the scan has gone past (see Scanner::reportScanned).
bool locateArrayElements(std::string_view text, std::string_view key, std::vector<Span>& elements,
                         const ScannedText& scanned = {});

}  // namespace dm::json_structure
