// The object store's rows: reading objects and relationships, writing saved objects, and
// fetch queries (predicates and sorts turned into SQL), counts and batch deletes.
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

void bindValue(sqlite3_stmt* stmt, int index, const Value& value) {
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>)
          sqlite3_bind_null(stmt, index);
        else if constexpr (std::is_same_v<T, bool>)
          sqlite3_bind_int(stmt, index, v ? 1 : 0);
        else if constexpr (std::is_same_v<T, std::int64_t>)
          sqlite3_bind_int64(stmt, index, v);
        else if constexpr (std::is_same_v<T, double>)
          sqlite3_bind_double(stmt, index, v);
        else if constexpr (std::is_same_v<T, std::string>)
          sqlite3_bind_text(stmt, index, v.data(), static_cast<int>(v.size()), SQLITE_STATIC);
        else if constexpr (std::is_same_v<T, Date>)
          sqlite3_bind_double(stmt, index, v.timeIntervalSince1970);
        else if constexpr (std::is_same_v<T, Blob>)
          sqlite3_bind_blob(stmt, index, v.data(), static_cast<int>(v.size()), SQLITE_STATIC);
      },
      value.storage());
}

Value columnValue(sqlite3_stmt* stmt, int i, AttributeType type) {
  // The column's value is looked up once and read through the value accessors, cheap next to
  // a statement accessor per call. Such values are not guarded by the connection's mutex,
  // which this store does without: the connection is used only under the store's own lock.
  sqlite3_value* column = sqlite3_column_value(stmt, i);
  if (sqlite3_value_type(column) == SQLITE_NULL) return {};
  switch (type) {
    case AttributeType::Integer16:
    case AttributeType::Integer32:
    case AttributeType::Integer64:
      return Value(static_cast<std::int64_t>(sqlite3_value_int64(column)));
    case AttributeType::Boolean:
      return Value(sqlite3_value_int64(column) != 0);
    case AttributeType::Double:
    case AttributeType::Float:
      return Value(sqlite3_value_double(column));
    case AttributeType::Date:
      return Value(Date(sqlite3_value_double(column)));
    case AttributeType::String: {
      auto* text = reinterpret_cast<const char*>(sqlite3_value_text(column));
      return Value(std::string(text, static_cast<std::size_t>(sqlite3_value_bytes(column))));
    }
    case AttributeType::Binary:
    case AttributeType::Dictionary:
    case AttributeType::List: {
      auto* bytes = static_cast<const std::uint8_t*>(sqlite3_value_blob(column));
      return Value(Blob(bytes, bytes + sqlite3_value_bytes(column)));
    }
  }
  return {};
}

std::string valuesJson(const std::vector<Value>& values) {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& v : values) {
    if (v.isString())
      array.push_back(v.asString());
    else if (v.isInteger() || v.isBool())
      array.push_back(v.asInt64());
    else if (v.isDouble() || v.isDate())
      array.push_back(v.asDouble());
    else if (v.isNull())
      array.push_back(nullptr);
  }
  return array.dump();
}

// Key paths to columns of the fetched table, with LEFT JOINs for to-one hops.
class SqlResolver final : public PredicateSqlResolver {
 public:
  SqlResolver(
      const EntityDescription& entity,
      std::function<const std::unordered_map<std::string, int>&(const EntityDescription&)> columns)
      : entity_(entity), columns_(std::move(columns)) {}

