// The registered record classes against the model files they are declared in: every class,
// server key, root key path, identification attribute, declared field and relationship
// destination, for the main store's model and the handbook's; and the open-time check that
// names a class drifting from its model by class and field.
#include <nlohmann/json.hpp>
#include <typeinfo>

#include "Mapping/Records/BaseMappableEntity.h"
#include "Mapping/Records/BaseMappableObject.h"
#include "Mapping/Records/RecordClassCheck.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

using nlohmann::json;

json readModelPart(const std::string& relative) {
  return json::parse(readFile(fixturePath("../../Resources/Models/" + relative)));
}

// Every entity and transient record of the main store's model, by name, from its source files.
struct DeclaredModel {
  std::map<std::string, json> entities, records;
  DeclaredModel() {
    json index = readModelPart("Korvalo/Model.json");
    for (const auto& subsystem : index["subsystems"]) {
      json part = readModelPart("Korvalo/" + subsystem.get<std::string>() + ".json");
      for (const auto& e : part.value("entities", json::array())) entities[e["name"]] = e;
      for (const auto& r : part.value("records", json::array())) records[r["name"]] = r;
    }
  }
  // The declarations from the root down to `name`; a transient record without a parent
  // derives from BaseMappableObject.
  std::vector<json> chain(const std::map<std::string, json>& table, std::string name) const {
    const bool transient = &table == &records;
    std::vector<json> out;
    for (auto it = table.find(name); it != table.end(); it = table.find(name)) {
      out.insert(out.begin(), it->second);
      // "parent": null declares a root class.
      const json parent = it->second.value(
          "parent", json(transient && name != "BaseMappableObject" ? "BaseMappableObject" : ""));
      name = parent.is_string() ? parent.get<std::string>() : "";
    }
    return out;
  }
  template <class T>
  std::optional<T> nearest(const std::vector<json>& chain, const char* key) const {
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
      if (it->contains(key)) return (*it)[key].get<T>();
    return std::nullopt;
  }
};

std::string classOf(const json& e) {
  return e.value("class", e["name"].get<std::string>());
}

// Mappings that a hand-written class changes on purpose, beyond what its model entry says:
// a chat message maps its media fields through setters; a support photo sends only its bytes.
void applyHandWrittenMappingChanges(const std::string& className, MappingDictionary& keys) {
  if (className == "ChatMessageEntity") {
    keys["photoUrl"] = "photo";
    keys["videoPreviewUrls"] = "video_preview";
    keys["videoUrl"] = "video_url";
  } else if (className == "SupportPhotoAddRequest") {
    keys = {{"data", "photo"}};
  }
}

