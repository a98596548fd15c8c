// The handbook adapter: queries, caches, saving and diet relations.
#include "Handbook/Adapter/HandbookAdapter.h"

#include <unordered_set>

#include "Handbook/Entities/DietHandbookRelation.h"
#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookFilterTagEntity.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

std::mutex gSharedMutex;
std::unique_ptr<HandbookAdapter> gShared;  // guarded by gSharedMutex

constexpr std::size_t kLiveBatchSize = 20;

template <typename T>
std::vector<T*> downcast(const std::vector<ManagedObject*>& objects) {
  std::vector<T*> out;
  out.reserve(objects.size());
  for (ManagedObject* o : objects)
    if (auto* t = dynamic_cast<T*>(o)) out.push_back(t);
  return out;
}

std::vector<SortDescriptor> ascending(const std::vector<std::string>& keys) {
  std::vector<SortDescriptor> sort;
  for (const auto& key : keys) sort.push_back({key, true});
  return sort;
}

Predicate idEquals(std::int64_t id) {
  return Predicate::parse("entityID = %@", {Value(id)});
}

}  // namespace

HandbookAdapter::HandbookAdapter(HandbookStorage::Options storageOptions)
    : storageOptions_(std::move(storageOptions)) {}

HandbookAdapter::~HandbookAdapter() = default;

HandbookAdapter& HandbookAdapter::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) gShared = std::make_unique<HandbookAdapter>();
  return *gShared;
}

void HandbookAdapter::setShared(std::unique_ptr<HandbookAdapter> adapter) {
  std::unique_ptr<HandbookAdapter> old;
  {
    std::lock_guard lock(gSharedMutex);
    old = std::move(gShared);
    gShared = std::move(adapter);
  }
}

std::shared_ptr<HandbookStorage> HandbookAdapter::storage() {
  std::lock_guard lock(storageMutex_);
  if (!storage_) {
    HandbookStorage::Options options = storageOptions_;
    if (pendingUnpack_) options.shouldUnpackHandbook = *pendingUnpack_;
    storage_ = HandbookStorage::create(options);
    std::weak_ptr<bool> alive = alive_;
    storage_->setLocalizationWasLoadedCompletion([this, alive] {
      if (alive.lock()) clearCaches();
    });
  }
  return storage_;
}

void HandbookAdapter::addStorageObserver(const std::shared_ptr<HandbookStorageDelegate>& observer) {
  storage()->addObserver(observer);
}

void HandbookAdapter::setManagedObjectStoreShouldUnpackHandbook(bool unpack) {
  {
    std::lock_guard lock(storageMutex_);
    if (!storage_) {
      pendingUnpack_ = unpack;
      return;
    }
  }
  storage()->setManagedObjectStoreShouldUnpackHandbook(unpack);
}

std::filesystem::path HandbookAdapter::handbookDataDirrectory() {
  return storage()->storeDirectory();
}

void HandbookAdapter::requestHandbookForCurrentLanguageIfNeeded() {
  storage()->seedStorage()->requestSeedIfNeeded();
}

bool HandbookAdapter::isHandbookForCurrentLocalizationWasLoaded() {
  return storage()->seedStorage()->isSavedLocalizationCurrent();
}

std::vector<ManagedObject*> HandbookAdapter::fetchEntity(
    const std::string& entityName, const std::optional<Predicate>& predicate,
    const std::vector<SortDescriptor>& sort, std::size_t limit,
    const std::shared_ptr<ManagedObjectContext>& context) {
  auto store = storage();
  FetchRequest request(store->entityNamed(entityName));
  if (!request.entity) return {};
  request.predicate = predicate;
  request.sortDescriptors = sort;
  request.fetchLimit = limit;
  return store->fetch(request, context);
}

std::size_t HandbookAdapter::countEntity(const std::string& entityName,
                                         const Predicate& predicate) {
  auto store = storage();
  FetchRequest request(store->entityNamed(entityName));
  if (!request.entity) return 0;
  request.predicate = predicate;
  return store->count(request);
}

std::vector<HandbookPostEntity*> HandbookAdapter::getEntities(
    int type, const std::vector<std::string>& sortedBy, const std::optional<Predicate>& predicate) {
  return downcast<HandbookPostEntity>(
      fetchEntity(HandbookPostEntity::entityNameForPostType(type), predicate, ascending(sortedBy)));
}

