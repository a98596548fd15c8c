// SQLite persistence of the object store: one table per entity hierarchy, foreign-key
// columns for to-one relationships, join tables for many-to-many ones. This file holds the
// connection, transactions and key allocation; PersistentStoreSchema.cpp the table layout and
// migration, PersistentStoreRows.cpp row reads, writes and queries.
#include "Platform/ObjectStore/PersistentStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/ManagedObject.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStoreSql.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

using namespace store_sql;

std::size_t ValueHash::operator()(const Value& v) const {
  if (v.isNumber() || v.isDate()) {
    double d = v.asDouble();
    auto i = static_cast<std::int64_t>(d);
    if (static_cast<double>(i) == d) return std::hash<std::int64_t>()(i);
    return std::hash<double>()(d);
  }
  if (v.isString()) return std::hash<std::string>()(v.asString());
  if (v.isBlob()) {
    const auto& b = v.asBlob();
    return std::hash<std::string_view>()(
        std::string_view(reinterpret_cast<const char*>(b.data()), b.size()));
  }
  return 0;
}

PersistentStore::PersistentStore(Private, std::shared_ptr<const ManagedObjectModel> model,
                                 StoreType type, std::string path)
    : model_(std::move(model)), type_(type), path_(std::move(path)) {}

PersistentStore::~PersistentStore() {
  for (auto& [sql, stmt] : statements_) sqlite3_finalize(stmt);
  if (db_) sqlite3_close_v2(db_);
}

std::shared_ptr<PersistentStore> PersistentStore::open(
    std::shared_ptr<const ManagedObjectModel> model, StoreType type, const std::string& path) {
  if (!model) throw StoreError(StoreErrorCode::InvalidModel, "No model given");
  auto store = std::make_shared<PersistentStore>(Private{}, std::move(model), type,
                                                 type == StoreType::InMemory ? ":memory:" : path);
  std::lock_guard lock(store->mutex_);
  store->openConnection();
  store->buildLayouts();
  store->migrate();
  return store;
}

namespace {
std::atomic<int> gBusyTimeout{PersistentStore::kBusyTimeoutMilliseconds};
}  // namespace

void PersistentStore::setBusyTimeout(int milliseconds) {
  gBusyTimeout = milliseconds;
}

int PersistentStore::busyTimeout() {
  return gBusyTimeout;
}

void PersistentStore::fail(StoreErrorCode code, const std::string& what) {
  std::string message = what;
  int sqliteCode = 0;
  if (db_) {
    message += ": " + std::string(sqlite3_errmsg(db_));
    sqliteCode = sqlite3_extended_errcode(db_);
  }
  throw StoreError(code, message, sqliteCode);
}

void PersistentStore::openConnection() {
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  int rc = sqlite3_open_v2(path_.c_str(), &db_, flags, nullptr);
  if (rc != SQLITE_OK) {
    int code = db_ ? sqlite3_extended_errcode(db_) : rc;
    std::string message =
        "Cannot open store file " + path_ + ": " + (db_ ? sqlite3_errmsg(db_) : "out of memory");
    sqlite3_close_v2(db_);
    db_ = nullptr;
    throw StoreError(StoreErrorCode::CannotOpen, message, code);
  }
  sqlite3_extended_result_codes(db_, 1);
  // Other processes (and other stores in this one) may hold the file's locks for a while;
  // waiting for them is always better than treating the file as unusable.
  sqlite3_busy_timeout(db_, busyTimeout());
  if (!registerPredicateSqlFunctions(db_)) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
    throw StoreError(StoreErrorCode::CannotOpen, "Cannot register predicate functions on " + path_);
  }
  try {
    // The first real read notices a file that is not a database.
    // Switching a new file to write-ahead logging needs an exclusive lock and SQLite does not
    // call the busy handler for it, so processes creating the file together retry here.
    const char* journal =
        type_ == StoreType::InMemory ? "PRAGMA journal_mode=MEMORY" : "PRAGMA journal_mode=WAL";
    for (int waited = 0;; waited += 10) {
      if (sqlite3_exec(db_, journal, nullptr, nullptr, nullptr) == SQLITE_OK) break;
      if (classifySqliteResult(sqlite3_extended_errcode(db_)) != StoreFailureKind::Busy ||
          waited >= busyTimeout())
        exec(journal);  // throws with the error
      sqlite3_sleep(10);
    }
    exec("PRAGMA synchronous=NORMAL");
    exec("PRAGMA foreign_keys=OFF");
    exec("PRAGMA temp_store=MEMORY");
    exec("SELECT count(*) FROM sqlite_master");
  } catch (const StoreError& e) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
    throw StoreError(StoreErrorCode::CannotOpen,
                     "Cannot open store file " + path_ + ": " + e.what(), e.sqliteCode(), e.kind());
  }
}

