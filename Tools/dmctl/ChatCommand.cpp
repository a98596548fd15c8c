// `dmctl chat CONVERSATION_ID [--write TEXT]`: a stored conversation's messages in order, with
// their delivery states and attachments; --write first records a message written on the device.
#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Mapping/Records/EntitySyncState.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/Guid.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Profile/SignedInUser.h"
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

// A message written on the device by the signed-in user: known by its guid, no server id and
// no sort key until the server accepts it (the outbox sends it). Saved before the
// conversation is shown.
void write(long long conversationId, const std::string& text, const std::string& guid,
           const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  const auto author = dm::signedInUserId(*dm::SettingsStore::standard());
  if (!author)
    throw CommandError(
        "no profile is signed in, so the message would have no author; map the profile "
        "answer first (dmctl map UserEntity FILE --key-path user --save)");
  std::string failure;
  context->performAndWait([&] {
    auto* message = dynamic_cast<dm::ChatMessageEntity*>(
        context->insertNewObject(dm::ChatMessageEntity::kEntityName));
    if (!message) {
      failure = "chat messages are not registered";
      return;
    }
    message->setGuid(guid.empty() ? dm::newGuid() : guid);
    message->setEntityID(0);
    message->setChatID(conversationId);
    message->setText(text);
    message->setTime(dm::Clock::shared()->now());
    message->setDeliveryState(0);
    message->setAuthorID(*author);
    dm::markCreatedOnDevice(*message);
    try {
      context->save();
    } catch (const dm::StoreError& error) {
      failure = std::string(dm::storeFailureKindName(error.kind())) + ": " + error.what();
    }
  });
  if (!failure.empty()) throw NotWrittenError("the message was not saved (" + failure + ")");
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static long long conversationId = 0;
  static std::string text;
  static std::string guid;
  auto* command = app.add_subcommand("chat", "Show a stored conversation's messages in order");
  command->add_option("conversation", conversationId, "Conversation identifier")->required();
  command->add_option("--write", text,
                      "First record a message written on the device (sent by the outbox)");
  command->add_option("--guid", guid, "The written message's client identifier (default: new)");
  command->callback([&options] {
    if (!text.empty()) write(conversationId, text, guid, options);
    run(conversationId, options);
  });
}

const CommandRegistration registration("chat", &setup);

}  // namespace
}  // namespace dmctl
