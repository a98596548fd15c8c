// Exercises as the public exercise dataset describes them, read from its JSON file.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace dm {

struct SeedExercise {
  std::string slug;  // the dataset's own identifier, unique
  std::string name;
  std::string category;                  // strength, stretching, plyometrics, powerlifting, ...
  std::optional<std::string> equipment;  // absent: none needed
  std::optional<std::string> force;
  std::optional<std::string> level;
  std::optional<std::string> mechanic;
  std::vector<std::string> primaryMuscles;  // at least one
  std::vector<std::string> secondaryMuscles;
  std::vector<std::string> instructions;
  // Image paths relative to the dataset's image folder ("Slug/0.jpg"), in the dataset's
  // order: the first shows the start position, the second the end position.
  std::vector<std::string> images;
  std::size_t line = 0;  // line of the entry in its file
};

// Reads the exercise list (a JSON array of objects), sorted by slug so that the order of
// the file does not matter. Each entry needs a non-empty text "id" (unique), "name" and
// "category", and "primaryMuscles" as a non-empty list of texts; "secondaryMuscles" and
// "instructions" are lists of texts when present; "images" is a list of relative paths when
// present (no leading "/", no empty, "." or ".." part, no backslash); "equipment", "force",
// "level" and "mechanic" are texts or null. Other keys are ignored.
// Throws SeedSourceError: the file is missing or unreadable (line 0), is not valid JSON
// (the line of the syntax error), is not an array (line 1), or an entry breaks the rules
// above (the line on which the entry starts). Any thread; returns owned values.
std::vector<SeedExercise> readSeedExercises(const std::filesystem::path& file);

}  // namespace dm
