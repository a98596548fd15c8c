// The outbox over a real main store: request order, cancellation by an early removal, partial
// and refused acknowledgements, malformed answers changing nothing, a reopened store listing
// the same requests, records changed after the server confirmed them, and results held back
// for the signed-in user.
#include <gtest/gtest.h>

#include "Mapping/Records/EntitySyncState.h"
#include "Measurements/MeasurementEdit.h"
#include "Measurements/MeasurementEntity.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/ProfileTestSupport.h"
#include "Social/ChatMessageEntity.h"
#include "Sync/Outbox.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/WorkoutResultsEntity.h"
#include "Training/WorkoutResultsUpdateEntity.h"
#include "Units/UnitsHelper.h"

namespace dm::test {
namespace {

using nlohmann::json;

class OutboxTest : public ProfileStoreTest {
 protected:
  ExerciseCompletedSetEntity* set(const std::string& guid, double executedAt, double weight,
                                  std::int64_t repeats, const std::string& result = "r-1") {
    auto* set = insert<ExerciseCompletedSetEntity>();
    set->setGuid(guid);
    set->setExecutedAt(Date(executedAt));
    set->setValue(weight);
    set->setRepeats(repeats);
    set->setValue_type(0);
    set->setExerciseId(701);
    set->setPostExerciseId(10044);
    set->setCourseId(7);
    set->setResultGuid(result);
    return set;
  }
  void correct(const std::string& guid, std::int64_t repeats) {
    auto* update = insert<ExerciseCompletedSetUpdateEntity>();
    update->setGuid(guid);
    update->setRepeats(repeats);
  }
  void remove(ExerciseCompletedSetEntity* set) {
    set->setMarkedDeleted(true);
    insert<ExerciseCompletedSetDeleteEntity>()->setGuid(set->guid());
  }
  ChatMessageEntity* message(const std::string& guid, const std::string& text) {
    auto* message = insert<ChatMessageEntity>();
    message->setGuid(guid);
    message->setChatID(12);
    message->setText(text);
    message->setTime(Date(1'764'000'000));
    return message;
  }
  // Kind and keys of each pending request, in order.
  std::vector<std::string> summary(std::optional<std::int64_t> signedIn = std::nullopt) {
    std::vector<std::string> lines;
    perform([&] {
      for (const auto& item : Outbox(*context, signedIn).pending()) {
        std::string line = outboxAnswerKey(item.kind);
        for (const auto& key : item.keys) line += " " + key;
        lines.push_back(line);
      }
    });
    return lines;
  }
  OutboxAcknowledgement acknowledge(const char* answer) {
    OutboxAcknowledgement result;
    perform([&] { result = Outbox(*context).acknowledge(json::parse(answer)); });
    return result;
  }
  using Lines = std::vector<std::string>;
};

TEST_F(OutboxTest, CreationsComeBeforeCorrectionsAndAnEarlyRemovalCancelsBoth) {
  perform([&] {
    auto* result = insert<WorkoutResultsEntity>();
    result->setGuid("r-1");
    result->setStartedAt(Date(1'764'000'000));
    result->setSteps(1200);
    set("s-1", 1'764'000'100, 60, 10);
    set("s-2", 1'764'000'200, 62.5, 8);
    auto* early = set("s-3", 1'764'000'300, 65, 6);
    correct("s-2", 9);
    correct("s-3", 5);
    remove(early);  // never sent: neither its creation nor its correction goes
    auto* known = set("s-0", 1'763'000'000, 50, 12, "r-0");
    known->setEntityID(500);
    correct("s-0", 11);
    remove(known);  // known to the server: only the removal goes
    message("m-1", "Done with today's sets");
    auto* earlier = insert<WorkoutResultsEntity>();  // confirmed, its steps corrected since
    earlier->setGuid("r-0");
    earlier->setEntityID(4100);
    earlier->setSteps(900);
    auto* steps = insert<WorkoutResultsUpdateEntity>();
    steps->fillFromWorkoutResults(*earlier);
    steps->setSteps(1500);
    context->save();
  });
  EXPECT_EQ(summary(), (Lines{"results r-1", "completed_sets s-1 s-2", "completed_update_sets s-2",
                              "completed_delete_sets s-0", "results_update r-0", "messages m-1"}));

  perform([&] {
    auto items = Outbox(*context).pending();
    ASSERT_EQ(items.size(), 6u);
    EXPECT_EQ(items[1].body, json::parse(R"({"autoCorrection": false, "completedSets": [
        {"guid": "s-1", "value": 60.0, "repeats": 10, "valueType": 0, "exerciseId": 701,
         "postExerciseId": 10044, "resultGuid": "r-1", "courseId": 7,
         "executedAt": "2025-11-24T16:01:40.000+00:00"},
        {"guid": "s-2", "value": 62.5, "repeats": 8, "valueType": 0, "exerciseId": 701,
         "postExerciseId": 10044, "resultGuid": "r-1", "courseId": 7,
         "executedAt": "2025-11-24T16:03:20.000+00:00"}]})"));
    EXPECT_EQ(items[2].body, json::parse(R"({"guid": "s-2", "repeats": 9})"));
    EXPECT_EQ(items[3].body, json::parse(R"({"id": 500, "guid": "s-0", "_delete": true})"));
    EXPECT_EQ(items[4].body, json::parse(R"({"guid": "r-0", "steps": 1500})"));
    EXPECT_EQ(items[5].body, json::parse(R"({"body": "Done with today's sets", "guid": "m-1"})"));
    EXPECT_EQ(items[5].parameters, json::parse(R"({"chatId": 12})"));
  });
}

TEST_F(OutboxTest, PartialAndRefusedAcknowledgementsLeaveTheRestPending) {
  perform([&] {
    set("s-1", 1'764'000'100, 60, 10);
    set("s-2", 1'764'000'200, 62.5, 8);
    correct("s-1", 9);
    message("m-1", "On my way");
    message("m-2", "Skipped the last set")->setDeliveryState(3);
    context->save();
  });
  auto ack = acknowledge(R"({"completed_sets": [{"guid": "s-1", "id": 9001}],
      "messages": [{"guid": "m-2", "id": 77, "created_at": "2026-11-24T10:00:00Z"},
                   {"guid": "m-9", "id": 78}],
      "failed": [{"guid": "m-1", "error": "conversation closed"}]})");
  EXPECT_EQ(ack.confirmed, 2);
  EXPECT_EQ(ack.unknown, (Lines{"m-9"}));
  EXPECT_EQ(ack.failed, (Lines{"m-1"}));
  EXPECT_EQ(summary(), (Lines{"completed_sets s-2", "completed_update_sets s-1", "messages m-1"}));
  perform([&] {
    auto messages = all(ChatMessageEntity::kEntityName, "guid");
    auto* refused = dynamic_cast<ChatMessageEntity*>(messages[0]);
    auto* sent = dynamic_cast<ChatMessageEntity*>(messages[1]);
    EXPECT_EQ(refused->deliveryState(), kMessageDeliveryFailed);
    EXPECT_EQ(sent->entityID(), 77);
    EXPECT_EQ(sent->deliveryState(), 3);           // states only advance
    EXPECT_EQ(sent->time(), Date(1'764'000'000));  // the time is set once
  });

  // Acknowledged twice: nothing changes the second time.
  ack = acknowledge(R"({"completed_sets": [{"guid": "s-1", "id": 1}],
                        "completed_update_sets": [{"guid": "s-1"}]})");
  EXPECT_EQ(ack.confirmed, 1);
  EXPECT_EQ(ack.unknown, (Lines{"s-1"}));
  perform([&] {
    auto sets = all(ExerciseCompletedSetEntity::kEntityName, "guid");
    EXPECT_EQ(dynamic_cast<BaseMappableEntity*>(sets[0])->entityID(), 9001);
  });
  EXPECT_EQ(summary(), (Lines{"completed_sets s-2", "messages m-1"}));
}

TEST_F(OutboxTest, AnAnswerToAnOlderCorrectionKeepsTheNewerOne) {
  perform([&] {
    set("s-1", 1'764'000'100, 60, 10)->setEntityID(9001);
    correct("s-1", 9);
    context->save();
  });
  // The correction to 9 is on its way when the client changes it to 7.
  perform([&] {
    auto* newer = dynamic_cast<ExerciseCompletedSetUpdateEntity*>(
        all(ExerciseCompletedSetUpdateEntity::kEntityName, "guid")[0]);
    newer->setRepeats(7);
    context->save();
  });
  auto ack = acknowledge(R"({"completed_update_sets": [{"guid": "s-1", "repeats": 9}]})");
  EXPECT_EQ(ack.confirmed, 0);
  EXPECT_EQ(ack.superseded, (Lines{"s-1"}));
  EXPECT_EQ(summary(), (Lines{"completed_update_sets s-1"}));
  ack = acknowledge(R"({"completed_update_sets": [{"guid": "s-1", "repeats": 7.0}]})");
  EXPECT_EQ(ack.confirmed, 1);
  EXPECT_EQ(summary(), Lines{});
}

TEST_F(OutboxTest, MalformedAnswersChangeNothing) {
  perform([&] {
    set("s-1", 1'764'000'100, 60, 10);
    set("s-2", 1'764'000'200, 62.5, 8);
    context->save();
  });
  const Lines before = summary();
  for (const char* answer : {
           R"([])",
           R"({"completed_sets": [{"guid": "s-1", "id": 5}, {"guid": "s-2"}]})",
           R"({"completed_sets": [{"guid": "s-1", "id": "5"}]})",
           R"({"completed_sets": [{"guid": "s-1", "id": -5}]})",
           R"({"completed_sets": {"guid": "s-1", "id": 5}})",
           R"({"completed_sets": [{"id": 5}]})",
           R"({"sets": [{"guid": "s-1", "id": 5}]})",
           R"({"messages": [{"guid": "m", "id": 5, "created_at": "yesterday"}]})",
       }) {
    EXPECT_THROW(acknowledge(answer), OutboxError) << answer;
    EXPECT_EQ(summary(), before) << answer;
  }
}

TEST_F(OutboxTest, ARemovalAfterSendingWaitsForTheCreationsAcknowledgement) {
  perform([&] {
    set("s-1", 1'764'000'100, 60, 10);
    context->save();
  });
  EXPECT_EQ(summary(), (Lines{"completed_sets s-1"}));
  // The request is on its way when the client removes the set.
  perform([&] {
    remove(
        dynamic_cast<ExerciseCompletedSetEntity*>(all(ExerciseCompletedSetEntity::kEntityName)[0]));
    context->save();
  });
  EXPECT_EQ(summary(), Lines{});
  acknowledge(R"({"completed_sets": [{"guid": "s-1", "id": 9001}]})");
  EXPECT_EQ(summary(), (Lines{"completed_delete_sets s-1"}));
  acknowledge(R"({"completed_delete_sets": [{"guid": "s-1"}]})");
  EXPECT_EQ(summary(), Lines{});
  perform([&] {
    EXPECT_TRUE(all(ExerciseCompletedSetEntity::kEntityName).empty());
    EXPECT_TRUE(all(ExerciseCompletedSetDeleteEntity::kEntityName, "guid").empty());
  });
}

TEST_F(OutboxTest, MeasurementWithPhotosIsKeyedByItsTimeAndSurvivesAReopen) {
  perform([&] {
    auto* measurement = insert<MeasurementEntity>();
    measurement->setDate(*dateFromString("2026-11-24", "yyyy-MM-dd"));
    measurement->setWeight(81.4);
    measurement->setWaist(0);  // empty: left out of the request
    measurement->setChest(104);
    for (int sequence : {2, 1}) {
      auto* photo = insert<ProfileCommonPhotoEntity>();
      photo->setGuid("p-" + std::to_string(sequence));
      photo->setSequence(sequence);
      photo->setPhoto("/./progress/" + std::to_string(sequence) + ".jpg");
      photo->setMeasurement(measurement);
    }
    context->save();
  });
  std::string key;
  perform([&] {
    auto items = Outbox(*context).pending();
    ASSERT_EQ(items.size(), 1u);
    key = items[0].keys[0];
    EXPECT_EQ(items[0].title, "measurement of 2026-11-24 with 2 photos");
    const auto& body = items[0].body["measurement"];
    EXPECT_EQ(body["weight"], 81.4);
    EXPECT_EQ(body["chest"], 104.0);
    EXPECT_FALSE(body.contains("waist"));
    EXPECT_EQ(body["measured_at"], "2026-11-24");
    EXPECT_EQ(body["photos"], json::parse(R"([{"sequence": 1}, {"sequence": 2}])"));
  });

  reopen();  // a restart: the same request from the file alone
  EXPECT_EQ(summary(), (Lines{"measurements " + key}));

  auto ack = acknowledge(("{\"measurements\": [{\"guid\": \"" + key +
                          "\", \"id\": 31, \"photos\": [{\"sequence\": 1, \"id\": 301}, "
                          "{\"sequence\": 2, \"id\": 302}]}]}")
                             .c_str());
  EXPECT_EQ(ack.confirmed, 1);
  EXPECT_EQ(summary(), Lines{});
  perform([&] {
    auto photos = all(ProfileCommonPhotoEntity::kEntityName, "sequence");
    ASSERT_EQ(photos.size(), 2u);
    EXPECT_EQ(dynamic_cast<BaseMappableEntity*>(photos[0])->entityID(), 301);
    EXPECT_EQ(dynamic_cast<BaseMappableEntity*>(photos[1])->entityID(), 302);
    // A photo added later to the confirmed measurement travels on its own.
    auto* later = insert<ProfileCommonPhotoEntity>();
    later->setGuid("p-3");
    later->setSequence(3);
    later->setMeasurement(dynamic_cast<MeasurementEntity*>(all(MeasurementEntity::kEntityName)[0]));
    context->save();
  });
  EXPECT_EQ(summary(), (Lines{"photos p-3"}));
  EXPECT_EQ(
      acknowledge(
          R"({"measurements": [{"guid": "measurement@2020-01-01T00:00:00.000+00:00", "id": 1}]})")
          .unknown,
      (Lines{"measurement@2020-01-01T00:00:00.000+00:00"}));
}

TEST_F(OutboxTest, AMeasurementEditedAfterItWasConfirmedIsSentAsItsUpdateInMetric) {
  UnitsHelper& units = UnitsHelper::sharedInstance();
  units.setPrefs(SettingsStore::inMemory());
  units.setWeightUnitsValue(1);  // pounds
  units.setHeightUnitsValue(1);  // inches
  const std::string key = "measurement@2026-11-10T00:00:00.000+00:00";
  MeasurementEntity* confirmed = nullptr;
  perform([&] {
    confirmed = insert<MeasurementEntity>();
    confirmed->setDate(*dateFromString("2026-11-10", "yyyy-MM-dd"));
    confirmed->setEntityID(702);
    confirmed->setWeight(84.7);
    confirmed->setWaist(90.5);
    context->save();
  });
  EXPECT_EQ(summary(), Lines{});  // as the server sent it

  perform([&] {
    editMeasurementInUnits(*confirmed, "waist", 36);    // inches
    editMeasurementInUnits(*confirmed, "weight", 185);  // pounds
    EXPECT_THROW(editMeasurementInUnits(*confirmed, "mission", 1), Error);
    EXPECT_THROW(editMeasurementInUnits(*confirmed, "waist", -1), Error);
    context->save();
  });
  EXPECT_EQ(summary(), (Lines{"measurements_update " + key}));
  perform([&] {
    const auto body = Outbox(*context).pending().at(0).body;
    EXPECT_EQ(body["measurement"]["id"], 702);
    EXPECT_EQ(body["measurement"]["measured_at"], "2026-11-10");
    EXPECT_NEAR(body["measurement"]["waist"].get<double>(), 91.44, 0.001);
    EXPECT_NEAR(body["measurement"]["weight"].get<double>(), 83.91, 0.01);
  });
  units.setPrefs(nullptr);
  // The state is the device's own: a payload naming it changes nothing.
  perform([&] {
    map(MeasurementEntity::kEntityName, R"({"measurement": {"id": 702, "entitySyncState": 0}})",
        "measurement");
    EXPECT_EQ(all(MeasurementEntity::kEntityName).size(), 1u);  // the same record
  });
  EXPECT_EQ(summary(), (Lines{"measurements_update " + key}));

  // The answer echoes a waist that is no longer stored: edited again while on its way.
  auto ack = acknowledge(
      ("{\"measurements_update\": [{\"guid\": \"" + key + "\", \"waist\": 90.0}]}").c_str());
  EXPECT_EQ(ack.superseded, Lines{key});
  EXPECT_EQ(summary(), (Lines{"measurements_update " + key}));
  ack = acknowledge(("{\"measurements_update\": [{\"guid\": \"" + key + "\"}]}").c_str());
  EXPECT_EQ(ack.confirmed, 1);
  EXPECT_EQ(summary(), Lines{});
  perform([&] { EXPECT_EQ(syncStateOf(*confirmed), EntitySyncState::Synced); });
  EXPECT_EQ(
      acknowledge(("{\"measurements_update\": [{\"guid\": \"" + key + "\"}]}").c_str()).unknown,
      Lines{key});
}

TEST_F(OutboxTest, AChangeMadeWhileTheCreationWasOnItsWayFollowsAsAnUpdate) {
  const std::string key = "measurement@2026-11-24T00:00:00.000+00:00";
  MeasurementEntity* measurement = nullptr;
  perform([&] {
    measurement = insert<MeasurementEntity>();
    measurement->setDate(*dateFromString("2026-11-24", "yyyy-MM-dd"));
    measurement->setWeight(84.1);
    markCreatedOnDevice(*measurement);
    context->save();
  });
  EXPECT_EQ(summary(), (Lines{"measurements " + key}));
  perform([&] {
    editMeasurementInUnits(*measurement, "weight", 83.9);  // kilograms
    context->save();
  });
  // Still one creation, now with the new weight...
  EXPECT_EQ(summary(), (Lines{"measurements " + key}));
  // ...but the creation the server confirms may have carried the old one.
  acknowledge(("{\"measurements\": [{\"guid\": \"" + key + "\", \"id\": 703}]}").c_str());
  EXPECT_EQ(summary(), (Lines{"measurements_update " + key}));
}

TEST_F(OutboxTest, SetsCarryTheirStateFromRecordingToConfirmedCorrection) {
  ExerciseCompletedSetEntity* recorded = nullptr;
  perform([&] {
    recorded = set("s-1", 1'764'000'100, 60, 10);
    markCreatedOnDevice(*recorded);
    context->save();
  });
  acknowledge(R"({"completed_sets": [{"guid": "s-1", "id": 9001}]})");
  perform([&] {
    EXPECT_EQ(syncStateOf(*recorded), EntitySyncState::Synced);
    correct("s-1", 9);
    markChangedOnDevice(*recorded);
    context->save();
    EXPECT_TRUE(needsUpdate(*recorded));
  });
  EXPECT_EQ(summary(), (Lines{"completed_update_sets s-1"}));
  acknowledge(R"({"completed_update_sets": [{"guid": "s-1", "repeats": 9}]})");
  perform([&] { EXPECT_EQ(syncStateOf(*recorded), EntitySyncState::Synced); });
  // Removed after it was confirmed: a removal, and the state says so.
  perform([&] {
    remove(recorded);
    markRemovalPending(*recorded);
    markChangedOnDevice(*recorded);  // a removal pending stays pending
    context->save();
    EXPECT_TRUE(needsRemoval(*recorded));
  });
  EXPECT_EQ(summary(), (Lines{"completed_delete_sets s-1"}));
}

TEST_F(OutboxTest, ResultsNotToBeUploadedForTheSignedInUserAreHeldBack) {
  perform([&] {
    for (auto [guid, notFor] :
         {std::pair<const char*, std::int64_t>{"r-1", 0}, {"r-2", 5120}, {"r-3", 4211}}) {
      auto* result = insert<WorkoutResultsEntity>();
      result->setGuid(guid);
      result->setStartedAt(Date(1'764'000'000));
      if (notFor) result->setUserIdForNotSend(notFor);
    }
    set("s-1", 1'764'000'100, 60, 10, "r-2");  // sets carry no such mark: they go
    context->save();
  });
  EXPECT_EQ(summary(5120), (Lines{"results r-1", "results r-3", "completed_sets s-1"}));
  EXPECT_EQ(summary(4211), (Lines{"results r-1", "results r-2", "completed_sets s-1"}));
  // Nobody signed in: a result marked for any user may be that user's.
  EXPECT_EQ(summary(), (Lines{"results r-1", "completed_sets s-1"}));
}

}  // namespace
}  // namespace dm::test
