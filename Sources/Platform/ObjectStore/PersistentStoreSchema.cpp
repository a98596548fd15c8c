// The object store's table layout: the tables and columns the model asks for, the check of
// an existing file against them, and the migration that adds what is missing.
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

namespace {

const char* sqlType(AttributeType type) {
  switch (type) {
    case AttributeType::Integer16:
    case AttributeType::Integer32:
    case AttributeType::Integer64:
    case AttributeType::Boolean:
      return "INTEGER";
    case AttributeType::Double:
    case AttributeType::Float:
    case AttributeType::Date:
      return "REAL";
    case AttributeType::String:
      return "TEXT";
    case AttributeType::Binary:
    case AttributeType::Dictionary:
    case AttributeType::List:
      return "BLOB";
  }
  return "BLOB";
}

}  // namespace

void PersistentStore::buildLayouts() {
  for (const EntityDescription* e : model_->entities()) entityByName_[e->name()] = e;
  for (const EntityDescription* root : model_->entities()) {
    if (root->rootEntity() != root) continue;
    TableLayout layout;
    layout.root = root;
    for (const EntityDescription* e : root->selfAndDescendants()) {
      EntityLayout el;
      for (const auto& a : e->attributes()) {
        auto [it, added] =
            layout.columnByName.emplace(a.name, static_cast<int>(layout.columns.size()));
        if (added) {
          layout.columns.push_back(a.name);
          layout.columnTypes.push_back(a.type);
        }
        el.attributeColumn.push_back(it->second + 2);
      }
      for (const auto& r : e->relationships()) {
        if (r.toMany) {
          el.toOneColumn.push_back(-1);
          continue;
        }
        std::string name = fkColumn(r.name);
        auto [it, added] =
            layout.columnByName.emplace(name, static_cast<int>(layout.columns.size()));
        if (added) {
          layout.columns.push_back(name);
          layout.columnTypes.push_back(AttributeType::Integer64);
        }
        el.toOneColumn.push_back(it->second + 2);
      }
      el.insertSql = "INSERT INTO " + quoteName(e->tableName()) + " (_entity";
      el.updateSql = "UPDATE " + quoteName(e->tableName()) + " SET _entity = ?";
      std::string marks = "?";
      auto addColumn = [&](const std::string& column) {
        el.insertSql += ", " + quoteName(column);
        el.updateSql += ", " + quoteName(column) + " = ?";
        marks += ", ?";
      };
      for (const auto& a : e->attributes()) addColumn(a.name);
      for (const auto& r : e->relationships())
        if (!r.toMany) addColumn(fkColumn(r.name));
      el.insertSql += ", _pk) VALUES (" + marks + ", ?)";
      el.updateSql += " WHERE _pk = ?";
      layout.entities.emplace(e, std::move(el));
    }
    layout.selectList = "t0._pk, t0._entity";
    for (const auto& c : layout.columns) layout.selectList += ", t0." + quoteName(c);
    tables_.emplace(root, std::move(layout));
  }
  // Position columns of ordered to-many relationships live in the members' table; they are
  // written apart from the rows and read only by the relationship, so no select list has them.
  for (const EntityDescription* e : model_->entities()) {
    for (const auto& r : e->relationships()) {
      if (!ordersInForeignKey(r)) continue;
      TableLayout& members = tables_.at(r.destination->rootEntity());
      const std::string name = orderColumn(r);
      if (members.columnByName.emplace(name, static_cast<int>(members.columns.size())).second) {
        members.columns.push_back(name);
        members.columnTypes.push_back(AttributeType::Integer64);
      }
    }
  }
}

const PersistentStore::TableLayout& PersistentStore::layoutFor(
    const EntityDescription& entity) const {
  return tables_.at(entity.rootEntity());
}

bool PersistentStore::schemaMatchesModel() {
  sqlite3_stmt* stmt = nullptr;
  // Prepared once, without caching: before the first migration the table does not exist.
  int rc = sqlite3_prepare_v2(db_, "SELECT value FROM _metadata WHERE key = 'modelHash'", -1, &stmt,
                              nullptr);
  if (rc != SQLITE_OK) {
    sqlite3_finalize(stmt);
    int code = sqlite3_extended_errcode(db_);
    // A missing table is an ordinary first open; anything else (busy, corrupt, ...) counts.
    if ((code & 0xff) == SQLITE_ERROR) return false;
    fail(StoreErrorCode::CannotOpen, "Cannot read the model of " + path_);
  }
  rc = sqlite3_step(stmt);
  bool matches = false;
  if (rc == SQLITE_ROW) {
    auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
    matches = text && model_->hash() == text;
  }
  sqlite3_finalize(stmt);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE)
    fail(StoreErrorCode::CannotOpen, "Cannot read the model of " + path_);
  return matches;
}

