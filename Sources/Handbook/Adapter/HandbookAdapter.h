// The single entry point for handbook reads and writes: queries for categories, posts,
// filter tags and update batches, four thread-safe post caches, the update batch built from
// the server's dictionary, saving, and the products a diet uses.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Storage/HandbookStorage.h"
#include "Platform/Foundation/ThreadSafeDictionary.h"
#include "Platform/ObjectStore/FetchedResultsController.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

class HandbookItemEntity;
class HandbookCategoryEntity;
class HandbookFilterTagEntity;
class HandbookPostEntity;
class HandbookPostExerciseEntity;
class HandbookPostProductEntity;
class HandbookPostPharmacyEntity;
class HandbookPostSportFoodEntity;
class HandbookUpdateEntity;
class DietHandbookRelation;
class HandbookUpdateSource;
class MappedFile;

// Threads: every method may be called from any thread. Queries run synchronously on the
// context for the calling thread (the main context on the main thread, the thread's own
// child context elsewhere) unless a context is given; the records returned belong to that
// context, which owns them. No error reaches the caller: a failed fetch gives an empty
// list, nullptr or 0 (and a logged warning); save errors are swallowed.
class HandbookAdapter {
 public:
  explicit HandbookAdapter(HandbookStorage::Options storageOptions);
  HandbookAdapter() : HandbookAdapter(HandbookStorage::Options{}) {}
  ~HandbookAdapter();
  HandbookAdapter(const HandbookAdapter&) = delete;
  HandbookAdapter& operator=(const HandbookAdapter&) = delete;

  // The process-wide adapter. Any thread.
  static HandbookAdapter& shared();
  // Replaces the process-wide adapter (hosts configuring the storage, tests); nullptr makes
  // the next shared() create a default one. References to the old adapter become invalid.
  static void setShared(std::unique_ptr<HandbookAdapter> adapter);

  // --- Settings and seed ---
  // The storage, created (and the store opened) on first use.
  std::shared_ptr<HandbookStorage> storage();
  std::shared_ptr<ManagedObjectContext> mainContext() {
    return storage()->managedObjectMainContext();
  }
  void addStorageObserver(const std::shared_ptr<HandbookStorageDelegate>& observer);
  // Before the storage exists, decides the unpacking of its first start.
  void setManagedObjectStoreShouldUnpackHandbook(bool unpack);
  std::filesystem::path handbookDataDirrectory();
  void requestHandbookForCurrentLanguageIfNeeded();
  bool isHandbookForCurrentLocalizationWasLoaded();

