// Applies the options every dmctl command shares.
#include "Platform/Foundation/Directories.h"
#include "dmctl/Command.h"

namespace dmctl {

void applyGlobalOptions(const GlobalOptions& options) {
  if (!options.dataDir.empty()) dm::Directories::setDataRoot(options.dataDir);
}

}  // namespace dmctl
