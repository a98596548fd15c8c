// Shared set-up of the handbook tests.
#include "Handbook/HandbookTestSupport.h"

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Storage/HandbookSeedBuilder.h"
#include "Platform/Foundation/WorkQueue.h"

namespace dm::test {

nlohmann::json smallUpdateDictionary(const std::string& language, int version) {
  auto item = [&](int id, const std::string& title) {
    return nlohmann::json{
        {"id", id}, {"title", title}, {"status", "published"}, {"language", language}};
  };
  nlohmann::json root1 = item(1, "Exercises");
  root1["post_type"] = "post_exercise";
  nlohmann::json sub = item(2, "Legs");
  sub["parent_id"] = 1;
  sub["post_type"] = "post_exercise";
  nlohmann::json tagA = item(10, "Gym");
  tagA["type"] = "location";
  nlohmann::json tagB = item(11, "Quads");
  tagB["type"] = "muscles";
  nlohmann::json article = item(20, "Warm-up");
  article["category_id"] = 1;
  nlohmann::json squat = item(30, "Squat");
  squat["category_id"] = 2;
  squat["filter_tag_ids"] = "11,10";
  squat["execution_order"] = {"Stand", "Sit"};
  nlohmann::json lunge = item(31, "Lunge");
  lunge["category_id"] = 2;
  nlohmann::json rice = item(40, "Rice");
  rice["calories"] = 130.0 + version;
  nlohmann::json beans = item(41, "Beans");
  beans["calories"] = 120.0;
  nlohmann::json dish = item(42, "Rice and beans");
  dish["calories"] = 125.0;
  dish["ingredients"] = {{{"post_product_id", 40}, {"weight", 50}},
                         {{"post_product_id", 41}, {"weight", 50}}};
  dish["receipt"] = {"Cook the rice", "Add the beans"};
  return {{"status", "changed"},
          {"version", version},
          {"categories", {root1, sub}},
          {"filter_tags", {tagA, tagB}},
          {"post_articles", {article}},
          {"post_exercises", {squat, lunge}},
          {"post_products", {rice, beans, dish}},
          {"post_faqs", nlohmann::json::array()}};
}

HandbookEnvironment::HandbookEnvironment() {
  MainQueue::shared();  // the test thread is the main thread
  std::filesystem::create_directories(packs);
}

std::shared_ptr<SeedStorage> HandbookEnvironment::seedStorage(const std::string& language,
                                                              const std::string& version) const {
  SeedStorage::Options options;
  options.settings = settings;
  options.currentLocalization = language;
  options.currentVersion = version;
  options.packSource = std::make_shared<DirectorySeedPackSource>(packs);
  return SeedStorage::create(options);
}

HandbookStorage::Options HandbookEnvironment::storageOptions(const std::string& language,
                                                             const std::string& version) const {
  return handbookStorageOptions(dir.path(), settings, language, version);
}

std::filesystem::path HandbookEnvironment::writeSeedPack(const std::string& code,
                                                         const nlohmann::json& dictionary) const {
  std::filesystem::path archive = packs / ("Handbook_" + code + ".sqlite");
  buildHandbookSeedArchive(dictionary, code, archive);
  return archive;
}

SharedAdapterScope::SharedAdapterScope(const HandbookStorage::Options& options) {
  HandbookAdapter::setShared(std::make_unique<HandbookAdapter>(options));
}

SharedAdapterScope::~SharedAdapterScope() {
  MainQueue::shared().runUntilIdle();
  HandbookAdapter::setShared(nullptr);
}

StoredItems storedItems(HandbookAdapter& adapter) {
  StoredItems out;
  auto storage = adapter.storage();
  storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    FetchRequest request(storage->entityNamed("HandbookItemEntity"));
    for (ManagedObject* o : context.executeFetchRequest(request)) {
      std::vector<Value> values;
      for (std::size_t i = 0; i < o->entity().attributes().size(); ++i)
        values.push_back(o->valueAt(i));
      if (auto* p = dynamic_cast<HandbookPostProductEntity*>(o))
        for (auto* linked : p->handbooksForIngredients())
          values.push_back(Value(*linked->entityID()));
      out[{o->entity().name(), o->valueAt(0).asInt64()}] = std::move(values);
    }
  });
  return out;
}

}  // namespace dm::test
