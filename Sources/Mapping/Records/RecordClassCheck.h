// Compares the registered record classes with a store model, so a class that drifted from the
// model (a missing registration, a mapping naming a field the entity lacks, a relationship
// mapped to the wrong class) is reported when the library opens, not when a payload arrives.
#pragma once

#include <string>
#include <vector>

namespace dm {

class ManagedObjectModel;

// One line per mismatch, "Class.field: what is wrong" (or "Class: ..." for the class as a
// whole), in entity order; empty when every concrete entity's class is registered and agrees
// with the model. Classes the registry does not hold as record classes (models whose records
// are not mapped) are checked only when `requireRegistration` is true. Reading the automatic
// mappings needs the "objectStore" of the record layer for `model`. Any thread.
std::vector<std::string> recordClassMismatches(const ManagedObjectModel& model,
                                               bool requireRegistration = true);

}  // namespace dm
