// Registration of the social records' setters.
#include "Social/SocialBehaviour.h"

#include "Social/ChatMessageEntity.h"

namespace dm {

void registerSocialBehaviour() {
  registerChatMessageSetters();
}

}  // namespace dm