void PersistentStore::exec(const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw StoreError(StoreErrorCode::SaveFailed, message + " (" + sql.substr(0, 120) + ")",
                     sqlite3_extended_errcode(db_));
  }
}

sqlite3_stmt* PersistentStore::statement(const std::string& sql) {
  auto it = statements_.find(sql);
  if (it != statements_.end()) return it->second;
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v3(db_, sql.c_str(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                         &stmt, nullptr) != SQLITE_OK)
    fail(StoreErrorCode::FetchFailed, "Cannot prepare " + sql.substr(0, 200));
  statements_.emplace(sql, stmt);
  return stmt;
}

void PersistentStore::setSaveHook(SaveHook hook) {
  std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

std::int64_t PersistentStore::allocateKeys(const EntityDescription& entity, std::size_t count) {
  std::lock_guard lock(mutex_);
  const EntityDescription* space = entity.keySpace();
  KeyReservation& reservation = keys_[space];
  const auto wanted = static_cast<std::int64_t>(count);
  if (reservation.nextKey && *reservation.nextKey + wanted <= reservation.reservedEnd) {
    std::int64_t first = *reservation.nextKey;
    *reservation.nextKey += wanted;
    return first;
  }
  auto readInteger = [&](const std::string& sql, const std::string& parameter) {
    sqlite3_stmt* stmt = statement(sql);
    StatementReset reset{stmt};
    if (!parameter.empty()) sqlite3_bind_text(stmt, 1, parameter.c_str(), -1, SQLITE_TRANSIENT);
    int rc = sqlite3_step(stmt);
    if (rc == SQLITE_DONE) return std::int64_t{0};
    if (rc != SQLITE_ROW) fail(StoreErrorCode::SaveFailed, "Cannot reserve keys");
    return static_cast<std::int64_t>(sqlite3_column_int64(stmt, 0));
  };
  // The key space may span several tables; a key is new when no table of it has it.
  std::string highestKey = "SELECT MAX(k) + 1 FROM (SELECT 0 AS k";
  for (const EntityDescription* root : space->tableRoots())
    highestKey += " UNION ALL SELECT MAX(_pk) FROM " + quoteName(root->tableName());
  highestKey += ")";
  if (type_ == StoreType::InMemory) {
    const std::int64_t first = readInteger(highestKey, {});
    reservation.nextKey = first + wanted;
    reservation.reservedEnd = std::numeric_limits<std::int64_t>::max();
    return first;
  }
  // Other processes insert into the same file: keys are reserved in the file itself, a block
  // at a time, under the write lock (the open bulk write's, or a short transaction's).
  const std::string reservationKey = "nextKey." + space->name();
  const bool ownTransaction = bulkOwner_ == nullptr;
  if (ownTransaction) exec("BEGIN IMMEDIATE");
  std::int64_t first = 0, end = 0;
  try {
    first = std::max(readInteger(highestKey, {}),
                     readInteger("SELECT value FROM _metadata WHERE key = ?", reservationKey));
    end = first + std::max(wanted, kReservedKeyBlock);
    sqlite3_stmt* stmt = statement("INSERT OR REPLACE INTO _metadata (key, value) VALUES (?, ?)");
    StatementReset reset{stmt};
    sqlite3_bind_text(stmt, 1, reservationKey.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int64(stmt, 2, end);
    if (sqlite3_step(stmt) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Cannot reserve keys");
    if (ownTransaction) exec("COMMIT");
  } catch (const StoreError&) {
    if (ownTransaction) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
  reservation.nextKey = first + wanted;
  reservation.reservedEnd = end;
  return first;
}

void PersistentStore::forgetReservedKeys() {
  keys_.clear();
}

void PersistentStore::beginWriteLocked(const void* writer, BulkUndo undo) {
  if (bulkOwner_ && writer != bulkOwner_)
    throw StoreError(StoreErrorCode::SaveFailed,
                     "Another context holds a bulk write on this store; save again after it ends");
  // A savepoint copies every page it changes, before the change, so it can be undone alone:
  // a chunk of an import would carry megabytes of copies that its failure never uses.
  if (bulkOwner_ && undo == BulkUndo::WholeBulkWrite) return;
  try {
    exec(bulkOwner_ ? "SAVEPOINT dm_write" : "BEGIN IMMEDIATE");
  } catch (const StoreError& e) {
    throw StoreError(StoreErrorCode::SaveFailed, e.what());
  }
}

void PersistentStore::commitWriteLocked(BulkUndo undo) {
  if (bulkOwner_ && undo == BulkUndo::WholeBulkWrite) return;
  if (sqlite3_exec(db_, bulkOwner_ ? "RELEASE dm_write" : "COMMIT", nullptr, nullptr, nullptr) !=
      SQLITE_OK)
    fail(StoreErrorCode::SaveFailed, "Cannot commit");
}

void PersistentStore::rollbackWriteLocked(BulkUndo undo) {
  if (bulkOwner_ && undo == BulkUndo::WholeBulkWrite) return;  // the caller undoes it all
  // Inside a bulk write only this operation's savepoint is undone; the earlier saves stay.
  if (bulkOwner_)
    sqlite3_exec(db_, "ROLLBACK TO dm_write; RELEASE dm_write", nullptr, nullptr, nullptr);
  else
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void PersistentStore::beginBulkWrite(const void* owner) {
  std::lock_guard lock(mutex_);
  if (bulkOwner_)
    throw StoreError(StoreErrorCode::SaveFailed, "A bulk write is already open on this store");
  try {
    exec("BEGIN IMMEDIATE");
  } catch (const StoreError& e) {
    throw StoreError(StoreErrorCode::SaveFailed, e.what());
  }
  bulkOwner_ = owner;
  // A bulk write changes far more pages than any cache holds: they go to the log when the
  // cache spills or at the commit. A smaller cache only spills sooner (no measurable cost on
  // handbook updates of 50,000 and 200,000 records), and the cache is the largest fixed
  // part of an import's memory. The connection's own size comes back when the write ends.
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db_, "PRAGMA cache_size", -1, &stmt, nullptr) == SQLITE_OK &&
      sqlite3_step(stmt) == SQLITE_ROW)
    cacheSizeOutsideBulkWrite_ = sqlite3_column_int(stmt, 0);
  sqlite3_finalize(stmt);
  sqlite3_exec(db_, ("PRAGMA cache_size=" + std::to_string(kBulkWriteCacheSize)).c_str(), nullptr,
               nullptr, nullptr);
}

void PersistentStore::endBulkWriteLocked() {
  bulkOwner_ = nullptr;
  sqlite3_exec(db_, ("PRAGMA cache_size=" + std::to_string(cacheSizeOutsideBulkWrite_)).c_str(),
               nullptr, nullptr, nullptr);
}

void PersistentStore::commitBulkWrite(const void* owner) {
  std::lock_guard lock(mutex_);
  if (!bulkOwner_ || bulkOwner_ != owner)
    throw StoreError(StoreErrorCode::SaveFailed, "No bulk write of this context is open");
  if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
    std::string message = sqlite3_errmsg(db_);
    int code = sqlite3_extended_errcode(db_);
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    endBulkWriteLocked();
    forgetReservedKeys();
    throw StoreError(StoreErrorCode::SaveFailed,
                     "Bulk write failed to commit, nothing was written: " + message, code);
  }
  endBulkWriteLocked();
}

void PersistentStore::rollbackBulkWrite(const void* owner) {
  std::lock_guard lock(mutex_);
  if (!bulkOwner_ || bulkOwner_ != owner) return;
  sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  endBulkWriteLocked();
  forgetReservedKeys();  // reservations made inside the bulk write are gone with it
}

void PersistentStore::registerContext(const std::shared_ptr<ManagedObjectContext>& context) {
  std::lock_guard lock(mutex_);
  std::erase_if(contexts_, [](const auto& weak) { return weak.expired(); });
  contexts_.push_back(context);
}

std::vector<std::shared_ptr<ManagedObjectContext>> PersistentStore::contexts() {
  std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<ManagedObjectContext>> out;
  for (const auto& weak : contexts_)
    if (auto strong = weak.lock()) out.push_back(std::move(strong));
  return out;
}

}  // namespace dm
