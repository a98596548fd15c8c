// The SQLite side of the object store: schema, lightweight migration, row reads, the
// all-or-nothing save and set-based queries.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/ObjectID.h"
#include "Platform/ObjectStore/StoreError.h"

struct sqlite3;
struct sqlite3_stmt;

namespace dm {

class ManagedObject;
class ManagedObjectContext;

// The state of one object as plain data: what moves between contexts and to the store.
struct ObjectSnapshot {
  ObjectID id;  // concrete entity
  std::vector<Value> values;
  std::vector<ObjectID> toOne;  // per relationship index; null for none or to-many slots
  // Per relationship index: members of a loaded to-many relationship.
  std::vector<std::optional<std::vector<ObjectID>>> toMany;
};

// What one save (or one committed bulk write) changed, by identifier: contexts that merge
// it reload what they hold rather than receive copies of every saved value.
struct SaveChangeSet {
  std::vector<ObjectID> inserted;
  std::vector<ObjectID> updated;
  std::vector<ObjectID> deleted;
  bool empty() const { return inserted.empty() && updated.empty() && deleted.empty(); }
};

// What a root context's save writes. Rows are read in place from the objects (owned by the
// saving context, which holds its lock for the duration), so a save copies no values.
struct SaveBatch {
  std::vector<const ManagedObject*> inserted;
  std::vector<const ManagedObject*> updated;
  std::vector<ObjectID> deleted;
  bool empty() const { return inserted.empty() && updated.empty() && deleted.empty(); }
};

enum class StoreType { SQLite, InMemory };

// Threads: every method may be called from any thread; one connection is shared under a
// mutex. Held by std::shared_ptr by the contexts that use it.
class PersistentStore {
 public:
  // How long a statement waits for another connection's lock before failing as busy, by
  // default.
  static constexpr int kBusyTimeoutMilliseconds = 20000;
  // The wait of connections opened from now on (process-wide; any thread). Hosts that must
  // answer quickly, and tests of a lock held throughout, shorten it.
  static void setBusyTimeout(int milliseconds);
  static int busyTimeout();

  // Opens (creating when missing) and migrates the file. A file whose recorded model is this
  // model is only read (no write transaction). Throws StoreError: CannotOpen when the file
  // cannot be opened or is not a database (kind() tells corrupt from busy, full, read-only,
  // no access and I/O errors), IncompatibleModel when the schema cannot be migrated (the file
  // is then left as it was). `path` is ignored for InMemory.
  static std::shared_ptr<PersistentStore> open(std::shared_ptr<const ManagedObjectModel> model,
                                               StoreType type, const std::string& path = {});
  ~PersistentStore();
  PersistentStore(const PersistentStore&) = delete;
  PersistentStore& operator=(const PersistentStore&) = delete;

  const ManagedObjectModel& model() const { return *model_; }
  const std::shared_ptr<const ManagedObjectModel>& sharedModel() const { return model_; }
  StoreType type() const { return type_; }
  const std::string& path() const { return path_; }
  // The model hash recorded in the file.
  std::string storedModelHash();
  // Rows per concrete entity, for diagnostics.
  std::vector<std::pair<std::string, std::int64_t>> rowCounts();

  // Test seam: called before every statement of a save with its running number; throwing
  // from it makes the save fail and roll back. nullptr removes it.
  using SaveHook = std::function<void(std::size_t statementIndex)>;
  void setSaveHook(SaveHook hook);

  // --- Used by contexts ---
  // Reserves `count` consecutive row keys of the entity's table; returns the first. Keys are
  // reserved in the file (kReservedKeyBlock or more at a time), so processes sharing the file
  // never hand out the same key. Throws StoreError when the reservation cannot be written.
  std::int64_t allocateKeys(const EntityDescription& entity, std::size_t count);
  // The row's snapshot, or false when there is no such row.
  bool loadRow(const EntityDescription& entity, std::int64_t key, ObjectSnapshot& out);
  // The stored rows of the entity's table with these keys, in one query; keys without a
  // row are skipped. Throws StoreError(FetchFailed).
  std::vector<ObjectSnapshot> loadRows(const EntityDescription& entity,
                                       const std::vector<std::int64_t>& keys);
  // Members of a to-many relationship as stored.
  std::vector<ObjectID> loadToMany(const ObjectID& owner, const RelationshipDescription& rel);
  // Writes the changes in one transaction, or into the open bulk write when `writer` owns
  // it. Throws StoreError: ValidationFailed before anything is written, SaveFailed after a
  // rollback of this save, or when another writer holds a bulk write. Inside the owner's bulk
  // write a failed save is not undone on its own: the owner must roll the bulk write back
  // (one failed chunk undoes the whole import), so no page copy is kept for a savepoint.
  void save(const SaveBatch& changes, const void* writer = nullptr);
  // Bulk writes: one transaction spanning several saves of `owner` (see docs/bulk-writes.md).
  // begin throws StoreError(SaveFailed) when a bulk write is already open or the file is
  // locked; commit throws StoreError(SaveFailed) after rolling everything back. rollback
  // never throws. Only the owner's saves may write while it is open.
  void beginBulkWrite(const void* owner);
  void commitBulkWrite(const void* owner);
  void rollbackBulkWrite(const void* owner);
  // Rows matching the request, minus `excludedKeys` (rows whose state a context overrides).
  // With applyWindow, sort/limit/offset run in SQL. idsOnly leaves values empty.
  // Throws PredicateError or StoreError.
  std::vector<ObjectSnapshot> query(const FetchRequest& request,
                                    const std::vector<std::int64_t>& excludedKeys, bool applyWindow,
                                    bool idsOnly);
  std::size_t count(const FetchRequest& request, const std::vector<std::int64_t>& excludedKeys);
  // Deletes every row of the entity family whose attribute is not in `kept`; nullifies
  // references to them. Returns the deleted rows' identifiers. Throws StoreError.
  // `writer` as for save.
  std::vector<ObjectID> batchDeleteExcept(const EntityDescription& entity,
                                          const std::string& attribute,
                                          const std::vector<Value>& kept,
                                          const void* writer = nullptr);

