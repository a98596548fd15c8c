// Naming and statement helpers shared by the halves of PersistentStore (schema and rows).
// Internal to the object store.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/ObjectStore/ManagedObjectModel.h"

namespace dm::store_sql {

inline std::string quoteName(const std::string& name) {
  return "\"" + name + "\"";
}
inline std::string fkColumn(const std::string& relationship) {
  return "_fk_" + relationship;
}
// An ordered to-many kept in foreign keys keeps each member's position beside its key.
inline std::string orderColumn(const RelationshipDescription& toMany) {
  return "_ord_" + toMany.inverse->name;
}
// An ordered to-many kept in a join table keeps the position in the owner's column's twin.
inline const char* joinOrderColumn(const RelationshipDescription& toMany) {
  return toMany.joinSourceIsFirst ? "oa" : "ob";
}
inline bool ordersInForeignKey(const RelationshipDescription& r) {
  return r.toMany && r.ordered && r.joinTable.empty() && r.inverse;
}

inline std::string keysJson(const std::vector<std::int64_t>& keys) {
  std::string out = "[";
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (i) out += ',';
    out += std::to_string(keys[i]);
  }
  return out + "]";
}

// Resets a cached statement and its bindings when the scope that used it ends.
struct StatementReset {
  sqlite3_stmt* stmt;
  ~StatementReset() {
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
  }
};

}  // namespace dm::store_sql