  Column resolve(const std::string& keyPath) override {
    const EntityDescription* current = &entity_;
    std::string alias = "t0";
    std::size_t start = 0;
    std::string prefix;
    while (true) {
      std::size_t dot = keyPath.find('.', start);
      std::string key =
          keyPath.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
      bool last = dot == std::string::npos;
      if (const auto* attr = current->attributeNamed(key)) {
        if (!last) throw PredicateError("Key path " + keyPath + " continues past attribute " + key);
        return {alias + "." + quoteName(key), attr->type, false};
      }
      if (key == "self" && last) return {alias + "._pk", AttributeType::Integer64, true};
      const auto* rel = current->relationshipNamed(key);
      if (!rel)
        throw PredicateError("Unknown key \"" + key + "\" in " + keyPath + " (entity " +
                             current->name() + ")");
      if (rel->toMany)
        throw PredicateError("Key path " + keyPath + " goes through to-many relationship " + key);
      std::string column = alias + "." + quoteName(fkColumn(key));
      if (last) return {column, AttributeType::Integer64, true};
      prefix += key + ".";
      auto it = joinAliases_.find(prefix);
      if (it == joinAliases_.end()) {
        std::string joined = "j" + std::to_string(joinAliases_.size() + 1);
        joins_ += " LEFT JOIN " + quoteName(rel->destination->tableName()) + " " + joined + " ON " +
                  joined + "._pk = " + column;
        it = joinAliases_.emplace(prefix, joined).first;
      }
      alias = it->second;
      current = rel->destination;
      start = dot + 1;
    }
  }

  Value primaryKeyOf(const ManagedObject* object) override {
    if (!object) return {};
    ObjectID id = object->objectID();
    if (id.temporary)
      throw PredicateError("An object compared in a stored query has not been saved yet");
    return Value(id.key);
  }

  const std::string& joins() const { return joins_; }

 private:
  const EntityDescription& entity_;
  std::function<const std::unordered_map<std::string, int>&(const EntityDescription&)> columns_;
  std::unordered_map<std::string, std::string> joinAliases_;
  std::string joins_;
};

}  // namespace

void PersistentStore::readRow(sqlite3_stmt* stmt, const TableLayout& layout, bool idsOnly,
                              ObjectSnapshot& out) {
  const char* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
  const std::string_view entityName(text ? text : "",
                                    static_cast<std::size_t>(sqlite3_column_bytes(stmt, 1)));
  // A table holds a handful of entities: comparing their names costs less per row than
  // building a string to look the name up.
  const EntityDescription* entity = nullptr;
  for (const auto& [candidate, candidateLayout] : layout.entities)
    if (candidate->name() == entityName) {
      entity = candidate;
      break;
    }
  if (!entity) {
    auto found = entityByName_.find(std::string(entityName));
    entity = found == entityByName_.end() ? layout.root : found->second;
  }
  out.id = ObjectID{entity, sqlite3_column_int64(stmt, 0), false};
  out.values.clear();
  out.toOne.clear();
  out.toMany.clear();
  if (idsOnly) return;
  const EntityLayout& el = layout.entities.at(entity);
  const auto& attributes = entity->attributes();
  out.values.reserve(attributes.size());
  for (std::size_t i = 0; i < attributes.size(); ++i)
    out.values.push_back(columnValue(stmt, el.attributeColumn[i], attributes[i].type));
  // A row holds no to-many members: toMany stays empty (no member list loaded), which
  // saves an allocation per row.
  const auto& relationships = entity->relationships();
  out.toOne.resize(relationships.size());
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    int column = el.toOneColumn[i];
    if (column < 0 || sqlite3_column_type(stmt, column) == SQLITE_NULL) continue;
    out.toOne[i] =
        ObjectID{relationships[i].destination, sqlite3_column_int64(stmt, column), false};
  }
}

bool PersistentStore::loadRow(const EntityDescription& entity, std::int64_t key,
                              ObjectSnapshot& out) {
  std::lock_guard lock(mutex_);
  const auto& layout = layoutFor(entity);
  sqlite3_stmt* stmt = statement("SELECT " + layout.selectList + " FROM " +
                                 quoteName(entity.tableName()) + " t0 WHERE t0._pk = ?");
  StatementReset reset{stmt};
  sqlite3_bind_int64(stmt, 1, key);
  int rc = sqlite3_step(stmt);
  if (rc == SQLITE_ROW) {
    readRow(stmt, layout, false, out);
    return true;
  }
  if (rc != SQLITE_DONE) fail(StoreErrorCode::FetchFailed, "Cannot read row");
  return false;
}

