// The mapping operation: compile the mappings against the destination, plan the whole
// payload (transform values, collect identities), then apply the plan.
#include "Platform/ObjectMapping/MappingOperation.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/ObjectMapping/JsonView.h"
#include "Platform/ObjectMapping/MappingSource.h"

namespace dm {
namespace {

using Code = MappingError::Code;
using Issue = MappingError::Issue;

// The distinct identities of one entity and identification met in the payload, in
// first-seen order, with the plan target each became; the batched lookup takes them as is.
struct IdentityCache {
  ClassId cls = 0;
  // Lookups run by rank: an attribute that identifies on its own ranks by its position among
  // the alternatives, so the first alternative's match wins.
  std::size_t rank = 0;
  std::vector<FieldId> fields;
  IdentityKeyTable keys;
  std::vector<std::uint32_t> keyTargets;  // by key number
};

struct CompiledMapping;

struct CompiledAttribute {
  const KeyPath* source;
  FieldId field;
  FieldKind kind;
  int identitySlot;
};

struct CompiledRelationship {
  const KeyPath* source;
  FieldId field;
  bool toMany;
  const CompiledMapping* nested;
};

struct CompiledConnection {
  FieldId relationship;
  bool toMany;
  FieldId sourceField;
  FieldKind sourceKind;
  ClassId targetClass;
  FieldId targetField;
};

struct CompiledMapping {
  ClassId cls = 0;
  const std::string* className = nullptr;
  std::vector<CompiledAttribute> attributes;
  std::vector<CompiledRelationship> relationships;
  std::vector<CompiledConnection> connections;
  IdentityCache* identity = nullptr;  // null: every record is new
  // Identification by any one attribute: one cache per attribute, by identity slot.
  std::vector<IdentityCache*> alternatives;
  std::size_t identitySlots() const {
    return identity ? identity->fields.size() : alternatives.size();
  }
};

struct Target {
  ClassId cls;
  ObjectRef ref;
};

struct PlannedValue {
  FieldId field;
  SourceValue value;
};

struct PlannedRelation {
  FieldId field;
  bool toMany;
  std::uint32_t membersBegin;
  std::uint32_t membersEnd;
};

struct PlannedRecord {
  const CompiledMapping* mapping;
  std::uint32_t target;
  std::uint32_t suppliedBegin, suppliedEnd;  // only for mappings with connections
  std::uint32_t relationsBegin, relationsEnd;
};

// What the planning pass keeps: targets, records and their relationships, not the values
// (the writing pass transforms those again, straight into the destination).
struct Plan {
  std::vector<Target> targets;
  std::vector<PlannedRecord> records;
  std::vector<FieldId> supplied;  // fields the payload gave, per record with connections
  std::vector<PlannedRelation> relations;
  std::vector<std::uint32_t> members;
  std::vector<std::vector<std::uint32_t>> roots;  // top-level targets per root
};

// Resolves classes, fields and identities once per operation.
class Compiler {
 public:
  Compiler(MappingDestination& destination, std::vector<Issue>& issues)
      : destination_(destination), issues_(issues) {}

  const CompiledMapping* compile(const ObjectMapping& mapping, const std::string& where) {
    if (auto it = compiled_.find(&mapping); it != compiled_.end()) return it->second.get();
    if (mapping.kind() == ObjectMapping::Kind::Request) {
      issue(where, "a request mapping cannot map a response");
      return nullptr;
    }
    auto cls = destination_.resolveClass(mapping.className());
    if (!cls) {
      issue(where, "unknown class " + mapping.className());
      return nullptr;
    }
    auto owned = std::make_unique<CompiledMapping>();
    CompiledMapping& out = *owned;
    compiled_.emplace(&mapping, std::move(owned));
    out.cls = *cls;
    out.className = &mapping.className();
    const std::string& name = mapping.className();

    for (const auto& attribute : mapping.attributeMappings()) {
      auto field = destination_.describeAttribute(*cls, attribute.destination.text);
      if (!field) {
        issue(where, name + " has no attribute " + attribute.destination.text);
        continue;
      }
      out.attributes.push_back({&attribute.source, field->id, field->kind, -1});
    }
    for (const auto& relationship : mapping.relationshipMappings()) {
      auto description = destination_.describeRelationship(*cls, relationship.destination.text);
      if (!description) {
        issue(where, name + " has no relationship " + relationship.destination.text);
        continue;
      }
      const auto nestedMapping = relationship.mapping();
      if (!nestedMapping) {
        issue(where, name + "." + relationship.destination.text + " has no nested mapping");
        continue;
      }
      const CompiledMapping* nested = compile(*nestedMapping, relationship.source.text);
      if (!nested) continue;
      out.relationships.push_back(
          {&relationship.source, description->id, description->toMany, nested});
    }
    if (mapping.kind() == ObjectMapping::Kind::Entity &&
        !mapping.identificationAttributes().empty()) {
      compileIdentity(mapping, out, where);
    }
    for (const auto& connection : mapping.connections()) {
      compileConnection(mapping, connection, out, where);
    }
    return &out;
  }

