// The inputs of training.map_course, shared by its DataModel program and its raw SQLite peer:
// the course payload of scripts/gen-course-fixture and the history of completed sets derived
// from it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <simdjson.h>

#include "ReadPayload.h"

namespace bench {

inline constexpr int kTrainingSetsPerExercise = 3;
// Exercises of one generated course (seed 1); the scale is chosen from it.
inline constexpr long kExercisesPerGeneratedCourse = 383;

// DIR/course.json as the runner wrote it, or generated there with the repository's script
// (about `exercises` exercises) when a program runs on its own.
inline std::string coursePayload(const std::filesystem::path& dir, long exercises,
                                 std::size_t padding = 0) {
  const auto file = dir / "course.json";
  if (!std::filesystem::exists(file)) {
    const auto script =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "scripts/gen-course-fixture";
    const long scale = std::clamp(
        (exercises + kExercisesPerGeneratedCourse - 1) / kExercisesPerGeneratedCourse, 1L, 999L);
    const std::string command = "python3 '" + script.string() + "' --scale " +
                                std::to_string(scale) + " --out '" + file.string() + "'";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("cannot run " + command);
  }
  return readPayload(file, padding);
}

// Seconds since 1970 as the server writes times ("2025-01-01T03:33:20Z").
inline std::string serverTime(long long seconds) {
  std::time_t t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tm);
  return text;
}

// Three completed sets per exercise of the courses, half an hour apart, as the server sends a
// client's history: {"completed_sets": [...]}. `courseText` is the course payload with at least
// simdjson::SIMDJSON_PADDING bytes of spare capacity; it is read on demand, so no tree of it is
// built (that would dwarf the memory the programs measure). `count` receives the number of sets.
inline std::string historyPayload(const std::string& courseText, std::size_t* count) {
  struct Exercise {
    std::int64_t id, postId;
  };
  simdjson::ondemand::parser parser;
  auto document = parser.iterate(courseText.data(), courseText.size(), courseText.capacity());
  std::ostringstream out;
  out << R"({"completed_sets":[)";
  std::size_t n = 0;
  std::vector<Exercise> exercises;
  for (auto course : document["courses"].get_array()) {
    std::int64_t courseId = 0;
    exercises.clear();
    for (auto field : course.get_object()) {
      const std::string_view key = field.unescaped_key();
      if (key == "id") {
        courseId = field.value().get_int64();
      } else if (key == "trainingDays") {
        for (auto day : field.value().get_array())
          for (auto exercise : day["exercises"].get_array()) {
            Exercise e{};
            for (auto member : exercise.get_object()) {
              const std::string_view name = member.unescaped_key();
              if (name == "id") e.id = member.value().get_int64();
              if (name == "postExerciseID") e.postId = member.value().get_int64();
            }
            exercises.push_back(e);
          }
      }
    }
    for (const Exercise& exercise : exercises)
      for (int s = 0; s < kTrainingSetsPerExercise; ++s) {
        if (n) out << ',';
        const long long t = 1735700000LL + static_cast<long long>(n % 20000) * 1800;
        out << R"({"guid":"h-)" << n << R"(","id":)" << n + 1 << R"(,"exerciseId":)" << exercise.id
            << R"(,"postExerciseId":)" << exercise.postId << R"(,"courseId":)" << courseId
            << R"(,"value":)" << 20 + (n % 40) * 2.5 << R"(,"repeats":)" << 6 + n % 8
            << R"(,"value_type":0,"executedAt":")" << serverTime(t) << "\"}";
        ++n;
      }
  }
  out << "]}";
  *count = n;
  return out.str();
}

}  // namespace bench