TEST_F(ProfileStoreTest, EveryEntityClassAgreesWithItsModelDeclaration) {
  DeclaredModel model;
  ASSERT_GE(model.entities.size(), 11u);
  for (const auto& [name, entity] : model.entities) {
    SCOPED_TRACE(name);
    const RecordClass* cls = RecordClasses::classNamed(classOf(entity));
    ASSERT_NE(cls, nullptr);
    EXPECT_TRUE(cls->isEntityClass());
    const auto chain = model.chain(model.entities, name);
    EXPECT_EQ(cls->superclassName(), chain.size() > 1 ? classOf(chain[chain.size() - 2]) : "");
    if (entity.value("abstract", false)) continue;

    // Attributes under their own names unless a server key is declared; mapped relationships
    // likewise; the bases' fixed keys on top.
    MappingDictionary keys;
    RelationshipDictionary relationships;
    bool uuidBase = false;
    for (const auto& level : chain) {
      uuidBase = uuidBase || level["name"] == "BaseUUIDEntity";
      for (const auto& a : level.value("attributes", json::array()))
        if (a.value("mapped", true))  // device-only attributes are not mapped
          keys[a["name"]] = a.value("serverKey", a["name"].get<std::string>());
      for (const auto& r : level.value("relationships", json::array())) {
        if (!r.value("mapped", false) && !r.contains("serverKey")) continue;
        keys[r["name"]] = r.value("serverKey", r["name"].get<std::string>());
        relationships[r["name"]] = classOf(model.entities.at(r["destination"]));
      }
    }
    keys["entityID"] = "id";
    if (uuidBase) {
      keys["entityStatusString"] = "status";
      keys.erase("entitySyncState");
    }
    applyHandWrittenMappingChanges(name, keys);
    EXPECT_EQ(cls->attributeMappings(), keys);
    EXPECT_EQ(cls->relationshipMappings(), relationships);
    EXPECT_EQ(cls->identificationAttributes(),
              model.nearest<std::vector<std::string>>(chain, "identification")
                  .value_or(std::vector<std::string>{"entityID"}));
    EXPECT_EQ(cls->rootKeyPath(), model.nearest<std::string>(chain, "rootKeyPath"));
    EXPECT_EQ(cls->pluralRootKeyPath(), model.nearest<std::string>(chain, "pluralRootKeyPath"));

    // The store instantiates the class registered for the entity (hand-written where there is
    // one), so typed relationship accessors see the same class.
    perform([&] {
      ManagedObject* object = context->insertNewObject(name);
      ASSERT_NE(object, nullptr);
      EXPECT_NE(typeid(*object), typeid(ManagedObject));
      EXPECT_TRUE(dynamic_cast<BaseMappableEntity*>(object));
      context->deleteObject(object);
    });
  }
  EXPECT_EQ(recordClassMismatches(*store->managedObjectModel()), std::vector<std::string>{});
}

TEST_F(ProfileStoreTest, EveryTransientRecordClassAgreesWithItsModelDeclaration) {
  DeclaredModel model;
  ASSERT_GE(model.records.size(), 6u);
  for (const auto& [name, record] : model.records) {
    SCOPED_TRACE(name);
    const RecordClass* found = RecordClasses::classNamed(name);
    ASSERT_NE(found, nullptr);
    EXPECT_FALSE(found->isEntityClass());
    const auto* cls = dynamic_cast<const BaseMappableObject::Class*>(found);
    ASSERT_NE(cls, nullptr);
    const auto chain = model.chain(model.records, name);
    EXPECT_EQ(cls->superclassName(), chain.size() > 1 ? classOf(chain[chain.size() - 2]) : "");
    if (record.value("abstract", false)) continue;

    MappingDictionary keys;
    RelationshipDictionary relationships;
    std::vector<std::string> fields;
    for (const auto& level : chain) {
      if (level["name"] == "BaseUUIDObject") {
        keys["guid"] = "guid";
        fields.push_back("guid");
      }
      for (const auto& f : level.value("fields", json::array())) {
        fields.push_back(f["name"]);
        if (f.value("mapped", true))
          keys[f["name"]] = f.value("serverKey", f["name"].get<std::string>());
      }
      for (const auto& r : level.value("relationships", json::array())) {
        fields.push_back(r["name"]);
        keys[r["name"]] = r.value("serverKey", r["name"].get<std::string>());
        relationships[r["name"]] = r["destination"];
      }
    }
    applyHandWrittenMappingChanges(name, keys);
    EXPECT_EQ(cls->attributeMappings(), keys);
    EXPECT_EQ(cls->relationshipMappings(), relationships);
    std::vector<std::string> declared;
    for (const auto& property : cls->allProperties()) declared.push_back(property.name);
    EXPECT_EQ(declared, fields);
    EXPECT_EQ(cls->rootKeyPath(), model.nearest<std::string>(chain, "rootKeyPath"));
    auto instance = cls->newInstance();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(instance->className(), name);
  }
}

