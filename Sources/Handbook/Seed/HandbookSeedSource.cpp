// Building the handbook update dictionary from the seed datasets.
#include "Handbook/Seed/HandbookSeedSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include "Handbook/Entities/HandbookMedia.h"
#include "Handbook/Seed/HandbookSeedTexts.h"
#include "Handbook/Seed/SeedExerciseClassification.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "Platform/Foundation/Error.h"

namespace dm {
namespace {

using nlohmann::json;

constexpr std::size_t kMaxExercises = 39999;
constexpr std::size_t kMaxProducts = 49999;
constexpr std::size_t kMaxFoodGroups = 99;
constexpr double kKilojoulesPerKilocalorie = 4.184;

// Drops the binary noise of unit conversions (0.00933 g * 1000 = 9.330000000000002 mg) so
// the dictionary shows the values the table meant; the table has at most five digits.
double roundSignificant(double value, int digits) {
  if (value == 0 || !std::isfinite(value)) return value;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
  return std::strtod(buffer, nullptr);
}

double roundDecimals(double value, int decimals) {
  double scale = std::pow(10.0, decimals);
  return std::round(value * scale) / scale;
}

// A product key filled from one column of the food table, scaled from grams.
struct NutrientColumn {
  const char* key;
  const char* column;
  double scale;  // 1 grams, 1e3 milligrams, 1e6 micrograms
};

constexpr NutrientColumn kNutrientColumns[] = {
    {"proteins", "protcnt", 1},
    {"fats", "fatce", 1},
    {"carbohydrates", "choavldf", 1},
    {"cellulose", "fibtg", 1},
    {"cholesterol", "cholc", 1e3},
    {"saturated_fats", "fasat", 1},
    {"monounsaturated_fats", "fams", 1},
    {"polyunsaturated_fats", "fapu", 1},
    {"trans_fatty_acids", "fatrn", 1},
    {"beta_carotene", "cartb", 1e6},
    {"vitamin_a", "vita", 1e6},
    {"vitamin_b6", "vitb6c", 1e3},
    {"vitamin_e", "vite", 1e3},
    {"vitamin_c", "vitc", 1e3},
    {"riboflavin", "ribf", 1e3},
    {"iron", "fe", 1e3},
    {"potassium", "k", 1e3},
    {"calcium", "ca", 1e3},
    {"magnesium", "mg", 1e3},
    {"cuprum", "cu", 1e3},
    {"natrium", "na", 1e3},
    {"phosphorus", "p", 1e3},
    {"zinc", "zn", 1e3},
};

void checkLanguage(const std::string& language) {
  bool valid = !language.empty() && language.size() <= 16 &&
               std::all_of(language.begin(), language.end(), [](char c) {
                 return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                        (c >= '0' && c <= '9') || c == '-' || c == '_';
               });
  if (!valid) throw Error(ErrorCode::InvalidInput, "invalid language code \"" + language + "\"");
}

// The base with exactly one final "/", or invalid_argument when it cannot prefix an image
// path: not http(s), no host, a query or fragment, or characters a URL may not hold.
std::string imageBase(const std::string& base) {
  auto fail = [&] {
    throw Error(ErrorCode::InvalidInput, "invalid image base URL \"" + base + "\"");
  };
  std::string_view rest = base;
  if (rest.rfind("https://", 0) == 0) {
    rest.remove_prefix(8);
  } else if (rest.rfind("http://", 0) == 0) {
    rest.remove_prefix(7);
  } else {
    fail();
  }
  if (rest.empty() || rest.front() == '/' || rest.find_first_of("?#") != std::string_view::npos ||
      !handbook_url::isValidURL(base)) {
    fail();
  }
  return base.back() == '/' ? base : base + "/";
}

// `path` with every byte other than an unreserved character or "/" percent-encoded, so the
// address stays well-formed whatever the dataset names its files.
std::string encodedPath(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char c : path) {
    auto byte = static_cast<unsigned char>(c);
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
        c == '.' || c == '_' || c == '~' || c == '/') {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    }
  }
  return out;
}