std::vector<ObjectSnapshot> PersistentStore::loadRows(const EntityDescription& entity,
                                                      const std::vector<std::int64_t>& keys) {
  std::lock_guard lock(mutex_);
  std::vector<ObjectSnapshot> rows;
  if (keys.empty()) return rows;
  const auto& layout = layoutFor(entity);
  sqlite3_stmt* stmt =
      statement("SELECT " + layout.selectList + " FROM " + quoteName(entity.tableName()) +
                " t0 WHERE t0._pk IN (SELECT value FROM json_each(?))");
  StatementReset reset{stmt};
  std::string json = keysJson(keys);
  sqlite3_bind_text(stmt, 1, json.data(), static_cast<int>(json.size()), SQLITE_STATIC);
  rows.reserve(keys.size());
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    rows.emplace_back();
    readRow(stmt, layout, false, rows.back());
  }
  if (rc != SQLITE_DONE) fail(StoreErrorCode::FetchFailed, "Cannot read rows");
  return rows;
}

std::vector<ObjectID> PersistentStore::loadToMany(const ObjectID& owner,
                                                  const RelationshipDescription& rel) {
  std::lock_guard lock(mutex_);
  std::vector<ObjectID> out;
  if (owner.temporary) return out;
  std::string sql;
  if (rel.joinTable.empty()) {
    sql = "SELECT _pk FROM " + quoteName(rel.destination->tableName()) + " WHERE " +
          quoteName(fkColumn(rel.inverse->name)) + " = ? ORDER BY " +
          (rel.ordered ? quoteName(orderColumn(rel)) + ", _pk" : std::string("_pk"));
  } else {
    const char* mine = rel.joinSourceIsFirst ? "a" : "b";
    const char* theirs = rel.joinSourceIsFirst ? "b" : "a";
    sql = std::string("SELECT ") + theirs + " FROM " + quoteName(rel.joinTable) + " WHERE " + mine +
          " = ? ORDER BY " + (rel.ordered ? std::string(joinOrderColumn(rel)) + ", " : "") + theirs;
  }
  sqlite3_stmt* stmt = statement(sql);
  StatementReset reset{stmt};
  sqlite3_bind_int64(stmt, 1, owner.key);
  while (sqlite3_step(stmt) == SQLITE_ROW)
    out.push_back(ObjectID{rel.destination, sqlite3_column_int64(stmt, 0), false});
  return out;
}

void PersistentStore::hook(std::size_t& step) {
  if (hook_) hook_(step);
  ++step;
}

void PersistentStore::writeObject(const ManagedObject& o, bool insert, std::size_t& step) {
  const EntityDescription& entity = *o.entity_;
  const auto& layout = layoutFor(entity);
  const auto& relationships = entity.relationships();
  // One prepared statement per entity and operation, kept on the layout.
  const EntityLayout& el = layout.entities.at(&entity);
  sqlite3_stmt*& cached = insert ? el.insertStatement : el.updateStatement;
  if (!cached) cached = statement(insert ? el.insertSql : el.updateSql);
  sqlite3_stmt* stmt = cached;
  StatementReset reset{stmt};
  int n = 1;
  sqlite3_bind_text(stmt, n++, entity.name().c_str(), static_cast<int>(entity.name().size()),
                    SQLITE_STATIC);
  // Values are bound in place (texts and bytes without a copy): the object outlives the step.
  const std::size_t attributeCount = entity.attributes().size();
  for (std::size_t i = 0; i < attributeCount; ++i) {
    if (i < o.values_.size())
      bindValue(stmt, n++, o.values_[i]);
    else
      sqlite3_bind_null(stmt, n++);
  }
  for (std::size_t i = 0; i < relationships.size(); ++i)
    if (!relationships[i].toMany) bindToOne(stmt, n++, o, i);
  sqlite3_bind_int64(stmt, n, o.id_.key);
  hook(step);
  if (sqlite3_step(stmt) != SQLITE_DONE)
    fail(StoreErrorCode::SaveFailed, "Cannot write " + o.id_.uriRepresentation());
}

void PersistentStore::bindToOne(sqlite3_stmt* stmt, int column, const ManagedObject& o,
                                std::size_t relationship) {
  const ManagedObject::ToOne* slot =
      relationship < o.toOne_.size() ? &o.toOne_[relationship] : nullptr;
  if (slot && slot->object) {
    if (slot->object->id_.temporary)
      throw StoreError(StoreErrorCode::SaveFailed,
                       "Relationship " + o.entity_->relationships()[relationship].name +
                           " points at an unsaved object");
    sqlite3_bind_int64(stmt, column, slot->object->id_.key);
  } else if (slot && slot->pendingKey) {
    sqlite3_bind_int64(stmt, column, slot->pendingKey);
  } else {
    sqlite3_bind_null(stmt, column);
  }
}

