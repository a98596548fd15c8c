// `dmctl map`: maps a payload with a record class's response mapping into the main store (or,
// with --model, a store file of that model) and prints a summary of the records it mapped
// (the records themselves with --print).
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <set>

#include "DataModel.h"
#include "Mapping/Records/BaseMappableEntity.h"
#include "Mapping/Records/MappingStore.h"
#include "Mapping/Records/ModelMapper.h"
#include "Mapping/Records/ModelMetadata.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/ObjectMapping/KeyPath.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/ValueTransformer.h"
#include "Platform/ObjectMapping/WindowedMapping.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Profile/SignedInUser.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"
#include "dmctl/JsonOutput.h"
#include "dmctl/Progress.h"
#include "dmctl/SkippedValues.h"

namespace dmctl {
namespace {

struct MapArguments {
  std::string className;
  std::string file;
  std::string keyPath;
  std::string model;
  bool save = false;
  bool nested = false;
  bool print = false;
};

std::shared_ptr<const dm::ManagedObjectModel> loadModel(const std::string& path) {
  if (path.empty()) return dm::ManagedObjectModel::named("Korvalo");
  try {
    return dm::ManagedObjectModel::fromJson(readInputFile(path));
  } catch (const dm::StoreError& error) {
    throw CommandError("invalid model " + path + ": " + error.what(), libraryCode(error));
  }
}

// The class's descriptor. An entity of the model whose record class nobody registered is
// mapped with the bases' automatic mappings, so any model can be tried out.
const dm::BaseMappableEntity::Class& entityClass(const std::string& name,
                                                 const dm::ManagedObjectModel& model) {
  const dm::RecordClass* cls = dm::RecordClasses::classNamed(name);
  if (!cls) {
    if (!model.entityForClassName(name)) {
      throw CommandError(
          "no record class or entity class named \"" + name + "\" (dmctl classes lists them)",
          ErrorCode::NotFound);
    }
    cls = &dm::RecordClasses::registerClass(
        std::make_unique<dm::BaseMappableEntity::Class>(name, "BaseMappableEntity"));
  }
  const auto* entity = dynamic_cast<const dm::BaseMappableEntity::Class*>(cls);
  if (!entity)
    throw CommandError(name + " is not a stored record class (dmctl classes lists them)",
                       dm::ErrorCode::InvalidInput);
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

// The first keys of the payload paths a mapping reads, for telling whether an object of
// the payload is a record of the class at all.
std::set<std::string> sourceKeys(const dm::ObjectMapping& mapping) {
  std::set<std::string> keys;
  for (const auto& attribute : mapping.attributeMappings())
    if (!attribute.source.segments.empty()) keys.insert(attribute.source.segments.front());
  for (const auto& relationship : mapping.relationshipMappings())
    if (!relationship.source.segments.empty()) keys.insert(relationship.source.segments.front());
  return keys;
}

std::size_t matchingKeys(const nlohmann::json& value, const std::set<std::string>& keys) {
  const nlohmann::json* record = &value;
  if (value.is_array() && !value.empty()) record = &value.front();
  if (!record->is_object()) return 0;
  std::size_t n = 0;
  for (auto it = record->begin(); it != record->end(); ++it) n += keys.count(it.key());
  return n;
}

// The key path under `value` whose records share the most keys with the mapping, searched a
// few levels deep; empty when none shares any.
std::string suggestedKeyPath(const nlohmann::json& value, const std::set<std::string>& keys,
                             const std::string& prefix, int depth, std::size_t& best) {
  std::string found;
  if (!value.is_object() || depth == 0) return found;
  for (auto it = value.begin(); it != value.end(); ++it) {
    std::string path = prefix.empty() ? it.key() : prefix + "." + it.key();
    if (std::size_t n = matchingKeys(it.value(), keys); n > best) {
      best = n;
      found = path;
    }
    std::string deeper = suggestedKeyPath(it.value(), keys, path, depth - 1, best);
    if (!deeper.empty()) found = deeper;
  }
  return found;
}

// Why a mapping that produced `mapped` top-level records mapped nothing, or empty when it
// did map something. A single object none of whose keys the mapping reads (a wrapped
// payload mapped at the wrong key path) counts as nothing: it would make an empty record.
std::string nothingMappedReason(std::string_view payload, const MapArguments& arguments,
                                const dm::ObjectMapping& mapping, std::size_t mapped) {
  if (mapped > 1) return {};
  auto tree = nlohmann::json::parse(payload, nullptr, /*allow_exceptions=*/false);
  if (tree.is_discarded()) return {};
  const nlohmann::json* node = &tree;
  for (const auto& key : dm::KeyPath(arguments.keyPath).segments) {
    if (!node->is_object() || !node->contains(key)) return {};
    node = &(*node)[key];
  }
  const auto keys = sourceKeys(mapping);
  const std::string where =
      arguments.keyPath.empty() ? "the payload's root" : "key path \"" + arguments.keyPath + "\"";
  std::string reason;
  if (mapped == 0)
    reason = "no " + arguments.className + " records at " + where;
  else if (matchingKeys(*node, keys) == 0)
    reason = "the object at " + where + " has none of the keys " + arguments.className +
             " reads, so it is not one of its records";
  else
    return {};
  std::size_t best = 0;
  std::string suggestion = suggestedKeyPath(*node, keys, arguments.keyPath, 4, best);
  if (!suggestion.empty()) reason += "; its records seem to be under --key-path " + suggestion;
  return reason;
}

struct MapSummary {
  std::size_t mapped = 0, inserted = 0, updated = 0, unchanged = 0, skipped = 0;
};

void run(const MapArguments& arguments, const GlobalOptions& options) {
  applyGlobalOptions(options);
  const auto started = std::chrono::steady_clock::now();
  Progress progress(options, "map " + arguments.className);
  progress.setPhase("reading");
  auto model = loadModel(arguments.model);
  const auto& cls = entityClass(arguments.className, *model);
  const dm::MappedFile payloadFile = mapInputFile(arguments.file);
  const std::string_view payload = payloadFile.text();

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
      throw CommandError(std::string("the main store is unavailable: ") + error.what(),
                         dm::ErrorCode::StoreUnavailable);
    }
    if (!mainStore)
      throw CommandError("the main store is unavailable", dm::ErrorCode::StoreUnavailable);
    // Mapping into a memory-only store would report records that vanish with the process.
    if (mainStore->isInMemory()) {
      auto reason =
          storeUnavailableReason("the main store " + path.string(), mainStore->openError());
      if (arguments.save) throw NotWrittenError(reason + "; nothing was saved");
      throw CommandError(reason, dm::ErrorCode::StoreUnavailable);
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
      throw CommandError(reason, dm::ErrorCode::StoreUnavailable);
    }
    injector->registerProvider<dm::MappingStore>("objectStore", [store](dm::Injector&) {
      return std::static_pointer_cast<dm::MappingStore>(store);
    });
    context = store->defaultContext();
  }
  auto mapper = dm::ModelMapper::shared();
  if (!mapper) throw CommandError("the mapping registry is unavailable");
  auto mapping = mapper->responseMappingForClass(cls);

