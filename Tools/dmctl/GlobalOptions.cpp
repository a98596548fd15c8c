// The options every dmctl command shares, and the messages about stores they share.
#include <fstream>
#include <sstream>

#include "DataModel.h"
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/LocaleServices.h"
#include "UserData/CoreData/ManagedObjectStore.h"
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

std::string readInputFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CommandError("cannot read " + path, ErrorCode::NotFound);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

dm::MappedFile mapInputFile(const std::string& path) {
  try {
    return dm::MappedFile(path);
  } catch (const dm::Error& error) {
    throw CommandError(error.what(), ErrorCode::NotFound);
  }
}

CommandError saveFailure(const dm::StoreError& error, bool writeAsked) {
  std::string message = std::string("saving failed (") + dm::storeFailureKindName(error.kind()) +
                        "): " + error.what() + "; nothing was saved";
  if (writeAsked) return NotWrittenError(message);
  return CommandError(message, libraryCode(error));
}

std::string storeUnavailableReason(const std::string& what,
                                   const std::optional<dm::StoreError>& error) {
  if (!error) return what + " is not in use (it could not be opened)";
  return what + " is not in use (" + dm::storeFailureKindName(error->kind()) + ": " +
         error->what() + ")";
}

void applyGlobalOptions(const GlobalOptions& options) {
  if (!options.dataDir.empty()) dm::Directories::setDataRoot(options.dataDir);
  if (!options.language.empty()) {
    dm::setCurrentInterfaceLanguage(options.language);
    // Dates and numbers follow the language's usual region.
    if (options.language == "ru") dm::setCurrentLocaleIdentifier("ru_RU");
    if (options.language == "en") dm::setCurrentLocaleIdentifier("en_US");
  }
  if (options.verbose)
    dm::DiagnosticEvents::setShared(nullptr);  // the stderr service
  else
    dm::DiagnosticEvents::setShared(std::make_shared<SilentDiagnosticEvents>());
}

std::shared_ptr<dm::ManagedObjectContext> openMainStoreForReading(const GlobalOptions& options) {
  applyGlobalOptions(options);
  dm::DataModelOptions open;
  open.useRootContextForClassOperations = true;
  std::shared_ptr<dm::ManagedObjectStore> store;
  try {
    store = dm::DataModel::open(open)->mainStore();
  } catch (const std::runtime_error& error) {
    throw CommandError(std::string("the main store is unavailable: ") + error.what(),
                       dm::ErrorCode::StoreUnavailable);
  }
  if (store->isInMemory())
    throw CommandError(storeUnavailableReason("the main store", store->openError()),
                       dm::ErrorCode::StoreUnavailable);
  return store->persistentStoreManagedObjectContext();
}

}  // namespace dmctl
