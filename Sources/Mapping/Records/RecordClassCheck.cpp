// The check of registered record classes against a store model.
#include "Mapping/Records/RecordClassCheck.h"

#include "Mapping/Records/RecordClass.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"

namespace dm {
namespace {

bool hasField(const EntityDescription& entity, const std::string& name) {
  return entity.attributeNamed(name) || entity.relationshipNamed(name);
}

void checkEntity(const ManagedObjectModel& model, const EntityDescription& entity,
                 const RecordClass& cls, std::vector<std::string>& out) {
  const std::string& name = cls.name();
  auto report = [&](const std::string& field, const std::string& what) {
    out.push_back(name + (field.empty() ? "" : "." + field) + ": " + what);
  };
  if (!cls.isEntityClass()) report("", "registered as a transient record class");
  const std::string parentClass = entity.parent() ? entity.parent()->className() : "";
  if (cls.superclassName() != parentClass)
    report("", "registered with superclass \"" + cls.superclassName() + "\", the model says \"" +
                   parentClass + "\"");
  for (const auto& [field, destinationClass] : cls.relationshipMappings()) {
    const RelationshipDescription* relationship = entity.relationshipNamed(field);
    if (!relationship) {
      report(field, "mapped as a relationship, but the entity has no such relationship");
      continue;
    }
    const EntityDescription* destination = model.entityNamed(relationship->destinationName);
    const RecordClass* mapped = RecordClasses::classNamed(destinationClass);
    bool fits = destination && (destination->className() == destinationClass ||
                                (mapped && mapped->isSubclassOfClass(destination->className())));
    if (!fits)
      report(field, "mapped to class \"" + destinationClass + "\", the model's destination is \"" +
                        (destination ? destination->className() : relationship->destinationName) +
                        "\"");
  }
  // A field the class takes through a setter of its own is mapped without being stored.
  for (const auto& [field, serverKey] : cls.attributeMappings())
    if (!hasField(entity, field) && !ManagedObjectClasses::setterFor(entity.className(), field))
      report(field, "mapped to \"" + serverKey + "\", but the entity has no such field");
  if (auto identification = cls.identificationAttributes())
    for (const auto& field : *identification)
      if (!entity.attributeNamed(field))
        report(field, "identification attribute missing from the entity");
  for (const auto& [field, key] : cls.foreignKeyRelations()) {
    const RelationshipDescription* relationship = entity.relationshipNamed(field);
    if (!relationship) {
      report(field, "foreign key on a relationship the entity lacks");
      continue;
    }
    if (!entity.attributeNamed(key.sourceAttribute))
      report(field, "foreign key source \"" + key.sourceAttribute + "\" is not an attribute");
    const EntityDescription* destination = model.entityNamed(relationship->destinationName);
    if (destination && !destination->attributeNamed(key.destinationAttribute))
      report(field, "foreign key destination \"" + key.destinationAttribute +
                        "\" is not an attribute of " + destination->name());
  }
}

}  // namespace

std::vector<std::string> recordClassMismatches(const ManagedObjectModel& model,
                                               bool requireRegistration) {
  std::vector<std::string> out;
  for (const EntityDescription* entity : model.entities()) {
    const RecordClass* cls = RecordClasses::classNamed(entity->className());
    if (!cls) {
      if (requireRegistration && !entity->isAbstract())
        out.push_back(entity->className() + ": not registered (entity " + entity->name() + ")");
      continue;
    }
    checkEntity(model, *entity, *cls, out);
  }
  return out;
}

}  // namespace dm
