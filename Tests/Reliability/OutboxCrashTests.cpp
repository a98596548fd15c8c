// The outbox under SIGKILL: a writer records completed sets, corrects and removes some, and
// maps acknowledgements of the first pending requests (some partial), each step in one save.
// After every kill the reopened store's outbox must be exactly what an uninterrupted run
// leaves after the last step on disk: nothing acknowledged comes back, nothing unsent is gone,
// and every set's sync state says what is still to send about it.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "Mapping/Records/EntitySyncState.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Reliability/CrashHarness.h"
#include "Support/TempDir.h"
#include "Sync/Outbox.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {
namespace {

constexpr int kOutboxKills = 110;

std::string setGuid(std::int64_t step) {
  char text[32];
  std::snprintf(text, sizeof text, "s%06lld", static_cast<long long>(step));
  return text;
}

// What an uninterrupted run knows after each step, written independently of the outbox.
struct ExpectedSet {
  std::int64_t id = 0;
  bool corrected = false;
  bool removed = false;
};

struct Expected {
  std::map<std::string, ExpectedSet> sets;  // guid order is step order

  // The outbox's requests as "answer key + keys".
  std::vector<std::string> pending() const {
    std::vector<std::string> lines;
    std::string adds;
    for (const auto& [guid, set] : sets)
      if (set.id == 0 && !set.removed) adds += " " + guid;
    if (!adds.empty()) lines.push_back("completed_sets" + adds);
    for (const auto& [guid, set] : sets)
      if (set.corrected && !set.removed) lines.push_back("completed_update_sets " + guid);
    for (const auto& [guid, set] : sets)
      if (set.removed && set.id != 0) lines.push_back("completed_delete_sets " + guid);
    return lines;
  }