std::string escapeHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string capitalized(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') text.front() -= 'a' - 'A';
  return text;
}

// "a", "a and b", "a, b and c".
std::string listing(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += i + 1 == items.size() ? " and " : ", ";
    text += items[i];
  }
  return text;
}

// Builds one dictionary; holds the options so every record is marked the same way.
class DictionaryBuilder {
 public:
  explicit DictionaryBuilder(const HandbookSeedOptions& options)
      : language_(options.language),
        marker_(options.language == "en" ? "" : "[" + options.language + "] "),
        imageBase_(imageBase(options.exerciseImageBaseURL)) {}

  std::string imageURL(std::string_view path) const { return imageBase_ + encodedPath(path); }

  std::string shown(std::string_view text) const { return marker_ + std::string(text); }

  json item(std::uint64_t id, std::string_view title) const {
    json record = json::object();
    record["id"] = id;
    record["status"] = "published";
    record["language"] = language_;
    record["title"] = shown(title);
    return record;
  }

  json category(std::uint64_t id, std::optional<std::uint64_t> parent, std::string_view postType,
                std::string_view title, std::uint64_t weight) const {
    json record = item(id, title);
    if (parent) record["parent_id"] = *parent;
    record["post_type"] = postType;
    record["weight"] = weight;
    return record;
  }

  json filterTag(std::uint64_t id, std::string_view type, std::string_view title,
                 std::uint64_t weight) const {
    json record = item(id, title);
    record["type"] = type;
    record["weight"] = weight;
    return record;
  }

  // An article or FAQ entry: plain text and HTML of the same paragraphs.
  json textPost(std::uint64_t id, std::uint64_t categoryId, const SeedText& text) const {
    json record = item(id, text.title);
    record["category_id"] = categoryId;
    std::string plain;
    std::string html;
    for (std::string_view paragraph : text.paragraphs) {
      std::string marked = shown(paragraph);
      if (!plain.empty()) plain += "\n\n";
      plain += marked;
      html += "<p>" + escapeHtml(marked) + "</p>";
    }
    record["description"] = plain;
    record["description_html"] = html;
    if (!text.warning.empty()) {
      record["warning"] = shown(text.warning);
      record["warning_html"] = "<p>" + escapeHtml(shown(text.warning)) + "</p>";
    }
    return record;
  }

 private:
  std::string language_;
  std::string marker_;
  std::string imageBase_;
};

std::string exerciseDescription(const SeedExercise& exercise) {
  std::vector<std::string> sentences;
  if (exercise.level) sentences.push_back(capitalized(*exercise.level) + " level.");
  if (exercise.mechanic) sentences.push_back(capitalized(*exercise.mechanic) + " movement.");
  if (exercise.force) {
    if (*exercise.force == "push") sentences.push_back("Pushing movement.");
    if (*exercise.force == "pull") sentences.push_back("Pulling movement.");
    if (*exercise.force == "static") sentences.push_back("Static hold.");
  }
  if (!exercise.secondaryMuscles.empty()) {
    sentences.push_back("Also works the " + listing(exercise.secondaryMuscles) + ".");
  }
  std::string text;
  for (const auto& sentence : sentences) text += (text.empty() ? "" : " ") + sentence;
  return text;
}

std::string filterTagIds(const SeedExercise& exercise) {
  std::set<std::uint64_t> locations;
  std::set<std::uint64_t> muscles;
  const SeedEquipment& equipment = seedEquipment()[seedEquipmentIndex(exercise.equipment).value()];
  for (std::size_t location : equipment.locations) {
    locations.insert(kSeedLocationTagIdBase + 1 + location);
  }
  for (const auto* list : {&exercise.primaryMuscles, &exercise.secondaryMuscles}) {
    for (const std::string& muscle : *list) {
      muscles.insert(kSeedMuscleTagIdBase + 1 + seedMuscleIndex(muscle).value());
    }
  }
  std::vector<std::uint64_t> ids(locations.begin(), locations.end());
  ids.insert(ids.end(), muscles.begin(), muscles.end());
  if (exercise.equipment) {
    ids.push_back(kSeedEquipmentTagIdBase + 1 + seedEquipmentIndex(exercise.equipment).value());
  }
  std::string text;
  for (auto id : ids) {
    if (!text.empty()) text += ',';
    text += std::to_string(id);
  }
  return text;
}