void PersistentStore::updateChangedColumns(const ManagedObject& o, std::size_t& step) {
  const EntityDescription& entity = *o.entity_;
  const auto& relationships = entity.relationships();
  const std::size_t attributeCount = entity.attributes().size();
  const std::size_t propertyCount = attributeCount + relationships.size();
  // Property bits with a column of their own: attributes and to-one relationships. A column
  // left out of the statement leaves its indexes untouched too.
  auto hasColumn = [&](std::size_t i) {
    return o.changed_.test(i) && (i < attributeCount || !relationships[i - attributeCount].toMany);
  };
  // The set of changed columns, as bit words, names its statement: a key of one word stays
  // in the string's own buffer, so the row costs no allocation.
  std::string shape;
  bool any = false;
  for (std::size_t base = 0; base < propertyCount; base += 64) {
    std::uint64_t word = 0;
    for (std::size_t i = base; i < std::min(propertyCount, base + 64); ++i)
      if (hasColumn(i)) word |= std::uint64_t{1} << (i - base);
    any = any || word != 0;
    shape.append(reinterpret_cast<const char*>(&word), sizeof word);
  }
  if (!any) return;  // only to-many members changed: they live elsewhere
  const EntityLayout& el = layoutFor(entity).entities.at(&entity);
  auto it = el.updateByChangedColumns.find(shape);
  if (it == el.updateByChangedColumns.end()) {
    // Bounded: an entity updated in many different ways falls back to whole rows.
    if (el.updateByChangedColumns.size() >= kUpdateShapesPerEntity)
      return writeObject(o, false, step);
    std::string sql = "UPDATE " + quoteName(entity.tableName()) + " SET ";
    bool first = true;
    for (std::size_t i = 0; i < propertyCount; ++i) {
      if (!hasColumn(i)) continue;
      sql += (first ? "" : ", ") +
             quoteName(i < attributeCount ? entity.attributes()[i].name
                                          : fkColumn(relationships[i - attributeCount].name)) +
             " = ?";
      first = false;
    }
    it = el.updateByChangedColumns.emplace(std::move(shape), statement(sql + " WHERE _pk = ?"))
             .first;
  }
  sqlite3_stmt* stmt = it->second;
  StatementReset reset{stmt};
  int n = 1;
  for (std::size_t i = 0; i < propertyCount; ++i) {
    if (!hasColumn(i)) continue;
    if (i >= attributeCount)
      bindToOne(stmt, n++, o, i - attributeCount);
    else if (i < o.values_.size())
      bindValue(stmt, n++, o.values_[i]);
    else
      sqlite3_bind_null(stmt, n++);
  }
  sqlite3_bind_int64(stmt, n, o.id_.key);
  hook(step);
  if (sqlite3_step(stmt) != SQLITE_DONE)
    fail(StoreErrorCode::SaveFailed, "Cannot write " + o.id_.uriRepresentation());
}

namespace {
// Rows per multi-row insert of join pairs (two parameters each, far below SQLite's limit).
constexpr std::size_t kPairsPerInsert = 64;
}  // namespace

