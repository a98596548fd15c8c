// The inputs of training.map_course, shared by its DataModel program and its raw SQLite peer:
// the course payload of scripts/gen-course-fixture and the history of completed sets derived
// from it.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
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
// simdjson::SIMDJSON_PADDING bytes of spare capacity; it is read on demand and the history is
// written into one reserved string, so making the input costs little beside the memory the
// programs measure. The result has `padding` spare bytes. `count` receives the number of sets.
inline std::string historyPayload(const std::string& courseText, std::size_t* count,
                                  std::size_t padding = 0) {
  struct Exercise {
    std::int64_t courseId, id, postId;
  };
  std::vector<Exercise> exercises;
  simdjson::ondemand::parser parser;
  auto document = parser.iterate(courseText.data(), courseText.size(), courseText.capacity());
  for (auto course : document["courses"].get_array()) {
    std::int64_t courseId = 0;
    const std::size_t first = exercises.size();
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
    for (std::size_t i = first; i < exercises.size(); ++i) exercises[i].courseId = courseId;
  }

  std::string out;
  out.reserve(exercises.size() * kTrainingSetsPerExercise * 176 + 32 + padding);
  auto number = [&out](double value) {
    char text[32];
    out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
  };
  out += R"({"completed_sets":[)";
  std::size_t n = 0;
  for (const Exercise& exercise : exercises)
    for (int s = 0; s < kTrainingSetsPerExercise; ++s) {
      if (n) out += ',';
      const long long t = 1735700000LL + static_cast<long long>(n % 20000) * 1800;
      out += R"({"guid":"h-)" + std::to_string(n) + R"(","id":)" + std::to_string(n + 1) +
             R"(,"exerciseId":)" + std::to_string(exercise.id) + R"(,"postExerciseId":)" +
             std::to_string(exercise.postId) + R"(,"courseId":)" +
             std::to_string(exercise.courseId) + R"(,"value":)";
      number(20 + (n % 40) * 2.5);
      out += R"(,"repeats":)" + std::to_string(6 + n % 8) + R"(,"value_type":0,"executedAt":")" +
             serverTime(t) + "\"}";
      ++n;
    }
  out += "]}";
  *count = n;
  return out;
}

}  // namespace bench