  // --- Queries ---
  // Posts of the type's class (any other number: every kind), each sort key ascending.
  std::vector<HandbookPostEntity*> getEntities(int type, const std::vector<std::string>& sortedBy,
                                               const std::optional<Predicate>& predicate = {});
  // Every record of the entity (and its sub-entities).
  std::vector<ManagedObject*> getEntities(
      const std::string& entityName, const std::shared_ptr<ManagedObjectContext>& context = {});
  std::size_t getPostEntitiesCount(const Predicate& predicate);
  std::size_t getPostEntitiesCount(int type, const Predicate& predicate);
  std::size_t getCategoryEntitiesCount(const Predicate& predicate);
  HandbookPostEntity* getPostEntity(std::int64_t postID, int type);
  HandbookCategoryEntity* getCategoryEntity(std::int64_t categoryID);
  HandbookCategoryEntity* getCategoryEntity(const Predicate& predicate);
  std::vector<HandbookCategoryEntity*> getCategoryEntities(
      const std::string& sortedBy, bool ascending, const std::optional<Predicate>& predicate,
      const std::shared_ptr<ManagedObjectContext>& context = {});
  std::vector<HandbookPostProductEntity*> getPostProductEntities(
      const std::vector<std::int64_t>& postProductIDs);
  // Cached lookups: a cached record is returned when it belongs to the calling thread's
  // context and is not a fault; otherwise it is fetched there and cached. A lookup that finds
  // nothing is cached too (nullptr for that context) until the next update batch is built.
  HandbookPostProductEntity* getPostProductEntity(std::int64_t postProductID);
  void setPostProductEntity(HandbookPostProductEntity* entity, std::int64_t key);
  HandbookPostExerciseEntity* getPostExerciseEntity(std::int64_t postExerciseID);
  // Fills the post exercise cache for these ids with one fetch on the calling thread's
  // context (found records and misses alike), so a screen that reads many of them pays one
  // query instead of one per id. Ids already cached for this context are not fetched again.
  void prefetchPostExerciseEntities(const std::vector<std::int64_t>& postExerciseIDs);
  HandbookPostPharmacyEntity* getPostPharmacyEntity(std::int64_t postPharmacyID);
  HandbookPostSportFoodEntity* getPostSportFoodEntity(std::int64_t postSportFoodID);
  std::vector<HandbookFilterTagEntity*> getFilterTagEntities();
  std::vector<HandbookFilterTagEntity*> getFilterTagEntities(const std::string& typeString);
  HandbookFilterTagEntity* getFilterTagEntity(std::int64_t filterTagId);
  // The latest batch by date on `context` (null: the calling thread's), or nullptr.
  HandbookUpdateEntity* getLastUpdateEntity(ManagedObjectContext* context = nullptr);
  // The same on the saving context; `completion` runs on its queue.
  void getLastUpdateEntityForSaving(const std::function<void(HandbookUpdateEntity*)>& completion);
  // Items whose images are pre-cached ("isNeedsCache = YES"), on the calling thread's context.
  void loadItemEntitiesForCache(
      const std::function<void(std::vector<HandbookItemEntity*>)>& callback);
  // Live result sets on the main context, batch size 20, with `delegate` (not owned; it
  // must outlive the controller); the caller starts them with performFetch on the main
  // thread. Owned by the caller.
  std::unique_ptr<FetchedResultsController> getCategoryEntityFetchedResultsController(
      const std::vector<std::string>& sortedBy, const std::optional<Predicate>& predicate,
      FetchedResultsControllerDelegate* delegate);
  std::unique_ptr<FetchedResultsController> getPostEntityFetchedResultsController(
      int type, const std::vector<std::string>& sortedBy, const std::optional<Predicate>& predicate,
      FetchedResultsControllerDelegate* delegate);
  DietHandbookRelation* getProductHandbookRelationships(std::int64_t dietId);

