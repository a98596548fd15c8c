// The main store: the record model "Korvalo" in one SQLite file in the documents directory,
// opened with recovery (a damaged file is moved aside and recreated; any other failure
// leaves the file alone and runs memory-only), with its root saving context
// and main-queue context, shared process-wide and provided to the injector as "objectStore".
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Mapping/Records/MappingStore.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

class Injector;

// Threads: the accessors may be called from any thread once a store is returned; the
// contexts themselves follow their own queue rules (the root context on its private queue,
// the main-queue context on the main thread only). The store is created once per process,
// normally through the injector, before other threads use it, and is never closed.
// It is itself the MappingStore that the record layer's services receive as "objectStore".
class ManagedObjectStore final : public MappingStore {
 public:
  static constexpr const char* modelName = "Korvalo";
  static constexpr const char* dataBaseFileName = "Korvalo.sqlite";
  // Name under which the injector provides the shared store to other services.
  static constexpr const char* providerName = "objectStore";

  // Registers the store with `injector` as a singleton created by initWithModelName(modelName)
  // and as the MappingStore provider named "objectStore". Replaces an earlier registration.
  // Any thread.
  static void initialize(Injector& injector);
  // Provides `store` (not the injector's singleton) to `injector` as the MappingStore named
  // "objectStore", replacing an earlier provider. Does nothing for null. Any thread.
  static void provideAsObjectStore(Injector& injector, std::shared_ptr<ManagedObjectStore> store);
  // The same, with the process-wide injector.
  static void initialize();

  // The shared store. If one exists it is returned whatever `name` is, and nothing else
  // happens. Otherwise loads the embedded model "Models/<name>.json", opens
  // "<documents>/Korvalo.sqlite" with recovery (never fails for file reasons: the last resort
  // is a memory-only store), publishes its store and contexts as the ObjectStoreHelpers defaults,
  // and remembers the result as the shared instance. Returns nullptr (and logs) only when no model
  // of that name is embedded. Callers share ownership; the shared instance keeps the store alive.
  // Any thread; concurrent first calls wait for one creation.
  static std::shared_ptr<ManagedObjectStore> initWithModelName(const std::string& name);
  // As initWithModelName, with a model the caller built (a host's own model, test models).
  // Returns the shared instance if there is one; nullptr for a null model.
  static std::shared_ptr<ManagedObjectStore> initWithManagedObjectModel(
      std::shared_ptr<const ManagedObjectModel> model);

  // The shared instance, or nullptr before the first successful initialisation. Any thread.
  static std::shared_ptr<ManagedObjectStore> sharedInstance();
  // Forgets the shared instance (and the defaults it published) so the next initialisation
  // opens the file again. Stores and
  // contexts still held by callers stay usable. For tests and for hosts tearing down; any
  // thread, but no other thread may be initialising at the same time.
  static void resetSharedInstance();

  // Opens the store at `storePath` (in `directoryPath`) with recovery: when the file is
  // damaged (SQLite reports it corrupt or not a database) it and its companions are moved
  // aside to "<file>.damaged" (replacing an earlier damaged copy, with the diagnostic event
  // "ManagedObjectStore.storeMovedAside") and the open is tried once more. Any other failure
  // (busy past the timeout, full disk, read-only, no access, I/O error), or a second failure,
  // sends the diagnostic event "ManagedObjectStore.initializeContextWithStorePath", leaves the
  // files as they are and uses a memory-only store; openError() then tells why.
  // Then creates the contexts.
  // Never throws for store reasons. Called once per store by the initialisers; any thread.
  void initializeContextWithStorePath(const std::filesystem::path& storePath,
                                      const std::filesystem::path& directoryPath);

  // The record model; shared, immutable, any thread.
  std::shared_ptr<const ManagedObjectModel> managedObjectModel() const override { return model_; }
  // The context in which record class operations without a context of their own work: the
  // one given to setDefaultContext, else the main-queue context. nullptr only before
  // initializeContextWithStorePath. Owned jointly; use it on its own queue. Any thread.
  std::shared_ptr<ManagedObjectContext> defaultContext() const override;
  // Replaces that context (nullptr restores the main-queue context). Hosts without a running
  // main queue, such as command-line tools and tests, pass the root context. Any thread, but
  // not while class operations run.
  void setDefaultContext(std::shared_ptr<ManagedObjectContext> context);
  // The open persistent store (SQLite, or in-memory after a failed recovery); nullptr only
  // before initializeContextWithStorePath. Owned jointly with the contexts. Any thread.
  std::shared_ptr<PersistentStore> persistentStore() const;
  // The root context on a private queue: saving it writes to the file. Owned jointly.
  std::shared_ptr<ManagedObjectContext> persistentStoreManagedObjectContext() const;
  // The main-queue child of the root context, merging what the root saves: the default
  // context of the user interface, used on the main thread only. Owned jointly.
  std::shared_ptr<ManagedObjectContext> mainQueueManagedObjectContext() const;
  // True when the file could not be opened and nothing is persisted. Any thread.
  bool isInMemory() const;
  // Why the file is not in use (kind() tells busy, full, read-only, ...), or nothing when it
  // is. Any thread.
  std::optional<StoreError> openError() const;

  // A new private-queue child of the root context for background work (it merges what the
  // root saves). The caller owns it; nullptr when the store has no contexts (not even
  // memory could be had). Any thread.
  std::shared_ptr<ManagedObjectContext> newPrivateQueueContext(std::string label = "private");

  explicit ManagedObjectStore(std::shared_ptr<const ManagedObjectModel> model);
  ManagedObjectStore(const ManagedObjectStore&) = delete;
  ManagedObjectStore& operator=(const ManagedObjectStore&) = delete;

 private:
  static std::shared_ptr<ManagedObjectStore> createShared(
      std::shared_ptr<const ManagedObjectModel> model);
  std::shared_ptr<PersistentStore> openWithRecovery(const std::filesystem::path& storePath,
                                                    const std::filesystem::path& directoryPath);

  const std::shared_ptr<const ManagedObjectModel> model_;
  mutable std::mutex mutex_;
  // Set once by initializeContextWithStorePath; guarded by mutex_.
  std::shared_ptr<PersistentStore> store_;
  std::shared_ptr<ManagedObjectContext> rootContext_;
  std::shared_ptr<ManagedObjectContext> mainContext_;
  std::shared_ptr<ManagedObjectContext> classContext_;  // guarded by mutex_
  std::optional<StoreError> openError_;                 // guarded by mutex_
};

}  // namespace dm
