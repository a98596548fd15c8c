// The outbox: derived from the stored records on every read, acknowledged by guid.
#include "Sync/Outbox.h"

#include <algorithm>
#include <map>
#include <set>

#include "Mapping/Records/EntitySyncState.h"
#include "Measurements/MeasurementAddRequest.h"
#include "Measurements/MeasurementEntity.h"
#include "Measurements/MeasurementUpdateRequest.h"
#include "Measurements/ProgressPhotoAddRequest.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectMapping/ValueTransformer.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Platform/ObjectStore/TypedFetch.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Social/ChatMessageEntity.h"
#include "Social/SendMessageRequest.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/TrainingRequests.h"
#include "Training/WorkoutResultsEntity.h"
#include "Training/WorkoutResultsUpdateEntity.h"

namespace dm {
namespace {

template <class T>
std::vector<T*> withGuid(ManagedObjectContext& context, const std::string& guid) {
  return fetchRecords<T>(context, Predicate::keyEquals("guid", Value(guid)));
}

bool unconfirmed(const BaseMappableEntity& record) {
  return !isKnownToServer(record);
}

nlohmann::json bodyOf(const BaseMappableObject& request) {
  auto tree = request.serialized().toJson();
  return tree ? *tree : nlohmann::json::object();
}

std::string dayText(Date date) {
  return stringFromDate(date, "yyyy-MM-dd HH:mm");
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

// ---- Listing ----

struct SetState {
  ExerciseCompletedSetEntity* set = nullptr;
  bool removed = false;    // a removal record exists
  bool corrected = false;  // a correction record exists
};

// A result recorded for a user it must not be uploaded for (userIdForNotSend): the signed-in
// user, or any user while nobody is signed in.
bool heldBack(const WorkoutResultsEntity& result, std::optional<std::int64_t> signedInUserID) {
  if (!result.hasUserIdForNotSend() || result.userIdForNotSend() == 0) return false;
  return !signedInUserID || result.userIdForNotSend() == *signedInUserID;
}

void listResults(ManagedObjectContext& context, std::optional<std::int64_t> signedInUserID,
                 std::vector<OutboxItem>& items) {
  for (auto* result : fetchRecords<WorkoutResultsEntity>(context, {}, {{"startedAt", true}})) {
    if (!needsCreation(*result) || result->guid().empty() || heldBack(*result, signedInUserID))
      continue;
    items.push_back(
        {OutboxKind::WorkoutResultAdd,
         {result->guid()},
         "workout result " + result->guid() +
             (result->hasStartedAt() ? ", started " + dayText(result->startedAt()) : ""),
         bodyOf(*training_requests::requestWithWorkoutResults(*result)),
         nlohmann::json::object()});
  }
}

void listSets(ManagedObjectContext& context, std::vector<OutboxItem>& items) {
  std::map<std::string, SetState> byGuid;
  std::vector<std::string> order;  // guids by execution time
  for (auto* set : fetchRecords<ExerciseCompletedSetEntity>(
           context, {}, {{"executedAt", true}, {"guid", true}})) {
    if (set->guid().empty()) continue;
    if (!byGuid.count(set->guid())) order.push_back(set->guid());
    byGuid[set->guid()].set = set;
  }
  for (auto* removal : fetchRecords<ExerciseCompletedSetDeleteEntity>(context))
    byGuid[removal->guid()].removed = true;
  for (auto* correction : fetchRecords<ExerciseCompletedSetUpdateEntity>(context))
    byGuid[correction->guid()].corrected = true;

  // Creations, one request per workout (the sets' result guid), in execution order.
  std::vector<std::string> workouts;
  std::map<std::string, std::vector<ExerciseCompletedSetEntity*>> setsByWorkout;
  for (const auto& guid : order) {
    const auto& state = byGuid[guid];
    if (!needsCreation(*state.set) || state.removed || state.set->markedDeleted()) continue;
    const std::string workout = state.set->resultGuid();
    if (!setsByWorkout.count(workout)) workouts.push_back(workout);
    setsByWorkout[workout].push_back(state.set);
  }
  for (const auto& workout : workouts) {
    const auto& sets = setsByWorkout[workout];
    OutboxItem item{OutboxKind::CompletedSetsAdd, {}, "", {}, nlohmann::json::object()};
    for (auto* set : sets) item.keys.push_back(set->guid());
    item.title = std::to_string(sets.size()) +
                 (sets.size() == 1 ? " completed set" : " completed sets") +
                 (workout.empty() ? std::string() : " of workout " + workout);
    item.body = bodyOf(*training_requests::requestWithCompletedSets(sets, false));
    items.push_back(std::move(item));
  }

  // Corrections of sets that are still to be kept (a removal makes them pointless).
  for (const auto& guid : order) {
    const auto& state = byGuid[guid];
    if (!state.corrected || state.removed) continue;
    auto corrections = withGuid<ExerciseCompletedSetUpdateEntity>(context, guid);
    if (corrections.empty()) continue;
    auto* correction = corrections.front();
    std::vector<std::string> changes;
    if (correction->hasRepeats())
      changes.push_back(std::to_string(correction->repeats()) + " repeats");
    if (correction->hasValue()) changes.push_back("value " + number(correction->value()));
    if (correction->hasComment()) changes.push_back("\"" + correction->comment() + "\"");
    std::string title = "correction of set " + guid + ":";
    for (std::size_t i = 0; i < changes.size(); ++i) title += (i ? ", " : " ") + changes[i];
    items.push_back({OutboxKind::CompletedSetUpdate,
                     {guid},
                     title,
                     bodyOf(*training_requests::requestWithUpdate(*correction)),
                     nlohmann::json::object()});
  }

  // Removals of sets the server knows; one of a set it never saw cancels everything.
  std::set<std::string> removals;
  for (auto* removal :
       fetchRecords<ExerciseCompletedSetDeleteEntity>(context, {}, {{"guid", true}})) {
    const std::int64_t serverID = removal->updatedEntityID();
    if (serverID == 0 || !removals.insert(removal->guid()).second) continue;
    items.push_back(
        {OutboxKind::CompletedSetDelete,
         {removal->guid()},
         "removal of set " + removal->guid() + " (server id " + std::to_string(serverID) + ")",
         {{"id", serverID}, {"guid", removal->guid()}, {"_delete", true}},
         nlohmann::json::object()});
  }
}

void listResultCorrections(ManagedObjectContext& context, std::vector<OutboxItem>& items) {
  std::set<std::string> seen;
  for (auto* correction : fetchRecords<WorkoutResultsUpdateEntity>(context, {}, {{"guid", true}})) {
    if (correction->guid().empty() || !seen.insert(correction->guid()).second) continue;
    items.push_back({OutboxKind::WorkoutResultUpdate,
                     {correction->guid()},
                     "correction of workout result " + correction->guid(),
                     bodyOf(*training_requests::requestWithUpdate(*correction)),
                     nlohmann::json::object()});
  }
}

// Measurements carry no guid: the time they were taken names them ("measurement@" and the
// server date-time text), which stays the same across restarts and reinstalls; one without a
// date falls back to its row.
constexpr std::string_view kMeasurementKeyPrefix = "measurement@";

std::string measurementKey(const MeasurementEntity& measurement) {
  if (measurement.hasDate())
    return std::string(kMeasurementKeyPrefix) + serverDateTimeString(measurement.date());
  return measurement.objectID().uriRepresentation();
}

bool isDeletedPhoto(const ProfileCommonPhotoEntity& photo) {
  return photo.entityStatusString() == "deleted";
}

std::string measurementDay(const MeasurementEntity& measurement) {
  return measurement.hasDate() ? stringFromDate(measurement.date(), "yyyy-MM-dd")
                               : std::string("an unknown day");
}

// A filled measurement request as the server reads it: the day as text, the photos as their
// upload trees in display order, those the server has not seen yet without an id.
nlohmann::json measurementBody(MeasurementAddRequest& request,
                               const MeasurementEntity& measurement) {
  if (measurement.hasDate())
    request.setDateString(stringFromDate(measurement.date(), "yyyy-MM-dd"));
  request.serializePhotos();
  request.clearPhotos();  // the upload trees travel as serializedPhotos
  request.clearDate();    // the text above is what the server reads
  auto body = bodyOf(request);
  if (body.contains("measurement") && body["measurement"].contains("photos") &&
      body["measurement"]["photos"].is_array()) {
    auto& photos = body["measurement"]["photos"];
    std::stable_sort(photos.begin(), photos.end(), [](const auto& a, const auto& b) {
      return a.value("sequence", 0) < b.value("sequence", 0);
    });
    for (auto& photo : photos)
      if (photo.is_object() && photo.value("id", 0) == 0) photo.erase("id");
  }
  return body;
}

// The update of a confirmed measurement changed here: every value as stored (metric).
nlohmann::json measurementUpdateBody(const MeasurementEntity& measurement) {
  auto request = MeasurementUpdateRequest::requestWithEntity(measurement);
  return measurementBody(*request, measurement);
}

void listMeasurements(ManagedObjectContext& context, std::vector<OutboxItem>& items) {
  std::vector<ProfileCommonPhotoEntity*> laterPhotos;  // new photos of confirmed measurements
  std::vector<MeasurementEntity*> updates;             // confirmed, changed here since
  for (auto* measurement : fetchRecords<MeasurementEntity>(context, {}, {{"date", true}})) {
    if (!needsCreation(*measurement)) {
      if (needsUpdate(*measurement)) updates.push_back(measurement);
      for (auto* photo : measurement->photos())
        if (needsCreation(*photo) && !isDeletedPhoto(*photo) && !photo->guid().empty())
          laterPhotos.push_back(photo);
      continue;
    }
    auto request = std::make_shared<MeasurementAddRequest>();
    request->fillDataWith(measurement);
    auto body = measurementBody(*request, *measurement);
    const auto photos = measurement->photosOrdered().size();
    items.push_back(
        {OutboxKind::MeasurementAdd,
         {measurementKey(*measurement)},
         "measurement of " + measurementDay(*measurement) +
             (photos ? " with " + std::to_string(photos) + (photos == 1 ? " photo" : " photos")
                     : std::string()),
         std::move(body),
         nlohmann::json::object()});
  }
  for (auto* measurement : updates) {
    items.push_back({OutboxKind::MeasurementUpdate,
                     {measurementKey(*measurement)},
                     "changes of measurement " + std::to_string(measurement->entityID()) + " of " +
                         measurementDay(*measurement),
                     measurementUpdateBody(*measurement),
                     nlohmann::json::object()});
  }
  for (auto* photo : laterPhotos) {
    auto request = std::make_shared<ProgressPhotoAddRequest>();
    request->setType(photo->sequence());
    request->setFullAddress(photo->absoluteUrl());
    auto body = bodyOf(*request);
    items.push_back({OutboxKind::ProgressPhotoAdd,
                     {photo->guid()},
                     "progress photo " + photo->guid() + " of measurement " +
                         std::to_string(photo->measurement()->entityID()),
                     body,
                     {{"measurementId", photo->measurement()->entityID()}}});
  }
}

void listMessages(ManagedObjectContext& context, std::vector<OutboxItem>& items) {
  for (auto* message :
       fetchRecords<ChatMessageEntity>(context, {}, {{"time", true}, {"guid", true}})) {
    if (!needsCreation(*message) || message->guid().empty()) continue;
    auto request = std::make_shared<SendMessageRequest>();
    request->setText(message->text());
    request->setGuid(message->guid());
    std::string text = message->text();
    if (text.size() > 40) {
      std::size_t cut = 37;  // not inside a UTF-8 sequence
      while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
      text = text.substr(0, cut) + "...";
    }
    items.push_back(
        {OutboxKind::MessageSend,
         {message->guid()},
         "message to conversation " + std::to_string(message->chatID()) + ": \"" + text + "\"",
         bodyOf(*request),
         {{"chatId", message->chatID()}}});
  }
}

// ---- Acknowledging ----

struct AnswerRecord {
  std::string key;
  const nlohmann::json* record;
};

std::int64_t serverId(const nlohmann::json& record, const std::string& where) {
  auto id = record.find("id");
  if (id == record.end() || !id->is_number_integer() || id->get<std::int64_t>() <= 0)
    throw OutboxError(where + ": \"id\" must be a positive integer");
  return id->get<std::int64_t>();
}

// Whether an answer's echo of `key` (when it has one) equals the stored value.
bool echoes(const nlohmann::json& record, const char* key, const Value& stored) {
  auto echoed = record.find(key);
  if (echoed == record.end()) return true;
  if (echoed->is_null()) return stored.isNull();
  if (echoed->is_number()) return stored.isNumber() && echoed->get<double>() == stored.asDouble();
  if (echoed->is_string())
    return stored.isString() && echoed->get_ref<const std::string&>() == stored.asString();
  return false;
}

// The measurement `key` names among those `pending` accepts (waiting for their creation or
// for their update); nullptr when none.
MeasurementEntity* measurementForKey(ManagedObjectContext& context, const std::string& key,
                                     bool (*pending)(const BaseMappableEntity&)) {
  if (key.rfind(kMeasurementKeyPrefix, 0) == 0) {
    for (auto* measurement : fetchRecords<MeasurementEntity>(context, {}, {{"date", true}}))
      if (pending(*measurement) && measurementKey(*measurement) == key) return measurement;
    return nullptr;
  }
  const std::string prefix = std::string(MeasurementEntity::kEntityName) + "/p";
  if (key.rfind(prefix, 0) != 0) return nullptr;
  std::int64_t row = 0;
  try {
    std::size_t used = 0;
    row = std::stoll(key.substr(prefix.size()), &used);
    if (used != key.size() - prefix.size()) return nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
  ObjectID id{context.model().entityNamed(MeasurementEntity::kEntityName), row, false};
  auto* measurement = dynamic_cast<MeasurementEntity*>(context.existingObjectWithID(id));
  return measurement && pending(*measurement) ? measurement : nullptr;
}

// The answer's lists by key, checked before anything is applied.
std::map<std::string, std::vector<AnswerRecord>> readAnswer(const nlohmann::json& answer) {
  if (!answer.is_object()) throw OutboxError("an acknowledgement is a JSON object");
  static const std::set<std::string> known = {
      "results",        "completed_sets", "completed_update_sets", "completed_delete_sets",
      "results_update", "measurements",   "measurements_update",   "photos",
      "messages",       "failed"};
  std::map<std::string, std::vector<AnswerRecord>> lists;
  for (const auto& [name, value] : answer.items()) {
    if (!known.count(name)) throw OutboxError("unknown answer key \"" + name + "\"");
    if (!value.is_array()) throw OutboxError("\"" + name + "\" must be a list");
    for (std::size_t i = 0; i < value.size(); ++i) {
      const auto& record = value[i];
      const std::string where = name + "[" + std::to_string(i) + "]";
      if (!record.is_object() || !record.contains("guid") || !record["guid"].is_string() ||
          record["guid"].get_ref<const std::string&>().empty())
        throw OutboxError(where + " must be an object with a non-empty \"guid\"");
      const bool creation = name == "results" || name == "completed_sets" ||
                            name == "measurements" || name == "photos" || name == "messages";
      if (creation) serverId(record, where);
      if (name == "messages" && record.contains("created_at") &&
          !(record["created_at"].is_string() &&
            parseServerDate(record["created_at"].get_ref<const std::string&>())))
        throw OutboxError(where + ": \"created_at\" must be a server date-time text");
      if (name == "measurements" && record.contains("photos")) {
        if (!record["photos"].is_array()) throw OutboxError(where + ": \"photos\" must be a list");
        for (const auto& photo : record["photos"]) {
          if (!photo.is_object() || !photo.contains("sequence") ||
              !photo["sequence"].is_number_integer())
            throw OutboxError(where + ": each photo names its \"sequence\"");
          serverId(photo, where + " photo");
        }
      }
      lists[name].push_back({record["guid"].get<std::string>(), &record});
    }
  }
  return lists;
}

}  // namespace

const char* outboxAnswerKey(OutboxKind kind) {
  switch (kind) {
    case OutboxKind::WorkoutResultAdd:
      return "results";
    case OutboxKind::CompletedSetsAdd:
      return "completed_sets";
    case OutboxKind::CompletedSetUpdate:
      return "completed_update_sets";
    case OutboxKind::CompletedSetDelete:
      return "completed_delete_sets";
    case OutboxKind::WorkoutResultUpdate:
      return "results_update";
    case OutboxKind::MeasurementAdd:
      return "measurements";
    case OutboxKind::MeasurementUpdate:
      return "measurements_update";
    case OutboxKind::ProgressPhotoAdd:
      return "photos";
    case OutboxKind::MessageSend:
      return "messages";
  }
  return "";
}

std::vector<OutboxItem> Outbox::pending() const {
  std::vector<OutboxItem> items;
  listResults(context_, signedInUserID_, items);
  listSets(context_, items);
  listResultCorrections(context_, items);
  listMeasurements(context_, items);
  listMessages(context_, items);
  return items;
}

OutboxAcknowledgement Outbox::acknowledge(const nlohmann::json& answer) {
  const auto lists = readAnswer(answer);
  OutboxAcknowledgement summary;
  auto& context = context_;
  // Each answered record: the lambda returns 1 when it confirmed a record, 0 when nothing
  // pending matched, -1 when it recorded the outcome itself.
  auto each = [&](const char* name, auto&& apply) {
    auto found = lists.find(name);
    if (found == lists.end()) return;
    for (const auto& entry : found->second) {
      const int outcome = apply(entry.key, *entry.record);
      if (outcome > 0)
        ++summary.confirmed;
      else if (outcome == 0)
        summary.unknown.push_back(entry.key);
    }
  };

  each("results", [&](const std::string& guid, const nlohmann::json& record) {
    bool any = false;
    for (auto* result : withGuid<WorkoutResultsEntity>(context, guid)) {
      if (!unconfirmed(*result)) continue;
      result->setEntityID(record["id"].get<std::int64_t>());
      confirmCreation(*result);
      any = true;
    }
    return any;
  });
  each("completed_sets", [&](const std::string& guid, const nlohmann::json& record) {
    bool any = false;
    for (auto* set : withGuid<ExerciseCompletedSetEntity>(context, guid)) {
      if (!unconfirmed(*set)) continue;
      set->setEntityID(record["id"].get<std::int64_t>());
      confirmCreation(*set);
      any = true;
    }
    return any;
  });
  // A correction is cleared only when the answer confirms what is stored now: one made again
  // while the older one was on its way stays to be sent.
  auto clearCorrections =
      [&](const auto& corrections, const std::string& guid, const nlohmann::json& record,
          std::initializer_list<std::pair<const char*, const char*>> fields) -> int {
    for (auto* correction : corrections) {
      for (const auto& [serverKey, field] : fields) {
        if (!echoes(record, serverKey, correction->valueForKey(field))) {
          summary.superseded.push_back(guid);
          return -1;
        }
      }
    }
    for (auto* correction : corrections) context.deleteObject(correction);
    return corrections.empty() ? 0 : 1;
  };
  each("completed_update_sets", [&](const std::string& guid, const nlohmann::json& record) {
    const int outcome =
        clearCorrections(withGuid<ExerciseCompletedSetUpdateEntity>(context, guid), guid, record,
                         {{"repeats", "repeats"}, {"value", "value"}, {"comment", "comment"}});
    if (outcome > 0)
      for (auto* set : withGuid<ExerciseCompletedSetEntity>(context, guid)) confirmChanges(*set);
    return outcome;
  });
  each("completed_delete_sets", [&](const std::string& guid, const nlohmann::json&) {
    auto removals = withGuid<ExerciseCompletedSetDeleteEntity>(context, guid);
    if (removals.empty()) return false;
    for (auto* removal : removals) context.deleteObject(removal);
    // The server has forgotten the set: so does the device, with its corrections.
    for (auto* set : withGuid<ExerciseCompletedSetEntity>(context, guid)) context.deleteObject(set);
    for (auto* correction : withGuid<ExerciseCompletedSetUpdateEntity>(context, guid))
      context.deleteObject(correction);
    return true;
  });
  each("results_update", [&](const std::string& guid, const nlohmann::json& record) {
    const int outcome = clearCorrections(
        withGuid<WorkoutResultsUpdateEntity>(context, guid), guid, record,
        {{"steps", "steps"}, {"calories", "calories"}, {"heartRateAverage", "heartRateAverage"}});
    if (outcome > 0)
      for (auto* result : withGuid<WorkoutResultsEntity>(context, guid)) confirmChanges(*result);
    return outcome;
  });
  each("measurements", [&](const std::string& key, const nlohmann::json& record) {
    auto* measurement = measurementForKey(context, key, &needsCreation);
    if (!measurement) return false;
    measurement->setEntityID(record["id"].get<std::int64_t>());
    confirmCreation(*measurement);
    if (record.contains("photos")) {
      for (const auto& answered : record["photos"]) {
        for (auto* photo : measurement->photos()) {
          if (unconfirmed(*photo) &&
              photo->sequence() == answered["sequence"].get<std::int64_t>()) {
            photo->setEntityID(answered["id"].get<std::int64_t>());
            confirmCreation(*photo);
          }
        }
      }
    }
    return true;
  });
  // An update is confirmed only when the answer's echo (if any) still matches what would be
  // sent now: a measurement edited again while the update was on its way stays to be sent.
  each("measurements_update", [&](const std::string& key, const nlohmann::json& record) -> int {
    auto* measurement = measurementForKey(context, key, &needsUpdate);
    if (!measurement) return 0;
    const auto body = measurementUpdateBody(*measurement);
    const auto& sent = body.contains("measurement") ? body["measurement"] : body;
    for (const auto& [field, echoed] : record.items()) {
      if (field == "guid" || field == "id") continue;
      auto now = sent.find(field);
      const bool same = now == sent.end() ? echoed.is_null()
                                          : (now->is_number() && echoed.is_number()
                                                 ? now->get<double>() == echoed.get<double>()
                                                 : *now == echoed);
      if (!same) {
        summary.superseded.push_back(key);
        return -1;
      }
    }
    confirmChanges(*measurement);
    return 1;
  });
  each("photos", [&](const std::string& guid, const nlohmann::json& record) {
    bool any = false;
    for (auto* photo : withGuid<ProfileCommonPhotoEntity>(context, guid)) {
      if (!unconfirmed(*photo)) continue;
      photo->setEntityID(record["id"].get<std::int64_t>());
      confirmCreation(*photo);
      any = true;
    }
    return any;
  });
  each("messages", [&](const std::string& guid, const nlohmann::json& record) {
    bool any = false;
    for (auto* message : withGuid<ChatMessageEntity>(context, guid)) {
      if (!unconfirmed(*message)) continue;
      message->setEntityID(record["id"].get<std::int64_t>());
      confirmCreation(*message);
      if (record.contains("created_at"))
        message->setTime(*parseServerDate(record["created_at"].get_ref<const std::string&>()));
      message->setDeliveryState(kMessageDeliverySent);
      any = true;
    }
    return any;
  });
  if (auto failed = lists.find("failed"); failed != lists.end()) {
    for (const auto& entry : failed->second) {
      summary.failed.push_back(entry.key);
      // A refused message shows as failed until it is sent again.
      for (auto* message : withGuid<ChatMessageEntity>(context, entry.key))
        if (unconfirmed(*message)) message->setDeliveryState(kMessageDeliveryFailed);
    }
  }

  try {
    context.save();
  } catch (const StoreError&) {
    context.reset();  // the context again holds what is stored
    throw;
  }
  return summary;
}

}  // namespace dm