// Alternatives per exercise index: the nearest exercises of its group (same primary muscle,
// equipment class and exercise type) after ordering the group by mechanic, force, level and
// slug, nearest first. Distance in that order is symmetric, so is the relation.
std::vector<std::vector<std::size_t>> alternatives(const std::vector<const SeedExercise*>& kept) {
  using Key = std::tuple<std::string, int, std::string_view>;
  std::map<Key, std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const SeedExercise& exercise = *kept[i];
    auto equipmentClass =
        seedEquipment()[seedEquipmentIndex(exercise.equipment).value()].equipmentClass;
    groups[{exercise.primaryMuscles.front(), static_cast<int>(equipmentClass),
            seedExerciseType(exercise)}]
        .push_back(i);
  }
  std::vector<std::vector<std::size_t>> result(kept.size());
  auto similarity = [&](std::size_t index) {
    const SeedExercise& e = *kept[index];
    return std::make_tuple(e.mechanic.value_or("~"), e.force.value_or("~"), e.level.value_or("~"),
                           std::string_view(e.slug));
  };
  for (auto& [key, members] : groups) {
    std::sort(members.begin(), members.end(),
              [&](std::size_t a, std::size_t b) { return similarity(a) < similarity(b); });
    for (std::size_t position = 0; position < members.size(); ++position) {
      auto& list = result[members[position]];
      for (std::size_t distance = 1; distance <= kSeedAlternativesPerSide; ++distance) {
        if (position >= distance) list.push_back(members[position - distance]);
        if (position + distance < members.size()) list.push_back(members[position + distance]);
      }
    }
  }
  return result;
}

json productRecord(const DictionaryBuilder& builder, std::uint64_t id, std::uint64_t categoryId,
                   const SeedFood& food) {
  json record = builder.item(id, food.name);
  record["category_id"] = categoryId;
  std::string description;
  if (!food.scientificName.empty()) description = "Scientific name: " + food.scientificName + ".";
  if (!food.localNames.empty()) {
    std::string names = food.localNames;
    if (names.back() == '.') names.pop_back();
    // Appended piece by piece: GCC 12 at -O3 misreads the chained concatenation as overlapping.
    if (!description.empty()) description.push_back(' ');
    description.append("Local names: ").append(names).push_back('.');
  }
  if (!description.empty()) record["description"] = builder.shown(description);

  if (auto kilojoules = food.value("enerc")) {
    double kilocalories = *kilojoules / kKilojoulesPerKilocalorie;
    record["calories"] = roundDecimals(kilocalories, 2);
    record["density_of_calories_index"] = roundDecimals(kilocalories / 100.0, 4);
  }
  for (const auto& nutrient : kNutrientColumns) {
    if (auto grams = food.value(nutrient.column)) {
      record[nutrient.key] = roundSignificant(*grams * nutrient.scale, 6);
    }
  }
  auto d2 = food.value("ergcal");
  auto d3 = food.value("chocal");
  if (d2 || d3) record["vitamin_d"] = roundSignificant((d2.value_or(0) + d3.value_or(0)) * 1e6, 6);
  return record;
}

}  // namespace

HandbookSeedSource::HandbookSeedSource(std::vector<SeedExercise> exercises,
                                       std::vector<SeedFood> foods)
    : exercises_(std::move(exercises)), foods_(std::move(foods)) {
  std::set<std::string> groups;
  for (const auto& food : foods_) groups.insert(food.group);
  foodGroups_.assign(groups.begin(), groups.end());
}

