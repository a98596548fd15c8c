// The seed update dictionary: the keys and types the handbook reads, nutrient conversion,
// alternatives, determinism and the test-language variant.
#include "Handbook/Seed/HandbookSeedSource.h"
#include "Platform/Foundation/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "Handbook/Entities/HandbookMedia.h"
#include "SeedFixtures.h"
#include "Support/DmctlProcess.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

using nlohmann::json;

const char* const kPostLists[] = {"post_articles", "post_faqs",       "post_exercises",
                                  "post_products", "post_pharmacies", "post_sport_foods"};

std::vector<std::uint64_t> splitIds(const std::string& text) {
  std::vector<std::uint64_t> ids;
  std::stringstream stream(text);
  std::string piece;
  while (std::getline(stream, piece, ',')) ids.push_back(std::stoull(piece));
  return ids;
}

// Checks every record against the keys and value types the handbook fill reads; returns
// the category post type by id for further checks.
void expectReadableDictionary(const json& dictionary) {
  ASSERT_EQ(dictionary.at("status"), "changed");
  ASSERT_TRUE(dictionary.at("version").is_number_integer());

  std::set<std::uint64_t> ids;
  auto expectItem = [&](const json& record) {
    ASSERT_TRUE(record.at("id").is_number_unsigned()) << record;
    EXPECT_TRUE(ids.insert(record["id"].get<std::uint64_t>()).second) << "duplicate " << record;
    EXPECT_EQ(record.at("status"), "published");
    EXPECT_TRUE(record.at("language").is_string());
    EXPECT_FALSE(record.at("title").get<std::string>().empty()) << record;
  };

  std::map<std::uint64_t, std::string> categoryTypes;
  for (const auto& category : dictionary.at("categories")) {
    expectItem(category);
    EXPECT_TRUE(category.at("weight").is_number_unsigned());
    categoryTypes[category["id"].get<std::uint64_t>()] =
        category.at("post_type").get<std::string>();
  }
  const std::set<std::string> postTypes = {"post_article",  "post_sport_food", "post_pharmacy",
                                           "post_exercise", "post_product",    "post_faq"};
  for (const auto& category : dictionary["categories"]) {
    EXPECT_TRUE(postTypes.count(category["post_type"]));
    if (category.contains("parent_id")) {
      ASSERT_TRUE(category["parent_id"].is_number_unsigned());
      EXPECT_EQ(categoryTypes.at(category["parent_id"].get<std::uint64_t>()),
                category["post_type"]);
    }
  }

  std::map<std::uint64_t, std::string> tagTypes;
  for (const auto& tag : dictionary.at("filter_tags")) {
    expectItem(tag);
    tagTypes[tag["id"].get<std::uint64_t>()] = tag.at("type").get<std::string>();
    EXPECT_TRUE(tag["type"] == "location" || tag["type"] == "muscles" ||
                tag["type"] == "equipment");
  }

  auto expectPost = [&](const json& post, const char* postType) {
    expectItem(post);
    ASSERT_TRUE(post.at("category_id").is_number_unsigned());
    EXPECT_EQ(categoryTypes.at(post["category_id"].get<std::uint64_t>()), postType) << post;
    if (post.contains("description")) {
      EXPECT_TRUE(post["description"].is_string());
    }
  };
  for (const auto& post : dictionary.at("post_articles")) expectPost(post, "post_article");
  for (const auto& post : dictionary.at("post_faqs")) {
    expectPost(post, "post_faq");
    EXPECT_TRUE(post.at("description_html").is_string());
  }
  EXPECT_TRUE(dictionary.at("post_pharmacies").empty());
  EXPECT_TRUE(dictionary.at("post_sport_foods").empty());

  std::set<std::uint64_t> exerciseIds;
  for (const auto& post : dictionary.at("post_exercises"))
    exerciseIds.insert(post.at("id").get<std::uint64_t>());
  const std::set<std::string> exerciseTypes = {"power", "cardio", "functional_repeats",
                                               "functional_seconds"};
  for (const auto& post : dictionary["post_exercises"]) {
    expectPost(post, "post_exercise");
    ASSERT_TRUE(post.at("execution_order").is_array());
    for (const auto& step : post["execution_order"]) EXPECT_TRUE(step.is_string());
    EXPECT_TRUE(exerciseTypes.count(post.at("exercise_type")));
    if (post.contains("equipment_type")) {
      EXPECT_TRUE(post["equipment_type"].is_number_unsigned());
    }
    for (auto id : splitIds(post.at("filter_tag_ids"))) EXPECT_TRUE(tagTypes.count(id)) << id;
    for (auto id : splitIds(post.at("alternative_ids"))) EXPECT_TRUE(exerciseIds.count(id)) << id;
  }

  const std::set<std::string> nonNutrientKeys = {"id",    "status",      "language",
                                                 "title", "category_id", "description"};
  for (const auto& post : dictionary.at("post_products")) {
    expectPost(post, "post_product");
    for (const auto& [key, value] : post.items()) {
      if (nonNutrientKeys.count(key)) continue;
      EXPECT_TRUE(value.is_number_float()) << key << " of " << post["title"];
    }
  }
}