void PersistentStore::writeJoins(const ManagedObject& o, std::size_t& step) {
  const auto& relationships = o.entity_->relationships();
  // A new row has no pairs yet (keys are never handed out twice), so nothing can have left.
  const bool inserted = o.flags_ & ManagedObject::kInserted;
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    const auto& rel = relationships[i];
    if (i >= o.toMany_.size() || !o.toMany_[i].loaded) continue;
    if (ordersInForeignKey(rel)) {
      writeMemberPositions(o, rel, step);
      continue;
    }
    if (rel.joinTable.empty()) continue;
    const auto& members = o.toMany_[i].members();
    if (inserted && members.empty()) continue;
    const char* mine = rel.joinSourceIsFirst ? "a" : "b";
    const char* theirs = rel.joinSourceIsFirst ? "b" : "a";
    if (!inserted) {
      // Only pairs that left go, so the pairs that stay keep the position the other side, if
      // ordered, gave them.
      std::vector<std::int64_t> keys;
      keys.reserve(members.size());
      for (const ManagedObject* other : members) keys.push_back(other->id_.key);
      sqlite3_stmt* del =
          statement("DELETE FROM " + quoteName(rel.joinTable) + " WHERE " + mine + " = ? AND " +
                    theirs + " NOT IN (SELECT value FROM json_each(?))");
      StatementReset reset{del};
      const std::string json = keysJson(keys);
      sqlite3_bind_int64(del, 1, o.id_.key);
      sqlite3_bind_text(del, 2, json.data(), static_cast<int>(json.size()), SQLITE_STATIC);
      hook(step);
      if (sqlite3_step(del) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Cannot write joins");
    }
    // A pair's two keys from parameter `base` + 1 on, in the table's column order.
    auto bindPair = [&](sqlite3_stmt* stmt, int base, const ManagedObject* other) {
      sqlite3_bind_int64(stmt, base + (rel.joinSourceIsFirst ? 1 : 2), o.id_.key);
      sqlite3_bind_int64(stmt, base + (rel.joinSourceIsFirst ? 2 : 1), other->id_.key);
    };
    std::size_t first = 0;
    if (!rel.ordered && members.size() >= kPairsPerInsert) {
      // Many pairs (an update linking every product it carries) go in statements of many
      // rows: one statement per pair cost more than the rows themselves.
      std::string sql = "INSERT OR IGNORE INTO " + quoteName(rel.joinTable) + " (a, b) VALUES ";
      for (std::size_t i = 0; i < kPairsPerInsert; ++i) sql += i ? ",(?,?)" : "(?,?)";
      sqlite3_stmt* many = statement(sql);
      for (; first + kPairsPerInsert <= members.size(); first += kPairsPerInsert) {
        StatementReset reset{many};
        for (std::size_t i = 0; i < kPairsPerInsert; ++i)
          bindPair(many, static_cast<int>(2 * i), members[first + i]);
        hook(step);
        if (sqlite3_step(many) != SQLITE_DONE)
          fail(StoreErrorCode::SaveFailed, "Cannot write joins");
      }
    }
    sqlite3_stmt* ins =
        rel.ordered ? statement("INSERT INTO " + quoteName(rel.joinTable) + " (a, b, " +
                                joinOrderColumn(rel) +
                                ") VALUES (?, ?, ?) ON CONFLICT (a, b) DO UPDATE SET " +
                                joinOrderColumn(rel) + " = excluded." + joinOrderColumn(rel))
                    : statement("INSERT OR IGNORE INTO " + quoteName(rel.joinTable) +
                                " (a, b) VALUES (?, ?)");
    std::int64_t position = 0;
    for (std::size_t m = first; m < members.size(); ++m) {
      StatementReset reset{ins};
      bindPair(ins, 0, members[m]);
      if (rel.ordered) sqlite3_bind_int64(ins, 3, position++);
      hook(step);
      if (sqlite3_step(ins) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Cannot write joins");
    }
  }
}

void PersistentStore::writeMemberPositions(const ManagedObject& o,
                                           const RelationshipDescription& rel, std::size_t& step) {
  // Positions are rewritten only when the owner is new or its members changed.
  const std::size_t bit = o.entity_->attributes().size() + rel.index;
  if (!(o.flags_ & ManagedObject::kInserted) && !o.changed_.test(bit)) return;
  sqlite3_stmt* update = statement("UPDATE " + quoteName(rel.destination->tableName()) + " SET " +
                                   quoteName(orderColumn(rel)) + " = ? WHERE _pk = ?");
  std::int64_t position = 0;
  for (const ManagedObject* member : o.toMany_[rel.index].members()) {
    StatementReset reset{update};
    sqlite3_bind_int64(update, 1, position++);
    sqlite3_bind_int64(update, 2, member->id_.key);
    hook(step);
    if (sqlite3_step(update) != SQLITE_DONE)
      fail(StoreErrorCode::SaveFailed, "Cannot write the order of " + rel.name);
  }
}

void PersistentStore::save(const SaveBatch& changes, const void* writer) {
  // Required values are checked before anything is written.
  for (const auto* list : {&changes.inserted, &changes.updated})
    for (const ManagedObject* o : *list) {
      const auto& attributes = o->entity_->attributes();
      for (std::size_t i = 0; i < attributes.size(); ++i)
        if (!attributes[i].optional && (i >= o->values_.size() || o->values_[i].isNull()))
          throw StoreError(
              StoreErrorCode::ValidationFailed,
              "Attribute " + o->entity_->name() + "." + attributes[i].name + " is required");
    }
  std::lock_guard lock(mutex_);
  if (changes.empty()) return;
  // The context rolls its whole bulk write back when one of its saves fails.
  constexpr BulkUndo undo = BulkUndo::WholeBulkWrite;
  beginWriteLocked(writer, undo);
  try {
    std::size_t step = 0;
    for (const ObjectID& id : changes.deleted) {
      if (id.temporary) continue;
      sqlite3_stmt* stmt =
          statement("DELETE FROM " + quoteName(id.entity->tableName()) + " WHERE _pk = ?");
      StatementReset reset{stmt};
      sqlite3_bind_int64(stmt, 1, id.key);
      hook(step);
      if (sqlite3_step(stmt) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Cannot delete");
      for (const auto& rel : id.entity->relationships()) {
        if (rel.joinTable.empty()) continue;
        sqlite3_stmt* j = statement("DELETE FROM " + quoteName(rel.joinTable) + " WHERE " +
                                    (rel.joinSourceIsFirst ? "a" : "b") + " = ?");
        StatementReset jr{j};
        sqlite3_bind_int64(j, 1, id.key);
        hook(step);
        if (sqlite3_step(j) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Cannot delete");
      }
    }
    for (const ManagedObject* o : changes.inserted) writeObject(*o, true, step);
    for (const ManagedObject* o : changes.updated) updateChangedColumns(*o, step);
    for (const ManagedObject* o : changes.inserted) writeJoins(*o, step);
    for (const ManagedObject* o : changes.updated) writeJoins(*o, step);
    hook(step);
    commitWriteLocked(undo);
  } catch (const StoreError& e) {
    rollbackWriteLocked(undo);
    throw StoreError(
        e.code() == StoreErrorCode::FetchFailed ? StoreErrorCode::SaveFailed : e.code(),
        std::string("Save failed, nothing was written: ") + e.what(), e.sqliteCode(), e.kind());
  } catch (const std::exception& e) {
    rollbackWriteLocked(undo);
    throw StoreError(StoreErrorCode::SaveFailed,
                     std::string("Save failed, nothing was written: ") + e.what());
  }
}

std::string PersistentStore::buildQuery(const FetchRequest& request,
                                        const std::vector<std::int64_t>& excluded, bool applyWindow,
                                        bool idsOnly, bool countOnly,
                                        std::vector<Value>& parameters) {
  const EntityDescription& entity = *request.entity;
  const auto& layout = layoutFor(entity);
  SqlResolver resolver(
      entity, [&](const EntityDescription& e) -> const auto& { return layoutFor(e).columnByName; });
  std::vector<std::string> conditions;
  // A table's root with its subentities is the whole table: no filter on the kind.
  if (!(request.includesSubentities && entity.rootEntity() == &entity)) {
    std::string names;
    const auto& family = request.includesSubentities
                             ? entity.selfAndDescendants()
                             : std::vector<const EntityDescription*>{&entity};
    for (const EntityDescription* e : family) {
      names += names.empty() ? "?" : ", ?";
      parameters.emplace_back(e->name());
    }
    // Most of a table's rows may belong to one entity, so the _entity index narrows little;
    // when the predicate reads an indexed attribute, "+" keeps the planner on that index.
    auto isIndexed = [&](const std::string& path) {
      const auto* attribute = entity.attributeNamed(path);
      return attribute && attribute->indexed;
    };
    bool predicateUsesIndex = false;
    if (request.predicate)
      for (const std::string& path : request.predicate->keyPaths())
        if (isIndexed(path)) predicateUsesIndex = true;
    // A page (limit/offset) ordered by an indexed attribute walks that index and stops after
    // the page; through the _entity index every page would sort all of the entity's rows,
    // which makes paging through a large table quadratic.
    const bool windowed = applyWindow && !countOnly && (request.fetchLimit || request.fetchOffset);
    const bool pageWalksSortIndex = windowed && !request.sortDescriptors.empty() &&
                                    isIndexed(request.sortDescriptors.front().keyPath);
    conditions.push_back(
        (predicateUsesIndex || pageWalksSortIndex ? "+t0._entity IN (" : "t0._entity IN (") +
        names + ")");
  }
  if (request.predicate) {
    SqlCondition condition = compileToSql(*request.predicate, resolver);
    conditions.push_back("(" + condition.sql + ")");
    for (auto& p : condition.parameters) parameters.push_back(std::move(p));
  }
  if (!excluded.empty()) {
    conditions.push_back("t0._pk NOT IN (SELECT value FROM json_each(?))");
    parameters.emplace_back(keysJson(excluded));
  }
  std::string order;
  if (applyWindow && !countOnly) {
    for (const auto& sort : request.sortDescriptors) {
      auto column = resolver.resolve(sort.keyPath);
      order +=
          (order.empty() ? " ORDER BY " : ", ") + column.sql + (sort.ascending ? " ASC" : " DESC");
    }
  }
  std::string sql = "SELECT ";
  sql += countOnly ? "count(*)" : idsOnly ? "t0._pk, t0._entity" : layout.selectList;
  sql += " FROM " + quoteName(entity.tableName()) + " t0" + resolver.joins();
  for (std::size_t i = 0; i < conditions.size(); ++i)
    sql += (i ? " AND " : " WHERE ") + conditions[i];
  sql += order;
  if (applyWindow && !countOnly && (request.fetchLimit || request.fetchOffset)) {
    sql += " LIMIT ? OFFSET ?";
    parameters.emplace_back(request.fetchLimit ? static_cast<std::int64_t>(request.fetchLimit)
                                               : std::int64_t{-1});
    parameters.emplace_back(static_cast<std::int64_t>(request.fetchOffset));
  }
  return sql;
}

namespace {

// The request as one query per table: itself for an entity with a table; for an entity
// without one, a request per table under it (none when its subentities are excluded, since
// it has no rows of its own). The caller then orders and windows the rows; keys are unique
// across the tables, so excluded keys apply to each.
std::vector<FetchRequest> requestsPerTable(const FetchRequest& request) {
  if (request.entity->hasTable()) return {request};
  std::vector<FetchRequest> parts;
  if (!request.includesSubentities) return parts;
  for (const EntityDescription* root : request.entity->tableRoots()) {
    parts.push_back(request);
    parts.back().entity = root;
  }
  return parts;
}

}  // namespace

std::vector<ObjectSnapshot> PersistentStore::query(const FetchRequest& request,
                                                   const std::vector<std::int64_t>& excluded,
                                                   bool applyWindow, bool idsOnly) {
  std::lock_guard lock(mutex_);
  std::vector<ObjectSnapshot> rows;
  const bool split = !request.entity->hasTable();
  for (const FetchRequest& partRequest : requestsPerTable(request)) {
    std::vector<Value> parameters;
    std::string sql =
        buildQuery(partRequest, excluded, applyWindow && !split, idsOnly, false, parameters);
    sqlite3_stmt* stmt = statement(sql);
    StatementReset reset{stmt};
    for (std::size_t i = 0; i < parameters.size(); ++i)
      bindValue(stmt, static_cast<int>(i + 1), parameters[i]);
    const auto& layout = layoutFor(*partRequest.entity);
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
      rows.emplace_back();
      readRow(stmt, layout, idsOnly, rows.back());
    }
    if (rc != SQLITE_DONE) fail(StoreErrorCode::FetchFailed, "Query failed");
  }
  return rows;
}

std::size_t PersistentStore::count(const FetchRequest& request,
                                   const std::vector<std::int64_t>& excluded) {
  std::lock_guard lock(mutex_);
  std::size_t total = 0;
  for (const FetchRequest& partRequest : requestsPerTable(request)) {
    std::vector<Value> parameters;
    std::string sql = buildQuery(partRequest, excluded, false, true, true, parameters);
    sqlite3_stmt* stmt = statement(sql);
    StatementReset reset{stmt};
    for (std::size_t i = 0; i < parameters.size(); ++i)
      bindValue(stmt, static_cast<int>(i + 1), parameters[i]);
    if (sqlite3_step(stmt) != SQLITE_ROW) fail(StoreErrorCode::FetchFailed, "Count failed");
    total += static_cast<std::size_t>(sqlite3_column_int64(stmt, 0));
  }
  return total;
}

std::vector<ObjectID> PersistentStore::batchDeleteExcept(const EntityDescription& entity,
                                                         const std::string& attribute,
                                                         const std::vector<Value>& kept,
                                                         const void* writer) {
  if (!entity.attributeNamed(attribute))
    throw StoreError(StoreErrorCode::FetchFailed,
                     "Entity " + entity.name() + " has no attribute " + attribute);
  std::lock_guard lock(mutex_);
  std::vector<ObjectID> deleted;
  beginWriteLocked(writer);
  try {
    for (const EntityDescription* part : entity.tableRoots()) {
      // Rows of the entity's kinds stored in this table.
      std::string names;
      for (const EntityDescription* e : entity.selfAndDescendants())
        if (e->rootEntity() == part) names += (names.empty() ? "'" : ",'") + e->name() + "'";
      std::string sql = "DELETE FROM " + quoteName(part->tableName()) + " WHERE _entity IN (" +
                        names + ") AND (" + quoteName(attribute) + " IS NULL OR " +
                        quoteName(attribute) +
                        " NOT IN (SELECT value FROM json_each(?))) RETURNING _pk, _entity";
      sqlite3_stmt* stmt = statement(sql);
      StatementReset reset{stmt};
      std::string json = valuesJson(kept);
      sqlite3_bind_text(stmt, 1, json.data(), static_cast<int>(json.size()), SQLITE_STATIC);
      int rc;
      while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        auto found =
            entityByName_.find(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1)));
        deleted.push_back(ObjectID{found == entityByName_.end() ? &entity : found->second,
                                   sqlite3_column_int64(stmt, 0), false});
      }
      if (rc != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Batch delete failed");
    }
    if (!deleted.empty()) {
      std::vector<std::int64_t> keys;
      keys.reserve(deleted.size());
      for (const auto& id : deleted) keys.push_back(id.key);
      std::string json = keysJson(keys);
      // Nullify references held by other rows, drop join pairs.
      std::unordered_set<std::string> done;
      for (const EntityDescription* e : model_->entities())
        for (const auto& r : e->relationships()) {
          if (!e->hasTable()) continue;  // its subentities' tables hold the references
          const auto& parts = entity.tableRoots();
          if (std::find(parts.begin(), parts.end(), r.destination->rootEntity()) == parts.end())
            continue;
          std::string update;
          if (!r.toMany) {
            update = "UPDATE " + quoteName(e->tableName()) + " SET " + quoteName(fkColumn(r.name)) +
                     " = NULL WHERE " + quoteName(fkColumn(r.name)) +
                     " IN (SELECT value FROM json_each(?))";
          } else if (!r.joinTable.empty()) {
            update = "DELETE FROM " + quoteName(r.joinTable) + " WHERE " +
                     (r.joinSourceIsFirst ? "b" : "a") + " IN (SELECT value FROM json_each(?))";
          }
          if (update.empty() || !done.insert(update).second) continue;
          sqlite3_stmt* u = statement(update);
          StatementReset reset{u};
          sqlite3_bind_text(u, 1, json.data(), static_cast<int>(json.size()), SQLITE_STATIC);
          if (sqlite3_step(u) != SQLITE_DONE) fail(StoreErrorCode::SaveFailed, "Nullify failed");
        }
    }
    commitWriteLocked();
  } catch (...) {
    rollbackWriteLocked();
    throw;
  }
  return deleted;
}

}  // namespace dm