  // --- Writes ---
  // Builds the update batch on the saving context; `completion` gets it (or nullptr for
  // "not_modified") on the main queue. The records belong to the saving context; the caller
  // saves. An update of more records than the chunk size (setUpdateChunkSize) is applied a
  // chunk at a time inside one bulk write of the saving context (pending changes there are
  // saved first): each chunk is saved into the open transaction and its records turned back
  // into faults, so memory stays bounded while every record held on the saving context stays
  // valid. The batch, the last chunk and the ingredient links are committed with it before
  // the batch is returned, all or nothing; a failure leaves the store and the saving context
  // as they were and gives no batch.
  void getHandbookUpdateEntityFromRequest(const nlohmann::json& dict,
                                          std::function<void(HandbookUpdateEntity*)> completion);
  // The same, synchronously.
  HandbookUpdateEntity* getHandbookUpdateEntityFromRequest(const nlohmann::json& dict);
  // The same from the server's response text, read without building a tree (the faster way
  // for large updates): the text is checked on the calling thread, then read a window of
  // records at a time while they are built on the saving context, which owns them. Text
  // that is not JSON gives nullptr and a logged warning and changes nothing; the caller
  // saves. `payload` must stay unchanged until the call returns.
  HandbookUpdateEntity* getHandbookUpdateEntityFromPayload(std::string_view payload);
  // The same from a response saved to a file and mapped: each part of the text leaves memory
  // once it has been read, so even a very large update is never held whole. The file must
  // stay unchanged until the call returns.
  HandbookUpdateEntity* getHandbookUpdateEntityFromFile(const MappedFile& payload);
  // The same asynchronously: parsed and built on the saving queue, `completion` gets the
  // batch (or nullptr) on the main queue.
  void getHandbookUpdateEntityFromPayload(std::string payload,
                                          std::function<void(HandbookUpdateEntity*)> completion);
  // Records applied between two saves of a large update; 0 counts as 1. Any thread; used
  // from the next update on.
  void setUpdateChunkSize(std::size_t records) { updateChunkSize_ = records; }
  static constexpr std::size_t kDefaultUpdateChunkSize = 500;
  // Told how far an update has got: records applied so far and the update's total, after
  // each window of records (on the saving queue, so it must not touch the saving context).
  // Any thread may set it; used from the next update on; an empty function stops reports.
  using UpdateProgress = std::function<void(std::size_t applied, std::size_t total)>;
  void setUpdateProgress(UpdateProgress progress);
  // A save job on the saving queue, then `completion` (on the saving queue).
  void save(std::function<void()> completion);
  void saveAndWait();
  void saveAfterCache();
  // Stores which products a diet uses; `completion` gets the relation (saving context).
  void saveProductHandbookRelationships(
      std::int64_t dietId, const std::vector<std::int64_t>& handbookIds,
      const std::function<void(DietHandbookRelation*)>& completion);
  // Deletes every item on the calling thread's context (not saved here).
  void removeAllEntities();
  // Empties the four post caches.
  void clearCaches();

 private:
  // The synchronous update from text; `file` is the text's mapped file, if it is one.
  HandbookUpdateEntity* buildFromText(std::string_view text, const MappedFile* file);
  struct CacheEntry {
    std::weak_ptr<ManagedObjectContext> context;
    ObjectID id;
    ManagedObject* object = nullptr;
  };
  using Cache = ThreadSafeDictionary<std::int64_t, CacheEntry>;
  template <typename T>
  T* cachedLookup(Cache& cache, const char* entityName, std::int64_t id);
  void prefetchCached(Cache& cache, const char* entityName, const std::vector<std::int64_t>& ids);
  // True when the cache answers for `context`: *object is then the record, or nullptr for a
  // remembered miss.
  static bool cachedFor(const Cache& cache, std::int64_t id,
                        const std::shared_ptr<ManagedObjectContext>& context,
                        ManagedObject** object);
  // Drops the cached "no such record" answers (an update may have added those records).
  void forgetCachedMisses();
  std::vector<ManagedObject*> fetchEntity(
      const std::string& entityName, const std::optional<Predicate>& predicate,
      const std::vector<SortDescriptor>& sort = {}, std::size_t limit = 0,
      const std::shared_ptr<ManagedObjectContext>& context = {});
  std::size_t countEntity(const std::string& entityName, const Predicate& predicate);
  HandbookUpdateEntity* buildUpdateBatch(ManagedObjectContext& context,
                                         HandbookUpdateSource& source);
  // buildUpdateBatch with its failures logged and reported as nullptr.
  HandbookUpdateEntity* buildUpdateBatchLogged(ManagedObjectContext& context,
                                               HandbookUpdateSource& source);

  const HandbookStorage::Options storageOptions_;
  std::mutex storageMutex_;
  std::shared_ptr<HandbookStorage> storage_;  // guarded by storageMutex_ until created
  std::optional<bool> pendingUnpack_;         // guarded by storageMutex_
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::atomic<std::size_t> updateChunkSize_{kDefaultUpdateChunkSize};
  std::mutex updateProgressMutex_;
  UpdateProgress updateProgress_;
  Cache cachedPostExerciseEntities_;
  Cache cachedPostProductEntities_;
  Cache cachedPostPharmacyEntities_;
  Cache cachedPostSportFoodEntities_;
};

}  // namespace dm
