// Payout records and their class operations.
#include "Finance/PayoutEntity.h"

#include <exception>
#include <functional>
#include <string>

#include "Platform/Foundation/Guid.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

namespace {

std::vector<PayoutEntity*> fetchPayouts(ManagedObjectContext& context,
                                        std::vector<SortDescriptor> order, std::size_t limit) {
  std::vector<PayoutEntity*> out;
  try {
    const EntityDescription* entity = context.model().entityNamed(PayoutEntity::kEntityName);
    if (!entity) return out;
    FetchRequest request(entity);
    request.sortDescriptors = std::move(order);
    request.fetchLimit = limit;
    for (ManagedObject* object : context.executeFetchRequest(request)) {
      if (auto* payout = dynamic_cast<PayoutEntity*>(object)) out.push_back(payout);
    }
  } catch (const std::exception& error) {
    logWarning(std::string("PayoutEntity: cannot read payouts: ") + error.what());
  }
  return out;
}

}  // namespace

std::int64_t PayoutEntity::newEntityID() {
  // The hash of a fresh random identifier.
  return static_cast<std::int64_t>(std::hash<std::string>{}(newGuid()));
}

PayoutEntity* PayoutEntity::unit(ManagedObjectContext& context) {
  auto found = fetchPayouts(context, {}, 1);
  return found.empty() ? nullptr : found.front();
}

std::vector<PayoutEntity*> PayoutEntity::payouts(ManagedObjectContext& context) {
  return fetchPayouts(context, {{"amount", false}}, 0);
}

std::size_t PayoutEntity::clearPayouts(ManagedObjectContext& context) {
  auto all = fetchPayouts(context, {}, 0);
  for (PayoutEntity* payout : all) context.deleteObject(payout);
  return all.size();
}

}  // namespace dm
