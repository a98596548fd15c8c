// Loading and validating store models from their JSON text.
#include "Platform/ObjectStore/ManagedObjectModel.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/EmbeddedResources.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

struct TypeName {
  const char* name;
  AttributeType type;
};
constexpr TypeName kTypeNames[] = {
    {"integer16", AttributeType::Integer16}, {"integer32", AttributeType::Integer32},
    {"integer64", AttributeType::Integer64}, {"double", AttributeType::Double},
    {"float", AttributeType::Float},         {"boolean", AttributeType::Boolean},
    {"string", AttributeType::String},       {"date", AttributeType::Date},
    {"binary", AttributeType::Binary},       {"dictionary", AttributeType::Dictionary},
    {"list", AttributeType::List},
};

[[noreturn]] void invalid(const std::string& message) {
  throw StoreError(StoreErrorCode::InvalidModel, "Invalid store model: " + message);
}

Value defaultFromJson(const nlohmann::json& j, AttributeType type, const std::string& where) {
  if (j.is_null()) return {};
  switch (type) {
    case AttributeType::Integer16:
    case AttributeType::Integer32:
    case AttributeType::Integer64:
      if (!j.is_number_integer()) invalid(where + ": default must be an integer");
      return Value(j.get<std::int64_t>());
    case AttributeType::Double:
    case AttributeType::Float:
      if (!j.is_number()) invalid(where + ": default must be a number");
      return Value(j.get<double>());
    case AttributeType::Boolean:
      if (!j.is_boolean()) invalid(where + ": default must be true or false");
      return Value(j.get<bool>());
    case AttributeType::String:
      if (!j.is_string()) invalid(where + ": default must be a text");
      return Value(j.get<std::string>());
    case AttributeType::Date:
      if (!j.is_number()) invalid(where + ": default must be seconds since 1970");
      return Value(Date(j.get<double>()));
    case AttributeType::Binary:
    case AttributeType::Dictionary:
    case AttributeType::List:
      invalid(where + ": " + std::string(attributeTypeName(type)) + " attributes take no default");
  }
  return {};
}

std::string fnv1aHex(std::string_view text) {
  std::uint64_t h = 1469598103934665603ull;
  for (unsigned char c : text) {
    h ^= c;
    h *= 1099511628211ull;
  }
  char buffer[17];
  std::snprintf(buffer, sizeof buffer, "%016llx", static_cast<unsigned long long>(h));
  return buffer;
}

const nlohmann::json& member(const nlohmann::json& object, const char* key,
                             const std::string& where) {
  auto it = object.find(key);
  if (it == object.end()) invalid(where + ": missing \"" + key + "\"");
  return *it;
}

std::string stringMember(const nlohmann::json& object, const char* key, const std::string& where,
                         const std::string& fallback = {}) {
  auto it = object.find(key);
  if (it == object.end()) {
    if (fallback.empty()) invalid(where + ": missing \"" + key + "\"");
    return fallback;
  }
  if (!it->is_string() || it->get<std::string>().empty())
    invalid(where + ": \"" + key + "\" must be a non-empty text");
  return it->get<std::string>();
}

bool boolMember(const nlohmann::json& object, const char* key, bool fallback,
                const std::string& where) {
  auto it = object.find(key);
  if (it == object.end()) return fallback;
  if (!it->is_boolean()) invalid(where + ": \"" + key + "\" must be true or false");
  return it->get<bool>();
}

bool validIdentifier(const std::string& s) {
  if (s.empty() || s[0] == '_') return false;
  for (char c : s)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
  return true;
}

}  // namespace

std::optional<AttributeType> attributeTypeFromName(std::string_view name) {
  for (const auto& t : kTypeNames)
    if (name == t.name) return t.type;
  return std::nullopt;
}

std::string_view attributeTypeName(AttributeType type) {
  for (const auto& t : kTypeNames)
    if (t.type == type) return t.name;
  return "unknown";
}

bool EntityDescription::isKindOf(const EntityDescription* other) const {
  for (const EntityDescription* e = this; e; e = e->parent_)
    if (e == other) return true;
  return false;
}

const AttributeDescription* EntityDescription::attributeNamed(std::string_view name) const {
  auto it = attributeByName_.find(std::string(name));
  return it == attributeByName_.end() ? nullptr : &attributes_[it->second];
}

