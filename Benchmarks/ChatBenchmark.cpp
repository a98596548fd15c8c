// Chat benchmarks on the real message records (Benchmarks/README.md has the protocol):
//   chat.map_messages  N messages (photo and video attachments, some sent from this device)
//                      in pages of 5,000, then their delivery-state updates out of order in
//                      batches of 5,000: JSON texts to committed records. records = N.
//   chat.page          the newest 50 messages of a conversation of N, read the way the chat
//                      screen opens it; the time reported is the median page (p50) times the
//                      pages read, so records/s is 50 / p50. p50 in ms goes to stderr.
// ChatRawSQLiteBenchmark.cpp stores and reads the same rows with plain SQLite.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchmarkArguments.h"
#include "ChatPayload.h"
#include "DataModel.h"
#include "Mapping/Records/ModelMapper.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/BulkWrite.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Social/ChatMessageEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace {

using Clock = std::chrono::steady_clock;

using bench::Result;
using bench::secondsSince;

std::shared_ptr<dm::ManagedObjectContext> openStore(const std::string& dir) {
  dm::DataModelOptions options;
  options.dataRoot = dir;
  options.useRootContextForClassOperations = true;
  auto store = dm::DataModel::open(options)->mainStore();
  if (!store || !store->persistentStoreManagedObjectContext())
    throw std::runtime_error("the main store did not open");
  return store->persistentStoreManagedObjectContext();
}

void map(dm::ManagedObjectContext& context, std::string& payload) {
  static const auto mapping = dm::ModelMapper::shared()->responseMappingForClass(
      *dm::RecordClasses::classNamed("ChatMessageEntity"));
  dm::ManagedObjectDestination destination(context);
  dm::MappingOperation(destination).map(payload, "messages", mapping);
  context.save();
}

// The payload texts, made before the clock starts: the conversation's pages, then the
// delivery updates in batches.
std::vector<std::string> chatPayloads(std::int64_t n) {
  std::vector<std::string> texts;
  for (std::int64_t from = 0; from < n; from += bench::kPageSize) {
    texts.push_back(bench::chatMessagesPayload(from, std::min(n, from + bench::kPageSize),
                                               dm::MappingOperation::kParsePadding));
  }
  auto updates = bench::chatUpdates(n);
  const auto batch = static_cast<std::size_t>(bench::kPageSize);
  for (std::size_t from = 0; from < updates.size(); from += batch) {
    texts.push_back(bench::chatUpdatesPayload(updates, from, std::min(updates.size(), from + batch),
                                              dm::MappingOperation::kParsePadding));
  }
  return texts;
}

Result mapMessages(const std::string& dir, std::int64_t n) {
  auto context = openStore(dir);
  std::vector<std::string> payloads = chatPayloads(n);
  std::size_t payloadBytes = 0;
  for (const auto& payload : payloads) payloadBytes += payload.size();
  // Messages sent from this device wait under their guid for the server's echo.
  context->performAndWait([&] {
    for (std::int64_t i = 0; i < n; ++i) {
      if (!bench::isSentFromDevice(i)) continue;
      auto* local = dynamic_cast<dm::ChatMessageEntity*>(
          context->insertNewObject(dm::ChatMessageEntity::kEntityName));
      local->setGuid(bench::deviceGuid(i));
      local->setChatID(bench::kConversation);
    }
    context->save();
    context->reset();
  });
  std::int64_t states = 0;
  auto start = Clock::now();
  context->performAndWait([&] {
    // Each page is saved and let go, as the chat screen does with each answer.
    for (std::string& payload : payloads) {
      map(*context, payload);
      payload = std::string();
      context->reset();
    }
  });
  double seconds = secondsSince(start);
  // Read back a page at a time: the check must not hold the whole conversation either.
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::ChatMessageEntity::kEntityName));
    request.fetchLimit = 10000;
    for (;; request.fetchOffset += request.fetchLimit) {
      const auto page = context->executeFetchRequest(request);
      for (dm::ManagedObject* object : page)
        states += dynamic_cast<dm::ChatMessageEntity*>(object)->deliveryState();
      context->reset();
      if (page.size() < request.fetchLimit) break;
    }
  });
  return {n, seconds, std::to_string(states), payloadBytes};
}

// Stores n messages of one conversation straight through a bulk write.
void fillConversation(dm::ManagedObjectContext& context, std::int64_t n) {
  context.performAndWait([&] {
    dm::BulkWrite bulk = context.beginBulkWrite();
    for (std::int64_t i = 0; i < n; ++i) {
      auto* message = dynamic_cast<dm::ChatMessageEntity*>(
          context.insertNewObject(dm::ChatMessageEntity::kEntityName));
      message->setEntityID(bench::messageId(i));
      message->setChatID(bench::kConversation);
      message->setAuthorID(bench::authorId(i));
      message->setTime(dm::Date(bench::messageTime(i)));
      message->setText(bench::messageText(i));
      message->setDeliveryState(3);
      if (i % 10000 == 9999) {
        context.save();
        context.reset();
      }
    }
    context.save();
    context.reset();
    bulk.commit();
  });
}

Result page(const std::string& dir, std::int64_t n) {
  auto context = openStore(dir);
  fillConversation(*context, n);
  constexpr int kPages = 200;
  constexpr std::size_t kPageSize = 50;
  std::vector<double> times;
  std::int64_t sum = 0;
  context->performAndWait([&] {
    for (int round = 0; round < kPages; ++round) {
      auto start = Clock::now();
      dm::FetchRequest request(context->model().entityNamed(dm::ChatMessageEntity::kEntityName));
      request.predicate =
          dm::Predicate::parse("chatID == %@", {dm::Value(std::int64_t{bench::kConversation})});
      request.sortDescriptors = {{"sortingID", false}};
      request.fetchLimit = kPageSize;
      auto newest = context->executeFetchRequest(request);
      for (dm::ManagedObject* object : newest) {
        auto* message = dynamic_cast<dm::ChatMessageEntity*>(object);
        if (round == 0) sum += message->entityID();
        (void)message->text();
      }
      times.push_back(secondsSince(start));
      context->reset();  // the screen opens it afresh
    }
  });
  std::sort(times.begin(), times.end());
  double p50 = times[times.size() / 2];
  std::cerr << "chat.page: p50 " << p50 * 1000 << " ms, p90 " << times[times.size() * 9 / 10] * 1000
            << " ms over " << kPages << " pages\n";
  return {static_cast<std::int64_t>(kPages * kPageSize), p50 * kPages, std::to_string(sum), 0,
          p50 * 1000};
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, "ChatBenchmark", "DataModel", 200000,
                           {{"chat.map_messages", mapMessages}, {"chat.page", page}});
}