class HandbookSeedFixtureTest : public ::testing::Test {
 protected:
  void SetUp() override { test::writeSeedSource(dir_.path()); }
  json dictionary(const HandbookSeedOptions& options = {}) {
    return HandbookSeedSource::load(dir_.path()).updateDictionary(options);
  }
  test::TempDir dir_;
};

TEST_F(HandbookSeedFixtureTest, RecordsCarryTheKeysTheHandbookReads) {
  auto dictionary = this->dictionary();
  expectReadableDictionary(dictionary);
  EXPECT_EQ(dictionary["post_exercises"].size(), 6u);
  EXPECT_EQ(dictionary["post_products"].size(), 3u);
  EXPECT_FALSE(dictionary["post_articles"].empty());
  EXPECT_FALSE(dictionary["post_faqs"].empty());
}

TEST_F(HandbookSeedFixtureTest, ExercisePostsFollowTheDataset) {
  auto dictionary = this->dictionary();
  auto pushUp = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 6);
  ASSERT_FALSE(pushUp.is_null());
  EXPECT_EQ(pushUp["title"], "Push-Up");
  EXPECT_EQ(pushUp["execution_order"], json({"Lie face down.", "Push the body up."}));
  EXPECT_EQ(pushUp["exercise_type"], "functional_repeats");
  EXPECT_EQ(pushUp["equipment_type"], 1);
  // Gym, home and outdoors; chest, shoulders, triceps; body-weight equipment.
  EXPECT_EQ(pushUp["filter_tag_ids"], "1001,1002,1003,1101,1106,1108,1201");

  auto bench = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 1);
  EXPECT_EQ(bench["exercise_type"], "power");
  EXPECT_EQ(bench["filter_tag_ids"], "1001,1101,1108,1202");
  EXPECT_EQ(bench["category_id"], kSeedExerciseGroupIdBase + 1);  // Chest

  auto plank = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 5);
  EXPECT_EQ(plank["exercise_type"], "functional_seconds");
  EXPECT_FALSE(plank.contains("equipment_type"));  // no equipment at all
  auto stretch = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 4);
  EXPECT_EQ(stretch["exercise_type"], "functional_seconds");
  EXPECT_EQ(stretch["execution_order"], json::array());
  auto stretching =
      test::findRecord(dictionary, "categories", stretch["category_id"].get<std::uint64_t>());
  EXPECT_EQ(stretching["title"], "Stretching");
}

const char* const kVideoKeys[] = {"video",      "preview_video",      "watch_video",
                                  "dark_video", "dark_preview_video", "dark_watch_video"};

TEST_F(HandbookSeedFixtureTest, ExerciseImagesBecomePhotoAddressesAndNoVideosAppear) {
  const std::string base = kSeedExerciseImageBaseURL;
  auto dictionary = this->dictionary();
  auto bench = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 1);
  EXPECT_EQ(bench.at("photo"), base + "Barbell_Bench_Press/0.jpg");
  EXPECT_EQ(bench.at("background_photo"), base + "Barbell_Bench_Press/1.jpg");
  auto fly = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + 3);
  EXPECT_EQ(fly.at("photo"), base + "Dumbbell%20Fly/0%20%28side%29.jpg");
  EXPECT_FALSE(fly.contains("background_photo"));
  for (std::uint64_t index : {4, 5, 6}) {  // no "images" key, or an empty list
    auto post = test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + index);
    EXPECT_FALSE(post.contains("photo")) << post["title"];
    EXPECT_FALSE(post.contains("background_photo")) << post["title"];
  }
  for (const auto& post : dictionary["post_exercises"])
    for (const char* key : kVideoKeys) EXPECT_FALSE(post.contains(key)) << key;

  HandbookSeedOptions options;
  options.exerciseImageBaseURL = "http://media.example.org/seed";
  EXPECT_EQ(test::findRecord(this->dictionary(options), "post_exercises", kSeedExerciseIdBase + 1)
                .at("photo"),
            "http://media.example.org/seed/Barbell_Bench_Press/0.jpg");
  for (const char* bad : {"", "media.example.org/", "ftp://h/", "https://", "https:///x",
                          "https://h/x?y=1", "https://h/x#y", "https://h/a b/"}) {
    options.exerciseImageBaseURL = bad;
    EXPECT_THROW(this->dictionary(options), Error) << bad;
  }
}

