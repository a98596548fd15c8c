// The dataset readers and load checks: every bad input names its file and line.
#include <gtest/gtest.h>

#include "Handbook/Seed/HandbookSeedSource.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "SeedFixtures.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

// The error loading the source under `dir` raises, or a failed expectation.
SeedSourceError loadError(const std::filesystem::path& dir) {
  try {
    HandbookSeedSource::load(dir);
  } catch (const SeedSourceError& error) {
    return error;
  }
  ADD_FAILURE() << "loaded without error";
  return SeedSourceError(dir, 0, "none");
}

std::filesystem::path exercisesPath(const test::TempDir& dir) {
  return dir.path() / HandbookSeedSource::kExercisesFile;
}
std::filesystem::path foodsPath(const test::TempDir& dir) {
  return dir.path() / HandbookSeedSource::kFoodsFile;
}

TEST(SeedReadersTest, FixtureLoadsSorted) {
  test::TempDir dir;
  test::writeSeedSource(dir.path());
  auto source = HandbookSeedSource::load(dir.path());
  ASSERT_EQ(source.exercises().size(), 6u);
  EXPECT_EQ(source.exercises().front().slug, "Barbell_Bench_Press");
  EXPECT_EQ(source.exercises().front().line, 6u);
  EXPECT_FALSE(source.exercises()[4].equipment.has_value());  // Plank: null equipment
  ASSERT_EQ(source.foods().size(), 3u);
  EXPECT_EQ(source.foods()[1].code, "B002");
  EXPECT_EQ(source.foods()[1].name, "Rice, parboiled");
  EXPECT_EQ(source.foods()[1].localNames, "H. \"Chawal\".");
  EXPECT_FALSE(source.foods()[1].value("vitc").has_value());
  EXPECT_EQ(source.foods()[0].value("fe"), 0.0);
}

TEST(SeedReadersTest, MissingFilesNameTheFile) {
  test::TempDir dir;
  auto error = loadError(dir.path());
  EXPECT_EQ(error.file(), exercisesPath(dir));
  EXPECT_EQ(error.line(), 0u);

  test::writeSeedSource(dir.path());
  std::filesystem::remove(foodsPath(dir));
  error = loadError(dir.path());
  EXPECT_EQ(error.file(), foodsPath(dir));
  EXPECT_EQ(error.problem(), "file not found");
}

TEST(SeedReadersTest, MalformedExerciseJsonNamesTheLine) {
  struct Case {
    const char* json;
    std::size_t line;
    const char* problem;  // part of the message
  };
  const Case cases[] = {
      {"[\n  {\"id\": \"a\",\n   \"name\": }\n]", 3, "invalid JSON"},
      {"{\"id\": \"a\"}", 1, "list of exercises"},
      {"[\n  3\n]", 2, "must be an object"},
      {"[\n {\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\",\n"
       "  \"primaryMuscles\": [\"chest\"]},\n"
       " {\"id\": \"b\", \"name\": \"B\", \"category\": \"strength\"}\n]",
       4, "\"primaryMuscles\" is missing"},
      {"[\n {\"id\": \"a\", \"name\": \"\", \"category\": \"strength\", \"primaryMuscles\": "
       "[\"chest\"]}\n]",
       2, "\"name\" must be a non-empty text"},
      {"[\n {\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\", \"primaryMuscles\": "
       "[\"chest\"], \"instructions\": \"one\"}\n]",
       2, "\"instructions\" must be a list"},
      {"[{\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\", \"primaryMuscles\": "
       "[\"chest\"]},\n {\"id\": \"a\", \"name\": \"B\", \"category\": \"strength\", "
       "\"primaryMuscles\": [\"chest\"]}]",
       2, "appears twice"},
      {"[\n\n {\"id\": \"a\", \"name\": \"A\", \"category\": \"juggling\", \"primaryMuscles\": "
       "[\"chest\"]}]",
       3, "unknown category"},
      {"[{\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\", \"primaryMuscles\": "
       "[\"ears\"]}]",
       1, "unknown muscle"},
      {"[{\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\", \"equipment\": \"\", "
       "\"primaryMuscles\": [\"chest\"]}]",
       1, "unknown equipment"},
      {"[{\"id\": \"a\", \"name\": \"A\", \"category\": \"strength\", \"primaryMuscles\": "
       "[\"chest\"], \"images\": \"a/0.jpg\"}]",
       1, "\"images\" must be a list"},
  };
  for (const auto& c : cases) {
    test::TempDir dir;
    test::writeSeedSource(dir.path(), c.json);
    auto error = loadError(dir.path());
    EXPECT_EQ(error.file(), exercisesPath(dir)) << c.json;
    EXPECT_EQ(error.line(), c.line) << c.json;
    EXPECT_NE(error.problem().find(c.problem), std::string::npos) << error.what();
  }
}

// An image path is appended to a web address, so it must stay below the image folder.
TEST(SeedReadersTest, ImagePathsMustBeRelative) {
  for (const char* path :
       {"", "/a/0.jpg", "a/../../0.jpg", "./0.jpg", "a//0.jpg", "a\\0.jpg", "a/"}) {
    nlohmann::json exercises = nlohmann::json::parse(test::kFixtureExercisesJson);
    exercises[1]["images"] = {"Fine/0.jpg", path};
    test::TempDir dir;
    test::writeSeedSource(dir.path(), exercises.dump(1));
    auto error = loadError(dir.path());
    EXPECT_EQ(error.file(), exercisesPath(dir)) << path;
    EXPECT_NE(error.problem().find("is not a relative path"), std::string::npos) << error.what();
  }
  test::TempDir dir;
  test::writeSeedSource(dir.path());
  auto source = HandbookSeedSource::load(dir.path());
  EXPECT_EQ(source.exercises()[0].images,
            (std::vector<std::string>{"Barbell_Bench_Press/0.jpg", "Barbell_Bench_Press/1.jpg"}));
  EXPECT_TRUE(source.exercises()[5].images.empty());  // Push_Up: an empty list
}

TEST(SeedReadersTest, MalformedFoodTableNamesTheLine) {
  const std::string header = "Food Code; code,Food Name; name,Food Group; grup,Energy; enerc\n";
  struct Case {
    std::string csv;
    std::size_t line;
    const char* problem;
  };
  const Case cases[] = {
      {header + "A1,Apple,Fruits,200\nA2,\"Pear,Fruits,210\n", 3, "never closed"},
      {header + "A1,Apple,Fruits\n", 2, "fields"},
      {header + "A1,Apple,Fruits,200\nA2,Pear,Fruits,2O0\n", 3, "is not a number"},
      {header + "A1,Apple,,200\n", 2, "empty food group"},
      {header + "A1,Apple,Fruits,200\nA1,Pear,Fruits,210\n", 3, "appears twice"},
      {header + "A1,\"Bad \xC3\x28\",Fruits,200\n", 2, "UTF-8"},
      {"Food Code; code,Food Group; grup\nA1,Fruits\n", 1, "missing column \"name\""},
  };
  for (const auto& c : cases) {
    test::TempDir dir;
    test::writeSeedSource(dir.path(), test::kFixtureExercisesJson, c.csv);
    auto error = loadError(dir.path());
    EXPECT_EQ(error.file(), foodsPath(dir)) << c.csv;
    EXPECT_EQ(error.line(), c.line) << c.csv;
    EXPECT_NE(error.problem().find(c.problem), std::string::npos) << error.what();
  }
}

}  // namespace
}  // namespace dm
