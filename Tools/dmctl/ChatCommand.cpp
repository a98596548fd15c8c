// `dmctl chat CONVERSATION_ID`: a stored conversation's messages in order, with their delivery
// states and attachments, as `dmctl map` stored them.
#include <cstdio>

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

void run(long long conversationId, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::ChatMessageEntity::kEntityName));
    request.predicate = dm::Predicate::parse(
        "chatID == %@", {dm::Value(static_cast<std::int64_t>(conversationId))});
    request.sortDescriptors = {{"sortingID", true}, {"time", true}};
    for (auto* object : context->executeFetchRequest(request)) {
      auto* message = dynamic_cast<dm::ChatMessageEntity*>(object);
      if (!message) continue;
      std::printf("%-8lld %s from %-6lld state %2d %-5s %s %s\n",
                  static_cast<long long>(message->entityID()),
                  dm::serverDateTimeString(message->time()).c_str(),
                  static_cast<long long>(message->authorID()), message->deliveryState(),
                  attachmentName(message->attachmentKind()), message->text().c_str(),
                  message->attachmentAddress().c_str());
    }
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
