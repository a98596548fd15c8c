// Reading the server's subscription dictionary.
#include "Profile/ServerSubscription.h"

#include "Platform/Foundation/DateFormatting.h"

namespace dm {

namespace {
std::string textAt(const nlohmann::json& dict, const char* key) {
  auto found = dict.find(key);
  return found != dict.end() && found->is_string() ? found->get<std::string>() : std::string();
}
}  // namespace

ServerSubscriptionType ServerSubscription::type() const {
  return ServerSubscriptionTypeMappings()
      .enumForCode<ServerSubscriptionType>(typeString)
      .value_or(ServerSubscriptionType::Unknown);
}

void ServerSubscription::setType(ServerSubscriptionType type) {
  typeString = ServerSubscriptionTypeMappings().codeForEnum(type).value_or("");
}

std::optional<ServerSubscription> ServerSubscription::serverSubscriptionWithDict(
    const std::optional<nlohmann::json>& dict) {
  if (!dict || !dict->is_object()) return std::nullopt;
  ServerSubscription subscription;
  subscription.typeString = textAt(*dict, "type");
  subscription.productId = textAt(*dict, "product_id");
  std::string expire = textAt(*dict, "expire_at");
  if (!expire.empty()) subscription.expireAt = dateFromServerString(expire);
  return subscription;
}

}  // namespace dm