  std::map<std::pair<ClassId, std::vector<FieldId>>, std::unique_ptr<IdentityCache>>& caches() {
    return caches_;
  }

 private:
  void issue(const std::string& where, std::string message) {
    issues_.push_back({Code::UnknownClass, where, std::move(message)});
  }

  void compileIdentity(const ObjectMapping& mapping, CompiledMapping& out,
                       const std::string& where) {
    std::vector<FieldId> fields;
    for (const auto& attributeName : mapping.identificationAttributes()) {
      auto field = destination_.describeAttribute(out.cls, attributeName);
      if (!field) {
        issue(where, mapping.className() + " has no attribute " + attributeName);
        return;
      }
      bool mapped = false;
      for (auto& attribute : out.attributes) {
        if (attribute.field == field->id) {
          attribute.identitySlot = static_cast<int>(fields.size());
          mapped = true;
        }
      }
      if (!mapped) {
        issue(where, "identification attribute " + attributeName + " of " + mapping.className() +
                         " is not mapped");
        return;
      }
      fields.push_back(field->id);
    }
    if (mapping.identificationMatch() == ObjectMapping::IdentificationMatch::AnyAttribute) {
      for (std::size_t rank = 0; rank < fields.size(); ++rank)
        out.alternatives.push_back(&cacheFor(out.cls, {fields[rank]}, rank));
      return;
    }
    out.identity = &cacheFor(out.cls, fields, 0);
  }

  IdentityCache& cacheFor(ClassId cls, const std::vector<FieldId>& fields, std::size_t rank) {
    auto& cache = caches_[{cls, fields}];
    if (!cache) {
      cache = std::make_unique<IdentityCache>();
      cache->cls = cls;
      cache->fields = fields;
      cache->keys = IdentityKeyTable(fields.size());
      cache->rank = rank;
    }
    cache->rank = std::min(cache->rank, rank);
    return *cache;
  }

  void compileConnection(const ObjectMapping& mapping, const ObjectMapping::Connection& connection,
                         CompiledMapping& out, const std::string& where) {
    const std::string& name = mapping.className();
    auto relationship = destination_.describeRelationship(out.cls, connection.relationship);
    auto source = destination_.describeAttribute(out.cls, connection.sourceAttribute);
    if (!relationship || !source) {
      issue(where, name + " cannot connect " + connection.relationship + " by " +
                       connection.sourceAttribute);
      return;
    }
    auto targetClass = destination_.resolveClass(relationship->destinationClass);
    if (!targetClass) {
      issue(where, "unknown class " + relationship->destinationClass);
      return;
    }
    auto target = destination_.describeAttribute(*targetClass, connection.destinationAttribute);
    if (!target) {
      issue(where, relationship->destinationClass + " has no attribute " +
                       connection.destinationAttribute);
      return;
    }
    out.connections.push_back({relationship->id, relationship->toMany, source->id, source->kind,
                               *targetClass, target->id});
  }

  MappingDestination& destination_;
  std::vector<Issue>& issues_;
  std::unordered_map<const ObjectMapping*, std::unique_ptr<CompiledMapping>> compiled_;
  std::map<std::pair<ClassId, std::vector<FieldId>>, std::unique_ptr<IdentityCache>> caches_;
};

// Walks the payload once and fills the plan; never touches the destination.
template <class Node>
class Planner {
 public:
  // Plans the payload; with `writeTo`, walks it again after planning and writes every
  // record's values and relationships there instead.
  Planner(Plan& plan, std::vector<Issue>& issues, const MappingOptions& options,
          MappingDestination* writeTo = nullptr)
      : plan_(plan), issues_(issues), options_(options), writeTo_(writeTo) {}