HandbookSeedSource HandbookSeedSource::load(const std::filesystem::path& sourceDir) {
  auto exercisesFile = sourceDir / kExercisesFile;
  auto foodsFile = sourceDir / kFoodsFile;
  auto exercises = readSeedExercises(exercisesFile);
  auto foods = readSeedFoods(foodsFile);

  for (const auto& exercise : exercises) {
    auto fail = [&](const std::string& problem) {
      throw SeedSourceError(exercisesFile, exercise.line, problem);
    };
    if (!isKnownSeedExerciseCategory(exercise.category)) {
      fail("unknown category \"" + exercise.category + "\"");
    }
    for (const auto* list : {&exercise.primaryMuscles, &exercise.secondaryMuscles}) {
      for (const auto& muscle : *list) {
        if (!seedMuscleIndex(muscle)) fail("unknown muscle \"" + muscle + "\"");
      }
    }
    if (!seedEquipmentIndex(exercise.equipment) ||
        (exercise.equipment && exercise.equipment->empty())) {
      fail("unknown equipment \"" + exercise.equipment.value_or("") + "\"");
    }
  }
  if (exercises.size() > kMaxExercises) {
    throw SeedSourceError(exercisesFile, 0, "more exercises than the identifier range holds");
  }
  if (foods.size() > kMaxProducts) {
    throw SeedSourceError(foodsFile, 0, "more foods than the identifier range holds");
  }
  HandbookSeedSource source(std::move(exercises), std::move(foods));
  if (source.foodGroups_.size() > kMaxFoodGroups) {
    throw SeedSourceError(foodsFile, 0, "more food groups than the identifier range holds");
  }
  return source;
}

