// `dmctl store`: what the main store holds (`info`) and its records as JSON (`query`).
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Directories.h"
#include "Platform/ObjectStore/Predicate.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"
#include "dmctl/CommandTree.h"

namespace dmctl {
namespace {

struct QueryArguments {
  std::string entity;
  std::string where;
  std::string sort;
  std::size_t limit = 0;
};

void print(const nlohmann::json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

std::shared_ptr<dm::ManagedObjectStore> openStore(const GlobalOptions& options) {
  applyGlobalOptions(options);
  auto store = dm::ManagedObjectStore::initWithModelName(dm::ManagedObjectStore::modelName);
  if (!store || !store->persistentStore())
    throw CommandError("the main store could not be opened", dm::ErrorCode::StoreUnavailable);
  // A memory-only store would show nothing, as if the file were empty.
  if (store->isInMemory())
    throw CommandError(storeUnavailableReason(
                           "the main store " + (dm::Directories::shared()->documentsDirectory() /
                                                dm::ManagedObjectStore::dataBaseFileName)
                                                   .string(),
                           store->openError()),
                       dm::ErrorCode::StoreUnavailable);
  return store;
}

std::string isoDate(dm::Date date) {
  std::time_t seconds = static_cast<std::time_t>(date.timeIntervalSince1970);
  std::tm utc{};
  if (!gmtime_r(&seconds, &utc)) return std::to_string(date.timeIntervalSince1970);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

nlohmann::json toJson(const dm::Value& value) {
  if (value.isNull()) return nullptr;
  if (value.isBool()) return value.asBool();
  if (value.isInteger()) return value.asInt64();
  if (value.isDouble()) return value.asDouble();
  if (value.isString()) return value.asString();
  if (value.isDate()) return isoDate(value.asDate());
  return "<" + std::to_string(value.asBlob().size()) + " bytes>";
}

// Attributes by name, to-one relationships as the related row's key, plus the entity and
// object identifier so rows of sub-entities can be told apart.
nlohmann::json record(const dm::ManagedObject& object) {
  nlohmann::json json = nlohmann::json::object();
  json["_entity"] = object.entity().name();
  json["_id"] = object.objectID().uriRepresentation();
  for (const auto& attribute : object.entity().attributes())
    json[attribute.name] = toJson(object.valueAt(attribute.index));
  for (const auto& relationship : object.entity().relationships())
    if (!relationship.toMany)
      json[relationship.name] = toJson(object.valueForKey(relationship.name));
  return json;
}

void info(const GlobalOptions& options) {
  auto store = openStore(options);
  auto persistent = store->persistentStore();
  const auto& model = *store->managedObjectModel();
  nlohmann::json entities = nlohmann::json::object();
  for (const auto& [name, rows] : persistent->rowCounts()) entities[name] = rows;
  nlohmann::json json = {
      {"path", store->isInMemory() ? nlohmann::json(nullptr) : nlohmann::json(persistent->path())},
      {"inMemory", store->isInMemory()},
      {"model", model.name()},
      {"modelHash", model.hash()},
      {"storedModelHash", persistent->storedModelHash()},
      {"entities", entities},
  };
  if (options.json) return print(json);
  std::printf("file: %s\n", store->isInMemory() ? "(memory only: the file could not be opened)"
                                                : persistent->path().c_str());
  std::printf("model: %s (hash %s)\n", model.name().c_str(), model.hash().c_str());
  std::printf("entities:\n");
  if (entities.empty()) std::printf("  (no concrete entities)\n");
  for (const auto& [name, rows] : entities.items())
    std::printf("  %s: %lld rows\n", name.c_str(),
                static_cast<long long>(rows.get<std::int64_t>()));
}

dm::SortDescriptor parseSort(const std::string& text) {
  dm::SortDescriptor sort;
  auto colon = text.rfind(':');
  sort.keyPath = text.substr(0, colon);
  if (colon != std::string::npos) {
    std::string direction = text.substr(colon + 1);
    if (direction == "desc")
      sort.ascending = false;
    else if (direction != "asc")
      throw CommandError("--sort takes KEY, KEY:asc or KEY:desc", dm::ErrorCode::InvalidInput);
  }
  if (sort.keyPath.empty()) throw CommandError("--sort needs a key", dm::ErrorCode::InvalidInput);
  return sort;
}

void query(const GlobalOptions& options, const QueryArguments& arguments) {
  auto store = openStore(options);
  const auto* entity = store->managedObjectModel()->entityNamed(arguments.entity);
  if (!entity) {
    std::string known;
    for (const auto* e : store->managedObjectModel()->entities())
      known += (known.empty() ? "" : ", ") + e->name();
    throw CommandError("no entity named \"" + arguments.entity +
                           "\" (the model has: " + (known.empty() ? "none" : known) + ")",
                       ErrorCode::NotFound);
  }
  dm::FetchRequest request(entity);
  if (!arguments.where.empty()) {
    try {
      request.predicate = dm::Predicate::parse(arguments.where);
    } catch (const dm::PredicateError& error) {
      throw CommandError(std::string("--where: ") + error.what(), libraryCode(error));
    }
  }
  if (!arguments.sort.empty()) request.sortDescriptors.push_back(parseSort(arguments.sort));
  request.fetchLimit = arguments.limit;

  auto context = store->newPrivateQueueContext("dmctl.store.query");
  nlohmann::json rows = nlohmann::json::array();
  std::optional<CommandError> failure;
  context->performAndWait([&] {
    try {
      for (const auto* object : context->executeFetchRequest(request))
        rows.push_back(record(*object));
    } catch (const dm::Error& error) {  // a key the model lacks, a store that fails
      failure.emplace(error.what(), libraryCode(error));
    } catch (const std::exception& error) {
      failure.emplace(error.what());
    }
  });
  if (failure) throw *failure;
  print(rows);
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static QueryArguments arguments;
  auto* command = app.add_subcommand("store", "Inspect the main store");
  command->require_subcommand(1);

  auto* infoCommand =
      command->add_subcommand("info", "Show the store file, its model and row counts");
  infoCommand->callback([&options] { info(options); });

  auto* queryCommand = command->add_subcommand("query", "Print an entity's records as JSON");
  queryCommand->add_option("entity", arguments.entity, "Entity name")->required();
  queryCommand->add_option("--where", arguments.where,
                           "Filter, e.g. 'entityID > 10 AND guid != nil'");
  queryCommand->add_option("--sort", arguments.sort, "Sort key, optionally KEY:desc");
  queryCommand->add_option("--limit", arguments.limit, "At most N records (0: all)")
      ->check(nonNegativeNumber());
  queryCommand->callback([&options] { query(options, arguments); });
}

const CommandRegistration registration("store", &setup);

}  // namespace
}  // namespace dmctl