TEST_F(HandbookSeedFixtureTest, AlternativesShareMuscleAndEquipmentClass) {
  auto dictionary = this->dictionary();
  auto alternativesOf = [&](std::uint64_t index) {
    auto ids = splitIds(test::findRecord(dictionary, "post_exercises", kSeedExerciseIdBase + index)
                            .at("alternative_ids"));
    return std::set<std::uint64_t>(ids.begin(), ids.end());
  };
  // Barbell and dumbbell presses and the fly: chest, free weights.
  EXPECT_EQ(alternativesOf(1), (std::set<std::uint64_t>{10002, 10003}));
  EXPECT_EQ(alternativesOf(2), (std::set<std::uint64_t>{10001, 10003}));
  EXPECT_EQ(alternativesOf(3), (std::set<std::uint64_t>{10001, 10002}));
  // The push-up is the only chest body-weight exercise.
  EXPECT_TRUE(alternativesOf(6).empty());

  // With a limit, alternatives never point outside the kept exercises.
  HandbookSeedOptions options;
  options.limit = 2;
  auto small = this->dictionary(options);
  ASSERT_EQ(small["post_exercises"].size(), 2u);
  EXPECT_EQ(small["post_exercises"][0]["alternative_ids"], "10002");
  EXPECT_EQ(small["post_products"].size(), 2u);
  EXPECT_EQ(small["categories"], dictionary["categories"]);
}

TEST_F(HandbookSeedFixtureTest, ProductNutrientsAreConvertedAndAbsentValuesStayAbsent) {
  auto dictionary = this->dictionary();
  auto rice = test::findRecord(dictionary, "post_products", kSeedProductIdBase + 2);
  EXPECT_DOUBLE_EQ(rice.at("calories"), 356.12);  // 1490 kJ
  EXPECT_DOUBLE_EQ(rice.at("density_of_calories_index"), 3.5612);
  EXPECT_DOUBLE_EQ(rice.at("proteins"), 7.5);
  EXPECT_DOUBLE_EQ(rice.at("iron"), 2.1);  // mg from g
  EXPECT_FALSE(rice.contains("vitamin_c"));
  EXPECT_DOUBLE_EQ(rice.at("vitamin_d"), 58.67);  // D2 only, µg
  EXPECT_EQ(rice.at("description"), "Scientific name: Oryza sativa. Local names: H. \"Chawal\".");

  auto amaranth = test::findRecord(dictionary, "post_products", kSeedProductIdBase + 1);
  EXPECT_FALSE(amaranth.contains("calories"));
  EXPECT_FALSE(amaranth.contains("density_of_calories_index"));
  EXPECT_FALSE(amaranth.contains("vitamin_d"));
  EXPECT_FALSE(amaranth.contains("description"));
  ASSERT_TRUE(amaranth.contains("iron"));  // a measured zero is kept
  EXPECT_EQ(amaranth["iron"], 0.0);
  EXPECT_EQ(amaranth["category_id"], rice["category_id"]);

  auto milk = test::findRecord(dictionary, "post_products", kSeedProductIdBase + 3);
  EXPECT_DOUBLE_EQ(milk.at("calories"), 59.75);
  EXPECT_DOUBLE_EQ(milk.at("vitamin_c"), 2.0);
  EXPECT_DOUBLE_EQ(milk.at("vitamin_d"), 1.0);  // D3 only
  EXPECT_EQ(
      test::findRecord(dictionary, "categories", milk["category_id"].get<std::uint64_t>())["title"],
      "Milk and Milk Products");
}

TEST_F(HandbookSeedFixtureTest, OutputDoesNotDependOnFileOrder) {
  auto first = serializeHandbookSeedDictionary(dictionary());
  EXPECT_EQ(first, serializeHandbookSeedDictionary(dictionary()));

  auto exercises = json::parse(test::kFixtureExercisesJson);
  std::reverse(exercises.begin(), exercises.end());
  std::string foods = test::kFixtureFoodsCsv;
  auto header = foods.substr(0, foods.find('\n') + 1);
  auto rows = foods.substr(header.size());
  auto split = rows.find("A001");
  test::writeSeedSource(dir_.path(), exercises.dump(1),
                        header + rows.substr(split) + rows.substr(0, split));
  EXPECT_EQ(first, serializeHandbookSeedDictionary(dictionary()));
}