  void planRoot(const Node& document, const KeyPath& keyPath, bool optional,
                const CompiledMapping& mapping, std::vector<std::uint32_t>& out,
                MappingResult* skipped = nullptr) {
    skipped_ = skipped;
    std::optional<Node> value = document;
    path_.clear();
    if (!keyPath.empty()) {
      bool wrongShape = false;
      value = resolve(document, keyPath, wrongShape);
      path_.push_back({keyPath.text, -1});
      if (!value) {
        if (!optional || wrongShape) {
          addIssue(Code::WrongShape, "no value at this key path");
        }
        return;
      }
    }
    if (value->isNull()) return;
    if (value->isObject()) {
      if (auto target = planRecord(*value, mapping, 1)) out.push_back(*target);
    } else if (value->isArray()) {
      if (!writeTo_) reserveFor(value->size(), mapping);
      long index = 0;
      value->forEachElement([&](const Node& element) {
        path_.push_back({{}, index++});
        if (element.isObject()) {
          if (auto target = planRecord(element, mapping, 1)) out.push_back(*target);
        } else {
          addIssue(Code::WrongShape, "expected an object");
        }
        path_.pop_back();
      });
    } else {
      addIssue(Code::WrongShape, "expected an object or an array of objects");
    }
  }

 private:
  struct PathElement {
    std::string_view key;
    long index;
  };

  bool full() const { return issues_.size() >= options_.maxIssues; }

  // Grows the plan once for a top-level array instead of doubling through it.
  void reserveFor(std::size_t count, const CompiledMapping& mapping) {
    plan_.targets.reserve(plan_.targets.size() + count);
    plan_.records.reserve(plan_.records.size() + count);
    if (mapping.identity) {
      mapping.identity->keys.reserve(mapping.identity->keys.size() + count);
      mapping.identity->keyTargets.reserve(mapping.identity->keyTargets.size() + count);
    }
  }

  std::string renderPath(std::string_view last = {}) const {
    std::string text;
    auto appendKey = [&](std::string_view key) {
      if (!text.empty()) text += '.';
      text += key;
    };
    for (const auto& element : path_) {
      if (element.index >= 0) {
        text += '[' + std::to_string(element.index) + ']';
      } else {
        appendKey(element.key);
      }
    }
    if (!last.empty()) appendKey(last);
    return text;
  }

  void addIssue(Code code, std::string message, std::string_view last = {}) {
    if (full()) return;
    issues_.push_back({code, renderPath(last), std::move(message)});
  }

  // A value that does not fit its field: skipped and reported when the options allow it (the
  // writing pass meets it again and skips it silently), an issue that fails the operation
  // otherwise.
  void fieldIssue(const CompiledMapping& mapping, Code code, std::string message,
                  std::string_view last = {}) {
    if (!options_.skipInvalidValues) {
      if (full()) return;
      addIssue(code, std::move(message), last);
      issues_.back().className = *mapping.className;
      return;
    }
    if (writeTo_ || !skipped_) return;
    if (skipped_->skipped.size() < options_.maxIssues)
      skipped_->skipped.push_back({code, renderPath(last), std::move(message), *mapping.className});
    ++skipped_->skippedCount;
  }

  std::optional<Node> resolve(const Node& record, const KeyPath& keyPath, bool& wrongShape) const {
    Node current = record;
    if (keyPath.parentLevels > 0) {
      if (keyPath.parentLevels > parents_.size()) return std::nullopt;
      current = parents_[parents_.size() - keyPath.parentLevels];
    }
    for (const auto& segment : keyPath.segments) {
      if (!current.isObject()) {
        wrongShape = !current.isNull();
        return std::nullopt;
      }
      auto next = current.find(segment);
      if (!next) return std::nullopt;
      current = *next;
    }
    return current;
  }

