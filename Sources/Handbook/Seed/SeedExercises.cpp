// Reading and checking the exercise dataset.
#include "Handbook/Seed/SeedExercises.h"

#include <algorithm>
#include <set>

#include <nlohmann/json.hpp>

#include "Handbook/Seed/SeedFile.h"
#include "Handbook/Seed/SeedSourceError.h"

namespace dm {
namespace {

using nlohmann::json;

// Byte offsets where the elements of the top-level array begin. Only called on text that
// already parsed, so brackets and strings are balanced.
std::vector<std::size_t> topLevelElementOffsets(std::string_view text) {
  std::vector<std::size_t> offsets;
  int depth = 0;
  bool inString = false;
  bool escaped = false;
  bool expectElement = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (depth == 1 && expectElement && c != ']') {
      offsets.push_back(i);
      expectElement = false;
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      ++depth;
      if (depth == 1) expectElement = true;
    } else if (c == ']' || c == '}') {
      --depth;
    } else if (c == ',' && depth == 1) {
      expectElement = true;
    }
  }
  return offsets;
}

class EntryReader {
 public:
  EntryReader(const json& entry, const std::filesystem::path& file, std::size_t line)
      : entry_(entry), file_(file), line_(line) {}

  [[noreturn]] void fail(const std::string& problem) const {
    throw SeedSourceError(file_, line_, problem);
  }

  std::string requiredText(const char* key) const {
    auto found = entry_.find(key);
    if (found == entry_.end() || !found->is_string() ||
        found->get_ref<const std::string&>().empty()) {
      fail(std::string("\"") + key + "\" must be a non-empty text");
    }
    return found->get<std::string>();
  }

  std::optional<std::string> optionalText(const char* key) const {
    auto found = entry_.find(key);
    if (found == entry_.end() || found->is_null()) return std::nullopt;
    if (!found->is_string()) fail(std::string("\"") + key + "\" must be a text or null");
    return found->get<std::string>();
  }

  std::vector<std::string> texts(const char* key, bool required) const {
    auto found = entry_.find(key);
    if (found == entry_.end() || found->is_null()) {
      if (required) fail(std::string("\"") + key + "\" is missing");
      return {};
    }
    if (!found->is_array()) fail(std::string("\"") + key + "\" must be a list of texts");
    std::vector<std::string> values;
    for (const auto& item : *found) {
      if (!item.is_string()) fail(std::string("\"") + key + "\" must be a list of texts");
      values.push_back(item.get<std::string>());
    }
    if (required && values.empty()) fail(std::string("\"") + key + "\" is empty");
    return values;
  }

 private:
  const json& entry_;
  const std::filesystem::path& file_;
  std::size_t line_;
};

// A path that stays inside the image folder once appended to its address.
bool isRelativeImagePath(std::string_view path) {
  if (path.empty() || path.front() == '/' || path.find('\\') != std::string_view::npos) {
    return false;
  }
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = std::min(path.find('/', start), path.size());
    std::string_view part = path.substr(start, end - start);
    if (part.empty() || part == "." || part == "..") return false;
    start = end + 1;
  }
  return true;
}

}  // namespace

std::vector<SeedExercise> readSeedExercises(const std::filesystem::path& file) {
  std::string text = readSeedFile(file);
  json document;
  try {
    document = json::parse(text, nullptr, true, false);
  } catch (const json::parse_error& error) {
    throw SeedSourceError(file, lineAtOffset(text, error.byte > 0 ? error.byte - 1 : 0),
                          "invalid JSON");
  }
  if (!document.is_array()) throw SeedSourceError(file, 1, "expected a list of exercises");

  auto offsets = topLevelElementOffsets(text);
  std::vector<SeedExercise> exercises;
  exercises.reserve(document.size());
  std::set<std::string> slugs;
  for (std::size_t index = 0; index < document.size(); ++index) {
    std::size_t line = index < offsets.size() ? lineAtOffset(text, offsets[index]) : 0;
    const json& entry = document[index];
    if (!entry.is_object()) throw SeedSourceError(file, line, "an exercise must be an object");
    EntryReader reader(entry, file, line);
    SeedExercise exercise;
    exercise.line = line;
    exercise.slug = reader.requiredText("id");
    exercise.name = reader.requiredText("name");
    exercise.category = reader.requiredText("category");
    exercise.equipment = reader.optionalText("equipment");
    exercise.force = reader.optionalText("force");
    exercise.level = reader.optionalText("level");
    exercise.mechanic = reader.optionalText("mechanic");
    exercise.primaryMuscles = reader.texts("primaryMuscles", true);
    exercise.secondaryMuscles = reader.texts("secondaryMuscles", false);
    exercise.instructions = reader.texts("instructions", false);
    exercise.images = reader.texts("images", false);
    for (const auto& image : exercise.images) {
      if (!isRelativeImagePath(image)) {
        reader.fail("image \"" + image + "\" is not a relative path");
      }
    }
    if (!slugs.insert(exercise.slug).second) {
      reader.fail("exercise id \"" + exercise.slug + "\" appears twice");
    }
    exercises.push_back(std::move(exercise));
  }
  std::sort(exercises.begin(), exercises.end(),
            [](const SeedExercise& a, const SeedExercise& b) { return a.slug < b.slug; });
  return exercises;
}

}  // namespace dm
