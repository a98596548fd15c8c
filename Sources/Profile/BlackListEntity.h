// What the user has blocked about another user: one record per blocked user.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Models/KorvaloEntities.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject. Generated accessors: blacklistedUserId and the five
// flags denyIncomingMessages, denyCommentMyPosts, hidePosts, hidePostComments, blockProfile.
class BlackListEntity : public BlackListEntityGenerated {
 public:
  // True when none of the five flags is set.
  bool isEmpty() const;

  // Every stored entry in `context` (on its queue), or in the default context when none is
  // given (then on that context's queue). Empty when there is no store or the fetch fails
  // (logged). Owned by the context.
  static std::vector<BlackListEntity*> allEntities(ManagedObjectContext* context = nullptr);

  class Class : public BaseMappableEntity::Class {
   public:
    using BaseMappableEntity::Class::Class;
    // One entry per blocked user; the server's own identifier is not stable across edits.
    std::optional<std::vector<std::string>> identificationAttributes() const override {
      return std::vector<std::string>{"blacklistedUserId"};
    }
    std::optional<std::string> rootKeyPath() const override { return "blacklist_record"; }
    std::optional<std::string> pluralRootKeyPath() const override { return "blacklist_records"; }
  };
};

}  // namespace dm