  std::optional<std::uint32_t> planRecord(const Node& node, const CompiledMapping& mapping,
                                          unsigned depth) {
    if (depth > options_.maxDepth) {
      addIssue(Code::NestingTooDeep,
               "records nested deeper than " + std::to_string(options_.maxDepth));
      return std::nullopt;
    }
    const bool planning = writeTo_ == nullptr;
    const std::size_t issuesBefore = issues_.size();
    // The identity's values, set aside while the record is planned; reused across records.
    if (planning && mapping.identitySlots() > 0) {
      key_.resize(mapping.identitySlots());
      for (auto& part : key_) part = Value();
    }
    bool unidentifiable = false;
    const bool noteSupplied = planning && !mapping.connections.empty();
    const auto suppliedBegin = static_cast<std::uint32_t>(plan_.supplied.size());
    const std::size_t pendingBase = pending_.size();

    for (const auto& attribute : mapping.attributes) {
      bool wrongShape = false;
      auto value = resolve(node, *attribute.source, wrongShape);
      if (!value) {
        if (wrongShape) {
          unidentifiable = unidentifiable || attribute.identitySlot >= 0;
          fieldIssue(mapping, Code::WrongShape, "expected an object on the way",
                     attribute.source->text);
        }
        continue;
      }
      if (isTreeKind(attribute.kind)) {
        if (attribute.kind != FieldKind::Tree && !value->isNull() &&
            !(attribute.kind == FieldKind::Dictionary ? value->isObject() : value->isArray())) {
          fieldIssue(mapping, Code::InvalidValue,
                     std::string("expected a ") + fieldKindName(attribute.kind),
                     attribute.source->text);
          continue;
        }
        if (value->depth(options_.maxDepth) > options_.maxDepth) {
          addIssue(Code::NestingTooDeep, "value nested too deeply", attribute.source->text);
          continue;
        }
        if (noteSupplied) plan_.supplied.push_back(attribute.field);
        if (!planning) {
          if (value->isNull() && attribute.kind != FieldKind::Tree) {
            pending_.push_back({attribute.field, Value()});
          } else {
            pending_.push_back({attribute.field, value->toTree()});
          }
        }
        continue;
      }
      const JsonScalar scalar = value->scalar();
      std::string reason;
      std::optional<Value> transformed;
      if (scalar.type == JsonScalar::Type::Array || scalar.type == JsonScalar::Type::Object) {
        reason = std::string("expected a ") + fieldKindName(attribute.kind) + ", found " +
                 (scalar.type == JsonScalar::Type::Array ? "an array" : "an object");
      } else {
        transformed = transformValue(scalar, attribute.kind, reason);
      }
      if (!transformed) {
        unidentifiable = unidentifiable || attribute.identitySlot >= 0;
        fieldIssue(mapping, Code::InvalidValue,
                   attribute.identitySlot >= 0
                       ? reason + " (the record is left out: it cannot be identified)"
                       : reason,
                   attribute.source->text);
        continue;
      }
      if (transformed->isNull() && attribute.identitySlot >= 0 && mapping.alternatives.empty() &&
          options_.skipInvalidValues) {
        // An identifier sent as null names no record: taken as new, it would add a copy on
        // every mapping of the same answer.
        unidentifiable = true;
        fieldIssue(mapping, Code::InvalidValue,
                   "null identifier (the record is left out: it cannot be identified)",
                   attribute.source->text);
        continue;
      }
      if (noteSupplied) plan_.supplied.push_back(attribute.field);
      if (planning) {
        // The planning pass keeps no values: they are transformed again when written.
        if (attribute.identitySlot >= 0) key_[attribute.identitySlot] = std::move(*transformed);
      } else {
        pending_.push_back({attribute.field, std::move(*transformed)});
      }
    }
    if (unidentifiable && options_.skipInvalidValues) {
      // Matching it by the rest would create a duplicate: the record is left out, in both
      // passes alike.
      pending_.resize(pendingBase);
      plan_.supplied.resize(suppliedBegin);
      return std::nullopt;
    }
    const auto suppliedEnd = static_cast<std::uint32_t>(plan_.supplied.size());
    const std::uint32_t target = planning ? targetFor(mapping) : 0;

    // Relations go on shared stacks above whatever the enclosing records keep there; nested
    // records pop their own entries before returning, so ours stay contiguous.
    const std::size_t relationsBase = relationStack_.size();
    const std::size_t membersBase = memberStack_.size();
    if (!mapping.relationships.empty()) {
      parents_.push_back(node);
      for (const auto& relationship : mapping.relationships) {
        planRelationship(node, mapping, relationship, depth);
      }
      parents_.pop_back();
    }
    if (issues_.size() != issuesBefore || !planning) {
      relationStack_.resize(relationsBase);
      memberStack_.resize(membersBase);
      if (issues_.size() != issuesBefore) {
        pending_.resize(pendingBase);
        return std::nullopt;
      }
      // Records are written in the order they were planned (nested ones first).
      const PlannedRecord& record = plan_.records.at(nextRecord_++);
      writeRecord(record, pendingBase);
      pending_.resize(pendingBase);
      return record.target;
    }

    const auto planMembersBase = static_cast<std::uint32_t>(plan_.members.size());
    const auto stackMembersBase = static_cast<std::uint32_t>(membersBase);
    plan_.members.insert(plan_.members.end(), memberStack_.begin() + membersBase,
                         memberStack_.end());
    const auto relationsBegin = static_cast<std::uint32_t>(plan_.relations.size());
    for (auto i = relationsBase; i < relationStack_.size(); ++i) {
      PlannedRelation relation = relationStack_[i];
      relation.membersBegin = relation.membersBegin - stackMembersBase + planMembersBase;
      relation.membersEnd = relation.membersEnd - stackMembersBase + planMembersBase;
      plan_.relations.push_back(relation);
    }
    relationStack_.resize(relationsBase);
    memberStack_.resize(membersBase);
    plan_.records.push_back({&mapping, target, suppliedBegin, suppliedEnd, relationsBegin,
                             static_cast<std::uint32_t>(plan_.relations.size())});
    return target;
  }

