// `dmctl handbook`: build a seed pack, apply an update, and read the handbook store of the
// data root (tree, post, search, status).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Adapter/HandbookPayloadReader.h"
#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookFilterTagEntity.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/Seed/HandbookSeedSource.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "Handbook/Storage/HandbookSeedBuilder.h"
#include "Mapping/Enumerations/NutritionEnumerations.h"
#include "Platform/Foundation/MappedFile.h"
#include "Platform/Foundation/WorkQueue.h"
#include "dmctl/Command.h"
#include "dmctl/CommandTree.h"
#include "dmctl/Progress.h"

namespace dmctl {
namespace {

// The "handbook" command group; other handbook commands may have created it already.
CLI::App* handbookCommand(CLI::App& app) {
  auto existing = app.get_subcommands(
      [](const CLI::App* command) { return command->get_name() == "handbook"; });
  if (!existing.empty()) return const_cast<CLI::App*>(existing.front());
  auto* command = app.add_subcommand("handbook", "Handbook store and seed jobs");
  command->require_subcommand(1);
  return command;
}

// Texts are written whole: a title holding a NUL byte must not cut off what follows.
void print(const GlobalOptions& global, const nlohmann::json& value, const std::string& text) {
  const std::string out =
      global.json ? value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n"
                  : text;
  std::fwrite(out.data(), 1, out.size(), stdout);
}

// The adapter of the data root, on this thread as the main thread. Fails when the handbook
// store file is not in use (busy, full, read-only, ...): its empty stand-in would be shown
// as the handbook.
// `forWrite`: the command was asked to store something, so the failure is "not written".
dm::HandbookAdapter& openAdapter(const GlobalOptions& global, bool forWrite = false) {
  applyGlobalOptions(global);
  dm::MainQueue::shared().adoptCurrentThread();
  auto& adapter = dm::HandbookAdapter::shared();
  auto storage = adapter.storage();
  if (storage->isInMemory()) {
    auto reason = storeUnavailableReason("the handbook store " + storage->storeFile().string(),
                                         storage->openError());
    if (forWrite) throw NotWrittenError(reason + "; nothing was applied");
    throw CommandError(reason, dm::ErrorCode::StoreUnavailable);
  }
  return adapter;
}

nlohmann::json itemJson(const dm::HandbookItemEntity* item) {
  nlohmann::json out = {{"id", item->entityID().value_or(0)},
                        {"title", item->title()},
                        {"kind", item->entity().name()},
                        {"status", item->statusString()}};
  return out;
}

// ---- build-seed ----

struct BuildSeedOptions {
  std::string language = "en";
  std::string sourceDir;
  std::string outFile;
  std::size_t limit = 0;
  std::string imageBase = dm::kSeedExerciseImageBaseURL;
};

void buildSeed(const GlobalOptions& global, const BuildSeedOptions& options) {
  nlohmann::json dictionary;
  try {
    auto source = dm::HandbookSeedSource::load(options.sourceDir);
    dm::HandbookSeedOptions seedOptions;
    seedOptions.language = options.language;
    seedOptions.limit = options.limit;
    seedOptions.exerciseImageBaseURL = options.imageBase;
    dictionary = source.updateDictionary(seedOptions);
  } catch (const dm::Error& error) {  // a malformed source file or option
    throw CommandError(error.what(), libraryCode(error));
  }
  // The library reports the phase and the fraction done; the records are counted here.
  std::size_t total = 0;
  for (const auto& [key, value] : dictionary.items())
    if (value.is_array()) total += value.size();
  Progress progress(global, "build-seed");
  auto report = [&progress, total](const std::string& phase, double fraction) {
    if (phase == "apply") {
      progress.update(static_cast<std::size_t>(fraction * static_cast<double>(total)), total);
      progress.setPhase(std::string());
    } else {
      progress.setPhase(phase);
    }
  };
  dm::HandbookSeedBuildResult result;
  try {
    result = dm::buildHandbookSeedArchive(dictionary, options.language, options.outFile, report);
  } catch (const dm::Error& error) {
    throw CommandError(std::string("build-seed: ") + error.what(), libraryCode(error));
  } catch (const std::exception& error) {
    throw CommandError(std::string("build-seed: ") + error.what());
  }
  progress.finish();
  std::ostringstream text;
  text << options.outFile << ": " << result.records << " records, store " << result.storeBytes
       << " bytes\n";
  print(global,
        {{"file", options.outFile}, {"records", result.records}, {"storeBytes", result.storeBytes}},
        text.str());
}

// ---- tree ----

void printTree(dm::HandbookCategoryEntity* category, int depth, nlohmann::json& out,
               std::ostringstream& text) {
  nlohmann::json node = itemJson(category);
  node["posts"] = dm::HandbookPostEntity::postsCountForCategory(category);
  text << std::string(depth * 2, ' ') << category->entityID().value_or(0) << " "
       << category->title() << " (" << node["posts"].get<std::size_t>() << " posts)\n";
  node["subcategories"] = nlohmann::json::array();
  if (depth < 16)
    for (auto* sub : category->subcategories())
      printTree(sub, depth + 1, node["subcategories"], text);
  out.push_back(std::move(node));
}

void tree(const GlobalOptions& global) {
  openAdapter(global);
  nlohmann::json out = nlohmann::json::array();
  std::ostringstream text;
  for (auto* root : dm::HandbookCategoryEntity::subcategoriesForCategory(nullptr))
    printTree(root, 0, out, text);
  print(global, out, text.str());
}

// ---- post ----

// Images of any post, then videos and tags of an exercise. A missing address is JSON null
// and "none" in text.
void describeMedia(const dm::HandbookPostEntity& post, nlohmann::json& out,
                   std::ostringstream& text) {
  std::vector<std::pair<const char*, std::string>> media = {
      {"photoURL", post.photoURL()},
      {"thumbnailPhoto", post.thumbnailPhoto()},
      {"backgroundPhotoURL", post.backgroundPhotoURL()},
      {"thumbnailBackgroundPhoto", post.thumbnailBackgroundPhoto()}};
  auto* exercise = dynamic_cast<const dm::HandbookPostExerciseEntity*>(&post);
  if (exercise) {
    media.emplace_back("videoURL", exercise->videoURL());
    media.emplace_back("previewVideoURL", exercise->previewVideoURL());
  }
  for (const auto& [key, url] : media) {
    out[key] = url.empty() ? nlohmann::json(nullptr) : nlohmann::json(url);
    text << key << ": " << (url.empty() ? "none" : url) << "\n";
  }
  if (!exercise) return;

  out["tags"] = nlohmann::json::array();
  std::string tags;
  for (auto* tag : exercise->tags()) {
    auto type = dm::HandbookFilterTagEntity::typeStringFromType(static_cast<int>(tag->type()));
    out["tags"].push_back(
        {{"id", tag->entityID().value_or(0)}, {"title", tag->title()}, {"type", type}});
    tags += (tags.empty() ? "" : ", ") + tag->title() + " (" + type + ")";
  }
  text << "tags: " << (tags.empty() ? "none" : tags) << "\n";
  out["orders"] = exercise->orders();
  if (!exercise->orders().empty()) text << "steps:\n";
  for (std::size_t i = 0; i < exercise->orders().size(); ++i) {
    const auto& step = exercise->orders()[i];
    text << "  " << i + 1 << ". " << (step.is_string() ? step.get<std::string>() : step.dump())
         << "\n";
  }
}

// Nutrients, the four indexes with their grades, ingredients and recipe of a product.
void describeProduct(const dm::HandbookPostProductEntity& product, nlohmann::json& out,
                     std::ostringstream& text) {
  out["nutrients"] = nlohmann::json::object();
  text << "nutrients per " << product.calculatedWeight() << ":\n";
  for (int type = 0; type < dm::HandbookPostProductEntity::kNutritionTypeCount; ++type) {
    auto value = product.nutritionValueForType(type);
    if (!value) continue;
    auto title = product.nutritionTitleForType(type);
    out["nutrients"][title] = *value;
    text << "  " << title << ": " << nlohmann::json(*value).dump() << "\n";
  }
  out["indexes"] = nlohmann::json::array();
  text << "indexes:\n";
  for (int type = 0; type < dm::HandbookPostProductEntity::kIndexTypeCount; ++type) {
    auto value = product.indexValueForType(type);
    // Without a value the string form would read "0", which is a value; show none instead.
    nlohmann::json index = {
        {"type", type},
        {"title", product.indexTitleForType(type)},
        {"value", value ? nlohmann::json(*value) : nlohmann::json(nullptr)},
        {"stringValue",
         value ? nlohmann::json(product.indexStringValueForType(type)) : nlohmann::json(nullptr)},
        // The float widened to double would print as 0.5895500183105469.
        {"percent", std::round(product.indexPercent(type) * 1e4) / 1e4},
        {"status", product.indexStatus(type)}};
    text << "  " << index["title"].get<std::string>() << ": "
         << (value ? index["stringValue"].get<std::string>() : std::string("none"));
    if (value) text << " (grade " << index["status"].get<int>() << ")";
    text << "\n";
    out["indexes"].push_back(std::move(index));
  }
  out["ingredients"] = nlohmann::json::array();
  for (const auto& ingredient : product.ingredients())
    out["ingredients"].push_back(
        {{"postProductId", ingredient.postProductId}, {"weight", ingredient.weight}});
  if (!out["ingredients"].empty()) text << "ingredients: " << out["ingredients"].dump() << "\n";
  out["receipt"] = product.receiptStrings();
  if (!out["receipt"].empty()) text << "receipt: " << out["receipt"].dump() << "\n";
}

void post(const GlobalOptions& global, std::int64_t id) {
  auto& adapter = openAdapter(global);
  dm::HandbookPostEntity* found = adapter.getPostEntity(id, 0);
  if (!found) throw CommandError("no post with id " + std::to_string(id), ErrorCode::NotFound);
  nlohmann::json out = itemJson(found);
  out["categoryID"] = found->categoryID().value_or(0);
  out["postType"] = static_cast<int>(found->postType());
  out["description"] = found->trimmedDesc();
  std::ostringstream text;
  text << found->entityID().value_or(0) << " " << found->title() << " [" << found->entity().name()
       << "]\n";
  if (!found->trimmedDesc().empty()) text << found->trimmedDesc() << "\n";
  describeMedia(*found, out, text);
  if (auto* product = dynamic_cast<dm::HandbookPostProductEntity*>(found))
    describeProduct(*product, out, text);
  print(global, out, text.str());
}

// ---- search ----

void search(const GlobalOptions& global, const std::string& needle) {
  auto& adapter = openAdapter(global);
  auto posts = adapter.getEntities(
      0, {"entityID"}, dm::Predicate::parse("title CONTAINS[cd] %@", {dm::Value(needle)}));
  nlohmann::json out = nlohmann::json::array();
  std::ostringstream text;
  for (auto* p : posts) {
    out.push_back(itemJson(p));
    text << p->entityID().value_or(0) << " " << p->title() << " [" << p->entity().name() << "]\n";
  }
  print(global, out, text.str());
}

// ---- apply-update ----

// The update's file, mapped rather than read: the library lets each part of its text go once
// read, so a large update is never in memory whole. The beginning is checked first, so a
// missing or malformed file is reported before the store is touched; the system reads the
// rest ahead while the store opens.
dm::MappedFile mapUpdateFile(const std::string& path) {
  dm::MappedFile file = mapInputFile(path);
  file.prefetch();
  const std::string_view text = file.text();
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first != std::string_view::npos && text[first] == '{') return file;
  if (!nlohmann::json::accept(text))
    throw CommandError(path + ": not valid JSON", dm::ErrorCode::InvalidInput);
  throw CommandError(path +
                         " is not an update dictionary (a JSON object with \"status\", "
                         "\"version\" and the changed records)",
                     dm::ErrorCode::InvalidInput);
}

// Why the library gave no batch for `text`: malformed text is an error, a "not_modified"
// answer is not. Runs only then, so a good update is parsed once.
bool isNotModifiedAnswer(std::string_view text, const std::string& path) {
  dm::HandbookPayloadReader reader(text);
  dm::handbook_dict::Node status;
  nlohmann::json shallow;
  if (reader.open()) {
    status = reader.header({"status"}).find("status");
  } else {
    if (!nlohmann::json::accept(text))
      throw CommandError(path + ": not valid JSON", dm::ErrorCode::InvalidInput);
    // Valid, but not what the windowed reader takes: only the top level is kept here.
    shallow = nlohmann::json::parse(
        text, [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) { return depth <= 1; });
    if (shallow.contains("status")) status = dm::handbook_dict::Node(shallow["status"]);
  }
  return status.kind() == dm::handbook_dict::Node::Kind::String &&
         status.string() == "not_modified";
}

void applyUpdate(const GlobalOptions& global, const std::string& file) {
  const dm::MappedFile updateFile = mapUpdateFile(file);
  auto& adapter = openAdapter(global, /*forWrite=*/true);
  const std::string_view payload = updateFile.text();
  Progress progress(global, "apply-update");
  if (progress.enabled())
    adapter.setUpdateProgress(
        [&progress](std::size_t applied, std::size_t total) { progress.update(applied, total); });
  struct ProgressHookReset {
    dm::HandbookAdapter& adapter;
    ~ProgressHookReset() { adapter.setUpdateProgress({}); }
  } resetHook{adapter};
  dm::HandbookUpdateEntity* batch = adapter.getHandbookUpdateEntityFromFile(updateFile);
  progress.setPhase("saving");
  const bool notModified = !batch && isNotModifiedAnswer(payload, file);
  nlohmann::json out = {{"applied", batch != nullptr}};
  std::string text = "not modified: nothing applied\n";
  if (!batch) progress.finish();
  if (!batch && !notModified)
    throw NotWrittenError("the update was not applied (--verbose shows why)");
  if (batch) {
    // Saved here rather than through the adapter, which swallows a failed save.
    std::string failure;
    adapter.storage()->performOnSavingContextAndWait([&](dm::ManagedObjectContext& context) {
      // The batch counts its records as it builds its sets: no need to list them here.
      out["records"] = batch->amountOfChanges();
      out["version"] = batch->version();
      try {
        context.save();
      } catch (const dm::StoreError& error) {
        failure = std::string(dm::storeFailureKindName(error.kind())) + ": " + error.what();
      }
    });
    progress.finish();
    if (!failure.empty())
      throw NotWrittenError("the update was not saved (" + failure + "); nothing was applied");
    text = "applied " + out["records"].dump() + " records (version " +
           out["version"].get<std::string>() + ")\n";
  }
  print(global, out, text);
}

// ---- status ----

void status(const GlobalOptions& global) {
  auto& adapter = openAdapter(global);
  auto storage = adapter.storage();
  auto seed = storage->seedStorage();
  nlohmann::json out = {
      {"store", storage->storeFile().string()},
      {"inMemory", storage->isInMemory()},
      {"language", seed->currentLocalization()},
      {"savedLanguage", seed->settings()
                            ->stringForKey(dm::SeedStorage::kLocalizationWithSavedHandbookKey)
                            .value_or("")},
      {"savedVersion", seed->settings()
                           ->stringForKey(dm::SeedStorage::kAppVersionWithSavedHandbookKey)
                           .value_or("")},
      {"needsRestore", seed->needsRestore()},
  };
  for (const char* kind :
       {"HandbookCategoryEntity", "HandbookFilterTagEntity", "HandbookPostArticleEntity",
        "HandbookPostExerciseEntity", "HandbookPostFaqEntity", "HandbookPostPharmacyEntity",
        "HandbookPostProductEntity", "HandbookPostSportFoodEntity"}) {
    dm::FetchRequest request(storage->entityNamed(kind));
    out["counts"][kind] = storage->count(request);
  }
  if (auto* last = adapter.getLastUpdateEntity())
    out["lastUpdate"] = {{"version", last->version()},
                         {"status", last->statusString()},
                         {"date", last->date().timeIntervalSince1970}};
  std::ostringstream text;
  text << "store: " << out["store"].get<std::string>()
       << (storage->isInMemory() ? " (in memory)" : "")
       << "\nlanguage: " << out["language"].get<std::string>() << " (saved "
       << out["savedLanguage"].get<std::string>() << ", version "
       << out["savedVersion"].get<std::string>() << ")\n";
  for (auto it = out["counts"].begin(); it != out["counts"].end(); ++it)
    text << it.key() << ": " << it.value() << "\n";
  if (out.contains("lastUpdate")) text << "last update: " << out["lastUpdate"].dump() << "\n";
  print(global, out, text.str());
}

void setup(CLI::App& app, const GlobalOptions& global) {
  auto* group = handbookCommand(app);

  auto build = std::make_shared<BuildSeedOptions>();
  auto* buildCommand = group->add_subcommand(
      "build-seed", "Build a seed pack (a ZIP holding Handbook.sqlite) from the seed sources");
  buildCommand->add_option("--lang", build->language, "Language code")->capture_default_str();
  buildCommand->add_option("--source", build->sourceDir, "Seed source directory")
      ->required()
      ->check(CLI::ExistingDirectory);
  buildCommand->add_option("--out", build->outFile, "Output archive")->required();
  buildCommand->add_option("--limit", build->limit, "Only the first N exercises and foods (0: all)")
      ->check(nonNegativeNumber())
      ->capture_default_str();
  buildCommand
      ->add_option("--image-base", build->imageBase,
                   "Base URL the exercise image paths are appended to")
      ->capture_default_str();
  buildCommand->callback([&global, build] {
    applyGlobalOptions(global);
    buildSeed(global, *build);
  });

  group->add_subcommand("tree", "Print the category tree with post counts")->callback([&global] {
    tree(global);
  });

  auto postId = std::make_shared<std::int64_t>(0);
  auto* postCommand = group->add_subcommand("post", "Print one post");
  postCommand->add_option("ID", *postId, "Post id")->required();
  postCommand->callback([&global, postId] { post(global, *postId); });

  auto needle = std::make_shared<std::string>();
  auto* searchCommand = group->add_subcommand("search", "Find posts whose title contains TEXT");
  searchCommand->add_option("TEXT", *needle, "Text to look for")->required();
  searchCommand->callback([&global, needle] { search(global, *needle); });

  auto file = std::make_shared<std::string>();
  auto* applyCommand = group->add_subcommand("apply-update", "Apply a server update dictionary");
  applyCommand->add_option("FILE", *file, "Update JSON file")->required()->check(CLI::ExistingFile);
  applyCommand->callback([&global, file] { applyUpdate(global, *file); });

  group->add_subcommand("status", "Print the store, its language and record counts")
      ->callback([&global] { status(global); });
}

const CommandRegistration registration("handbook", &setup);

}  // namespace
}  // namespace dmctl
