// The user's store subscription as the server last described it (kept archived in the user).
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "Mapping/Enumerations/UserEnumerations.h"
#include "Platform/Foundation/Date.h"

namespace dm {

// A plain value; copy freely, any thread.
struct ServerSubscription {
  std::string typeString;
  std::string productId;
  std::optional<Date> expireAt;

  // typeString through ServerSubscriptionTypeMappings; Unknown for an unknown code.
  ServerSubscriptionType type() const;
  void setType(ServerSubscriptionType type);

  // Nothing for nothing or a non-dictionary; otherwise typeString from "type", productId from
  // "product_id", expireAt from "expire_at" read as a server date-time (absent when it is not
  // one). Texts that are not texts read as "".
  static std::optional<ServerSubscription> serverSubscriptionWithDict(
      const std::optional<nlohmann::json>& dict);
};

}  // namespace dm