  // Writing pass: the record's values (pending_ from `pendingBase`) and relationships.
  void writeRecord(const PlannedRecord& record, std::size_t pendingBase) {
    MappingDestination& destination = *writeTo_;
    const ObjectRef object = plan_.targets[record.target].ref;
    for (auto i = pendingBase; i < pending_.size(); ++i) {
      auto& planned = pending_[i];
      if (auto* value = std::get_if<Value>(&planned.value)) {
        destination.setValue(object, planned.field, std::move(*value));
      } else {
        destination.setTree(object, planned.field,
                            std::move(std::get<nlohmann::json>(planned.value)));
      }
    }
    for (auto i = record.relationsBegin; i < record.relationsEnd; ++i) {
      const auto& relation = plan_.relations[i];
      if (relation.toMany) {
        std::vector<ObjectRef> targets;
        targets.reserve(relation.membersEnd - relation.membersBegin);
        for (auto m = relation.membersBegin; m < relation.membersEnd; ++m) {
          ObjectRef member = plan_.targets[plan_.members[m]].ref;
          bool seen = false;
          for (const auto& existing : targets) seen = seen || existing == member;
          if (!seen) targets.push_back(member);
        }
        destination.setToMany(object, relation.field, std::move(targets));
      } else {
        destination.setToOne(object, relation.field,
                             relation.membersBegin < relation.membersEnd
                                 ? plan_.targets[plan_.members[relation.membersBegin]].ref
                                 : ObjectRef{});
      }
    }
  }

  void planRelationship(const Node& node, const CompiledMapping& owner,
                        const CompiledRelationship& relationship, unsigned depth) {
    bool wrongShape = false;
    auto value = resolve(node, *relationship.source, wrongShape);
    if (!value) {
      if (wrongShape)
        fieldIssue(owner, Code::WrongShape, "expected an object on the way",
                   relationship.source->text);
      return;
    }
    if (!value->isObject() && !value->isNull() && !(value->isArray() && relationship.toMany)) {
      // The relationship is left as it is.
      fieldIssue(owner, Code::WrongShape,
                 relationship.toMany
                     ? "expected an object or an array of objects"
                     : (value->isArray() ? "expected an object for a to-one relationship, "
                                           "found an array"
                                         : "expected an object"),
                 relationship.source->text);
      return;
    }
    const auto begin = static_cast<std::uint32_t>(memberStack_.size());
    path_.push_back({relationship.source->text, -1});
    if (value->isObject()) {
      if (auto target = planRecord(*value, *relationship.nested, depth + 1)) {
        memberStack_.push_back(*target);
      } else {
        // The record was left out: the relationship stays as it is rather than being cleared.
        path_.pop_back();
        return;
      }
    } else if (value->isArray()) {
      {
        long index = 0;
        value->forEachElement([&](const Node& element) {
          if (full()) return;
          path_.push_back({{}, index++});
          if (element.isObject()) {
            if (auto target = planRecord(element, *relationship.nested, depth + 1)) {
              memberStack_.push_back(*target);
            }
          } else {
            fieldIssue(*relationship.nested, Code::WrongShape, "expected an object");
          }
          path_.pop_back();
        });
      }
    }
    path_.pop_back();
    relationStack_.push_back({relationship.field, relationship.toMany, begin,
                              static_cast<std::uint32_t>(memberStack_.size())});
  }