std::vector<ManagedObject*> HandbookAdapter::getEntities(
    const std::string& entityName, const std::shared_ptr<ManagedObjectContext>& context) {
  return fetchEntity(entityName, std::nullopt, {}, 0, context);
}

std::size_t HandbookAdapter::getPostEntitiesCount(const Predicate& predicate) {
  return countEntity(HandbookPostEntity::kEntityName, predicate);
}

std::size_t HandbookAdapter::getPostEntitiesCount(int type, const Predicate& predicate) {
  return countEntity(HandbookPostEntity::entityNameForPostType(type), predicate);
}

std::size_t HandbookAdapter::getCategoryEntitiesCount(const Predicate& predicate) {
  return countEntity(HandbookCategoryEntity::kEntityName, predicate);
}

HandbookPostEntity* HandbookAdapter::getPostEntity(std::int64_t postID, int type) {
  auto found = downcast<HandbookPostEntity>(
      fetchEntity(HandbookPostEntity::entityNameForPostType(type), idEquals(postID), {}, 1));
  return found.empty() ? nullptr : found.front();
}

HandbookCategoryEntity* HandbookAdapter::getCategoryEntity(std::int64_t categoryID) {
  return getCategoryEntity(idEquals(categoryID));
}

HandbookCategoryEntity* HandbookAdapter::getCategoryEntity(const Predicate& predicate) {
  auto found = downcast<HandbookCategoryEntity>(
      fetchEntity(HandbookCategoryEntity::kEntityName, predicate, {}, 1));
  return found.empty() ? nullptr : found.front();
}

std::vector<HandbookCategoryEntity*> HandbookAdapter::getCategoryEntities(
    const std::string& sortedBy, bool ascendingOrder, const std::optional<Predicate>& predicate,
    const std::shared_ptr<ManagedObjectContext>& context) {
  return downcast<HandbookCategoryEntity>(fetchEntity(
      HandbookCategoryEntity::kEntityName, predicate, {{sortedBy, ascendingOrder}}, 0, context));
}

std::vector<HandbookPostProductEntity*> HandbookAdapter::getPostProductEntities(
    const std::vector<std::int64_t>& postProductIDs) {
  std::vector<Value> ids(postProductIDs.begin(), postProductIDs.end());
  return downcast<HandbookPostProductEntity>(fetchEntity(
      HandbookPostProductEntity::kEntityName, Predicate::parse("entityID IN %@", {ids})));
}

bool HandbookAdapter::cachedFor(const Cache& cache, std::int64_t id,
                                const std::shared_ptr<ManagedObjectContext>& context,
                                ManagedObject** object) {
  auto entry = cache.get(id);
  // A record is only handed out on its own context's thread, and only once that context
  // confirms it still owns the object; a record of another thread's context is a miss.
  // A remembered "no such record" counts for the context that looked.
  if (!entry || entry->context.lock() != context) return false;
  if (!entry->object) {
    *object = nullptr;
    return true;
  }
  if (context->objectRegisteredForID(entry->id) != entry->object || entry->object->isFault())
    return false;
  *object = entry->object;
  return true;
}

template <typename T>
T* HandbookAdapter::cachedLookup(Cache& cache, const char* entityName, std::int64_t id) {
  auto context = storage()->contextForCurrentThread();
  ManagedObject* cached = nullptr;
  if (cachedFor(cache, id, context, &cached)) return static_cast<T*>(cached);
  auto found = downcast<T>(fetchEntity(entityName, idEquals(id), {}, 1, context));
  if (found.empty()) {
    // Screens ask again and again for posts the handbook lacks; the miss is cached too.
    cache.set(id, CacheEntry{context, ObjectID{}, nullptr});
    return nullptr;
  }
  T* object = found.front();
  cache.set(id, CacheEntry{context, object->objectID(), object});
  return object;
}

void HandbookAdapter::prefetchCached(Cache& cache, const char* entityName,
                                     const std::vector<std::int64_t>& ids) {
  auto context = storage()->contextForCurrentThread();
  std::vector<Value> missing;
  std::unordered_set<std::int64_t> wanted;
  for (std::int64_t id : ids) {
    ManagedObject* cached = nullptr;
    if (wanted.insert(id).second && !cachedFor(cache, id, context, &cached))
      missing.emplace_back(id);
  }
  if (missing.empty()) return;
  for (ManagedObject* object :
       fetchEntity(entityName, Predicate::parse("entityID IN %@", {missing}), {}, 0, context)) {
    const std::int64_t id = object->valueForKey("entityID").asInt64();
    // Two records with one id: the first wins, as the single lookup's limit of one would.
    if (wanted.erase(id)) cache.set(id, CacheEntry{context, object->objectID(), object});
  }
  for (const Value& id : missing)
    if (wanted.count(id.asInt64()))
      cache.set(id.asInt64(), CacheEntry{context, ObjectID{}, nullptr});
}

