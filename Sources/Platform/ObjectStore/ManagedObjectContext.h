// Contexts: scratch pads of objects bound to a queue, chained to a parent context or, at
// the root, to the persistent store.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/BulkWrite.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObject.h"
#include "Platform/ObjectStore/ObjectID.h"
#include "Platform/ObjectStore/StoreError.h"

namespace dm {

class PersistentStore;
class ManagedObjectContext;
struct ObjectSnapshot;
struct SaveChangeSet;
struct BulkWriteState;

// Objects that changed, all registered in the context the notification is posted for.
// Deleted objects stay readable while observers run.
struct ContextChanges {
  std::vector<ManagedObject*> inserted;
  std::vector<ManagedObject*> updated;
  std::vector<ManagedObject*> deleted;
  bool empty() const { return inserted.empty() && updated.empty() && deleted.empty(); }
};

enum class ContextNotification {
  ObjectsDidChange,  // after processPendingChanges, a merge, a save or a batch delete
  DidSave,           // after a successful save, with what was saved
};

// Unregisters its observer when destroyed. Move-only.
class ContextObserverToken {
 public:
  ContextObserverToken() = default;
  ContextObserverToken(ContextObserverToken&& other) noexcept;
  ContextObserverToken& operator=(ContextObserverToken&& other) noexcept;
  ContextObserverToken(const ContextObserverToken&) = delete;
  ContextObserverToken& operator=(const ContextObserverToken&) = delete;
  ~ContextObserverToken();
  // Unregisters now. Safe to call twice.
  void reset();
  // True while the token holds a registration.
  bool isActive() const { return id_ != 0; }

 private:
  friend class ManagedObjectContext;
  ContextObserverToken(std::weak_ptr<ManagedObjectContext> context, std::uint64_t id)
      : context_(std::move(context)), id_(id) {}
  std::weak_ptr<ManagedObjectContext> context_;
  std::uint64_t id_ = 0;
};

enum class ConcurrencyType { PrivateQueue, MainQueue };

// Threads: every operation except perform/performAndWait/queue must run on the context's
// queue; a call from another thread is a programming error and stops the process with a
// message naming both threads. Contexts are created and held by std::shared_ptr; a child
// keeps its parent alive.
class ManagedObjectContext : public std::enable_shared_from_this<ManagedObjectContext> {
 public:
  // A root context writing to the store. Any thread.
  static std::shared_ptr<ManagedObjectContext> createRoot(std::shared_ptr<PersistentStore> store,
                                                          ConcurrencyType type,
                                                          std::string label = "root");
  // A child of `parent`: its save pushes changes into the parent. Any thread.
  static std::shared_ptr<ManagedObjectContext> createChild(
      std::shared_ptr<ManagedObjectContext> parent, ConcurrencyType type,
      std::string label = "child");
  ~ManagedObjectContext();
  ManagedObjectContext(const ManagedObjectContext&) = delete;
  ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;

  // Runs the block on the context's queue later. Any thread.
  void perform(std::function<void()> block);
  // Runs the block on the context's queue and waits (inline when already there). Any thread.
  // For a main-queue context from another thread, the main thread must be running its queue.
  void performAndWait(const std::function<void()>& block);
  WorkQueue& queue() const { return *queue_; }
  const std::string& label() const { return label_; }
  ConcurrencyType concurrencyType() const { return type_; }

  std::shared_ptr<ManagedObjectContext> parentContext() const { return parent_; }
  const std::shared_ptr<PersistentStore>& persistentStore() const { return store_; }
  const ManagedObjectModel& model() const;

  // Merge what the parent saves (or what a sibling saved through it) into this context.
  bool automaticallyMergesChangesFromParent() const { return autoMerge_; }
  void setAutomaticallyMergesChangesFromParent(bool merge) { autoMerge_ = merge; }