  // The target of the record whose identity values are in key_: the one planned earlier
  // for the same identity, else a new one. Records without a complete identity are new.
  std::uint32_t targetFor(const CompiledMapping& mapping) {
    if (!mapping.alternatives.empty()) return targetForAnyOf(mapping);
    bool complete = mapping.identity != nullptr;
    if (complete) {
      for (const auto& part : key_) complete = complete && !part.isNull();
    }
    if (!complete) return newTarget(mapping.cls);
    IdentityCache& cache = *mapping.identity;
    bool added = false;
    const std::size_t number = cache.keys.insert(key_.data(), added);
    if (added) cache.keyTargets.push_back(newTarget(mapping.cls));
    return cache.keyTargets[number];
  }

  // Identification by any one attribute: the target of the first alternative already seen,
  // else a new one; every alternative's value not seen yet then points at it.
  std::uint32_t targetForAnyOf(const CompiledMapping& mapping) {
    constexpr std::uint32_t kUnassigned = UINT32_MAX;
    std::optional<std::uint32_t> found;
    added_.clear();
    for (std::size_t slot = 0; slot < mapping.alternatives.size(); ++slot) {
      if (key_[slot].isNull()) continue;
      IdentityCache& cache = *mapping.alternatives[slot];
      bool added = false;
      const std::size_t number = cache.keys.insert(&key_[slot], added);
      if (added) {
        cache.keyTargets.push_back(kUnassigned);
        added_.push_back({&cache, number});
      } else if (!found) {
        found = cache.keyTargets[number];
      }
    }
    const std::uint32_t target = found ? *found : newTarget(mapping.cls);
    for (const auto& [cache, number] : added_) cache->keyTargets[number] = target;
    return target;
  }

  std::uint32_t newTarget(ClassId cls) {
    plan_.targets.push_back({cls, ObjectRef{}});
    return static_cast<std::uint32_t>(plan_.targets.size() - 1);
  }

  Plan& plan_;
  std::vector<Issue>& issues_;
  const MappingOptions& options_;
  std::vector<Node> parents_;
  std::vector<PathElement> path_;
  MappingDestination* writeTo_;
  std::size_t nextRecord_ = 0;
  std::vector<Value> key_;
  std::vector<std::pair<IdentityCache*, std::size_t>> added_;  // scratch of targetForAnyOf
  MappingResult* skipped_ = nullptr;                           // the current root's result
  std::vector<PlannedValue> pending_;  // writing pass: values of the records being walked
  std::vector<PlannedRelation> relationStack_;
  std::vector<std::uint32_t> memberStack_;
};

// Finds or creates the plan's targets before the writing pass, and connects foreign keys
// after it.
class Applier {
 public:
  Applier(MappingDestination& destination, Plan& plan, Compiler& compiler)
      : destination_(destination), plan_(plan), compiler_(compiler) {}

  void prepareTargets() {
    // Every lookup runs before the first record is created, so an entity without records
    // now had none when the operation started, and its identities need no query.
    std::vector<IdentityCache*> byRank;
    for (auto& entry : compiler_.caches()) byRank.push_back(entry.second.get());
    std::stable_sort(
        byRank.begin(), byRank.end(),
        [](const IdentityCache* a, const IdentityCache* b) { return a->rank < b->rank; });
    for (IdentityCache* cache : byRank) {
      if (cache->keys.size() == 0 || !destination_.hasObjects(cache->cls)) continue;
      destination_.findObjects(cache->cls, cache->fields, cache->keys,
                               MappingDestination::Matches::First,
                               [&](std::size_t i, ObjectRef object) {
                                 Target& target = plan_.targets[cache->keyTargets.at(i)];
                                 if (!target.ref) target.ref = object;
                               });
    }
    for (auto& target : plan_.targets) {
      if (!target.ref) target.ref = destination_.createObject(target.cls);
    }
  }

