// `dmctl map`: maps a payload with a record class's response mapping into the main store (or,
// with --model, a store file of that model) and lists the records it created or updated.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "DataModel.h"
#include "Mapping/Records/BaseMappableEntity.h"
#include "Mapping/Records/MappingStore.h"
#include "Mapping/Records/ModelMapper.h"
#include "Mapping/Records/ModelMetadata.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/ValueTransformer.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

struct MapArguments {
  std::string className;
  std::string file;
  std::string keyPath;
  std::string model;
  bool save = false;
  bool nested = false;
};

std::string readText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CommandError("cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::shared_ptr<const dm::ManagedObjectModel> loadModel(const std::string& path) {
  if (path.empty()) return dm::ManagedObjectModel::named("Korvalo");
  try {
    return dm::ManagedObjectModel::fromJson(readText(path));
  } catch (const dm::StoreError& error) {
    throw CommandError("invalid model " + path + ": " + error.what());
  }
}

// The class's descriptor. An entity of the model whose record class nobody registered is
// mapped with the bases' automatic mappings, so any model can be tried out.
const dm::BaseMappableEntity::Class& entityClass(const std::string& name,
                                                 const dm::ManagedObjectModel& model) {
  const dm::RecordClass* cls = dm::RecordClasses::classNamed(name);
  if (!cls) {
    if (!model.entityForClassName(name)) {
      throw CommandError("no record class or entity class named \"" + name + "\"");
    }
    cls = &dm::RecordClasses::registerClass(
        std::make_unique<dm::BaseMappableEntity::Class>(name, "BaseMappableEntity"));
  }
  const auto* entity = dynamic_cast<const dm::BaseMappableEntity::Class*>(cls);
  if (!entity) throw CommandError(name + " is not a stored record class");
  return *entity;
}

// The object's attributes and relationships. With `nested`, related records are shown with
// their own values (their relationships as references); otherwise a to-one is its record's
// URI and a to-many its size, so records that point back to each other print once.
nlohmann::json describe(const dm::ManagedObject& object, bool nested) {
  nlohmann::json values = nlohmann::json::object();
  for (const auto& attribute : object.entity().attributes()) {
    dm::Value value = object.valueAt(attribute.index);
    // Dictionaries and lists show as the trees they hold.
    values[attribute.name] = dm::isStructured(attribute.type) && !value.isNull()
                                 ? dm::structureFromValue(value, attribute.type)
                                 : dm::jsonFromValue(value);
  }
  for (const auto& relationship : object.entity().relationships()) {
    if (relationship.toMany) {
      const auto& related = object.toManyAt(relationship.index);
      if (!nested) {
        values[relationship.name] = related.size();
        continue;
      }
      nlohmann::json list = nlohmann::json::array();
      for (const dm::ManagedObject* member : related) list.push_back(describe(*member, false));
      values[relationship.name] = std::move(list);
    } else if (auto* related = object.toOneAt(relationship.index)) {
      values[relationship.name] = nested ? describe(*related, false)
                                         : nlohmann::json(related->objectID().uriRepresentation());
    }
  }
  return values;
}

