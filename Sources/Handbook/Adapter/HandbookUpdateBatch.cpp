// The update batch: turning the server's handbook dictionary into records on the saving
// context, with one identifier lookup per record kind.
#include <functional>
#include <string_view>
#include <unordered_set>

#include <simdjson.h>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/Entities/IngredientEntity.h"
#include "Models/HandbookEntities.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

struct BatchKind {
  const char* key;
  const char* entityName;
  std::size_t relationship;
};

using U = HandbookUpdateEntityGenerated;
// In the order the server's arrays are applied.
const BatchKind kBatchKinds[] = {
    {"post_articles", "HandbookPostArticleEntity", U::kPostsArticleRelationship},
    {"post_pharmacies", "HandbookPostPharmacyEntity", U::kPostsPharmacyRelationship},
    {"categories", "HandbookCategoryEntity", U::kCategoriesRelationship},
    {"post_faqs", "HandbookPostFaqEntity", U::kPostsFaqRelationship},
    {"post_products", "HandbookPostProductEntity", U::kPostsProductRelationship},
    {"post_sport_foods", "HandbookPostSportFoodEntity", U::kPostsSportFoodRelationship},
    {"filter_tags", "HandbookFilterTagEntity", U::kFilterTagsRelationship},
    {"post_exercises", "HandbookPostExerciseEntity", U::kPostsExerciseRelationship},
};

using handbook_dict::Node;
constexpr std::size_t kIngredientsDataIndex =
    HandbookPostProductEntityGenerated::kIngredientsDataIndex;

// Fills or creates the records of one array; returns them in array order (a record named
// twice appears once). With `hadIngredients`, notes per returned product whether it held
// ingredients before this batch.
std::vector<HandbookItemEntity*> applyArray(ManagedObjectContext& context,
                                            const EntityDescription& entity, const Node& array,
                                            std::vector<bool>* hadIngredients) {
  std::vector<std::pair<std::int64_t, Node>> elements;
  elements.reserve(array.size());
  std::vector<Value> ids;
  ids.reserve(array.size());
  array.forEachElement([&](const Node& element) {
    if (auto id = handbook_dict::identifier(element)) {
      elements.emplace_back(*id, element);
      ids.emplace_back(*id);
    }
  });
  auto existing = context.objectsByAttribute(entity, "entityID", ids);
  std::vector<HandbookItemEntity*> items;
  items.reserve(elements.size());
  std::unordered_set<const ManagedObject*> seen;
  seen.reserve(elements.size());
  for (const auto& [id, element] : elements) {
    ManagedObject*& slot = existing[Value(id)];
    const bool inserted = !slot;
    if (inserted) slot = context.insertNewObject(entity);
    auto* item = dynamic_cast<HandbookItemEntity*>(slot);
    if (!item) continue;
    const bool first = seen.insert(item).second;
    if (first && hadIngredients)
      hadIngredients->push_back(!inserted && !item->valueAt(kIngredientsDataIndex).isNull());
    item->fillFrom(handbook_dict::Dictionary(element));
    if (first) items.push_back(item);
  }
  return items;
}

// Points each product at the stored products its ingredients name. Links are only ever
// derived from the ingredients, so a product that had none and still has none keeps its
// (empty) links without loading them: on a refill of stored products that saves a query each.
void relinkIngredients(ManagedObjectContext& context, const EntityDescription& productEntity,
                       const std::vector<HandbookItemEntity*>& products,
                       const std::vector<bool>& hadIngredients) {
  std::vector<std::pair<HandbookPostProductEntity*, std::vector<IngredientEntity>>> parsed;
  std::vector<Value> wanted;
  std::unordered_set<std::int64_t> wantedSet;
  for (std::size_t i = 0; i < products.size(); ++i) {
    auto* product = static_cast<HandbookPostProductEntity*>(products[i]);
    Value data = product->valueAt(kIngredientsDataIndex);
    if (!data.isBlob() && !hadIngredients[i]) continue;
    auto ingredients = IngredientEntity::parseFromDataObjc(data.isBlob() && !data.asBlob().empty()
                                                               ? std::optional<Blob>(data.asBlob())
                                                               : std::nullopt);
    if (ingredients.empty() && !hadIngredients[i]) continue;
    for (const auto& ingredient : ingredients)
      if (wantedSet.insert(ingredient.postProductId).second)
        wanted.emplace_back(ingredient.postProductId);
    parsed.emplace_back(product, std::move(ingredients));
  }
  if (parsed.empty()) return;
  auto stored = context.objectsByAttribute(productEntity, "entityID", wanted);
  for (auto& [product, ingredients] : parsed) {
    std::vector<HandbookPostProductEntity*> links;
    std::unordered_set<ManagedObject*> linked;
    for (const auto& ingredient : ingredients) {
      auto it = stored.find(Value(ingredient.postProductId));
      if (it == stored.end()) continue;
      auto* target = dynamic_cast<HandbookPostProductEntity*>(it->second);
      if (target && linked.insert(target).second) links.push_back(target);
    }
    auto current = product->handbooksForIngredients();
    if (current != links) product->setHandbooksForIngredients(links);
  }
}

