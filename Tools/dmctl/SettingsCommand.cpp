// `dmctl settings`: lists, reads, sets and removes entries of the device settings store.
#include <cstdio>
#include <string>

#include "Platform/Foundation/SettingsStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

struct SettingsArguments {
  std::string key;
  std::string value;
  bool date = false;
};

void print(const nlohmann::json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void save(dm::SettingsStore& store) {
  if (!store.synchronize()) {
    throw NotWrittenError("could not save settings to " + store.filePath().string() +
                          " (the change was not stored; --verbose shows why)");
  }
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static SettingsArguments arguments;
  auto* command = app.add_subcommand(
      "settings", "List the device settings as JSON, or get, set or remove one entry");
  command->require_subcommand(0, 1);

  command->callback([command, &options] {
    if (!command->get_subcommands().empty()) return;
    applyGlobalOptions(options);
    print(dm::SettingsStore::standard()->dictionaryRepresentation());
  });

  auto* get = command->add_subcommand("get", "Print one entry's value as JSON");
  get->add_option("key", arguments.key, "Settings key")->required();
  get->callback([&options] {
    applyGlobalOptions(options);
    auto value = dm::SettingsStore::standard()->objectForKey(arguments.key);
    if (!value)
      throw CommandError("no setting named \"" + arguments.key + "\"", ErrorCode::NotFound);
    print(*value);
  });

  auto* set = command->add_subcommand("set", "Store a JSON value (null removes the entry)");
  set->add_option("key", arguments.key, "Settings key")->required();
  set->add_option("value", arguments.value, "JSON value, e.g. 1, 2.5, true, '\"EUR\"', '[1,2]'")
      ->required();
  set->add_flag("--date", arguments.date, "Store the number as a date (seconds since 1970)");
  set->callback([&options] {
    auto value = nlohmann::json::parse(arguments.value, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) {
      throw CommandError(
          "not a JSON value: " + arguments.value + " (texts need JSON quotes, e.g. '\"EUR\"')",
          dm::ErrorCode::InvalidInput);
    }
    if (arguments.date && !value.is_number()) {
      throw CommandError("--date needs a number of seconds since 1970",
                         dm::ErrorCode::InvalidInput);
    }
    applyGlobalOptions(options);
    auto store = dm::SettingsStore::standard();
    if (arguments.date) {
      store->setDate(arguments.key, dm::Date(value.get<double>()));
    } else {
      store->setObject(arguments.key, value);
    }
    save(*store);
    if (options.json)
      print({{"key", arguments.key},
             {"value", store->objectForKey(arguments.key).value_or(nullptr)}});
  });

  auto* remove = command->add_subcommand("remove", "Remove one entry (absent keys are fine)");
  remove->add_option("key", arguments.key, "Settings key")->required();
  remove->callback([&options] {
    applyGlobalOptions(options);
    auto store = dm::SettingsStore::standard();
    store->remove(arguments.key);
    save(*store);
    if (options.json) print({{"key", arguments.key}, {"removed", true}});
  });
}

const CommandRegistration registration("settings", &setup);

}  // namespace
}  // namespace dmctl