  // Foreign keys are resolved after every record exists, so payload order does not matter.
  void connect() {
    std::vector<Pending> pending;
    std::map<std::pair<ClassId, FieldId>, Group> groups;
    for (const auto& record : plan_.records) {
      for (const auto& connection : record.mapping->connections) {
        const ObjectRef object = plan_.targets[record.target].ref;
        Value key = destination_.value(object, connection.sourceField);
        if (key.isNull()) {
          // Only an explicit null in the item clears: a missing key must not undo what a
          // nested mapping has just connected.
          if (suppliesField(record, connection.sourceField))
            pending.push_back({object, &connection, SIZE_MAX});
          continue;
        }
        Group& group = groups[{connection.targetClass, connection.targetField}];
        bool added = false;
        pending.push_back({object, &connection, group.keys.insert(&key, added)});
      }
    }
    for (auto& entry : groups) {
      const auto& signature = entry.first;
      auto& group = entry.second;  // not a structured binding: clang 14 cannot capture those
      group.matches.resize(group.keys.size());
      destination_.findObjects(
          signature.first, {signature.second}, group.keys, MappingDestination::Matches::All,
          [&](std::size_t i, ObjectRef object) { group.matches.at(i).push_back(object); });
    }
    for (const auto& item : pending) {
      const CompiledConnection& connection = *item.connection;
      std::vector<ObjectRef> matches;
      if (item.keyIndex != SIZE_MAX) {
        matches = groups[{connection.targetClass, connection.targetField}].matches[item.keyIndex];
      }
      if (connection.toMany) {
        destination_.setToMany(item.object, connection.relationship, std::move(matches));
      } else {
        destination_.setToOne(item.object, connection.relationship,
                              matches.empty() ? ObjectRef{} : matches.front());
      }
    }
  }

 private:
  struct Pending {
    ObjectRef object;
    const CompiledConnection* connection;
    std::size_t keyIndex;  // into the group's keys; SIZE_MAX for a null key
  };
  struct Group {
    IdentityKeyTable keys;
    std::vector<std::vector<ObjectRef>> matches;
  };

  bool suppliesField(const PlannedRecord& record, FieldId field) const {
    for (auto i = record.suppliedBegin; i < record.suppliedEnd; ++i) {
      if (plan_.supplied[i] == field) return true;
    }
    return false;
  }

  MappingDestination& destination_;
  Plan& plan_;
  Compiler& compiler_;
};

// One operation's steps over one parsed payload: compile, plan (validating everything and
// matching identities without writing), then find or create the targets, walk the payload
// again writing values and relationships, and connect foreign keys.
class Operation {
 public:
  Operation(MappingDestination& destination, const std::vector<MappingOperation::Root>& roots,
            const MappingOptions& options)
      : destination_(destination),
        roots_(roots),
        options_(options),
        compiler_(destination, issues_) {}

  template <class Node>
  void plan(const Node& document) {
    for (const auto& root : roots_) {
      if (!root.mapping) {
        issues_.push_back({Code::UnknownClass, root.keyPath, "no mapping given"});
        compiled_.push_back(nullptr);
        continue;
      }
      compiled_.push_back(compiler_.compile(*root.mapping, root.keyPath));
    }
    if (!issues_.empty()) throw MappingError(std::move(issues_));

    plan_.roots.resize(roots_.size());
    results_.resize(roots_.size());
    Planner<Node> planner(plan_, issues_, options_);
    for (std::size_t i = 0; i < roots_.size(); ++i) {
      KeyPath keyPath(roots_[i].keyPath);
      planner.planRoot(document, keyPath, roots_[i].optional, *compiled_[i], plan_.roots[i],
                       &results_[i]);
    }
    if (!issues_.empty()) throw MappingError(std::move(issues_));
  }