HandbookPostProductEntity* HandbookAdapter::getPostProductEntity(std::int64_t postProductID) {
  return cachedLookup<HandbookPostProductEntity>(
      cachedPostProductEntities_, HandbookPostProductEntity::kEntityName, postProductID);
}

void HandbookAdapter::setPostProductEntity(HandbookPostProductEntity* entity, std::int64_t key) {
  if (!entity) {
    cachedPostProductEntities_.remove(key);
    return;
  }
  auto* context = entity->managedObjectContext();
  cachedPostProductEntities_.set(
      key, CacheEntry{context ? context->weak_from_this() : std::weak_ptr<ManagedObjectContext>(),
                      entity->objectID(), entity});
}

HandbookPostExerciseEntity* HandbookAdapter::getPostExerciseEntity(std::int64_t postExerciseID) {
  return cachedLookup<HandbookPostExerciseEntity>(
      cachedPostExerciseEntities_, HandbookPostExerciseEntity::kEntityName, postExerciseID);
}

void HandbookAdapter::prefetchPostExerciseEntities(const std::vector<std::int64_t>& ids) {
  prefetchCached(cachedPostExerciseEntities_, HandbookPostExerciseEntity::kEntityName, ids);
}

HandbookPostPharmacyEntity* HandbookAdapter::getPostPharmacyEntity(std::int64_t postPharmacyID) {
  return cachedLookup<HandbookPostPharmacyEntity>(
      cachedPostPharmacyEntities_, HandbookPostPharmacyEntity::kEntityName, postPharmacyID);
}

HandbookPostSportFoodEntity* HandbookAdapter::getPostSportFoodEntity(std::int64_t postSportFoodID) {
  return cachedLookup<HandbookPostSportFoodEntity>(
      cachedPostSportFoodEntities_, HandbookPostSportFoodEntity::kEntityName, postSportFoodID);
}

void HandbookAdapter::forgetCachedMisses() {
  for (Cache* cache : {&cachedPostExerciseEntities_, &cachedPostProductEntities_,
                       &cachedPostPharmacyEntities_, &cachedPostSportFoodEntities_})
    for (const auto& [id, entry] : cache->snapshot())
      if (!entry.object) cache->remove(id);
}

void HandbookAdapter::clearCaches() {
  cachedPostExerciseEntities_.removeAll();
  cachedPostProductEntities_.removeAll();
  cachedPostPharmacyEntities_.removeAll();
  cachedPostSportFoodEntities_.removeAll();
}

std::vector<HandbookFilterTagEntity*> HandbookAdapter::getFilterTagEntities() {
  return downcast<HandbookFilterTagEntity>(
      fetchEntity(HandbookFilterTagEntity::kEntityName, std::nullopt));
}

std::vector<HandbookFilterTagEntity*> HandbookAdapter::getFilterTagEntities(
    const std::string& typeString) {
  return downcast<HandbookFilterTagEntity>(
      fetchEntity(HandbookFilterTagEntity::kEntityName,
                  Predicate::parse("typeString == %@", {Value(typeString)})));
}

HandbookFilterTagEntity* HandbookAdapter::getFilterTagEntity(std::int64_t filterTagId) {
  auto found = downcast<HandbookFilterTagEntity>(
      fetchEntity(HandbookFilterTagEntity::kEntityName, idEquals(filterTagId), {}, 1));
  return found.empty() ? nullptr : found.front();
}

HandbookUpdateEntity* HandbookAdapter::getLastUpdateEntity(ManagedObjectContext* context) {
  std::shared_ptr<ManagedObjectContext> target =
      context ? context->shared_from_this() : std::shared_ptr<ManagedObjectContext>();
  auto found = downcast<HandbookUpdateEntity>(
      fetchEntity("HandbookUpdateEntity", std::nullopt, {{"date", false}}, 1, target));
  return found.empty() ? nullptr : found.front();
}