  void registerContext(const std::shared_ptr<ManagedObjectContext>& context);
  // Live contexts attached to this store (roots and children).
  std::vector<std::shared_ptr<ManagedObjectContext>> contexts();

 private:
  struct Private {};

 public:
  PersistentStore(Private, std::shared_ptr<const ManagedObjectModel> model, StoreType type,
                  std::string path);

 private:
  struct EntityLayout {
    std::vector<int> attributeColumn;  // select-list position per attribute
    std::vector<int> toOneColumn;      // select-list position per relationship, -1 to-many
    std::string insertSql, updateSql;
    // Prepared on first use; owned by statements_.
    mutable sqlite3_stmt* insertStatement = nullptr;
    mutable sqlite3_stmt* updateStatement = nullptr;
    // UPDATEs that write only the changed columns, one per set of changed properties.
    mutable std::unordered_map<std::string, sqlite3_stmt*> updateByChangedColumns;
  };
  // Distinct changed-column sets prepared per entity; further ones rewrite the whole row.
  static constexpr std::size_t kUpdateShapesPerEntity = 64;
  struct TableLayout {
    const EntityDescription* root = nullptr;
    std::vector<std::string> columns;  // quoted names after _pk, _entity
    std::vector<AttributeType> columnTypes;
    std::unordered_map<std::string, int> columnByName;
    std::unordered_map<const EntityDescription*, EntityLayout> entities;
    std::string selectList;  // "t0._pk, t0._entity, t0.\"a\", ..."
  };
  // Keys handed out from one key space (every table under one topmost entity).
  struct KeyReservation {
    std::optional<std::int64_t> nextKey;
    std::int64_t reservedEnd = 0;  // keys below this are reserved for this connection
  };

  void openConnection();
  void migrate();
  // Drops the cached key reservations (after a rollback took them back).
  void forgetReservedKeys();
  static constexpr std::int64_t kReservedKeyBlock = 256;
  // True when the file records this model's hash, so there is nothing to migrate.
  bool schemaMatchesModel();
  void buildLayouts();
  sqlite3_stmt* statement(const std::string& sql);
  void exec(const std::string& sql);
  [[noreturn]] void fail(StoreErrorCode code, const std::string& what);
  const TableLayout& layoutFor(const EntityDescription& entity) const;
  void readRow(sqlite3_stmt* stmt, const TableLayout& layout, bool idsOnly, ObjectSnapshot& out);
  std::string buildQuery(const FetchRequest& request, const std::vector<std::int64_t>& excluded,
                         bool applyWindow, bool idsOnly, bool countOnly,
                         std::vector<Value>& parameters);
  void writeObject(const ManagedObject& object, bool insert, std::size_t& step);
  // Writes only the columns of the object's changed properties; none changed, no statement.
  void updateChangedColumns(const ManagedObject& object, std::size_t& step);
  void bindToOne(sqlite3_stmt* stmt, int column, const ManagedObject& object,
                 std::size_t relationship);
  // Join-table pairs and the positions of ordered to-many members.
  void writeJoins(const ManagedObject& object, std::size_t& step);
  void writeMemberPositions(const ManagedObject& object, const RelationshipDescription& rel,
                            std::size_t& step);
  // How a write inside the owner's bulk write is undone when it fails: by a savepoint of its
  // own, or by the rollback of the whole bulk write that its caller runs then.
  enum class BulkUndo { Savepoint, WholeBulkWrite };
  // Opens the write of one operation: a transaction, or inside the owner's bulk write a
  // savepoint (or nothing). Throws StoreError(SaveFailed).
  void beginWriteLocked(const void* writer, BulkUndo undo = BulkUndo::Savepoint);
  // Closes the open bulk write's state once it has committed or rolled back.
  void endBulkWriteLocked();
  void commitWriteLocked(BulkUndo undo = BulkUndo::Savepoint);
  void rollbackWriteLocked(BulkUndo undo = BulkUndo::Savepoint);
  void hook(std::size_t& step);

  const std::shared_ptr<const ManagedObjectModel> model_;
  const StoreType type_;
  const std::string path_;
  std::mutex mutex_;
  // Guarded by mutex_.
  sqlite3* db_ = nullptr;
  std::unordered_map<std::string, sqlite3_stmt*> statements_;
  std::unordered_map<const EntityDescription*, TableLayout> tables_;   // by table root
  std::unordered_map<const EntityDescription*, KeyReservation> keys_;  // by key space
  std::unordered_map<std::string, const EntityDescription*> entityByName_;
  SaveHook hook_;
  const void* bulkOwner_ = nullptr;  // the context whose bulk write is open
  // SQLite's cache_size (negative: KiB) while a bulk write is open, and the one before it.
  static constexpr int kBulkWriteCacheSize = -1024;
  int cacheSizeOutsideBulkWrite_ = -2000;
  std::vector<std::weak_ptr<ManagedObjectContext>> contexts_;
};

}  // namespace dm
