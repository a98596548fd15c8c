// The handbook's own store: its file under "sqlData", the saving context and the main
// context that merges from it, per-thread reading contexts, the serial saving queue, the
// seed unpacking at start and when another language's seed arrives, and the observers told
// when the handbook of the current language has been loaded.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Handbook/Storage/SeedStorage.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

// Observer of handbook loads; held weakly. Called on the main queue.
class HandbookStorageDelegate {
 public:
  virtual ~HandbookStorageDelegate() = default;
  virtual void currentHandbookLocalizationWasLoaded() = 0;
};

// Thread use: every method may be called from any thread unless it says otherwise. Held by
// std::shared_ptr (the seed storage refers to it weakly).
class HandbookStorage final : public SeedStorageDelegate,
                              public std::enable_shared_from_this<HandbookStorage> {
 public:
  static constexpr const char* kSavingQueueLabel = "com.vostra.korvalo.HandbookSavingQueue";
  static constexpr const char* kStoreDirectoryName = "sqlData";
  static constexpr const char* kStoreFileName = "Handbook.sqlite";
  static constexpr const char* kModelName = "Handbook";
  static constexpr const char* kContextKey = "HandbookManagedObjectContextKey";
  static constexpr const char* kContextVersionKey = "HandbookManagedObjectContextCacheVersionKey";

  struct Options {
    // Parent of "sqlData"; empty: Directories::shared()'s application-support directory.
    std::filesystem::path applicationSupportDirectory;
    // null: SeedStorage::shared().
    std::shared_ptr<SeedStorage> seedStorage;
    // Unpack the built-in seed at start whatever the seed logic says.
    bool shouldUnpackHandbook = false;
  };

  // Opens (unpacking the built-in seed when needed) or, after two failed attempts, falls
  // back to an empty in-memory store and reports a diagnostic event. Then becomes the seed
  // storage's delegate and asks it for the current language's seed. Never fails.
  static std::shared_ptr<HandbookStorage> create(Options options);
  static std::shared_ptr<HandbookStorage> create() { return create(Options{}); }
  ~HandbookStorage() override;

  // The store directory ("sqlData" under application support) and file.
  const std::filesystem::path& storeDirectory() const { return storeDirectory_; }
  const std::filesystem::path& storeFile() const { return storeFile_; }
  bool isInMemory() const;
  // Why the store file is not in use (kind() tells busy, full, read-only, ...), or nothing
  // when it is. Any thread.
  std::optional<StoreError> openError() const;
  const std::shared_ptr<SeedStorage>& seedStorage() const { return seedStorage_; }

  // Called once after a seed has been restored for a language (main queue).
  void setLocalizationWasLoadedCompletion(std::function<void()> completion);
  bool managedObjectStoreShouldUnpackHandbook() const;
  void setManagedObjectStoreShouldUnpackHandbook(bool unpack);

  // The private-queue context all writes go through.
  std::shared_ptr<ManagedObjectContext> managedObjectBackgroundForSavingContext() const;
  // The main-queue child of the saving context; merges its saves automatically.
  std::shared_ptr<ManagedObjectContext> managedObjectMainContext() const;
  // The main context on the main thread; elsewhere the thread's own child context of the
  // main context, reused while the thread's version entry is 0 and the store unchanged.
  std::shared_ptr<ManagedObjectContext> contextForCurrentThread() const;
  // Sets the calling thread's version entry (a non-zero value retires its cached context).
  static void setThreadContextCacheVersion(std::int64_t version);

  // Runs the fetch synchronously on `context` (null: the calling thread's context). The
  // records belong to that context. Any error gives the empty list.
  std::vector<ManagedObject*> fetch(const FetchRequest& request,
                                    const std::shared_ptr<ManagedObjectContext>& context = {});
  // As fetch, counting; 0 on any error.
  std::size_t count(const FetchRequest& request,
                    const std::shared_ptr<ManagedObjectContext>& context = {});
  const EntityDescription* entityNamed(const std::string& name) const;

  // Runs `block` on the saving context and waits, then `completion` on the calling thread.
  void performOnSavingContextAndWait(const std::function<void(ManagedObjectContext&)>& block,
                                     const std::function<void()>& completion = {});
  // Queues a job on the saving queue that runs `block` on the saving context and saves it;
  // save errors are swallowed (and logged). `done` (optional) runs on the saving queue after.
  void performOnSavingQueue(std::function<void(ManagedObjectContext&)> block,
                            std::function<void()> done = {});
  // Queues `block` on the saving context's own queue; the caller does not wait.
  void performOnSavingContext(std::function<void(ManagedObjectContext&)> block);
  WorkQueue& handbookSavingQueue() { return *savingQueue_; }

  // Adds an observer (weakly); observers that are gone are skipped and dropped.
  void addObserver(const std::shared_ptr<HandbookStorageDelegate>& observer);
  // Calls every live observer of a snapshot of the set, in order of addition.
  void notifyObservers();

  // SeedStorageDelegate: queues on the main queue the replacement of the store by the seed,
  // then the completion and the observers.
  void seedDatabaseWasLoaded(const std::filesystem::path& seedArchive,
                             const std::string& languageCode) override;
  // Replaces the store files by the seed's and reopens the store. On failure the old files
  // are put back and false is returned. Main queue (or before the storage is shared).
  bool replaceStoreWithSeed(const std::filesystem::path& seedArchive,
                            const std::string& languageCode);

  struct Private {};
  HandbookStorage(Private, Options options);

 private:
  struct Stack {
    std::shared_ptr<PersistentStore> store;
    std::shared_ptr<ManagedObjectContext> background;
    std::shared_ptr<ManagedObjectContext> main;
    std::uint64_t generation = 0;
  };
  void open();
  // Opens the store file. A damaged file (corrupt, not a database) is moved aside to
  // "<file>.damaged" with the event "HandbookStorage.storeMovedAside", the built-in seed
  // restored and the open retried once. Any other failure, or a second one, reports the
  // event "HandbookStorage HandbookStorage.init()", leaves the files as they are and returns
  // an in-memory store.
  std::shared_ptr<PersistentStore> openStoreWithRecovery();
  Stack makeStack(std::shared_ptr<PersistentStore> store);
  Stack currentStack() const;

  const std::shared_ptr<SeedStorage> seedStorage_;
  const std::shared_ptr<const ManagedObjectModel> model_;
  const std::uint64_t identity_;
  // Stacks replaced by a seed restore: kept open so their records stay valid, and closed
  // after the current one so their write-ahead logs cannot touch the new store's.
  std::vector<Stack> retired_;           // guarded by mutex_
  std::optional<StoreError> openError_;  // guarded by mutex_
  std::filesystem::path storeDirectory_;
  std::filesystem::path storeFile_;
  std::unique_ptr<SerialQueue> savingQueue_;

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  Stack stack_;
  std::function<void()> localizationWasLoadedCompletion_;
  std::vector<std::weak_ptr<HandbookStorageDelegate>> observers_;
  bool shouldUnpackHandbook_ = false;
};

}  // namespace dm
