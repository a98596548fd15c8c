// The main store: shared instance, opening with recovery, contexts and injector registration.
#include "UserData/CoreData/ManagedObjectStore.h"

#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/EmbeddedResources.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/DamagedStoreFiles.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm {
namespace {

// Crash reports group by these locations, so they stay fixed whatever this file looks like.
const char* const kLogFile = "Modules/DataModel/Sources/UserData/CoreData/ManagedObjectStore";
const char* const kLogFunction = "initializeContextWithStorePath";
constexpr unsigned kRemovingLine = 81;
constexpr unsigned kDeleteFailedLine = 84;

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

// Guarded by sharedMutex().
std::shared_ptr<ManagedObjectStore>& sharedSlot() {
  static std::shared_ptr<ManagedObjectStore> store;
  return store;
}

bool pathExists(const std::filesystem::path& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

}  // namespace

ManagedObjectStore::ManagedObjectStore(std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)) {}

void ManagedObjectStore::initialize(Injector& injector) {
  injector.registerSingleton<ManagedObjectStore>(
      [](Injector&) { return initWithModelName(modelName); });
  injector.registerProvider<MappingStore>(providerName, [](Injector& injector) {
    return std::static_pointer_cast<MappingStore>(injector.get<ManagedObjectStore>());
  });
}

void ManagedObjectStore::provideAsObjectStore(Injector& injector,
                                              std::shared_ptr<ManagedObjectStore> store) {
  if (!store) return;
  injector.registerProvider<MappingStore>(
      providerName, [store](Injector&) { return std::static_pointer_cast<MappingStore>(store); });
}

void ManagedObjectStore::initialize() {
  initialize(*Injector::defaultInjector());
}

std::shared_ptr<ManagedObjectStore> ManagedObjectStore::initWithModelName(const std::string& name) {
  std::lock_guard lock(sharedMutex());
  if (auto existing = sharedSlot()) return existing;
  if (!EmbeddedResources::find("Models/" + name + ".json")) {
    logError("No store model named \"" + name + "\" is embedded.");
    return nullptr;
  }
  return createShared(ManagedObjectModel::named(name));
}

std::shared_ptr<ManagedObjectStore> ManagedObjectStore::initWithManagedObjectModel(
    std::shared_ptr<const ManagedObjectModel> model) {
  std::lock_guard lock(sharedMutex());
  if (auto existing = sharedSlot()) return existing;
  if (!model) return nullptr;
  return createShared(std::move(model));
}

std::shared_ptr<ManagedObjectStore> ManagedObjectStore::createShared(
    std::shared_ptr<const ManagedObjectModel> model) {
  auto store = std::make_shared<ManagedObjectStore>(std::move(model));
  // Directories creates the documents directory when missing; if that fails the open below
  // fails and the recovery path takes over.
  std::filesystem::path documents = Directories::shared()->documentsDirectory();
  store->initializeContextWithStorePath(documents / dataBaseFileName, documents);
  ObjectStoreHelpers::setDefaultStore(store->persistentStore());
  ObjectStoreHelpers::setRootSavingContext(store->persistentStoreManagedObjectContext());
  ObjectStoreHelpers::setDefaultContext(store->mainQueueManagedObjectContext());
  sharedSlot() = store;
  return store;
}

std::shared_ptr<ManagedObjectStore> ManagedObjectStore::sharedInstance() {
  std::lock_guard lock(sharedMutex());
  return sharedSlot();
}

void ManagedObjectStore::resetSharedInstance() {
  std::shared_ptr<ManagedObjectStore> old;
  {
    std::lock_guard lock(sharedMutex());
    old = std::move(sharedSlot());
  }
  if (old && ObjectStoreHelpers::defaultContext() == old->mainQueueManagedObjectContext()) {
    ObjectStoreHelpers::setDefaultContext(nullptr);
    ObjectStoreHelpers::setRootSavingContext(nullptr);
    ObjectStoreHelpers::setDefaultStore(nullptr);
  }
  // `old` is released here, outside the lock: its contexts join their queues.
}

