// Blacklist entries.
#include "Profile/BlackListEntity.h"

#include <exception>

#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm {

bool BlackListEntity::isEmpty() const {
  return !denyIncomingMessages() && !denyCommentMyPosts() && !hidePosts() && !hidePostComments() &&
         !blockProfile();
}

std::vector<BlackListEntity*> BlackListEntity::allEntities(ManagedObjectContext* context) {
  std::shared_ptr<ManagedObjectContext> fallback;
  if (!context) {
    fallback = ObjectStoreHelpers::defaultContext();
    context = fallback.get();
  }
  std::vector<BlackListEntity*> out;
  if (!context) return out;
  try {
    for (ManagedObject* object : ObjectStoreHelpers::findAllSorted(*context, kEntityName))
      if (auto* entry = dynamic_cast<BlackListEntity*>(object)) out.push_back(entry);
  } catch (const std::exception& error) {
    logWarning(std::string("BlackListEntity: cannot read entries: ") + error.what());
  }
  return out;
}

}  // namespace dm