TEST_F(HandbookSeedFixtureTest, OtherLanguageMarksEveryShownText) {
  auto english = dictionary();
  HandbookSeedOptions options;
  options.language = "ru";
  options.version = 42;
  auto marked = dictionary(options);
  expectReadableDictionary(marked);
  EXPECT_EQ(marked["version"], 42);
  for (const char* list : {"categories", "filter_tags", "post_articles", "post_faqs",
                           "post_exercises", "post_products"}) {
    ASSERT_EQ(marked[list].size(), english[list].size()) << list;
    for (std::size_t i = 0; i < marked[list].size(); ++i) {
      const auto& record = marked[list][i];
      EXPECT_EQ(record["id"], english[list][i]["id"]);
      EXPECT_EQ(record["language"], "ru");
      EXPECT_EQ(record["title"], "[ru] " + english[list][i]["title"].get<std::string>());
      if (record.contains("description")) {
        EXPECT_EQ(record["description"].get<std::string>().rfind("[ru] ", 0), 0u);
      }
    }
  }
  EXPECT_EQ(marked["post_exercises"][0]["execution_order"][0], "[ru] Lower the bar.");
  EXPECT_EQ(marked["post_exercises"][0]["photo"], english["post_exercises"][0]["photo"]);

  for (const char* bad : {"", "r u", "../x", "abcdefghijklmnopq"}) {
    options.language = bad;
    EXPECT_THROW(dictionary(options), Error) << bad;
  }
}

// The shipped datasets, through the same checks.
TEST(HandbookSeedProjectDataTest, ShippedSeedsGiveAReadableDictionary) {
  auto source = HandbookSeedSource::load(test::projectSeedsDir());
  auto dictionary = source.updateDictionary();
  expectReadableDictionary(dictionary);
  EXPECT_EQ(dictionary["post_exercises"].size(), source.exercises().size());
  EXPECT_EQ(dictionary["post_products"].size(), source.foods().size());
  EXPECT_EQ(serializeHandbookSeedDictionary(dictionary),
            serializeHandbookSeedDictionary(
                HandbookSeedSource::load(test::projectSeedsDir()).updateDictionary()));

  // Alternatives: symmetric, never the exercise itself, same primary muscle.
  std::map<std::uint64_t, std::set<std::uint64_t>> alternatives;
  std::map<std::uint64_t, std::size_t> exerciseIndex;
  for (std::size_t i = 0; i < dictionary["post_exercises"].size(); ++i) {
    const auto& post = dictionary["post_exercises"][i];
    auto ids = splitIds(post["alternative_ids"]);
    alternatives[post["id"].get<std::uint64_t>()] = std::set<std::uint64_t>(ids.begin(), ids.end());
    EXPECT_EQ(ids.size(), alternatives[post["id"].get<std::uint64_t>()].size())
        << "repeated id in " << post["id"];
    exerciseIndex[post["id"].get<std::uint64_t>()] = i;
  }
  std::size_t withAlternatives = 0;
  for (const auto& [id, others] : alternatives) {
    if (!others.empty()) ++withAlternatives;
    EXPECT_FALSE(others.count(id)) << id;
    for (auto other : others) {
      EXPECT_TRUE(alternatives.at(other).count(id)) << id << " -> " << other;
      EXPECT_EQ(source.exercises()[exerciseIndex.at(id)].primaryMuscles.front(),
                source.exercises()[exerciseIndex.at(other)].primaryMuscles.front());
    }
  }
  EXPECT_GT(withAlternatives, source.exercises().size() / 2);

  // Every shipped exercise has a start and an end image, each at its own address below the
  // image folder.
  std::set<std::string> addresses;
  for (const auto& post : dictionary["post_exercises"]) {
    for (const char* key : {"photo", "background_photo"}) {
      ASSERT_TRUE(post.contains(key)) << key << " of " << post["title"];
      const auto& url = post[key].get_ref<const std::string&>();
      EXPECT_EQ(url.rfind(kSeedExerciseImageBaseURL, 0), 0u) << url;
      EXPECT_TRUE(handbook_url::isValidURL(url)) << url;
      EXPECT_TRUE(addresses.insert(url).second) << url;
    }
    for (const char* key : kVideoKeys) EXPECT_FALSE(post.contains(key)) << key;
  }
}