const RelationshipDescription* EntityDescription::relationshipNamed(std::string_view name) const {
  auto it = relationshipByName_.find(std::string(name));
  return it == relationshipByName_.end() ? nullptr : &relationships_[it->second];
}

int EntityDescription::attributeIndex(std::string_view name) const {
  auto it = attributeByName_.find(std::string(name));
  return it == attributeByName_.end() ? -1 : static_cast<int>(it->second);
}

const EntityDescription* ManagedObjectModel::entityNamed(std::string_view name) const {
  auto it = byName_.find(std::string(name));
  return it == byName_.end() ? nullptr : it->second;
}

const EntityDescription* ManagedObjectModel::entityForClassName(std::string_view name) const {
  auto it = byClass_.find(std::string(name));
  return it == byClass_.end() ? nullptr : it->second;
}

std::shared_ptr<const ManagedObjectModel> ManagedObjectModel::fromJson(std::string_view text) {
  nlohmann::json root;
  try {
    root = nlohmann::json::parse(text);
  } catch (const nlohmann::json::exception& e) {
    invalid(std::string("malformed JSON: ") + e.what());
  }
  if (!root.is_object()) invalid("the top level must be an object");
  auto model = std::make_shared<ManagedObjectModel>();
  model->name_ = stringMember(root, "name", "model");
  model->canonical_ = root.dump();
  model->hash_ = fnv1aHex(model->canonical_);
  const auto& entities = member(root, "entities", "model");
  if (!entities.is_array()) invalid("\"entities\" must be a list");

  // Own properties first.
  for (const auto& e : entities) {
    if (!e.is_object()) invalid("each entity must be an object");
    auto entity = std::make_unique<EntityDescription>();
    entity->name_ = stringMember(e, "name", "entity");
    const std::string where = "entity " + entity->name_;
    if (!validIdentifier(entity->name_)) invalid(where + ": the name must be an identifier");
    entity->className_ = stringMember(e, "class", where, entity->name_);
    if (e.contains("parent")) entity->parentName_ = stringMember(e, "parent", where);
    entity->abstract_ = boolMember(e, "abstract", false, where);
    entity->tablePerSubentity_ = boolMember(e, "tablePerSubentity", false, where);
    if (entity->tablePerSubentity_ && !entity->abstract_)
      invalid(where + ": only an abstract entity can leave its rows to its subentities' tables");
    if (model->byName_.count(entity->name_)) invalid(where + ": declared twice");
    if (auto it = e.find("attributes"); it != e.end()) {
      if (!it->is_array()) invalid(where + ": \"attributes\" must be a list");
      for (const auto& a : *it) {
        AttributeDescription attr;
        attr.name = stringMember(a, "name", where + " attribute");
        const std::string aw = where + "." + attr.name;
        if (!validIdentifier(attr.name)) invalid(aw + ": the name must be an identifier");
        auto type = attributeTypeFromName(stringMember(a, "type", aw));
        if (!type) invalid(aw + ": unknown type \"" + a["type"].get<std::string>() + "\"");
        attr.type = *type;
        attr.optional = boolMember(a, "optional", true, aw);
        attr.indexed = boolMember(a, "indexed", false, aw);
        if (a.contains("default")) attr.defaultValue = defaultFromJson(a["default"], attr.type, aw);
        entity->attributes_.push_back(std::move(attr));
      }
    }
    if (auto it = e.find("relationships"); it != e.end()) {
      if (!it->is_array()) invalid(where + ": \"relationships\" must be a list");
      for (const auto& r : *it) {
        RelationshipDescription rel;
        rel.name = stringMember(r, "name", where + " relationship");
        const std::string rw = where + "." + rel.name;
        if (!validIdentifier(rel.name)) invalid(rw + ": the name must be an identifier");
        rel.destinationName = stringMember(r, "destination", rw);
        if (r.contains("inverse")) rel.inverseName = stringMember(r, "inverse", rw);
        rel.toMany = boolMember(r, "toMany", false, rw);
        rel.ordered = boolMember(r, "ordered", false, rw);
        if (rel.ordered && !rel.toMany) invalid(rw + ": only a to-many relationship is ordered");
        rel.optional = boolMember(r, "optional", true, rw);
        std::string rule = r.value("deleteRule", std::string("nullify"));
        if (rule == "cascade")
          rel.deleteRule = DeleteRule::Cascade;
        else if (rule != "nullify")
          invalid(rw + ": deleteRule must be nullify or cascade");
        entity->relationships_.push_back(std::move(rel));
      }
    }
    if (auto it = e.find("indexes"); it != e.end()) {
      for (const auto& index : *it) {
        if (!index.is_array() || index.empty()) invalid(where + ": an index is a list of names");
        entity->indexes_.push_back(index.get<std::vector<std::string>>());
      }
    }
    model->byName_[entity->name_] = entity.get();
    model->entities_.push_back(std::move(entity));
  }

  // Parents, then a parents-first order.
  for (auto& entity : model->entities_) {
    if (entity->parentName_.empty()) continue;
    auto it = model->byName_.find(entity->parentName_);
    if (it == model->byName_.end())
      invalid("entity " + entity->name_ + ": unknown parent " + entity->parentName_);
    entity->parent_ = it->second;
    const_cast<EntityDescription*>(it->second)->subentities_.push_back(entity.get());
  }
  std::vector<const EntityDescription*> order;
  std::vector<EntityDescription*> stack;
  for (auto& entity : model->entities_) {
    if (entity->parent_) continue;
    stack.push_back(entity.get());
    while (!stack.empty()) {
      EntityDescription* e = stack.back();
      stack.pop_back();
      order.push_back(e);
      for (auto it = e->subentities_.rbegin(); it != e->subentities_.rend(); ++it)
        stack.push_back(const_cast<EntityDescription*>(*it));
    }
  }
  if (order.size() != model->entities_.size()) invalid("the entity inheritance has a cycle");
  model->order_ = order;

  // Join tables are named after the declaring entity, before inheritance copies them.
  for (auto& entity : model->entities_) {
    for (auto& rel : entity->relationships_) {
      if (!rel.toMany) continue;
      auto dest = model->byName_.find(rel.destinationName);
      if (dest == model->byName_.end())
        invalid("entity " + entity->name_ + "." + rel.name + ": unknown destination " +
                rel.destinationName);
      const RelationshipDescription* inverse = nullptr;
      for (const EntityDescription* d = dest->second; d && !inverse; d = d->parent_)
        for (const auto& r : d->relationships_)
          if (r.name == rel.inverseName) inverse = &r;
      if (inverse && !inverse->toMany) continue;  // the inverse's foreign key holds the pairs
      std::string mine = entity->name_ + "_" + rel.name;
      if (inverse) {
        std::string theirs = rel.destinationName + "_" + inverse->name;
        rel.joinSourceIsFirst = mine < theirs;
        rel.joinTable = "_J_" + (rel.joinSourceIsFirst ? mine + "_" + theirs : theirs + "_" + mine);
      } else {
        rel.joinTable = "_J_" + mine;
      }
    }
  }

  // Flatten inherited properties (parents come first in `order`).
  for (const EntityDescription* c : order) {
    auto* e = const_cast<EntityDescription*>(c);
    // A hierarchy shares its root's table, except below an entity that has no table: there
    // each subentity starts a table of its own.
    if (e->tablePerSubentity_ && e->parent_ && !e->parent_->tablePerSubentity_)
      invalid("entity " + e->name_ +
              ": an entity without a table must descend only from "
              "entities without a table");
    e->root_ = e->tablePerSubentity_                          ? nullptr
               : e->parent_ && e->parent_->tablePerSubentity_ ? e
               : e->parent_                                   ? e->parent_->root_
                                                              : e;
    e->keySpace_ = e->parent_ ? e->parent_->keySpace_ : e;
    std::vector<AttributeDescription> attrs =
        e->parent_ ? e->parent_->attributes_ : std::vector<AttributeDescription>{};
    std::vector<RelationshipDescription> rels =
        e->parent_ ? e->parent_->relationships_ : std::vector<RelationshipDescription>{};
    for (auto& a : e->attributes_) attrs.push_back(std::move(a));
    for (auto& r : e->relationships_) rels.push_back(std::move(r));
    e->attributes_ = std::move(attrs);
    e->relationships_ = std::move(rels);
    for (std::size_t i = 0; i < e->attributes_.size(); ++i) {
      e->attributes_[i].index = i;
      if (!e->attributeByName_.emplace(e->attributes_[i].name, i).second)
        invalid("entity " + e->name_ + ": attribute " + e->attributes_[i].name + " declared twice");
    }
    for (std::size_t i = 0; i < e->relationships_.size(); ++i) {
      e->relationships_[i].index = i;
      if (e->attributeByName_.count(e->relationships_[i].name) ||
          !e->relationshipByName_.emplace(e->relationships_[i].name, i).second)
        invalid("entity " + e->name_ + ": property " + e->relationships_[i].name +
                " declared twice");
    }
    if (e->parent_) {
      for (const auto& index : e->parent_->indexes_)
        if (std::find(e->indexes_.begin(), e->indexes_.end(), index) == e->indexes_.end())
          e->indexes_.push_back(index);
    }
    for (const auto& index : e->indexes_)
      for (const auto& column : index)
        if (!e->attributeByName_.count(column))
          invalid("entity " + e->name_ + ": index names unknown attribute " + column);
  }
  // Family lists (self and descendants), and class names.
  for (const EntityDescription* c : order) {
    for (const EntityDescription* a = c; a; a = a->parent_) {
      const_cast<EntityDescription*>(a)->family_.push_back(c);
      if (c->root_ == c && !a->root_) const_cast<EntityDescription*>(a)->tableRoots_.push_back(c);
    }
    if (c->root_) const_cast<EntityDescription*>(c)->tableRoots_.push_back(c->root_);
    model->byClass_.emplace(c->className_, c);
  }

  // Resolve destinations and inverses on the flattened copies.
  for (const EntityDescription* c : order) {
    auto* e = const_cast<EntityDescription*>(c);
    for (auto& rel : e->relationships_) {
      const std::string rw = "entity " + e->name_ + "." + rel.name;
      auto dest = model->byName_.find(rel.destinationName);
      if (dest == model->byName_.end())
        invalid(rw + ": unknown destination " + rel.destinationName);
      rel.destination = dest->second;
      // A stored reference is a key in one table; an entity without a table has none.
      if (!rel.destination->hasTable())
        invalid(rw + ": the destination " + rel.destinationName +
                " has no table of its own; point at one of its subentities");
      if (rel.inverseName.empty()) continue;
      rel.inverse = rel.destination->relationshipNamed(rel.inverseName);
      if (!rel.inverse) invalid(rw + ": unknown inverse " + rel.inverseName);
      auto back = model->byName_.find(rel.inverse->destinationName);
      if (rel.inverse->inverseName != rel.name || back == model->byName_.end() ||
          !e->isKindOf(back->second))
        invalid(rw + ": inverse " + rel.inverseName + " does not point back");
    }
  }
  // Columns of one table are shared by the whole hierarchy: a name must keep one type.
  for (const EntityDescription* root : order) {
    if (root->root_ != root) continue;
    std::unordered_map<std::string, AttributeType> columns;
    for (const EntityDescription* e : root->family_)
      if (e->root_ == root)
        for (const auto& a : e->attributes_) {
          auto [it, added] = columns.emplace(a.name, a.type);
          if (!added && it->second != a.type)
            invalid("entity " + e->name_ + ": attribute " + a.name +
                    " has another type in a related entity");
        }
  }
  return model;
}

std::shared_ptr<const ManagedObjectModel> ManagedObjectModel::named(const std::string& name) {
  static std::mutex mutex;
  static std::unordered_map<std::string, std::shared_ptr<const ManagedObjectModel>> cache;
  std::lock_guard lock(mutex);
  if (auto it = cache.find(name); it != cache.end()) return it->second;
  auto bytes = EmbeddedResources::find("Models/" + name + ".json");
  if (!bytes) {
    logError("The store model \"" + name + "\" is not embedded in the library; cannot continue.");
    std::fprintf(stderr, "fatal: store model %s missing\n", name.c_str());
    std::abort();
  }
  try {
    auto model = fromJson(*bytes);
    cache[name] = model;
    return model;
  } catch (const StoreError& e) {
    logError("The embedded store model \"" + name + "\" cannot be read: " + e.what());
    std::fprintf(stderr, "fatal: %s\n", e.what());
    std::abort();
  }
}

}  // namespace dm