  template <class Node>
  std::vector<MappingResult> apply(const Node& document) {
    try {
      Applier applier(destination_, plan_, compiler_);
      applier.prepareTargets();
      Planner<Node> writer(plan_, issues_, options_, &destination_);
      std::vector<std::uint32_t> ignored;
      for (std::size_t i = 0; i < roots_.size(); ++i) {
        KeyPath keyPath(roots_[i].keyPath);
        writer.planRoot(document, keyPath, roots_[i].optional, *compiled_[i], ignored);
      }
      if (!issues_.empty()) throw std::logic_error("the payload changed while it was mapped");
      applier.connect();
    } catch (const MappingError&) {
      destination_.discardChanges();
      throw;
    } catch (const std::exception& error) {
      destination_.discardChanges();
      throw MappingError(Code::DestinationFailure, "", error.what());
    }

    std::vector<MappingResult> results = std::move(results_);
    reportSkipped(results);
    std::vector<bool> seen(plan_.targets.size(), false);
    for (std::size_t i = 0; i < roots_.size(); ++i) {
      results[i].objects.reserve(plan_.roots[i].size());
      for (auto target : plan_.roots[i]) {
        if (seen[target]) continue;
        seen[target] = true;
        results[i].objects.push_back(plan_.targets[target].ref);
      }
      for (auto target : plan_.roots[i]) seen[target] = false;
    }
    return results;
  }

 private:
  static void reportSkipped(const std::vector<MappingResult>& results) {
    for (const auto& result : results) {
      if (result.skippedCount == 0) continue;
      auto events = DiagnosticEvents::shared();
      for (const auto& skipped : result.skipped) {
        events->logEvent("Mapping skipped a value", {{"keyPath", skipped.keyPath},
                                                     {"class", skipped.className},
                                                     {"reason", skipped.message}});
      }
      if (result.skippedCount > result.skipped.size()) {
        events->logEvent("Mapping skipped more values",
                         {{"count", result.skippedCount - result.skipped.size()}});
      }
    }
  }

  MappingDestination& destination_;
  const std::vector<MappingOperation::Root>& roots_;
  const MappingOptions& options_;
  std::vector<Issue> issues_;
  Compiler compiler_;
  std::vector<const CompiledMapping*> compiled_;
  Plan plan_;
  std::vector<MappingResult> results_;  // what planning skipped, per root
};

}  // namespace

MappingOperation::MappingOperation(MappingDestination& destination, MappingOptions options)
    : destination_(destination), options_(options) {}

std::vector<MappingResult> MappingOperation::map(std::string_view jsonText,
                                                 const std::vector<Root>& roots) {
  return mapText(jsonText, false, roots);
}

std::vector<MappingResult> MappingOperation::map(const std::string& jsonText,
                                                 const std::vector<Root>& roots) {
  static_assert(kParsePadding >= simdjson::SIMDJSON_PADDING);
  return mapText(jsonText, jsonText.capacity() - jsonText.size() >= kParsePadding, roots);
}

std::vector<MappingResult> MappingOperation::mapText(std::string_view jsonText, bool padded,
                                                     const std::vector<Root>& roots) {
  Operation operation(destination_, roots, options_);
  // The parsed payload lives through both passes; the plan keeps no values of its own.
  simdjson::dom::parser parser;
  simdjson::dom::element document;
  // Text followed by enough allocated bytes is read where it is; other text is copied into a
  // padded buffer first.
  const auto error = parser.parse(jsonText.data(), jsonText.size(), !padded).get(document);
  if (error != simdjson::SUCCESS) {
    throw MappingError(error == simdjson::DEPTH_ERROR ? Code::NestingTooDeep : Code::MalformedJson,
                       "", std::string("malformed JSON: ") + simdjson::error_message(error));
  }
  const json_view::DomNode root(document);
  operation.plan(root);
  return operation.apply(root);
}

std::vector<MappingResult> MappingOperation::map(const nlohmann::json& json,
                                                 const std::vector<Root>& roots) {
  Operation operation(destination_, roots, options_);
  const json_view::TreeNode root(json);
  operation.plan(root);
  return operation.apply(root);
}

MappingResult MappingOperation::map(std::string_view jsonText, std::string_view keyPath,
                                    const std::shared_ptr<const ObjectMapping>& mapping) {
  return std::move(map(jsonText, {Root{std::string(keyPath), mapping, false}}).front());
}

MappingResult MappingOperation::map(const nlohmann::json& json, std::string_view keyPath,
                                    const std::shared_ptr<const ObjectMapping>& mapping) {
  return std::move(map(json, {Root{std::string(keyPath), mapping, false}}).front());
}

}  // namespace dm