  // --- Objects (context queue only) ---
  // A new object of a concrete entity, with the model's defaults. Owned by the context.
  // Throws std::invalid_argument for an abstract entity or one of another model; by name,
  // Error UnknownEntity for a name the model lacks (names come from payloads and tools).
  ManagedObject* insertNewObject(const EntityDescription& entity);
  ManagedObject* insertNewObject(std::string_view entityName);
  template <typename T>
  T* insertNew(std::string_view entityName) {
    return dynamic_cast<T*>(insertNewObject(entityName));
  }
  // Marks for deletion, applying the delete rules (cascade deletes related objects,
  // nullify removes this object from their relationships).
  void deleteObject(ManagedObject* object);
  // The registered object with that identifier, else a fault for it without reading the
  // file (a fault whose row is missing reads as empty). nullptr for a temporary identifier
  // or one whose entity is abstract. Owned by the context.
  ManagedObject* objectWithID(const ObjectID& id);
  // The registered object with that identifier, a fault for a stored row, or nullptr when
  // no such row exists. The returned object is owned by the context.
  ManagedObject* existingObjectWithID(const ObjectID& id);
  ManagedObject* objectRegisteredForID(const ObjectID& id) const;
  // Turns an object back into a fault; with mergeChanges=false its unsaved changes are
  // dropped too.
  void refreshObject(ManagedObject* object, bool mergeChanges);
  // Forgets every object (all ManagedObject* handed out become invalid).
  void reset();

  bool hasChanges() const;
  std::vector<ManagedObject*> insertedObjects() const;
  std::vector<ManagedObject*> updatedObjects() const;
  std::vector<ManagedObject*> deletedObjects() const;
  std::size_t registeredObjectCount() const;

  // Commits the changes: a root context writes them to the store in one transaction, a
  // child pushes them into its parent. On failure throws StoreError; nothing was written
  // and the changes are still pending here. Inside a bulk write the root writes into the
  // bulk's transaction, and a failure rolls the whole bulk write back (see BulkWrite).
  void save();
  // Opens a bulk write on this root context (see BulkWrite and docs/bulk-writes.md): its
  // saves then go into one transaction that the returned scope commits or rolls back, so
  // objects may be released with reset() between chunks. Throws std::logic_error on a
  // child context, with unsaved changes, or when this context already has one open;
  // StoreError(SaveFailed) when another bulk write holds the store or the file is locked.
  [[nodiscard]] BulkWrite beginBulkWrite();
  // True while a bulk write of this context is open (including a failed one not yet closed).
  bool isInBulkWrite() const;
  // Gives inserted objects their row keys without saving. Throws StoreError.
  void obtainPermanentIDs(const std::vector<ManagedObject*>& objects);
  // Posts ObjectsDidChange for the edits since the last call. Context queue only.
  void processPendingChanges();

  // --- Fetching (context queue only) ---
  // Matching objects, including unsaved inserts and changes of this context and its
  // ancestors, without their unsaved deletions. Throws PredicateError for a key outside the
  // model and StoreError when the store fails.
  std::vector<ManagedObject*> executeFetchRequest(const FetchRequest& request);
  std::size_t countForFetchRequest(const FetchRequest& request);
  // --- Batch operations (context queue only) ---
  // Lookup-many: the objects of `entity` (and its sub-entities) whose attribute equals
  // one of `values`, as a hash map attribute value -> object, in one SQL query (the values
  // are bound as one list, so 100k values cost one statement) plus a hash probe of the
  // unsaved objects of this context and its ancestors, which win over the file. Values
  // without an object are absent; when several objects share a value, one of them is
  // returned. Keys compare like Value (1 == 1.0), so integer ids may be looked up with
  // either. The objects are owned by this context and come with their values loaded.
  // Throws std::invalid_argument for an unknown attribute or an entity of another model,
  // StoreError when the query fails.
  std::unordered_map<Value, ManagedObject*, ValueHash> objectsByAttribute(
      const EntityDescription& entity, std::string_view attribute,
      const std::vector<Value>& values);
  // Makes room in the table of registered objects for `count` more, for a caller about to
  // register that many (a bulk import), so the table is not rebuilt again and again as it
  // grows. A hint only: nothing changes but the table's size.
  void reserveObjects(std::size_t count);
  // Delete-all-except: deletes, in the store and in one statement, every row of `entity`
  // (and sub-entities) whose attribute is not among `keptValues` (rows where it is null
  // included; an empty list deletes every row). The store is written at once, outside
  // the save of any context. Every context holding those objects marks them deleted
  // (this one at once, the others on their queues) and posts ObjectsDidChange.
  // Relationships pointing at the rows are nullified; delete rules are not applied.
  // Returns the number of rows deleted. Throws StoreError.
  std::size_t batchDeleteExcept(const EntityDescription& entity, std::string_view attribute,
                                const std::vector<Value>& keptValues);

