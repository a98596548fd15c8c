// Conversion of file URLs inside the caches directory to a relocatable form ("/./...") and
// back, so stored image paths survive the caches directory moving between installs.
#pragma once

#include <string>
#include <string_view>

namespace dm {

// "file://" + caches + rest becomes "/." + rest when `text` is strictly longer than
// "file://" + caches and starts with it (case-sensitive); any other text (plain paths, URLs
// outside the caches directory, exactly "file://" + caches) comes back unchanged. Uses the
// process-wide caches directory. Never fails; returns a new string; any thread.
std::string fixIfAbsoluteFilePath(std::string_view text);
// The same against an explicit caches directory path.
std::string fixIfAbsoluteFilePath(std::string_view text, std::string_view cachesPath);

// The inverse: text of at least two characters starting with "/." becomes
// "file://" + caches + text (the "/." stays); anything else comes back unchanged. Uses the
// process-wide caches directory. Never fails; returns a new string; any thread.
std::string fixIfRelativeCache(std::string_view text);
// The same against an explicit caches directory path.
std::string fixIfRelativeCache(std::string_view text, std::string_view cachesPath);

}  // namespace dm
