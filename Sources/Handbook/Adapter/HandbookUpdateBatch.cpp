// The update batch: turning the server's handbook dictionary into records on the saving
// context a chunk of elements at a time, with one identifier lookup per chunk.
#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Adapter/HandbookPayloadReader.h"
#include "Handbook/Adapter/HandbookUpdateSource.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/Entities/IngredientEntity.h"
#include "Models/HandbookEntities.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/MappedFile.h"
#include "Platform/Foundation/NestingLimit.h"
#include "Platform/ObjectStore/BulkWrite.h"

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
// Elements parsed (and looked up in the store) at a time.
constexpr std::size_t kParseWindow = 250;
constexpr std::size_t kIngredientsDataIndex =
    HandbookPostProductEntityGenerated::kIngredientsDataIndex;

// A record the batch lists. Once its chunk is saved the object is turned back into a fault
// (its values released), but it stays registered, so the pointer remains valid.
struct ItemRef {
  std::int64_t entityID;
  ManagedObject* object;
};

// A product whose ingredient links are rebuilt once every record is stored.
struct Relink {
  std::size_t item;  // index into the products' list
  bool hadIngredients;
};

// What the ingredients of a product were before the batch and are after its last entry.
struct IngredientState {
  bool had = false;
  bool has = false;
};

// One applied array: its records in array order (a record named twice appears once).
struct AppliedKind {
  const BatchKind* kind;
  const EntityDescription* entity;
  std::vector<ItemRef> items;
};

// Fills or creates the records of every array a chunk of elements at a time. When the
// update spans more than one chunk (inside a bulk write, so the saves are one transaction),
// each chunk but the last is saved and its records turned back into faults, so the context
// holds the values of at most a chunk of records while every record it handed out, to the
// caller or to the batch, stays valid.
class BatchApplier {
 public:
  BatchApplier(ManagedObjectContext& context, HandbookUpdateSource& source, std::size_t chunkSize,
               HandbookAdapter::UpdateProgress progress)
      : context_(context),
        source_(source),
        chunkSize_(std::max<std::size_t>(chunkSize, 1)),
        progress_(std::move(progress)) {}

  std::vector<AppliedKind> applyAll() {
    std::vector<std::pair<const BatchKind*, std::size_t>> pending;
    for (const BatchKind& kind : kBatchKinds)
      if (std::size_t n = source_.elementCount(kind.key)) {
        pending.emplace_back(&kind, n);
        remaining_ += n;
      }
    // An update of one chunk is never saved here: it is all left to the caller's save.
    releases_ = remaining_ > chunkSize_;
    total_ = remaining_;
    // Every record stays registered (released ones as faults) until the batch is done.
    context_.reserveObjects(total_);
    if (progress_) progress_(0, total_);
    std::vector<AppliedKind> applied;
    applied.reserve(pending.size());
    for (const auto& [kind, count] : pending) {
      applied.push_back({kind, context_.model().entityNamed(kind->entityName), {}});
      apply(applied.back(), count);
    }
    return applied;
  }

  // The products that have or had ingredients: only their links can change.
  std::vector<Relink> relinks() const {
    std::vector<Relink> out;
    for (std::size_t i = 0; i < ingredients_.size(); ++i)
      if (ingredients_[i].had || ingredients_[i].has) out.push_back({i, ingredients_[i].had});
    return out;
  }

