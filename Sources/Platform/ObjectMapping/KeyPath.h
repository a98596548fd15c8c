// A dotted key path split once into its segments, with the "@parent" prefix resolved to a
// number of levels to climb before reading.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dm {

// "a.b.c" reads key "c" of the object under "b" of the object under "a". Each leading
// "@parent." climbs from the object being mapped to the object that encloses it in the
// payload (the object of the record that holds the relationship), so "@parent.id" is the
// enclosing record's "id". Plain data; thread-safe to read.
struct KeyPath {
  std::string text;                   // as written
  std::vector<std::string> segments;  // keys to read, in order
  unsigned parentLevels = 0;          // leading "@parent" segments

  KeyPath() = default;
  explicit KeyPath(std::string_view path);
  bool empty() const { return segments.empty() && parentLevels == 0; }
};

}  // namespace dm