  std::optional<CommandError> failure;
  MapSummary summary;
  // The profile answer ("user" holding one UserEntity) names the signed-in user.
  const bool profileAnswer =
      arguments.model.empty() && arguments.className == "UserEntity" && arguments.keyPath == "user";
  std::int64_t profileUserID = 0;
  nlohmann::json records = nlohmann::json::array();
  nlohmann::json skipped = nlohmann::json::array();
  progress.setPhase("mapping");
  // Counts (and with --print, describes) each mapped record before it is saved.
  auto observe = [&](const std::vector<dm::ManagedObject*>& objects) {
    for (auto* object : objects) {
      const char* status = object->isInserted()   ? "inserted"
                           : object->hasChanges() ? "updated"
                                                  : "unchanged";
      if (object->isInserted())
        ++summary.inserted;
      else if (object->hasChanges())
        ++summary.updated;
      else
        ++summary.unchanged;
      if (profileAnswer && summary.inserted + summary.updated + summary.unchanged == 1)
        if (auto* user = dynamic_cast<dm::BaseMappableEntity*>(object))
          profileUserID = user->entityID();
      if (arguments.print)
        records.push_back({{"status", status},
                           {"entity", object->entity().name()},
                           {"values", describe(*object, arguments.nested)}});
    }
    progress.update(summary.inserted + summary.updated + summary.unchanged, 0);
  };
  context->performAndWait([&] {
    try {
      if (arguments.save && !context->parentContext()) {
        // Saved imports go a window of records at a time into one transaction, so a large
        // payload needs memory for a window, not for all of it.
        dm::WindowedMappingOptions windowed;
        windowed.commitIf = [&](const dm::WindowedMappingResult& result) {
          const auto reason = nothingMappedReason(payload, arguments, *mapping, result.mapped);
          if (reason.empty()) return true;
          failure.emplace("nothing mapped: " + reason + "; nothing was saved",
                          ErrorCode::NothingMapped);
          return false;
        };
        progress.setPhase("mapping and saving");
        auto result = dm::WindowedMapping(*context, windowed)
                          .map(payloadFile, arguments.keyPath, mapping, observe);
        summary.mapped = result.mapped;
        summary.skipped = result.skippedCount;
        appendSkippedValues(skipped, result.skipped);
        return;
      }
      dm::ManagedObjectDestination destination(*context);
      dm::MappingOperation operation(destination);
      auto result = operation.map(payload, arguments.keyPath, mapping);
      summary.mapped = result.objects.size();
      summary.skipped = result.skippedCount;
      if (auto reason = nothingMappedReason(payload, arguments, *mapping, summary.mapped);
          !reason.empty()) {
        failure.emplace("nothing mapped: " + reason + "; nothing was saved",
                        ErrorCode::NothingMapped);
        return;
      }
      observe(dm::ManagedObjectDestination::objects(result.objects));
      appendSkippedValues(skipped, result.skipped);
      if (arguments.save) {
        progress.setPhase("saving");
        context->save();
      }
    } catch (const dm::MappingError& error) {
      failure.emplace(std::string("the payload cannot be mapped: ") + error.what(),
                      libraryCode(error));
    } catch (const dm::StoreError& error) {
      failure.emplace(saveFailure(error, arguments.save));
    }
  });
  progress.finish();
  if (failure) throw *failure;
  if (arguments.save && profileUserID > 0 &&
      !dm::signIn(*dm::SettingsStore::standard(), profileUserID))
    throw NotWrittenError(
        "the profile was saved but the signed-in user could not be written to "
        "the settings");

  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  nlohmann::json out = {
      {"class", arguments.className},   {"mapped", summary.mapped},
      {"inserted", summary.inserted},   {"updated", summary.updated},
      {"unchanged", summary.unchanged}, {"skipped", summary.skipped},
      {"saved", arguments.save},        {"seconds", std::round(seconds * 1000) / 1000}};
  if (!skipped.empty()) out["skippedValues"] = skipped;
  if (arguments.print) out["records"] = records;
  if (options.json) return printJson(out);

