// `dmctl chat CONVERSATION_ID`: a stored conversation's messages in order, with their delivery
// states and attachments, as `dmctl map` stored them; --json for scripts.
#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Social/ChatMessageEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

const char* attachmentName(dm::ChatAttachmentType type) {
  switch (type) {
    case dm::ChatAttachmentType::Photo:
      return "photo";
    case dm::ChatAttachmentType::Video:
      return "video";
    case dm::ChatAttachmentType::None:
      break;
  }
  return "";
}

nlohmann::json messageJson(const dm::ChatMessageEntity& message) {
  nlohmann::json out = {{"id", message.entityID()},
                        {"authorId", message.authorID()},
                        {"text", message.text()},
                        {"deliveryState", message.deliveryState()},
                        {"sortingId", message.sortingID()}};
  out["guid"] = message.hasGuid() ? nlohmann::json(message.guid()) : nlohmann::json();
  out["time"] = message.hasTime() ? nlohmann::json(dm::serverDateTimeString(message.time()))
                                  : nlohmann::json();
  if (auto kind = message.attachmentKind(); kind != dm::ChatAttachmentType::None) {
    out["attachment"] = {{"type", attachmentName(kind)},
                         {"url", message.attachmentAddress()},
                         {"previewUrl", message.attachmentPreviewAddress()}};
  }
  return out;
}

void run(long long conversationId, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::ChatMessageEntity::kEntityName));
    request.predicate = dm::Predicate::parse(
        "chatID == %@", {dm::Value(static_cast<std::int64_t>(conversationId))});
    // Messages sent from this device and not yet accepted have sort key 0: they come last.
    request.sortDescriptors = {{"sortingID", true}, {"time", true}};
    auto messages = context->executeFetchRequest(request);
    std::stable_partition(messages.begin(), messages.end(), [](dm::ManagedObject* object) {
      auto* message = dynamic_cast<dm::ChatMessageEntity*>(object);
      return message && message->sortingID() != 0;
    });
    nlohmann::json list = nlohmann::json::array();
    for (auto* object : messages) {
      auto* message = dynamic_cast<dm::ChatMessageEntity*>(object);
      if (!message) continue;
      if (options.json) {
        list.push_back(messageJson(*message));
        continue;
      }
      std::printf("%-8lld %s from %-6lld state %2d %-5s %s %s\n",
                  static_cast<long long>(message->entityID()),
                  dm::serverDateTimeString(message->time()).c_str(),
                  static_cast<long long>(message->authorID()), message->deliveryState(),
                  attachmentName(message->attachmentKind()), message->text().c_str(),
                  message->attachmentAddress().c_str());
    }
    if (options.json) std::printf("%s\n", list.dump(2).c_str());
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static long long conversationId = 0;
  auto* command = app.add_subcommand("chat", "Show a stored conversation's messages in order");
  command->add_option("conversation", conversationId, "Conversation identifier")->required();
  command->callback([&options] { run(conversationId, options); });
}

const CommandRegistration registration("chat", &setup);

}  // namespace
}  // namespace dmctl
