// `dmctl outbox [list|body N|ack ANSWER.json]`: the requests the device still has to send, in
// order, one request's body, and the server's acknowledgement mapped back onto the records.
#include <cstdio>

#include "Platform/Foundation/SettingsStore.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Profile/SignedInUser.h"
#include "Sync/Outbox.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

// The outbox of the opened main store, for the signed-in user.
dm::Outbox outboxOf(dm::ManagedObjectContext& context) {
  return dm::Outbox(context, dm::signedInUserId(*dm::SettingsStore::standard()));
}

nlohmann::json itemJson(std::size_t number, const dm::OutboxItem& item) {
  return {{"number", number},
          {"answerKey", dm::outboxAnswerKey(item.kind)},
          {"keys", item.keys},
          {"title", item.title},
          {"parameters", item.parameters},
          {"body", item.body}};
}

void list(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    auto items = outboxOf(*context).pending();
    if (options.json) {
      auto all = nlohmann::json::array();
      for (std::size_t i = 0; i < items.size(); ++i) all.push_back(itemJson(i + 1, items[i]));
      std::printf("%s\n", all.dump(2).c_str());
      return;
    }
    if (items.empty()) {
      std::printf("nothing to send\n");
      return;
    }
    for (std::size_t i = 0; i < items.size(); ++i)
      std::printf("%3zu  %-21s %s\n", i + 1, dm::outboxAnswerKey(items[i].kind),
                  items[i].title.c_str());
  });
}

void body(std::size_t number, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    auto items = outboxOf(*context).pending();
    if (number < 1 || number > items.size())
      throw CommandError("there is no request " + std::to_string(number) + " (the outbox holds " +
                         std::to_string(items.size()) + ")");
    const auto& item = items[number - 1];
    std::printf("%s\n", (options.json ? itemJson(number, item) : item.body).dump(2).c_str());
  });
}

void acknowledge(const std::string& file, const GlobalOptions& options) {
  auto answer = nlohmann::json::parse(readInputFile(file), nullptr, false);
  if (answer.is_discarded()) throw CommandError(file + " is not valid JSON; nothing was applied");
  auto context = openMainStoreForReading(options);
  dm::OutboxAcknowledgement result;
  std::size_t left = 0;
  context->performAndWait([&] {
    try {
      result = outboxOf(*context).acknowledge(answer);
    } catch (const dm::OutboxError& error) {
      throw CommandError(file + ": " + error.what() + "; nothing was applied", libraryCode(error));
    } catch (const dm::StoreError& error) {
      throw NotWrittenError(std::string("the acknowledgement was not saved (") + error.what() +
                            "); nothing was applied");
    }
    left = outboxOf(*context).pending().size();
  });
  if (options.json) {
    std::printf("%s\n", nlohmann::json({{"confirmed", result.confirmed},
                                        {"failed", result.failed},
                                        {"unknown", result.unknown},
                                        {"superseded", result.superseded},
                                        {"pending", left}})
                            .dump(2)
                            .c_str());
    return;
  }
  std::printf("confirmed %d record%s; ", result.confirmed, result.confirmed == 1 ? "" : "s");
  if (left == 0)
    std::printf("nothing left to send\n");
  else
    std::printf("%zu request%s still to send\n", left, left == 1 ? "" : "s");
  for (const auto& key : result.failed)
    std::printf("  refused, kept to send again: %s\n", key.c_str());
  for (const auto& key : result.superseded)
    std::printf("  corrected again since it was sent, kept to send: %s\n", key.c_str());
  for (const auto& key : result.unknown)
    std::printf("  not pending here (already confirmed or unknown): %s\n", key.c_str());
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::size_t number = 0;
  static std::string file;
  auto* command = app.add_subcommand(
      "outbox", "Requests the device still has to send, in order, and their acknowledgement");
  command->require_subcommand(0, 1);
  command->callback([command, &options] {
    if (command->get_subcommands().empty()) list(options);
  });
  command->add_subcommand("list", "The pending requests, in the order they are sent")
      ->callback([&options] { list(options); });
  auto* bodyCommand = command->add_subcommand("body", "The request body of pending request N");
  bodyCommand->add_option("N", number, "Position in the list, from 1")->required();
  bodyCommand->callback([&options] { body(number, options); });
  auto* ackCommand =
      command->add_subcommand("ack", "Map the server's acknowledgement back onto the records");
  ackCommand->add_option("ANSWER", file, "The server's answer (JSON)")->required();
  ackCommand->callback([&options] { acknowledge(file, options); });
}

const CommandRegistration registration("outbox", &setup);

}  // namespace
}  // namespace dmctl
