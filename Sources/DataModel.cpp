// The composition root: registration, process-wide services and the main store.
#include "DataModel.h"

#include <mutex>

#include "Finance/FinanceValues.h"
#include "Mapping/Records/RecordClassCheck.h"
#include "Models/HandbookRecords.h"
#include "Models/KorvaloRecords.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/SettingsStore.h"
#include "ProfileStoreServices.h"
#include "Social/SocialBehaviour.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {
namespace {

std::string joinLines(const std::vector<std::string>& lines) {
  std::string text = "The record classes disagree with the store model:";
  for (const auto& line : lines) text += "\n  " + line;
  return text;
}

std::mutex& openMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<DataModel>& sharedSlot() {
  static std::shared_ptr<DataModel> instance;
  return instance;
}

}  // namespace

RecordClassMismatch::RecordClassMismatch(std::vector<std::string> mismatches)
    : Error(ErrorCode::RecordClassMismatch, joinLines(mismatches)),
      mismatches_(std::move(mismatches)) {}

void registerRecordClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    registerKorvaloRecords();
    registerHandbookRecords();
    registerSocialBehaviour();
    registerFinanceBehaviour();
  });
}

DataModel::DataModel(DataModelOptions options, std::shared_ptr<ManagedObjectStore> mainStore)
    : options_(std::move(options)), mainStore_(std::move(mainStore)) {}

std::shared_ptr<DataModel> DataModel::open(const DataModelOptions& options) {
  std::lock_guard lock(openMutex());
  if (auto existing = sharedSlot()) return existing;
  if (!options.dataRoot.empty()) Directories::setDataRoot(options.dataRoot);
  if (!options.interfaceLanguage.empty()) setCurrentInterfaceLanguage(options.interfaceLanguage);
  if (options.clock) Clock::setShared(options.clock);
  if (options.settingsStore) SettingsStore::setStandard(options.settingsStore);
  registerRecordClasses();

  auto store = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
  if (!store) throw std::runtime_error("The main store's model is not embedded.");
  installProfileStoreServices(store, options.useRootContextForClassOperations
                                         ? store->persistentStoreManagedObjectContext()
                                         : std::shared_ptr<ManagedObjectContext>());
  auto mismatches = recordClassMismatches(*store->managedObjectModel());
  if (!mismatches.empty()) {
    ManagedObjectStore::resetSharedInstance();
    throw RecordClassMismatch(std::move(mismatches));
  }
  sharedSlot() = std::make_shared<DataModel>(options, std::move(store));
  return sharedSlot();
}

std::shared_ptr<DataModel> DataModel::shared() {
  std::lock_guard lock(openMutex());
  return sharedSlot();
}

void DataModel::close() {
  std::lock_guard lock(openMutex());
  sharedSlot().reset();
  ManagedObjectStore::resetSharedInstance();
}

}  // namespace dm