TEST_F(ProfileStoreTest, EveryHandbookEntityIsMadeOfItsOwnClass) {
  json entities = json::array();
  const json index = readModelPart("Handbook/Model.json");
  for (const auto& subsystem : index["subsystems"]) {
    const json part = readModelPart("Handbook/" + subsystem.get<std::string>() + ".json");
    for (const auto& e : part["entities"]) entities.push_back(e);
  }
  auto model = ManagedObjectModel::named("Handbook");
  ASSERT_NE(model, nullptr);
  ASSERT_EQ(model->entities().size(), entities.size());
  for (const auto& entity : entities) {
    SCOPED_TRACE(entity["name"].get<std::string>());
    ASSERT_NE(model->entityNamed(entity["name"].get<std::string>()), nullptr);
    if (entity.value("abstract", false)) continue;
    auto object = ManagedObjectClasses::create(classOf(entity));
    ASSERT_NE(object, nullptr);
    EXPECT_NE(typeid(*object), typeid(ManagedObject));
    // Entities with a hand-written class are made of it, not of the generated base.
    if (entity.contains("handWritten")) {
      EXPECT_EQ(std::string(typeid(*object).name()).find("Generated"), std::string::npos);
    }
  }
  EXPECT_EQ(recordClassMismatches(*model, false), std::vector<std::string>{});
}

// A class registered against an entity it no longer matches: every wrong declaration is
// listed by class and field.
class DriftedEntity : public BaseMappableEntity {
 public:
  class Class : public BaseMappableEntity::Class {
   public:
    using BaseMappableEntity::Class::Class;
    MappingDictionary attributeMappings() const override {
      return {{"entityID", "id"}, {"title", "title"}, {"colour", "colour"}};
    }
    RelationshipDictionary relationshipMappings() const override {
      return {{"owner", "CityEntity"}, {"missing", "CityEntity"}};
    }
    std::optional<std::vector<std::string>> identificationAttributes() const override {
      return std::vector<std::string>{"serial"};
    }
    std::map<std::string, ForeignKeyRelation> foreignKeyRelations() const override {
      return {{"owner", {"ownerId", "entityID"}}};
    }
  };
};

TEST(RecordClassCheck, ListsEveryMismatchByClassAndField) {
  auto model = ManagedObjectModel::fromJson(R"({"name": "Drift", "entities": [
    {"name": "DriftBase", "abstract": true,
     "attributes": [{"name": "entityID", "type": "integer64"}]},
    {"name": "DriftOwner", "class": "DriftOwnerEntity", "parent": "DriftBase"},
    {"name": "Drifted", "class": "DriftedCheckEntity", "parent": "DriftBase",
     "attributes": [{"name": "title", "type": "string"}],
     "relationships": [{"name": "owner", "destination": "DriftOwner"}]},
    {"name": "Unregistered", "class": "UnregisteredCheckEntity", "parent": "DriftBase"}]})");
  RecordClasses::registerClass(
      std::make_unique<DriftedEntity::Class>("DriftedCheckEntity", "BaseMappableEntity"));
  RecordClasses::registerClass(
      std::make_unique<BaseMappableObject::Class>("DriftOwnerEntity", "DriftBase"));

  EXPECT_EQ(recordClassMismatches(*model),
            (std::vector<std::string>{
                "DriftOwnerEntity: registered as a transient record class",
                "DriftedCheckEntity: registered with superclass \"BaseMappableEntity\", the "
                "model says \"DriftBase\"",
                "DriftedCheckEntity.missing: mapped as a relationship, but the entity has no "
                "such relationship",
                "DriftedCheckEntity.owner: mapped to class \"CityEntity\", the model's "
                "destination is \"DriftOwnerEntity\"",
                "DriftedCheckEntity.colour: mapped to \"colour\", but the entity has no such field",
                "DriftedCheckEntity.serial: identification attribute missing from the entity",
                "DriftedCheckEntity.owner: foreign key source \"ownerId\" is not an attribute",
                "UnregisteredCheckEntity: not registered (entity Unregistered)",
            }));
}

}  // namespace
}  // namespace dm::test
