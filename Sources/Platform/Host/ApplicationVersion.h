// The host application's version, which decides when the handbook seed is unpacked again:
// a host hook that falls back to the library's own version.
#pragma once

#include <optional>
#include <string>

namespace dm {

class ApplicationVersion {
 public:
  // The version the host gave, else the library's version text. Any thread.
  static std::string current();
  // The host's version (its bundle's version number); nullopt or an empty text goes back to
  // the library's version. Set it before the handbook is first used: the seed storage reads
  // it once. Any thread.
  static void setHostVersion(std::optional<std::string> version);
};

}  // namespace dm
