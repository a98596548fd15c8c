// `dmctl serialize`: builds a transient record from JSON field values and prints the tree that
// would be sent to the server.
#include <cstdio>

#include "Mapping/Records/BaseMappableObject.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

struct SerializeArguments {
  std::string className;
  std::string file;
};

void run(const SerializeArguments& arguments, const GlobalOptions& options) {
  applyGlobalOptions(options);
  const auto* cls = dynamic_cast<const dm::BaseMappableObject::Class*>(
      dm::RecordClasses::classNamed(arguments.className));
  if (!cls)
    throw CommandError("no transient record class named \"" + arguments.className +
                           "\" (dmctl classes lists them)",
                       ErrorCode::NotFound);
  auto record = cls->newInstance();
  if (!record)
    throw CommandError(arguments.className + " cannot be instantiated",
                       dm::ErrorCode::InvalidInput);

  auto fields =
      nlohmann::json::parse(readInputFile(arguments.file), nullptr, /*allow_exceptions=*/false);
  if (fields.is_discarded())
    throw CommandError(arguments.file + " is not JSON", dm::ErrorCode::InvalidInput);
  if (!fields.is_object())
    throw CommandError(arguments.file + " must hold an object of fields",
                       dm::ErrorCode::InvalidInput);
  for (auto it = fields.begin(); it != fields.end(); ++it) {
    if (!record->setValueForKey(it.key(), dm::RecordValue::fromJson(*it))) {
      throw CommandError(arguments.className + " declares no field \"" + it.key() + "\"",
                         dm::ErrorCode::InvalidInput);
    }
  }
  std::printf("%s\n", record->serialized().description().dump(options.json ? -1 : 2).c_str());
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static SerializeArguments arguments;
  auto* command = app.add_subcommand(
      "serialize", "Print the tree a transient record sends, built from a JSON object of fields");
  command->add_option("class", arguments.className, "Transient record class name")->required();
  command->add_option("file", arguments.file, "JSON file: {field name: value}")->required();
  command->callback([&options] { run(arguments, options); });
}

const CommandRegistration registration("serialize", &setup);

}  // namespace
}  // namespace dmctl
