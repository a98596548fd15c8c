// The options every dmctl command shares, and the messages about stores they share.
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

// Without --verbose the library's diagnostic events are kept out of the output; a command
// that fails says why on its own.
class SilentDiagnosticEvents final : public dm::DiagnosticEvents {
 public:
  void logEvent(std::string_view, const nlohmann::json&) override {}
};

}  // namespace

std::string storeUnavailableReason(const std::string& what,
                                   const std::optional<dm::StoreError>& error) {
  if (!error) return what + " is not in use (it could not be opened)";
  return what + " is not in use (" + dm::storeFailureKindName(error->kind()) + ": " +
         error->what() + ")";
}

void applyGlobalOptions(const GlobalOptions& options) {
  if (!options.dataDir.empty()) dm::Directories::setDataRoot(options.dataDir);
  if (options.verbose)
    dm::DiagnosticEvents::setShared(nullptr);  // the stderr service
  else
    dm::DiagnosticEvents::setShared(std::make_shared<SilentDiagnosticEvents>());
}

}  // namespace dmctl
