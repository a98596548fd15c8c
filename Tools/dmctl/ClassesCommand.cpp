// `dmctl classes`: the registered record classes `map` and `serialize` accept, with their
// kind, root key paths and identification attributes, read from the class registry and the
// embedded store models.
#include <cstdio>
#include <string>

#include "Mapping/Records/RecordClass.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "dmctl/Command.h"
#include "dmctl/JsonOutput.h"

namespace dmctl {
namespace {

// Transient classes whose name, or an ancestor's, says "Request" are sent to the server;
// the other transient classes are read from its answers.
bool isRequestClass(const dm::RecordClass& cls) {
  for (const dm::RecordClass* at = &cls; at; at = at->superclass())
    if (at->name().find("Request") != std::string::npos) return true;
  return cls.superclassName().find("Request") != std::string::npos;
}

nlohmann::json optionalText(const std::optional<std::string>& text) {
  return text ? nlohmann::json(*text) : nlohmann::json(nullptr);
}

nlohmann::json describeClasses() {
  const auto mainModel = dm::ManagedObjectModel::named("Korvalo");
  const auto handbookModel = dm::ManagedObjectModel::named("Handbook");
  nlohmann::json classes = nlohmann::json::array();
  for (const auto& name : dm::RecordClasses::classNames()) {
    const dm::RecordClass* cls = dm::RecordClasses::classNamed(name);
    if (!cls) continue;
    nlohmann::json entry = {{"name", name}, {"superclass", cls->superclassName()}};
    if (cls->isEntityClass()) {
      entry["kind"] = "entity";
      const dm::EntityDescription* entity = nullptr;
      for (const auto& model : {mainModel, handbookModel}) {
        if (model && !entity) {
          entity = model->entityForClassName(name);
          if (entity) entry["store"] = model->name();
        }
      }
      // A base class with no entity of its own is only inherited from.
      entry["entity"] = entity ? nlohmann::json(entity->name()) : nlohmann::json(nullptr);
    } else {
      entry["kind"] = isRequestClass(*cls) ? "request" : "response";
    }
    entry["rootKeyPath"] = optionalText(cls->rootKeyPath());
    entry["pluralRootKeyPath"] = optionalText(cls->pluralRootKeyPath());
    auto identification = cls->identificationAttributes();
    entry["identificationAttributes"] =
        identification ? nlohmann::json(*identification) : nlohmann::json(nullptr);
    classes.push_back(std::move(entry));
  }
  return classes;
}

std::string joined(const nlohmann::json& list) {
  if (!list.is_array() || list.empty()) return "-";
  std::string text;
  for (const auto& item : list) text += (text.empty() ? "" : ",") + item.get<std::string>();
  return text;
}

void setup(CLI::App& app, const GlobalOptions& options) {
  auto* command = app.add_subcommand(
      "classes", "List the record classes map and serialize accept, with kind and key paths");
  command->callback([&options] {
    applyGlobalOptions(options);
    nlohmann::json classes = describeClasses();
    if (options.json) return printJson(classes);
    std::printf("%-36s %-8s %-22s %s\n", "class", "kind", "root key path", "identified by");
    for (const auto& entry : classes) {
      std::string root = entry["rootKeyPath"].is_string() ? entry["rootKeyPath"].get<std::string>()
                                                          : std::string("-");
      if (entry["pluralRootKeyPath"].is_string())
        root += " / " + entry["pluralRootKeyPath"].get<std::string>();
      std::printf("%-36s %-8s %-22s %s\n", entry["name"].get<std::string>().c_str(),
                  entry["kind"].get<std::string>().c_str(), root.c_str(),
                  joined(entry["identificationAttributes"]).c_str());
    }
  });
}

const CommandRegistration registration("classes", &setup);

}  // namespace
}  // namespace dmctl