  // --- Observation ---
  using Observer = std::function<void(const ContextChanges&)>;
  // The observer runs on the context's queue while the notification is posted.
  // Any thread may register; keep the token to stay registered.
  [[nodiscard]] ContextObserverToken addObserver(ContextNotification kind, Observer observer);

  // --- Internal (used by objects, fetches and sibling contexts) ---
  void checkQueue(const char* operation) const;
  std::recursive_mutex& stateMutex() const { return mutex_; }

 private:
  friend class ManagedObject;
  friend class ContextObserverToken;
  friend class BulkWrite;
  struct Private {};

 public:
  ManagedObjectContext(Private, std::shared_ptr<PersistentStore> store,
                       std::shared_ptr<ManagedObjectContext> parent, ConcurrencyType type,
                       std::string label);

 private:
  struct ObserverEntry {
    std::uint64_t id;
    ContextNotification kind;
    std::shared_ptr<Observer> observer;
  };

  ManagedObject* createObject(const EntityDescription& entity, const ObjectID& id);
  ManagedObject* registerSnapshotLocked(ObjectSnapshot&& snapshot, bool overwrite);
  ManagedObject* registeredOrFaultLocked(const ObjectID& id);
  void applySnapshotLocked(ManagedObject* object, const ObjectSnapshot& snapshot);
  // Takes `values` as the object's values and the relationships of `relations`.
  void applyStateLocked(ManagedObject* object, std::vector<Value> values,
                        const ObjectSnapshot& relations);
  ManagedObject* objectForKeyLocked(const EntityDescription& entity, std::int64_t key);
  void fulfillFaultLocked(ManagedObject* object);
  std::vector<ManagedObject*> loadToManyLocked(ManagedObject* object,
                                               const RelationshipDescription& rel);
  bool findAncestorSnapshot(const ObjectID& id, ObjectSnapshot& out) const;
  bool findAncestorToMany(const ObjectID& id, const RelationshipDescription& rel,
                          std::vector<ObjectID>& out) const;
  ObjectSnapshot snapshotOfLocked(const ManagedObject* object, bool withValues = true) const;
  void noteChangedLocked(ManagedObject* object);
  void deleteObjectLocked(ManagedObject* object);
  void obtainPermanentIDsLocked(const std::vector<ManagedObject*>& objects);
  SaveChangeSet collectChangesLocked();
  void applyChangesFromChildLocked(const ManagedObjectContext& child);
  std::vector<std::shared_ptr<ManagedObjectContext>> mergeRecipients();
  void refreshLocked(ManagedObject* object, bool mergeChanges);
  static void releaseStateLocked(ManagedObject* object);
  void endBulkWrite(bool commit);
  void abandonBulkWrite();
  // Brings the context back to the file's state after its bulk write was rolled back.
  void discardBulkWriteLocked();
  void mergeChanges(const std::shared_ptr<const SaveChangeSet>& changes);
  void mergeDeletedIDs(const std::vector<ObjectID>& ids);
  void forgetObjectLocked(ManagedObject* object);
  void post(ContextNotification kind, const ContextChanges& changes);
  void removeObserver(std::uint64_t id);
  std::vector<ManagedObject*> fetchLocked(const FetchRequest& request, std::size_t* countOnly);

  const std::shared_ptr<PersistentStore> store_;
  const std::shared_ptr<ManagedObjectContext> parent_;
  const ConcurrencyType type_;
  const std::string label_;
  std::unique_ptr<SerialQueue> ownQueue_;
  WorkQueue* queue_ = nullptr;
  std::atomic<bool> autoMerge_{false};

  mutable std::recursive_mutex mutex_;
  // Everything below is guarded by mutex_.
  std::unordered_map<ObjectID, std::unique_ptr<ManagedObject>, ObjectIDHash> objects_;
  std::vector<std::unique_ptr<ManagedObject>> graveyard_;  // deleted objects kept readable
  std::vector<ManagedObject*> changeList_;                 // objects with unsaved changes
  std::vector<ManagedObject*> pendingInserted_, pendingUpdated_, pendingDeleted_;
  std::vector<std::weak_ptr<ManagedObjectContext>> children_;
  std::vector<ObserverEntry> observers_;
  std::uint64_t nextObserverID_ = 1;
  std::unique_ptr<BulkWriteState> bulk_;                   // set while a bulk write is open
  const EntityDescription* lastInsertedEntity_ = nullptr;  // queue only; passed the checks
};

}  // namespace dm