 private:
  void apply(AppliedKind& applied, std::size_t count) {
    const bool isProduct = applied.kind->relationship == U::kPostsProductRelationship;
    std::unordered_map<std::int64_t, std::size_t> listed;  // id -> index in applied.items
    std::vector<Node> elements;
    std::vector<std::pair<std::int64_t, std::size_t>> valid;  // id, index in the window
    std::vector<Value> ids;
    // The window's elements as dictionaries, kept from window to window: their member lists
    // are read once per element (for its id and its fields) and their storage is reused.
    std::vector<handbook_dict::Dictionary> fields;
    // Sized once for the whole array: growing a table of every record's identifier rehashes
    // all of it again and again.
    listed.reserve(count);
    applied.items.reserve(count);
    if (isProduct) ingredients_.reserve(ingredients_.size() + count);
    liveFrom_ = 0;
    // Elements are parsed a few hundred at a time: a parsed window costs about ten times its
    // text, so parsing a whole chunk at once would cost more than its records.
    const std::size_t window = std::min(chunkSize_, kParseWindow);
    std::size_t unsaved = 0;
    for (std::size_t first = 0; first < count; first += window) {
      const std::size_t n = std::min(window, count - first);
      source_.elements(applied.kind->key, first, n, elements);
      valid.clear();
      ids.clear();
      if (fields.size() < elements.size()) fields.resize(elements.size(), Node());
      for (std::size_t i = 0; i < elements.size(); ++i) {
        fields[i].reset(elements[i]);
        if (auto id = handbook_dict::identifier(fields[i])) {
          valid.emplace_back(*id, i);
          ids.emplace_back(*id);
        }
      }
      auto existing = context_.objectsByAttribute(*applied.entity, "entityID", ids);
      // Held across the window: each of the many value sets below takes this (recursive)
      // lock again, which then costs a count instead of an atomic operation.
      {
        std::lock_guard windowLock(context_.stateMutex());
        for (const auto& [id, at] : valid) {
          ManagedObject*& slot = existing[Value(id)];
          const bool inserted = !slot;
          if (inserted) slot = context_.insertNewObject(*applied.entity);
          auto* item = dynamic_cast<HandbookItemEntity*>(slot);
          if (!item) continue;
          auto [entry, isNew] = listed.emplace(id, applied.items.size());
          if (isNew) {
            applied.items.push_back({id, item});
            if (isProduct)
              ingredients_.push_back(
                  {!inserted && !item->valueAt(kIngredientsDataIndex).isNull(), false});
          }
          item->fillFrom(fields[at]);
          if (isProduct)
            ingredients_[entry->second].has = item->valueAt(kIngredientsDataIndex).isBlob();
        }
      }
      remaining_ -= n;
      unsaved += n;
      if (progress_) progress_(total_ - remaining_, total_);
      // A kind's records are all released before the next kind starts: release() only knows
      // the current kind's list.
      if (releases_ && remaining_ > 0 && (unsaved >= chunkSize_ || first + n == count)) {
        release(applied);
        unsaved = 0;
      }
    }
  }

  void release(AppliedKind& applied) {
    context_.save();
    for (std::size_t i = liveFrom_; i < applied.items.size(); ++i)
      context_.refreshObject(applied.items[i].object, false);
    liveFrom_ = applied.items.size();
  }

  ManagedObjectContext& context_;
  HandbookUpdateSource& source_;
  const std::size_t chunkSize_;
  const HandbookAdapter::UpdateProgress progress_;
  std::size_t total_ = 0;
  std::size_t remaining_ = 0;
  bool releases_ = false;     // the update spans more than one chunk
  std::size_t liveFrom_ = 0;  // items of the current kind from here on still hold values
  std::vector<IngredientState> ingredients_;  // per product, as in its items
};