std::shared_ptr<PersistentStore> ManagedObjectStore::openWithRecovery(
    const std::filesystem::path& storePath, const std::filesystem::path& directoryPath) {
  std::optional<StoreError> lastError;
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      return PersistentStore::open(model_, StoreType::SQLite, storePath.string());
    } catch (const StoreError& error) {
      lastError = error;
    }
    // Only a damaged file is replaced. A busy, full, read-only or unreachable file holds
    // records that are fine; it is reported and left exactly as it is.
    if (attempt > 0 || !lastError->isCorruption()) break;
    logWarning("Removing existing SQLite persistent store.",
               LogLocation{kLogFile, kRemovingLine, kLogFunction});
    std::string moveError;
    if (moveDamagedStoreAside(storePath, moveError)) {
      DiagnosticEvents::shared()->logEvent("ManagedObjectStore.storeMovedAside",
                                           {{"path", storePath.string()},
                                            {"kept as", damagedStorePath(storePath).string()},
                                            {"error", lastError->what()}});
    } else {
      logError("Failed to delete SQLite persistent store. " + moveError + ".",
               LogLocation{kLogFile, kDeleteFailedLine, kLogFunction});
    }
  }

  nlohmann::json parameters = {
      {"Failed to add SQLite persistent store.",
       "path: " + storePath.string() + " error: " + lastError->what()},
      {"Free disk space",
       std::to_string(static_cast<long>(Directories::freeDiskSpace(directoryPath)))},
      {"Is documentsDirectory exist", pathExists(directoryPath) ? "1" : "0"},
      {"Is file exist", pathExists(storePath) ? "1" : "0"},
  };
  DiagnosticEvents::shared()->logEvent("ManagedObjectStore.initializeContextWithStorePath",
                                       parameters);
  {
    std::lock_guard lock(mutex_);
    openError_ = lastError;
  }
  try {
    return PersistentStore::open(model_, StoreType::InMemory);
  } catch (const StoreError& error) {
    // Nothing else can be done: an in-memory database only fails when memory is exhausted.
    logError(std::string("Failed to add in-memory persistent store. ") + error.what() + ".");
    return nullptr;
  }
}

std::optional<StoreError> ManagedObjectStore::openError() const {
  std::lock_guard lock(mutex_);
  return openError_;
}

void ManagedObjectStore::initializeContextWithStorePath(
    const std::filesystem::path& storePath, const std::filesystem::path& directoryPath) {
  auto store = openWithRecovery(storePath, directoryPath);
  if (!store) return;
  auto root = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue,
                                               "ManagedObjectStore.root");
  auto main = ManagedObjectContext::createChild(root, ConcurrencyType::MainQueue,
                                                "ManagedObjectStore.main");
  main->setAutomaticallyMergesChangesFromParent(true);
  std::lock_guard lock(mutex_);
  store_ = std::move(store);
  rootContext_ = std::move(root);
  mainContext_ = std::move(main);
}

std::shared_ptr<PersistentStore> ManagedObjectStore::persistentStore() const {
  std::lock_guard lock(mutex_);
  return store_;
}

std::shared_ptr<ManagedObjectContext> ManagedObjectStore::persistentStoreManagedObjectContext()
    const {
  std::lock_guard lock(mutex_);
  return rootContext_;
}

std::shared_ptr<ManagedObjectContext> ManagedObjectStore::mainQueueManagedObjectContext() const {
  std::lock_guard lock(mutex_);
  return mainContext_;
}

std::shared_ptr<ManagedObjectContext> ManagedObjectStore::defaultContext() const {
  std::lock_guard lock(mutex_);
  return classContext_ ? classContext_ : mainContext_;
}

void ManagedObjectStore::setDefaultContext(std::shared_ptr<ManagedObjectContext> context) {
  std::lock_guard lock(mutex_);
  classContext_ = std::move(context);
}

bool ManagedObjectStore::isInMemory() const {
  std::lock_guard lock(mutex_);
  return !store_ || store_->type() == StoreType::InMemory;
}

std::shared_ptr<ManagedObjectContext> ManagedObjectStore::newPrivateQueueContext(
    std::string label) {
  auto root = persistentStoreManagedObjectContext();
  if (!root) return nullptr;
  auto context = ManagedObjectContext::createChild(std::move(root), ConcurrencyType::PrivateQueue,
                                                   std::move(label));
  context->setAutomaticallyMergesChangesFromParent(true);
  return context;
}

}  // namespace dm
