// Small seed source directories written for the seed tests, and the project's real seeds.
#pragma once

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

namespace dm::test {

// A handful of exercises covering each classification path (see SeedFixtures.cpp); the
// barbell press has two images, the fly one whose path needs escaping, the rest none.
extern const char* const kFixtureExercisesJson;
// Three foods: one without energy, one with quoted fields, one with only vitamin D3.
extern const char* const kFixtureFoodsCsv;

// Writes the two dataset files under `dir` in the layout HandbookSeedSource::load reads.
void writeSeedSource(const std::filesystem::path& dir,
                     const std::string& exercisesJson = kFixtureExercisesJson,
                     const std::string& foodsCsv = kFixtureFoodsCsv);

// Resources/Seeds of the source tree.
std::filesystem::path projectSeedsDir();

// The record with `id` in the dictionary's list `key`; null when there is none.
nlohmann::json findRecord(const nlohmann::json& dictionary, const char* key, std::uint64_t id);

}  // namespace dm::test