// Points each product at the stored products its ingredients name. Links are only ever
// derived from the ingredients, so only products that have or had ingredients are visited.
void relinkIngredients(ManagedObjectContext& context, const EntityDescription& productEntity,
                       const std::vector<ItemRef>& products, const std::vector<Relink>& relinks) {
  // Products of an earlier chunk are faults: load them in one query, not one each.
  std::vector<Value> released;
  for (const Relink& relink : relinks)
    if (products[relink.item].object && products[relink.item].object->isFault())
      released.emplace_back(products[relink.item].entityID);
  if (!released.empty()) context.objectsByAttribute(productEntity, "entityID", released);

  std::vector<std::pair<HandbookPostProductEntity*, std::vector<IngredientEntity>>> parsed;
  std::vector<Value> wanted;
  std::unordered_set<std::int64_t> wantedSet;
  for (const Relink& relink : relinks) {
    auto* product = dynamic_cast<HandbookPostProductEntity*>(products[relink.item].object);
    if (!product) continue;
    Value data = product->valueAt(kIngredientsDataIndex);
    auto ingredients = IngredientEntity::parseFromDataObjc(data.isBlob() && !data.asBlob().empty()
                                                               ? std::optional<Blob>(data.asBlob())
                                                               : std::nullopt);
    if (ingredients.empty() && !relink.hadIngredients) continue;
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

// Response text made ready for a batch: read in windows, each value checked as the batch reads
// it, when the fast parser takes the text's structure; else (or once the fast parser refused a
// value) parsed as a tree. No source when neither parser accepts the text.
struct PayloadSource {
  explicit PayloadSource(std::string_view text) : text(text), reader(text) { start(); }
  explicit PayloadSource(const MappedFile& file) : text(file.text()), reader(file) { start(); }

  void start() {
    if (reader.locate()) {
      source = std::make_unique<HandbookTextUpdateSource>(reader);
      return;
    }
    readAsTree();
  }

  void readAsTree() {
    source.reset();
    // What the fast parser refuses (integers beyond 64 bits, ...) the tree parser may still
    // read; only text neither accepts is malformed. Nesting beyond the fast parser's own
    // limit is refused here too: the records copy such trees level by level.
    if (textNestedDeeperThan(text, handbook_dict::kMaximumDepth)) {
      logWarning("Handbook update payload is nested deeper than " +
                 std::to_string(handbook_dict::kMaximumDepth) + " levels");
      return;
    }
    tree = nlohmann::json::parse(text, nullptr, false);
    if (tree.is_discarded()) {
      logWarning("Handbook update payload is not valid JSON");
      return;
    }
    source = std::make_unique<HandbookTreeUpdateSource>(tree);
  }

  std::string_view text;
  HandbookPayloadReader reader;
  nlohmann::json tree;
  std::unique_ptr<HandbookUpdateSource> source;
};

// Builds the batch from the text; when the fast parser refuses a value half-way, the update
// (rolled back with its bulk write, or refused before it changed anything) is built again
// from the tree.
template <typename Build>
HandbookUpdateEntity* buildFromPayload(PayloadSource& parsed, const Build& build) {
  if (!parsed.source) return nullptr;
  try {
    return build(*parsed.source);
  } catch (const HandbookPayloadRefused& refused) {
    logWarning(std::string("Handbook update read as a tree: the fast parser refused ") +
               refused.what());
  } catch (const std::exception& error) {
    logWarning(std::string("Handbook update batch failed: ") + error.what());
    return nullptr;
  }
  parsed.readAsTree();
  if (!parsed.source) return nullptr;
  try {
    return build(*parsed.source);
  } catch (const std::exception& error) {
    logWarning(std::string("Handbook update batch failed: ") + error.what());
    return nullptr;
  }
}

}  // namespace

HandbookUpdateEntity* HandbookAdapter::buildUpdateBatch(ManagedObjectContext& context,
                                                        HandbookUpdateSource& source) {
  Node header = source.header();
  if (!header.isObject()) return nullptr;
  handbook_dict::Dictionary dict(header);
  Node status = dict.find("status");
  if (status.kind() == Node::Kind::String && status.string() == "not_modified") return nullptr;

  Value statusText = handbook_dict::text(dict, "status");
  Value version = handbook_dict::integerAsText(dict, "version");
  // A version the server sends as a text or a real is kept as written, not stored as empty.
  if (version.isNull()) version = handbook_dict::text(dict, "version");
  if (Node v = dict.find("version"); version.isNull() && v.kind() == Node::Kind::Real)
    version = Value(nlohmann::json(v.real()).dump());

  const std::size_t chunkSize = std::max<std::size_t>(updateChunkSize_.load(), 1);
  std::size_t elements = 0;
  for (const BatchKind& kind : kBatchKinds) elements += source.elementCount(kind.key);
  // More than a chunk is saved as it goes, in one transaction that commits with the batch:
  // all or nothing, and an exception below rolls the scope back with the context.
  BulkWrite bulk;
  if (elements > chunkSize) {
    if (context.hasChanges()) context.save();  // the scope starts from a saved context
    bulk = context.beginBulkWrite();
  } else {
    // Without a scope to roll back, every value is checked before the first record changes.
    // A larger update is checked as it is read and rolled back on the first bad value.
    source.checkRemaining();
  }

  UpdateProgress progress;
  {
    std::lock_guard lock(updateProgressMutex_);
    progress = updateProgress_;
  }
  BatchApplier applier(context, source, chunkSize, std::move(progress));
  std::vector<AppliedKind> applied = applier.applyAll();

  std::size_t changes = 0;
  const AppliedKind* products = nullptr;
  for (AppliedKind& kind : applied) {
    changes += kind.items.size();
    if (kind.kind->relationship == U::kPostsProductRelationship) products = &kind;
  }
  // The version entry comes last: an update cut short before it is applied again in full.
  // The same version applied again refreshes its entry rather than adding a second one.
  const std::string language = storage()->seedStorage()->currentLocalization();
  HandbookUpdateEntity* batch = nullptr;
  if (!version.isNull()) {
    FetchRequest request(storage()->entityNamed("HandbookUpdateEntity"));
    request.predicate =
        Predicate::parse("version == %@ AND language == %@", {version, Value(language)});
    request.fetchLimit = 1;
    auto found = context.executeFetchRequest(request);
    if (!found.empty()) batch = dynamic_cast<HandbookUpdateEntity*>(found.front());
  }
  if (!batch) batch = context.insertNew<HandbookUpdateEntity>("HandbookUpdateEntity");
  std::vector<HandbookItemEntity*> items;
  for (const AppliedKind& kind : applied) {
    items.clear();
    items.reserve(kind.items.size());
    for (const ItemRef& ref : kind.items)
      if (auto* item = dynamic_cast<HandbookItemEntity*>(ref.object)) items.push_back(item);
    batch->setItemsOf(kind.kind->relationship, items);
  }
  batch->setValueAt(U::kStatusStringIndex, std::move(statusText));
  batch->setValueAt(U::kVersionIndex, std::move(version));
  batch->setDate(Date::now());
  batch->setAmountOfChanges(static_cast<std::int64_t>(changes));
  batch->setLanguage(language);

  if (products) {
    auto relinks = applier.relinks();
    if (!relinks.empty()) relinkIngredients(context, *products->entity, products->items, relinks);
  }
  if (bulk.isActive()) {
    source.checkRemaining();  // what the update did not read must parse too
    bulk.commit();
  }
  forgetCachedMisses();
  return batch;
}

HandbookUpdateEntity* HandbookAdapter::buildUpdateBatchLogged(ManagedObjectContext& context,
                                                              HandbookUpdateSource& source) {
  try {
    return buildUpdateBatch(context, source);
  } catch (const std::exception& error) {
    logWarning(std::string("Handbook update batch failed: ") + error.what());
    return nullptr;
  }
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict) {
  HandbookUpdateEntity* batch = nullptr;
  storage()->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    HandbookTreeUpdateSource source(dict);
    batch = buildUpdateBatchLogged(context, source);
  });
  return batch;
}