HandbookUpdateEntity* parseAndBuild(
    std::string_view payload, const std::function<HandbookUpdateEntity*(const Node&)>& build) {
  simdjson::dom::parser parser;
  simdjson::dom::element document;
  if (parser.parse(payload.data(), payload.size()).get(document) == simdjson::SUCCESS)
    return build(Node(document));
  // What the fast parser refuses (integers beyond 64 bits, ...) the tree parser may still
  // read; only text neither accepts is malformed.
  auto tree = nlohmann::json::parse(payload, nullptr, false);
  if (tree.is_discarded()) {
    logWarning("Handbook update payload is not valid JSON");
    return nullptr;
  }
  return build(Node(tree));
}

}  // namespace

HandbookUpdateEntity* HandbookAdapter::buildUpdateBatch(ManagedObjectContext& context,
                                                        const handbook_dict::Node& dict) {
  if (!dict.isObject()) return nullptr;
  Node status = dict.find("status");
  if (status.kind() == Node::Kind::String && status.string() == "not_modified") return nullptr;

  const ManagedObjectModel& model = context.model();
  std::vector<std::pair<std::size_t, std::vector<HandbookItemEntity*>>> sets;
  std::vector<HandbookItemEntity*> products;
  std::vector<bool> hadIngredients;
  std::size_t changes = 0;
  for (const BatchKind& kind : kBatchKinds) {
    Node array = dict.find(kind.key);
    if (!array.isArray() || array.size() == 0) continue;
    const EntityDescription* entity = model.entityNamed(kind.entityName);
    const bool isProduct = kind.relationship == U::kPostsProductRelationship;
    auto items = applyArray(context, *entity, array, isProduct ? &hadIngredients : nullptr);
    changes += items.size();
    if (kind.relationship == U::kPostsProductRelationship) products = items;
    sets.emplace_back(kind.relationship, std::move(items));
  }

  auto* batch = context.insertNew<HandbookUpdateEntity>("HandbookUpdateEntity");
  for (const auto& [relationship, items] : sets) batch->setItemsOf(relationship, items);
  batch->setValueAt(U::kStatusStringIndex, handbook_dict::text(dict, "status"));
  batch->setValueAt(U::kVersionIndex, handbook_dict::integerAsText(dict, "version"));
  batch->setDate(Date::now());
  batch->setAmountOfChanges(static_cast<std::int64_t>(changes));
  batch->setLanguage(storage()->seedStorage()->currentLocalization());

  if (!products.empty())
    relinkIngredients(context, *model.entityNamed("HandbookPostProductEntity"), products,
                      hadIngredients);
  return batch;
}

HandbookUpdateEntity* HandbookAdapter::buildUpdateBatchLogged(ManagedObjectContext& context,
                                                              const handbook_dict::Node& dict) {
  try {
    return buildUpdateBatch(context, dict);
  } catch (const std::exception& error) {
    logWarning(std::string("Handbook update batch failed: ") + error.what());
    return nullptr;
  }
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict) {
  HandbookUpdateEntity* batch = nullptr;
  storage()->performOnSavingContextAndWait(
      [&](ManagedObjectContext& context) { batch = buildUpdateBatchLogged(context, Node(dict)); });
  return batch;
}

void HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict, std::function<void(HandbookUpdateEntity*)> completion) {
  auto store = storage();
  store->performOnSavingContext(
      [this, dict, completion = std::move(completion)](ManagedObjectContext& context) {
        HandbookUpdateEntity* batch = buildUpdateBatchLogged(context, Node(dict));
        if (completion) MainQueue::shared().async([completion, batch] { completion(batch); });
      });
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromPayload(
    std::string_view payload) {
  auto store = storage();
  // Parsed on the calling thread; only the record work holds the saving queue.
  return parseAndBuild(payload, [&](const Node& dict) {
    HandbookUpdateEntity* batch = nullptr;
    store->performOnSavingContextAndWait(
        [&](ManagedObjectContext& context) { batch = buildUpdateBatchLogged(context, dict); });
    return batch;
  });
}

void HandbookAdapter::getHandbookUpdateEntityFromPayload(
    std::string payload, std::function<void(HandbookUpdateEntity*)> completion) {
  auto store = storage();
  store->performOnSavingContext(
      [this, payload = std::move(payload),
       completion = std::move(completion)](ManagedObjectContext& context) {
        HandbookUpdateEntity* batch = parseAndBuild(
            payload, [&](const Node& dict) { return buildUpdateBatchLogged(context, dict); });
        if (completion) MainQueue::shared().async([completion, batch] { completion(batch); });
      });
}

}  // namespace dm