json HandbookSeedSource::updateDictionary(const HandbookSeedOptions& options) const {
  checkLanguage(options.language);
  DictionaryBuilder builder(options);

  json categories = json::array();
  categories.push_back(
      builder.category(kSeedExercisesCategoryId, std::nullopt, "post_exercise", "Exercises", 1));
  categories.push_back(
      builder.category(kSeedProductsCategoryId, std::nullopt, "post_product", "Food products", 2));
  categories.push_back(
      builder.category(kSeedArticlesCategoryId, std::nullopt, "post_article", "Articles", 3));
  categories.push_back(
      builder.category(kSeedFaqCategoryId, std::nullopt, "post_faq", "Questions and answers", 4));
  const auto& exerciseGroups = seedExerciseGroupTitles();
  for (std::size_t i = 0; i < exerciseGroups.size(); ++i) {
    categories.push_back(builder.category(kSeedExerciseGroupIdBase + 1 + i,
                                          kSeedExercisesCategoryId, "post_exercise",
                                          exerciseGroups[i], i + 1));
  }
  for (std::size_t i = 0; i < foodGroups_.size(); ++i) {
    categories.push_back(builder.category(kSeedFoodGroupIdBase + 1 + i, kSeedProductsCategoryId,
                                          "post_product", foodGroups_[i], i + 1));
  }
  categories.push_back(builder.category(kSeedArticleTopicIdBase + 1, kSeedArticlesCategoryId,
                                        "post_article", "Training", 1));
  categories.push_back(builder.category(kSeedArticleTopicIdBase + 2, kSeedArticlesCategoryId,
                                        "post_article", "Nutrition", 2));

  json tags = json::array();
  const auto& locations = seedLocationTitles();
  for (std::size_t i = 0; i < locations.size(); ++i) {
    tags.push_back(
        builder.filterTag(kSeedLocationTagIdBase + 1 + i, "location", locations[i], i + 1));
  }
  const auto& muscles = seedMuscles();
  for (std::size_t i = 0; i < muscles.size(); ++i) {
    tags.push_back(
        builder.filterTag(kSeedMuscleTagIdBase + 1 + i, "muscles", muscles[i].title, i + 1));
  }
  const auto& equipment = seedEquipment();
  for (std::size_t i = 0; i < equipment.size(); ++i) {
    if (equipment[i].name.empty()) continue;  // "no equipment" is the absence of a tag
    tags.push_back(
        builder.filterTag(kSeedEquipmentTagIdBase + 1 + i, "equipment", equipment[i].title, i + 1));
  }

  json articles = json::array();
  for (std::size_t i = 0; i < seedArticles().size(); ++i) {
    const SeedText& text = seedArticles()[i];
    std::uint64_t topic = kSeedArticleTopicIdBase + (text.topic == SeedTextTopic::Training ? 1 : 2);
    articles.push_back(builder.textPost(kSeedArticleIdBase + 1 + i, topic, text));
  }
  json faqs = json::array();
  for (std::size_t i = 0; i < seedFaqs().size(); ++i) {
    faqs.push_back(builder.textPost(kSeedFaqIdBase + 1 + i, kSeedFaqCategoryId, seedFaqs()[i]));
  }

  std::size_t exerciseCount =
      options.limit == 0 ? exercises_.size() : std::min(options.limit, exercises_.size());
  std::vector<const SeedExercise*> kept;
  for (std::size_t i = 0; i < exerciseCount; ++i) kept.push_back(&exercises_[i]);
  auto alternativesOf = alternatives(kept);
  json exercisePosts = json::array();
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const SeedExercise& exercise = *kept[i];
    json record = builder.item(kSeedExerciseIdBase + 1 + i, exercise.name);
    record["category_id"] = kSeedExerciseGroupIdBase + 1 + seedExerciseGroup(exercise);
    record["description"] = builder.shown(exerciseDescription(exercise));
    json steps = json::array();
    for (const auto& step : exercise.instructions) steps.push_back(builder.shown(step));
    record["execution_order"] = std::move(steps);
    record["exercise_type"] = seedExerciseType(exercise);
    if (exercise.equipment) {
      record["equipment_type"] =
          equipment[seedEquipmentIndex(exercise.equipment).value()].equipmentType;
    }
    record["filter_tag_ids"] = filterTagIds(exercise);
    std::string alternativeIds;
    for (std::size_t other : alternativesOf[i]) {
      if (!alternativeIds.empty()) alternativeIds += ',';
      alternativeIds += std::to_string(kSeedExerciseIdBase + 1 + other);
    }
    record["alternative_ids"] = alternativeIds;
    // Start position as the post's photo, end position as its background.
    if (!exercise.images.empty()) record["photo"] = builder.imageURL(exercise.images[0]);
    if (exercise.images.size() > 1) {
      record["background_photo"] = builder.imageURL(exercise.images[1]);
    }
    exercisePosts.push_back(std::move(record));
  }

  std::size_t foodCount =
      options.limit == 0 ? foods_.size() : std::min(options.limit, foods_.size());
  json products = json::array();
  for (std::size_t i = 0; i < foodCount; ++i) {
    const SeedFood& food = foods_[i];
    auto group = std::lower_bound(foodGroups_.begin(), foodGroups_.end(), food.group);
    std::uint64_t categoryId =
        kSeedFoodGroupIdBase + 1 + static_cast<std::uint64_t>(group - foodGroups_.begin());
    products.push_back(productRecord(builder, kSeedProductIdBase + 1 + i, categoryId, food));
  }

  json dictionary = json::object();
  dictionary["status"] = "changed";
  dictionary["version"] = options.version;
  dictionary["categories"] = std::move(categories);
  dictionary["filter_tags"] = std::move(tags);
  dictionary["post_articles"] = std::move(articles);
  dictionary["post_faqs"] = std::move(faqs);
  dictionary["post_exercises"] = std::move(exercisePosts);
  dictionary["post_products"] = std::move(products);
  dictionary["post_pharmacies"] = json::array();
  dictionary["post_sport_foods"] = json::array();
  return dictionary;
}

std::string serializeHandbookSeedDictionary(const json& dictionary) {
  return dictionary.dump(2, ' ', false, json::error_handler_t::strict) + "\n";
}

}  // namespace dm
