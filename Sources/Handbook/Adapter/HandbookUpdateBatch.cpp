// The update batch: turning the server's handbook dictionary into records on the saving
// context, with one identifier lookup per record kind.
#include <unordered_set>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/Entities/IngredientEntity.h"
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

// Fills or creates the records of one array; returns them in array order (a record named
// twice appears once).
std::vector<HandbookItemEntity*> applyArray(ManagedObjectContext& context,
                                            const EntityDescription& entity,
                                            const nlohmann::json& array) {
  std::vector<std::pair<std::int64_t, const nlohmann::json*>> elements;
  elements.reserve(array.size());
  std::vector<Value> ids;
  ids.reserve(array.size());
  for (const auto& element : array) {
    if (auto id = handbook_dict::identifier(element)) {
      elements.emplace_back(*id, &element);
      ids.emplace_back(*id);
    }
  }
  auto existing = context.objectsByAttribute(entity, "entityID", ids);
  std::vector<HandbookItemEntity*> items;
  items.reserve(elements.size());
  std::unordered_set<const ManagedObject*> seen;
  for (const auto& [id, element] : elements) {
    ManagedObject*& slot = existing[Value(id)];
    if (!slot) slot = context.insertNewObject(entity);
    auto* item = dynamic_cast<HandbookItemEntity*>(slot);
    if (!item) continue;
    item->fill(*element);
    if (seen.insert(item).second) items.push_back(item);
  }
  return items;
}

// Points each product at the stored products its ingredients name.
void relinkIngredients(ManagedObjectContext& context, const EntityDescription& productEntity,
                       const std::vector<HandbookItemEntity*>& products) {
  std::vector<std::pair<HandbookPostProductEntity*, std::vector<IngredientEntity>>> parsed;
  std::vector<Value> wanted;
  std::unordered_set<std::int64_t> wantedSet;
  for (HandbookItemEntity* item : products) {
    auto* product = static_cast<HandbookPostProductEntity*>(item);
    Blob data = product->ingredientsData();
    auto ingredients = IngredientEntity::parseFromDataObjc(
        data.empty() ? std::nullopt : std::optional<Blob>(data));
    for (const auto& ingredient : ingredients)
      if (wantedSet.insert(ingredient.postProductId).second)
        wanted.emplace_back(ingredient.postProductId);
    parsed.emplace_back(product, std::move(ingredients));
  }
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

}  // namespace

HandbookUpdateEntity* HandbookAdapter::buildUpdateBatch(ManagedObjectContext& context,
                                                        const nlohmann::json& dict) {
  if (!dict.is_object()) return nullptr;
  auto status = dict.find("status");
  if (status != dict.end() && status->is_string() && *status == "not_modified") return nullptr;

  const ManagedObjectModel& model = context.model();
  std::vector<std::pair<std::size_t, std::vector<HandbookItemEntity*>>> sets;
  std::vector<HandbookItemEntity*> products;
  std::size_t changes = 0;
  for (const BatchKind& kind : kBatchKinds) {
    auto it = dict.find(kind.key);
    if (it == dict.end() || !it->is_array() || it->empty()) continue;
    const EntityDescription* entity = model.entityNamed(kind.entityName);
    auto items = applyArray(context, *entity, *it);
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
    relinkIngredients(context, *model.entityNamed("HandbookPostProductEntity"), products);
  return batch;
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict) {
  HandbookUpdateEntity* batch = nullptr;
  storage()->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    try {
      batch = buildUpdateBatch(context, dict);
    } catch (const std::exception& error) {
      logWarning(std::string("Handbook update batch failed: ") + error.what());
      batch = nullptr;
    }
  });
  return batch;
}

void HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict, std::function<void(HandbookUpdateEntity*)> completion) {
  auto store = storage();
  store->performOnSavingContext(
      [this, dict, completion = std::move(completion)](ManagedObjectContext& context) {
        HandbookUpdateEntity* batch = nullptr;
        try {
          batch = buildUpdateBatch(context, dict);
        } catch (const std::exception& error) {
          logWarning(std::string("Handbook update batch failed: ") + error.what());
        }
        if (completion) MainQueue::shared().async([completion, batch] { completion(batch); });
      });
}

}  // namespace dm
