// What the device still has to tell the server: every record created or changed here that the
// server has not confirmed, as the ordered request bodies to send, and the mapping of the
// server's acknowledgements back onto the records. Nothing is kept besides the records
// themselves (client guids, entityID 0 until confirmed, each record's device-side sync state,
// the pending correction and removal records), so the list survives a restart or a kill at any
// moment.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Error.h"

namespace dm {

class ManagedObjectContext;

// The kinds of requests, in the order they are sent: a result before the sets that name it,
// a creation before its correction, corrections before removals.
enum class OutboxKind {
  WorkoutResultAdd,
  CompletedSetsAdd,
  CompletedSetUpdate,
  CompletedSetDelete,
  WorkoutResultUpdate,
  MeasurementAdd,
  MeasurementUpdate,
  ProgressPhotoAdd,
  MessageSend,
};

// The answer root key that acknowledges a kind ("completed_sets", "messages", ...).
const char* outboxAnswerKey(OutboxKind kind);

// One request body to send. `keys` are what the acknowledgement names: the records' guids
// (a measurement has none: "measurement@" and the time it was taken stand in).
struct OutboxItem {
  OutboxKind kind;
  std::vector<std::string> keys;
  std::string title;          // one line for people
  nlohmann::json body;        // the request's serialised tree
  nlohmann::json parameters;  // what the route needs besides the body ({"chatId": 12})
};

// What an acknowledgement did.
struct OutboxAcknowledgement {
  int confirmed = 0;                 // records that took the server's answer
  std::vector<std::string> failed;   // keys the server refused; they stay pending
  std::vector<std::string> unknown;  // keys that name nothing pending (already confirmed, ...)
  // Corrections answered with other values than stored: corrected again since they were
  // sent, so they stay to be sent.
  std::vector<std::string> superseded;
};

// A malformed acknowledgement: nothing was applied. Its code is InvalidInput.
class OutboxError : public Error {
 public:
  explicit OutboxError(const std::string& message) : Error(ErrorCode::InvalidInput, message) {}
};

// Delivery states of a message written on this device (they only advance; -1 resets).
constexpr std::int16_t kMessageDeliveryFailed = -1;
constexpr std::int16_t kMessageDeliveryPending = 0;
constexpr std::int16_t kMessageDeliverySent = 1;

// Reads and writes the records of one context; call it on that context's queue.
class Outbox {
 public:
  // `signedInUserID`: the user signed in on this device (SignedInUser.h). A workout result
  // whose userIdForNotSend names that user is never sent; without a signed-in user, results
  // naming any user are held back, since they may be that user's.
  explicit Outbox(ManagedObjectContext& context,
                  std::optional<std::int64_t> signedInUserID = std::nullopt)
      : context_(context), signedInUserID_(signedInUserID) {}

  // The requests still to send, in order. A removal of a record the server never saw cancels
  // its creation and correction; a removal of a confirmed set supersedes its correction.
  std::vector<OutboxItem> pending() const;

  // Maps the server's answer back and saves the context once (all or nothing). The answer is
  // an object of answer keys ("completed_sets", "results", "completed_update_sets",
  // "completed_delete_sets", "results_update", "measurements", "measurements_update",
  // "photos", "messages"), each a list of records naming their "guid" and, for creations, the
  // server's "id". A correction's or update's answer may echo its values; it then clears only
  // a change still equal to them. "failed"
  // lists {"guid", "error"} the server refused. Throws OutboxError for a malformed answer and
  // StoreError when the save fails; either way no record changes (the context is reset to
  // what is stored).
  OutboxAcknowledgement acknowledge(const nlohmann::json& answer);

 private:
  ManagedObjectContext& context_;
  std::optional<std::int64_t> signedInUserID_;
};

}  // namespace dm