void HandbookAdapter::getHandbookUpdateEntityFromRequest(
    const nlohmann::json& dict, std::function<void(HandbookUpdateEntity*)> completion) {
  auto store = storage();
  store->performOnSavingContext(
      [this, dict, completion = std::move(completion)](ManagedObjectContext& context) {
        HandbookTreeUpdateSource source(dict);
        HandbookUpdateEntity* batch = buildUpdateBatchLogged(context, source);
        if (completion) MainQueue::shared().async([completion, batch] { completion(batch); });
      });
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromPayload(
    std::string_view payload) {
  return buildFromText(payload, nullptr);
}

HandbookUpdateEntity* HandbookAdapter::getHandbookUpdateEntityFromFile(const MappedFile& payload) {
  return buildFromText(payload.text(), &payload);
}

HandbookUpdateEntity* HandbookAdapter::buildFromText(std::string_view text,
                                                     const MappedFile* file) {
  auto store = storage();
  // Located on the calling thread; the values are parsed as the records are built.
  std::optional<PayloadSource> parsed;
  if (file)
    parsed.emplace(*file);
  else
    parsed.emplace(text);
  if (!parsed->source) return nullptr;
  HandbookUpdateEntity* batch = nullptr;
  store->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    batch = buildFromPayload(
        *parsed, [&](HandbookUpdateSource& source) { return buildUpdateBatch(context, source); });
  });
  return batch;
}

void HandbookAdapter::getHandbookUpdateEntityFromPayload(
    std::string payload, std::function<void(HandbookUpdateEntity*)> completion) {
  auto store = storage();
  store->performOnSavingContext([this, payload = std::move(payload),
                                 completion =
                                     std::move(completion)](ManagedObjectContext& context) {
    PayloadSource parsed(payload);
    HandbookUpdateEntity* batch = buildFromPayload(
        parsed, [&](HandbookUpdateSource& source) { return buildUpdateBatch(context, source); });
    if (completion) MainQueue::shared().async([completion, batch] { completion(batch); });
  });
}

void HandbookAdapter::setUpdateProgress(UpdateProgress progress) {
  std::lock_guard lock(updateProgressMutex_);
  updateProgress_ = std::move(progress);
}

}  // namespace dm