  for (const auto& record : records) printJson(record);
  printSkippedValues(skipped, options);
  std::printf(
      "%s: %zu record(s) mapped: %zu inserted, %zu updated, %zu unchanged, %zu skipped "
      "value(s) in %.2f s%s\n",
      arguments.className.c_str(), summary.mapped, summary.inserted, summary.updated,
      summary.unchanged, summary.skipped, seconds,
      arguments.save ? "; saved" : " (not saved; use --save)");
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static MapArguments arguments;
  auto* command = app.add_subcommand(
      "map",
      "Map a JSON payload into the main store with a record class's response mapping; "
      "prints a summary");
  command->add_option("class", arguments.className, "Record class name, e.g. ExerciseEntity")
      ->required();
  command->add_option("file", arguments.file, "JSON payload file")->required();
  command->add_option("--key-path", arguments.keyPath, "Key path of the records in the payload");
  command->add_option("--model", arguments.model,
                      "Store model JSON file to use instead of the embedded main model");
  command->add_flag("--save", arguments.save, "Save the mapped records into the store");
  command->add_flag("--print", arguments.print, "Print the mapped records, not only the summary");
  command->add_flag("--nested", arguments.nested,
                    "Show related records with their values instead of references");
  command->callback([&options] { run(arguments, options); });
}

const CommandRegistration registration("map", &setup);

}  // namespace
}  // namespace dmctl