void run(const MapArguments& arguments, const GlobalOptions& options) {
  applyGlobalOptions(options);
  auto model = loadModel(arguments.model);
  const auto& cls = entityClass(arguments.className, *model);
  std::string payload = readText(arguments.file);

  auto path = dm::Directories::shared()->documentsDirectory() / "Korvalo.sqlite";
  std::shared_ptr<dm::ManagedObjectContext> context;
  std::shared_ptr<dm::ManagedObjectStore> mainStore;
  auto injector = dm::Injector::defaultInjector();
  if (arguments.model.empty()) {
    // The application's own store, opened as the application opens it: its recovery, the
    // services that come with it and the check of the record classes.
    dm::DataModelOptions open;
    open.useRootContextForClassOperations = true;
    try {
      mainStore = dm::DataModel::open(open)->mainStore();
    } catch (const std::runtime_error& error) {
      throw CommandError(std::string("the main store is unavailable: ") + error.what());
    }
    if (!mainStore) throw CommandError("the main store is unavailable");
    // Mapping into a memory-only store would report records that vanish with the process.
    if (mainStore->isInMemory()) {
      auto reason =
          storeUnavailableReason("the main store " + path.string(), mainStore->openError());
      if (arguments.save) throw NotWrittenError(reason + "; nothing was saved");
      throw CommandError(reason);
    }
    context = mainStore->persistentStoreManagedObjectContext();
  } else {
    std::shared_ptr<dm::PersistentMappingStore> store;
    try {
      store = dm::PersistentMappingStore::open(model, dm::StoreType::SQLite, path.string());
    } catch (const dm::StoreError& error) {
      std::string reason = "cannot open " + path.string() + " (" +
                           dm::storeFailureKindName(error.kind()) + "): " + error.what();
      if (arguments.save) throw NotWrittenError(reason + "; nothing was saved");
      throw CommandError(reason);
    }
    injector->registerProvider<dm::MappingStore>("objectStore", [store](dm::Injector&) {
      return std::static_pointer_cast<dm::MappingStore>(store);
    });
    context = store->defaultContext();
  }
  auto mapper = dm::ModelMapper::shared();
  if (!mapper) throw CommandError("the mapping registry is unavailable");
  auto mapping = mapper->responseMappingForClass(cls);

  std::string failure;
  bool notWritten = false;
  context->performAndWait([&] {
    try {
      dm::ManagedObjectDestination destination(*context);
      dm::MappingOperation operation(destination);
      auto result = operation.map(std::string_view(payload), arguments.keyPath, mapping);
      std::size_t created = 0, updated = 0;
      for (auto* object : dm::ManagedObjectDestination::objects(result.objects)) {
        const char* status = object->isInserted()   ? "created"
                             : object->hasChanges() ? "updated"
                                                    : "unchanged";
        if (object->isInserted()) ++created;
        if (!object->isInserted() && object->hasChanges()) ++updated;
        nlohmann::json line{{"status", status},
                            {"entity", object->entity().name()},
                            {"values", describe(*object, arguments.nested)}};
        std::printf("%s\n", line.dump(options.json ? -1 : 2).c_str());
      }
      for (const auto& skipped : result.skipped) {
        std::fprintf(stderr, "skipped %s (%s): %s\n", skipped.keyPath.c_str(),
                     skipped.className.c_str(), skipped.message.c_str());
      }
      if (arguments.save) context->save();
      std::printf("%zu record(s) mapped: %zu created, %zu updated%s\n", result.objects.size(),
                  created, updated, arguments.save ? ", saved" : " (not saved; use --save)");
    } catch (const dm::MappingError& error) {
      failure = error.what();
    } catch (const dm::StoreError& error) {
      failure = std::string("saving failed (") + dm::storeFailureKindName(error.kind()) +
                "): " + error.what() + "; nothing was saved";
      notWritten = arguments.save;
    }
  });
  if (notWritten) throw NotWrittenError(failure);
  if (!failure.empty()) throw CommandError(failure);
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static MapArguments arguments;
  auto* command = app.add_subcommand(
      "map", "Map a JSON payload into the main store with a record class's response mapping");
  command->add_option("class", arguments.className, "Record class name, e.g. ExerciseEntity")
      ->required();
  command->add_option("file", arguments.file, "JSON payload file")->required();
  command->add_option("--key-path", arguments.keyPath, "Key path of the records in the payload");
  command->add_option("--model", arguments.model,
                      "Store model JSON file to use instead of the embedded main model");
  command->add_flag("--save", arguments.save, "Save the mapped records into the store");
  command->add_flag("--nested", arguments.nested,
                    "Show related records with their values instead of references");
  command->callback([&options] { run(arguments, options); });
}

const CommandRegistration registration("map", &setup);

}  // namespace
}  // namespace dmctl
