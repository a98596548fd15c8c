// Applies the options every dmctl command shares.
#include "dmctl/Command.h"

namespace dmctl {

void applyGlobalOptions(const GlobalOptions& options) {
  (void)options;  // the data root is applied once the directories service exists
}

}  // namespace dmctl