void HandbookAdapter::getLastUpdateEntityForSaving(
    const std::function<void(HandbookUpdateEntity*)>& completion) {
  auto context = storage()->managedObjectBackgroundForSavingContext();
  context->performAndWait([&] {
    HandbookUpdateEntity* last = getLastUpdateEntity(context.get());
    if (completion) completion(last);
  });
}

void HandbookAdapter::loadItemEntitiesForCache(
    const std::function<void(std::vector<HandbookItemEntity*>)>& callback) {
  auto items = downcast<HandbookItemEntity>(
      fetchEntity(HandbookItemEntity::kEntityName, Predicate::parse("isNeedsCache = YES")));
  if (callback) callback(std::move(items));
}

std::unique_ptr<FetchedResultsController>
HandbookAdapter::getCategoryEntityFetchedResultsController(
    const std::vector<std::string>& sortedBy, const std::optional<Predicate>& predicate,
    FetchedResultsControllerDelegate* delegate) {
  auto store = storage();
  FetchRequest request(store->entityNamed(HandbookCategoryEntity::kEntityName));
  request.predicate = predicate;
  request.sortDescriptors = ascending(sortedBy);
  request.fetchBatchSize = kLiveBatchSize;
  auto controller =
      std::make_unique<FetchedResultsController>(store->managedObjectMainContext(), request);
  controller->setDelegate(delegate);
  return controller;
}

std::unique_ptr<FetchedResultsController> HandbookAdapter::getPostEntityFetchedResultsController(
    int type, const std::vector<std::string>& sortedBy, const std::optional<Predicate>& predicate,
    FetchedResultsControllerDelegate* delegate) {
  auto store = storage();
  FetchRequest request(store->entityNamed(HandbookPostEntity::entityNameForPostType(type)));
  request.predicate = predicate;
  request.sortDescriptors = ascending(sortedBy);
  request.fetchBatchSize = kLiveBatchSize;
  auto controller =
      std::make_unique<FetchedResultsController>(store->managedObjectMainContext(), request);
  controller->setDelegate(delegate);
  return controller;
}

DietHandbookRelation* HandbookAdapter::getProductHandbookRelationships(std::int64_t dietId) {
  auto found = downcast<DietHandbookRelation>(fetchEntity(
      DietHandbookRelation::kEntityName, Predicate::parse("dietId = %@", {Value(dietId)}), {}, 1));
  return found.empty() ? nullptr : found.front();
}

void HandbookAdapter::save(std::function<void()> completion) {
  storage()->performOnSavingQueue({}, std::move(completion));
}

void HandbookAdapter::saveAndWait() {
  storage()->performOnSavingContextAndWait([](ManagedObjectContext& context) {
    try {
      context.save();
    } catch (const std::exception& error) {
      logWarning(std::string("Handbook save failed: ") + error.what());
    }
  });
}

void HandbookAdapter::saveAfterCache() {
  storage()->performOnSavingQueue({});
}

void HandbookAdapter::saveProductHandbookRelationships(
    std::int64_t dietId, const std::vector<std::int64_t>& handbookIds,
    const std::function<void(DietHandbookRelation*)>& completion) {
  auto store = storage();
  store->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
    auto shared = context.shared_from_this();
    std::vector<Value> ids(handbookIds.begin(), handbookIds.end());
    auto products = downcast<HandbookPostProductEntity>(
        fetchEntity(HandbookPostProductEntity::kEntityName,
                    Predicate::parse("entityID IN %@", {ids}), {}, 0, shared));
    auto existing = downcast<DietHandbookRelation>(
        fetchEntity(DietHandbookRelation::kEntityName,
                    Predicate::parse("dietId = %@", {Value(dietId)}), {}, 1, shared));
    DietHandbookRelation* relation = DietHandbookRelation::createWithEntity(
        existing.empty() ? nullptr : existing.front(), context, dietId, products);
    if (completion) completion(relation);
  });
}

void HandbookAdapter::removeAllEntities() {
  auto store = storage();
  auto context = store->contextForCurrentThread();
  FetchRequest request(store->entityNamed(HandbookItemEntity::kEntityName));
  request.predicate = Predicate::truePredicate();
  request.returnsObjectsAsFaults = true;
  request.includesPropertyValues = false;
  auto items = store->fetch(request, context);
  // Cached records may be among them; they must not be handed out once deleted.
  clearCaches();
  context->performAndWait([&] {
    for (ManagedObject* item : items) context->deleteObject(item);
  });
}

}  // namespace dm