void PersistentStore::migrate() {
  // A file already at this model is only read: opening must neither wait for nor block
  // other processes' writes, and must work on a file it may not write.
  if (schemaMatchesModel()) return;
  try {
    exec("BEGIN IMMEDIATE");
  } catch (const StoreError& e) {
    throw StoreError(StoreErrorCode::CannotOpen, e.what(), e.sqliteCode(), e.kind());
  }
  try {
    exec("CREATE TABLE IF NOT EXISTS _metadata (key TEXT PRIMARY KEY, value TEXT)");
    std::unordered_set<std::string> wanted{"_metadata"};
    auto existingColumns = [&](const std::string& table) {
      std::unordered_map<std::string, std::string> columns;
      sqlite3_stmt* stmt = statement("SELECT name, type FROM pragma_table_info(?)");
      StatementReset reset{stmt};
      sqlite3_bind_text(stmt, 1, table.c_str(), -1, SQLITE_TRANSIENT);
      while (sqlite3_step(stmt) == SQLITE_ROW)
        columns[reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0))] =
            reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
      return columns;
    };
    for (auto& [root, layout] : tables_) {
      const std::string table = quoteName(root->name());
      wanted.insert(root->name());
      auto columns = existingColumns(root->name());
      if (columns.empty()) {
        std::string sql =
            "CREATE TABLE " + table + " (_pk INTEGER PRIMARY KEY, _entity TEXT NOT NULL";
        for (std::size_t i = 0; i < layout.columns.size(); ++i)
          sql += ", " + quoteName(layout.columns[i]) + " " + sqlType(layout.columnTypes[i]);
        exec(sql + ")");
      } else {
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
          auto it = columns.find(layout.columns[i]);
          if (it == columns.end()) {
            exec("ALTER TABLE " + table + " ADD COLUMN " + quoteName(layout.columns[i]) + " " +
                 sqlType(layout.columnTypes[i]));
          } else if (it->second != sqlType(layout.columnTypes[i]) &&
                     !(isStructured(layout.columnTypes[i]) && it->second == "TEXT")) {
            // A text attribute that became structured keeps its column: old texts do not
            // unarchive and read as the empty structure.
            throw StoreError(StoreErrorCode::IncompatibleModel,
                             "Column " + root->name() + "." + layout.columns[i] + " is " +
                                 it->second + " in the file but " + sqlType(layout.columnTypes[i]) +
                                 " in the model");
          }
        }
        // Rows of entities the model no longer has cannot be represented.
        std::string names;
        for (const EntityDescription* e : root->selfAndDescendants())
          names += (names.empty() ? "'" : ",'") + e->name() + "'";
        sqlite3_stmt* stmt = statement("SELECT _entity FROM " + table + " WHERE _entity NOT IN (" +
                                       names + ") LIMIT 1");
        StatementReset reset{stmt};
        if (sqlite3_step(stmt) == SQLITE_ROW)
          throw StoreError(
              StoreErrorCode::IncompatibleModel,
              "The file holds rows of entity " +
                  std::string(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0))) +
                  " that the model no longer has");
      }
      // A table of one entity never filters on _entity usefully; the index would only cost
      // every insert.
      if (root->selfAndDescendants().size() > 1)
        exec("CREATE INDEX IF NOT EXISTS " + quoteName(root->name() + "__entity") + " ON " + table +
             "(_entity)");
      for (const EntityDescription* e : root->selfAndDescendants()) {
        for (const auto& a : e->attributes())
          if (a.indexed)
            exec("CREATE INDEX IF NOT EXISTS " + quoteName(root->name() + "_" + a.name) + " ON " +
                 table + "(" + quoteName(a.name) + ")");
        for (const auto& r : e->relationships()) {
          if (!r.toMany)
            exec("CREATE INDEX IF NOT EXISTS " + quoteName(root->name() + "_" + fkColumn(r.name)) +
                 " ON " + table + "(" + quoteName(fkColumn(r.name)) + ")");
          if (!r.joinTable.empty() && !wanted.count(r.joinTable)) {
            wanted.insert(r.joinTable);
            exec("CREATE TABLE IF NOT EXISTS " + quoteName(r.joinTable) +
                 " (a INTEGER NOT NULL, b INTEGER NOT NULL, PRIMARY KEY (a, b)) WITHOUT ROWID");
            exec("CREATE INDEX IF NOT EXISTS " + quoteName(r.joinTable + "_b") + " ON " +
                 quoteName(r.joinTable) + "(b)");
          }
          if (!r.joinTable.empty() && r.ordered &&
              !existingColumns(r.joinTable).count(joinOrderColumn(r))) {
            // Pairs stored before the relationship was ordered keep their rows; they read
            // first, by key, until the owner's members are saved again.
            exec("ALTER TABLE " + quoteName(r.joinTable) + " ADD COLUMN " + joinOrderColumn(r) +
                 " INTEGER");
          }
        }
        for (const auto& index : e->compoundIndexes()) {
          std::string name = root->name(), cols;
          for (const auto& c : index) {
            name += "_" + c;
            cols += (cols.empty() ? "" : ", ") + quoteName(c);
          }
          exec("CREATE INDEX IF NOT EXISTS " + quoteName(name) + " ON " + table + "(" + cols + ")");
        }
      }
    }
    // Tables the model no longer has: rows of entities that now live in another table move
    // there (keys are unique per key space, so they move unchanged and references stay
    // valid); the emptied table is dropped. Rows left over belong to removed entities.
    std::vector<std::string> stale;
    {
      sqlite3_stmt* stmt = statement(
          "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%'");
      StatementReset reset{stmt};
      while (sqlite3_step(stmt) == SQLITE_ROW) {
        std::string name = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        if (!wanted.count(name)) stale.push_back(name);
      }
    }
    for (const auto& name : stale) {
      if (name.rfind("_J_", 0) == 0) continue;
      auto oldColumns = existingColumns(name);
      if (!oldColumns.count("_entity") || !oldColumns.count("_pk")) continue;
      for (auto& [root, layout] : tables_) {
        std::string names, columns = "_pk, _entity";
        for (const EntityDescription* e : root->selfAndDescendants())
          names += (names.empty() ? "'" : ",'") + e->name() + "'";
        for (const auto& column : layout.columns)
          if (oldColumns.count(column)) columns += ", " + quoteName(column);
        const std::string where = " WHERE _entity IN (" + names + ")";
        exec("INSERT INTO " + quoteName(root->name()) + " (" + columns + ") SELECT " + columns +
             " FROM " + quoteName(name) + where);
        exec("DELETE FROM " + quoteName(name) + where);
      }
    }
    for (const auto& name : stale) {
      sqlite3_stmt* stmt = statement("SELECT 1 FROM " + quoteName(name) + " LIMIT 1");
      bool hasRows;
      {
        StatementReset reset{stmt};
        hasRows = sqlite3_step(stmt) == SQLITE_ROW;
      }
      sqlite3_finalize(stmt);
      statements_.erase("SELECT 1 FROM " + quoteName(name) + " LIMIT 1");
      if (hasRows && name.rfind("_J_", 0) != 0)
        throw StoreError(StoreErrorCode::IncompatibleModel,
                         "The file holds rows of entity " + name + " that the model no longer has");
      exec("DROP TABLE " + quoteName(name));
    }
    sqlite3_stmt* stmt =
        statement("INSERT OR REPLACE INTO _metadata (key, value) VALUES (?, ?), (?, ?)");
    StatementReset reset{stmt};
    sqlite3_bind_text(stmt, 1, "modelHash", -1, SQLITE_STATIC);
    sqlite3_bind_text(stmt, 2, model_->hash().c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(stmt, 3, "modelName", -1, SQLITE_STATIC);
    sqlite3_bind_text(stmt, 4, model_->name().c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(stmt) != SQLITE_DONE) fail(StoreErrorCode::CannotOpen, "Cannot record model");
    exec("COMMIT");
  } catch (const StoreError& e) {
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    throw StoreError(e.code() == StoreErrorCode::SaveFailed ? StoreErrorCode::CannotOpen : e.code(),
                     e.what(), e.sqliteCode(), e.kind());
  }
}

std::string PersistentStore::storedModelHash() {
  std::lock_guard lock(mutex_);
  sqlite3_stmt* stmt = statement("SELECT value FROM _metadata WHERE key = 'modelHash'");
  StatementReset reset{stmt};
  if (sqlite3_step(stmt) != SQLITE_ROW) return {};
  return reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
}

std::vector<std::pair<std::string, std::int64_t>> PersistentStore::rowCounts() {
  std::lock_guard lock(mutex_);
  std::vector<std::pair<std::string, std::int64_t>> out;
  for (const EntityDescription* e : model_->entities()) {
    if (e->isAbstract() || !e->hasTable()) continue;
    sqlite3_stmt* stmt =
        statement("SELECT count(*) FROM " + quoteName(e->tableName()) + " WHERE _entity = ?");
    StatementReset reset{stmt};
    sqlite3_bind_text(stmt, 1, e->name().c_str(), -1, SQLITE_TRANSIENT);
    std::int64_t n = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
    out.emplace_back(e->name(), n);
  }
  return out;
}

}  // namespace dm