  // Step k: a set is recorded; every third step corrects the previous set, every fifth
  // removes the set from three steps back; every fourth acknowledges the first two pending
  // requests, a creation of several sets only in part. Returns the answer to map, if any.
  nlohmann::json apply(std::int64_t step) {
    sets[setGuid(step)] = {};
    if (step % 3 == 1 && sets.count(setGuid(step - 1)) && !sets[setGuid(step - 1)].removed)
      sets[setGuid(step - 1)].corrected = true;
    if (step % 5 == 2 && sets.count(setGuid(step - 3))) sets[setGuid(step - 3)].removed = true;
    if (step % 4 != 0) return nullptr;
    nlohmann::json answer = nlohmann::json::object();
    auto lines = pending();
    for (std::size_t i = 0; i < lines.size() && i < 2; ++i) {
      const auto space = lines[i].find(' ');
      const std::string kind = lines[i].substr(0, space);
      std::vector<std::string> keys;
      for (std::size_t at = space; at != std::string::npos;) {
        const auto next = lines[i].find(' ', at + 1);
        keys.push_back(lines[i].substr(at + 1, next == std::string::npos ? next : next - at - 1));
        at = next;
      }
      if (kind == "completed_sets" && keys.size() > 1) keys.pop_back();  // a partial answer
      for (const auto& key : keys) {
        if (kind == "completed_sets") {
          sets[key].id = 100000 + step * 10 + static_cast<std::int64_t>(answer[kind].size());
          answer[kind].push_back({{"guid", key}, {"id", sets[key].id}});
        } else {
          answer[kind].push_back({{"guid", key}});
          if (kind == "completed_update_sets") sets[key].corrected = false;
          if (kind == "completed_delete_sets") sets.erase(key);
        }
      }
    }
    return answer;
  }
};

Expected expectedAfter(std::int64_t step) {
  Expected expected;
  for (std::int64_t k = 1; k <= step; ++k) expected.apply(k);
  return expected;
}

std::int64_t stepOf(const std::string& guid) {
  return std::stoll(guid.substr(1));
}

// The last step on disk: its set is the newest, and no step removes the set it records.
std::int64_t lastStepOnDisk(ManagedObjectContext& context) {
  FetchRequest request(context.model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
  request.sortDescriptors = {{"guid", false}};
  request.fetchLimit = 1;
  auto found = context.executeFetchRequest(request);
  return found.empty() ? 0 : stepOf(dynamic_cast<ExerciseCompletedSetEntity*>(found[0])->guid());
}

std::vector<ExerciseCompletedSetEntity*> setsWithGuid(ManagedObjectContext& context,
                                                      const std::string& guid) {
  FetchRequest request(context.model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
  request.predicate = Predicate::keyEquals("guid", Value(guid));
  std::vector<ExerciseCompletedSetEntity*> sets;
  for (auto* object : context.executeFetchRequest(request))
    sets.push_back(dynamic_cast<ExerciseCompletedSetEntity*>(object));
  return sets;
}

TEST(CrashWriter, Outbox) {
  if (!test::isCrashWriter()) GTEST_SKIP() << "runs only inside the crash loop";
  MainQueue::shared().adoptCurrentThread();
  Directories::setDataRoot(test::crashDirectory());
  auto store = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
  auto context = store->persistentStoreManagedObjectContext();
  context->performAndWait([&] {
    const std::int64_t start = lastStepOnDisk(*context) + 1;
    Expected expected = expectedAfter(start - 1);
    for (std::int64_t step = start;; ++step) {
      auto answer = expected.apply(step);
      auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(
          context->insertNewObject(ExerciseCompletedSetEntity::kEntityName));
      set->setGuid(setGuid(step));
      set->setExecutedAt(Date(1'764'000'000.0 + static_cast<double>(step)));
      set->setValue(40 + static_cast<double>(step % 30));
      set->setRepeats(step % 12 + 1);
      set->setResultGuid("w");
      markCreatedOnDevice(*set);
      if (step % 3 == 1) {
        for (auto* previous : setsWithGuid(*context, setGuid(step - 1))) {
          if (previous->markedDeleted()) continue;
          previous->removeAllUpdateEntities();  // one correction per set: the newest
          auto* update = dynamic_cast<ExerciseCompletedSetUpdateEntity*>(
              context->insertNewObject(ExerciseCompletedSetUpdateEntity::kEntityName));
          update->setGuid(previous->guid());
          update->setRepeats(99);
          markChangedOnDevice(*previous);
        }
      }
      if (step % 5 == 2) {
        for (auto* removed : setsWithGuid(*context, setGuid(step - 3))) {
          removed->setMarkedDeleted(true);
          markRemovalPending(*removed);
          dynamic_cast<ExerciseCompletedSetDeleteEntity*>(
              context->insertNewObject(ExerciseCompletedSetDeleteEntity::kEntityName))
              ->setGuid(removed->guid());
        }
      }
      if (answer.is_object())
        Outbox(*context).acknowledge(answer);  // maps and saves the whole step at once
      else
        context->save();
      test::reportDurable(step);
    }
  });
}

test::CrashCheck checkOutbox(const std::filesystem::path& root) {
  ManagedObjectStore::resetSharedInstance();
  Directories::setDataRoot(root);
  auto store = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
  if (!store || store->isInMemory()) return {0, "the store file could not be opened"};
  test::CrashCheck check;
  auto context = store->persistentStoreManagedObjectContext();
  context->performAndWait([&] {
    const std::int64_t step = lastStepOnDisk(*context);
    const Expected expected = expectedAfter(step);
    std::vector<std::string> found;
    for (const auto& item : Outbox(*context).pending()) {
      std::string line = outboxAnswerKey(item.kind);
      for (const auto& key : item.keys) line += " " + key;
      found.push_back(line);
    }
    const auto wanted = expected.pending();
    if (found != wanted) {
      check.error = "after step " + std::to_string(step) + " the outbox holds " +
                    std::to_string(found.size()) + " requests, expected " +
                    std::to_string(wanted.size());
      for (std::size_t i = 0; i < std::max(found.size(), wanted.size()); ++i) {
        const auto f = i < found.size() ? found[i] : "-";
        const auto w = i < wanted.size() ? wanted[i] : "-";
        if (f != w) {
          check.error += "; first difference: " + f.substr(0, 120) + " / " + w.substr(0, 120);
          break;
        }
      }
      return;
    }
    FetchRequest request(context->model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
    std::size_t count = 0;
    for (auto* object : context->executeFetchRequest(request)) {
      auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(object);
      auto it = expected.sets.find(set->guid());
      if (it == expected.sets.end()) {
        check.error = "set " + set->guid() + " should be gone after step " + std::to_string(step);
        return;
      }
      if (set->entityID() != it->second.id) {
        check.error = "set " + set->guid() + " has server id " + std::to_string(set->entityID()) +
                      ", expected " + std::to_string(it->second.id);
        return;
      }
      const auto& wanted = it->second;
      const EntitySyncState state = wanted.removed     ? EntitySyncState::RemovalPending
                                    : wanted.corrected ? EntitySyncState::ChangedOnDevice
                                    : wanted.id == 0   ? EntitySyncState::CreatedOnDevice
                                                       : EntitySyncState::Synced;
      if (syncStateOf(*set) != state) {
        check.error = "set " + set->guid() + " has sync state " +
                      std::to_string(static_cast<int>(syncStateOf(*set))) + ", expected " +
                      std::to_string(static_cast<int>(state));
        return;
      }
      ++count;
    }
    if (count != expected.sets.size()) {
      check.error = "after step " + std::to_string(step) + " " + std::to_string(count) +
                    " sets are stored, expected " + std::to_string(expected.sets.size());
      return;
    }
    check.lastStep = step;
  });
  context.reset();
  store.reset();
  ManagedObjectStore::resetSharedInstance();
  MainQueue::shared().runUntilIdle();
  if (check.error.empty()) {
    if (auto error = test::sqliteIntegrityError(
            (Directories::shared()->documentsDirectory() / ManagedObjectStore::dataBaseFileName)
                .string());
        !error.empty())
      return {0, "integrity check: " + error};
  }
  return check;
}

TEST(OutboxCrashTest, KilledWhileRecordingAndAcknowledgingTheOutboxStaysExact) {
  test::TempDir dir;
  MainQueue::shared().adoptCurrentThread();
  auto report = test::runCrashLoop(
      "CrashWriter.Outbox", dir.path().string(), [&] { return checkOutbox(dir.path()); },
      kOutboxKills, 20261124u);
  Directories::setShared(nullptr);
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.kills, kOutboxKills);
  EXPECT_GT(report.lastStep, kOutboxKills);
}

}  // namespace
}  // namespace dm