// The command line writes exactly the dictionary the library builds.
TEST(HandbookSeedCommandTest, WritesTheDictionary) {
  if (test::dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  test::TempDir dir;
  test::writeSeedSource(dir / "seeds");
  const std::vector<std::string> command = {"--data-dir", (dir / "data").string(),
                                            "handbook",   "seed-dictionary",
                                            "--source",   (dir / "seeds").string()};
  auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), command.begin(), command.end());
    return test::runDmctl(dir.path(), arguments);
  };
  auto written = run({"--lang", "de", "--version", "3", "--out", (dir / "out.json").string()});
  ASSERT_EQ(written.status, 0) << written.err;
  HandbookSeedOptions options;
  options.language = "de";
  options.version = 3;
  EXPECT_EQ(test::readFile(dir / "out.json"),
            serializeHandbookSeedDictionary(
                HandbookSeedSource::load(dir / "seeds").updateDictionary(options)));

  test::writeFile(dir / "seeds" / HandbookSeedSource::kFoodsFile, "code,name\n\"A1,x\n");
  auto refused = run({"--out", (dir / "bad.json").string()});
  EXPECT_NE(refused.status, 0);
  EXPECT_NE(refused.err.find("compositions.csv:2: quoted field"), std::string::npos) << refused.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "bad.json"));
}

// A pack built from the fixture, installed where the store looks for packs, read back by
// `handbook post`: the addresses the entities derive from the seeded keys, and the indexes.
TEST(HandbookSeedCommandTest, PostShowsImagesVideosAndIndexesOfTheSeededStore) {
  if (test::dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
  test::TempDir dir;
  test::writeSeedSource(dir / "seeds");
  auto packs = dir / "data" / "ApplicationSupport" / "SeedPacks";
  std::filesystem::create_directories(packs);
  auto built = test::runDmctl(
      dir.path(), {"--data-dir", (dir / "build").string(), "handbook", "build-seed", "--image-base",
                   "https://m.example.org/x", "--source", (dir / "seeds").string(), "--out",
                   (packs / "Handbook_en.sqlite").string()});
  ASSERT_EQ(built.status, 0) << built.err;
  auto show = [&](std::uint64_t id, bool asJson) {
    std::vector<std::string> arguments = {"--data-dir", (dir / "data").string()};
    if (asJson) arguments.push_back("--json");
    for (const std::string& word :
         {std::string("handbook"), std::string("post"), std::to_string(id)})
      arguments.push_back(word);
    auto shown = test::runDmctl(dir.path(), arguments);
    EXPECT_EQ(shown.status, 0) << shown.err;
    return shown.out;
  };
  auto post = [&](std::uint64_t id) { return json::parse(show(id, true)); };

  auto bench = post(kSeedExerciseIdBase + 1);
  EXPECT_EQ(bench["photoURL"], "https://m.example.org/x/Barbell_Bench_Press/0.jpg");
  EXPECT_EQ(bench["thumbnailPhoto"], "https://m.example.org/x/Barbell_Bench_Press/0_thumb_3x.jpg");
  EXPECT_EQ(bench["backgroundPhotoURL"], "https://m.example.org/x/Barbell_Bench_Press/1.jpg");
  EXPECT_TRUE(bench["videoURL"].is_null());
  EXPECT_TRUE(bench["previewVideoURL"].is_null());
  std::set<std::string> tags;
  for (const auto& tag : bench["tags"]) tags.insert(tag["title"].get<std::string>());
  EXPECT_TRUE(tags.count("Chest")) << bench["tags"];
  auto plank = post(kSeedExerciseIdBase + 5);
  EXPECT_TRUE(plank["photoURL"].is_null());
  EXPECT_TRUE(plank["thumbnailPhoto"].is_null());

  auto rice = post(kSeedProductIdBase + 2);
  ASSERT_EQ(rice["indexes"].size(), 4u);
  EXPECT_DOUBLE_EQ(rice["indexes"][1]["value"].get<double>(), 3.5612);
  EXPECT_EQ(rice["indexes"][1]["stringValue"], "3.56");
  EXPECT_EQ(rice["indexes"][1]["status"], 5);  // above 3 kcal per gram
  EXPECT_FALSE(rice["indexes"][1]["title"].get<std::string>().empty());
  EXPECT_TRUE(rice["indexes"][0]["value"].is_null());  // the table has no glycaemic index
  EXPECT_TRUE(rice["indexes"][0]["stringValue"].is_null());
  EXPECT_EQ(rice["indexes"][0]["status"], 0);
  EXPECT_FALSE(rice["nutrients"].empty());

  auto text = show(kSeedExerciseIdBase + 1, false);
  EXPECT_NE(text.find("videoURL: none\n"), std::string::npos) << text;
  EXPECT_NE(text.find("photoURL: https://m.example.org/x/Barbell_Bench_Press/0.jpg\n"),
            std::string::npos)
      << text;
}

}  // namespace
}  // namespace dm
