// The handbook store: opening with seed unpacking and recovery, contexts, saving queue and
// observers.
#include "Handbook/Storage/HandbookStorage.h"

#include <atomic>
#include <mutex>
#include <system_error>

#include "Models/HandbookRecords.h"
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/DamagedStoreFiles.h"

namespace dm {

namespace {

std::atomic<std::uint64_t> gNextIdentity{1};

// The calling thread's private dictionary entries for handbook contexts.
struct ThreadContextEntry {
  std::uint64_t storage = 0;
  std::uint64_t generation = 0;
  std::shared_ptr<ManagedObjectContext> context;
};
thread_local std::optional<ThreadContextEntry> tContextEntry;  // kContextKey
thread_local std::optional<std::int64_t> tContextVersion;      // kContextVersionKey

bool existsQuietly(const std::filesystem::path& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

}  // namespace

std::shared_ptr<HandbookStorage> HandbookStorage::create(Options options) {
  auto storage = std::make_shared<HandbookStorage>(Private{}, std::move(options));
  storage->seedStorage_->setDelegate(storage);
  storage->seedStorage_->requestSeedIfNeeded();
  return storage;
}

namespace {
// The store makes records of the handbook's classes whether or not the host opened the library
// through DataModel::open, so a handbook never silently holds plain objects.
void registerHandbookRecordsOnce() {
  static std::once_flag once;
  std::call_once(once, [] { registerHandbookRecords(); });
}
}  // namespace

HandbookStorage::HandbookStorage(Private, Options options)
    : seedStorage_(options.seedStorage ? options.seedStorage : SeedStorage::shared()),
      model_(ManagedObjectModel::named(kModelName)),
      identity_(gNextIdentity++),
      savingQueue_(
          std::make_unique<SerialQueue>(kSavingQueueLabel, QualityOfService::UserInteractive)),
      shouldUnpackHandbook_(options.shouldUnpackHandbook) {
  std::filesystem::path support = options.applicationSupportDirectory.empty()
                                      ? Directories::shared()->applicationSupportDirectory()
                                      : options.applicationSupportDirectory;
  storeDirectory_ = support / kStoreDirectoryName;
  storeFile_ = storeDirectory_ / kStoreFileName;
  registerHandbookRecordsOnce();
  open();
}

HandbookStorage::~HandbookStorage() {
  // Jobs still queued finish first; then the current store closes before the retired ones.
  savingQueue_.reset();
  std::lock_guard lock(mutex_);
  stack_ = Stack{};
  retired_.clear();
}

void HandbookStorage::open() {
  std::error_code ec;
  std::filesystem::create_directories(storeDirectory_, ec);

  const bool unpack =
      shouldUnpackHandbook_ || !existsQuietly(storeFile_) || seedStorage_->needsRestore();
  if (unpack) {
    // A refused seed leaves the existing store in place (and the settings unchanged, so the
    // next start tries again).
    if (auto seed = seedStorage_->builtInSeed()) seedStorage_->restoreSeed(*seed, storeFile_, "en");
  }
  auto store = openStoreWithRecovery();
  std::lock_guard lock(mutex_);
  stack_ = makeStack(std::move(store));
}

std::shared_ptr<PersistentStore> HandbookStorage::openStoreWithRecovery() {
  std::optional<StoreError> error;
  try {
    return PersistentStore::open(model_, StoreType::SQLite, storeFile_.string());
  } catch (const StoreError& first) {
    error = first;
  }
  // Only a damaged file is replaced by the seed; busy, full, read-only and unreachable
  // files keep their updates and are reported below.
  auto seed = error->isCorruption() ? seedStorage_->builtInSeed() : std::nullopt;
  if (seed) {
    std::string moveError;
    if (moveDamagedStoreAside(storeFile_, moveError)) {
      DiagnosticEvents::shared()->logEvent("HandbookStorage.storeMovedAside",
                                           {{"path", storeFile_.string()},
                                            {"kept as", damagedStorePath(storeFile_).string()},
                                            {"error", error->what()}});
    } else {
      logWarning("Could not move the damaged handbook store aside: " + moveError);
    }
    seedStorage_->restoreSeed(*seed, storeFile_, "en");
    try {
      return PersistentStore::open(model_, StoreType::SQLite, storeFile_.string());
    } catch (const StoreError& second) {
      error = second;
    }
  }
  nlohmann::json parameters = {
      {"Failed to add Handbook persistent store",
       "path: " + storeFile_.string() + " error: " + error->what()},
      {"Free disk space", std::to_string(Directories::freeDiskSpace(storeDirectory_))},
      {"Is applicationSupportDirectory exist",
       existsQuietly(storeDirectory_.parent_path()) ? "true" : "false"},
      {"Is sqlDir exist", existsQuietly(storeDirectory_) ? "true" : "false"},
      {"Is file exist", existsQuietly(storeFile_) ? "true" : "false"},
  };
  DiagnosticEvents::shared()->logEvent("HandbookStorage HandbookStorage.init()", parameters);
  {
    std::lock_guard lock(mutex_);
    openError_ = error;
  }
  // The file stays as it is: whatever it holds is there again at the next start.
  return PersistentStore::open(model_, StoreType::InMemory);
}

std::optional<StoreError> HandbookStorage::openError() const {
  std::lock_guard lock(mutex_);
  return openError_;
}

HandbookStorage::Stack HandbookStorage::makeStack(std::shared_ptr<PersistentStore> store) {
  Stack stack;
  stack.store = std::move(store);
  stack.background = ManagedObjectContext::createRoot(stack.store, ConcurrencyType::PrivateQueue,
                                                      "HandbookSavingContext");
  stack.main = ManagedObjectContext::createChild(stack.background, ConcurrencyType::MainQueue,
                                                 "HandbookMainContext");
  stack.main->setAutomaticallyMergesChangesFromParent(true);
  stack.generation = stack_.generation + 1;
  return stack;
}

HandbookStorage::Stack HandbookStorage::currentStack() const {
  std::lock_guard lock(mutex_);
  return stack_;
}

bool HandbookStorage::isInMemory() const {
  return currentStack().store->type() == StoreType::InMemory;
}

void HandbookStorage::setLocalizationWasLoadedCompletion(std::function<void()> completion) {
  std::lock_guard lock(mutex_);
  localizationWasLoadedCompletion_ = std::move(completion);
}

bool HandbookStorage::managedObjectStoreShouldUnpackHandbook() const {
  std::lock_guard lock(mutex_);
  return shouldUnpackHandbook_;
}

void HandbookStorage::setManagedObjectStoreShouldUnpackHandbook(bool unpack) {
  std::lock_guard lock(mutex_);
  shouldUnpackHandbook_ = unpack;
}

std::shared_ptr<ManagedObjectContext> HandbookStorage::managedObjectBackgroundForSavingContext()
    const {
  return currentStack().background;
}

std::shared_ptr<ManagedObjectContext> HandbookStorage::managedObjectMainContext() const {
  return currentStack().main;
}

std::shared_ptr<ManagedObjectContext> HandbookStorage::contextForCurrentThread() const {
  Stack stack = currentStack();
  if (MainQueue::shared().isCurrent()) return stack.main;
  if (tContextEntry && tContextVersion && *tContextVersion == 0 &&
      tContextEntry->storage == identity_ && tContextEntry->generation == stack.generation &&
      tContextEntry->context)
    return tContextEntry->context;
  auto context = ManagedObjectContext::createChild(stack.main, ConcurrencyType::PrivateQueue,
                                                   "HandbookThreadContext");
  tContextEntry = ThreadContextEntry{identity_, stack.generation, context};
  tContextVersion = 0;
  return context;
}

void HandbookStorage::setThreadContextCacheVersion(std::int64_t version) {
  tContextVersion = version;
}

const EntityDescription* HandbookStorage::entityNamed(const std::string& name) const {
  return model_->entityNamed(name);
}

std::vector<ManagedObject*> HandbookStorage::fetch(
    const FetchRequest& request, const std::shared_ptr<ManagedObjectContext>& context) {
  auto target = context ? context : contextForCurrentThread();
  std::vector<ManagedObject*> result;
  target->performAndWait([&] {
    try {
      result = target->executeFetchRequest(request);
    } catch (const std::exception& error) {
      logWarning(std::string("Handbook fetch failed: ") + error.what());
      result.clear();
    }
  });
  return result;
}

std::size_t HandbookStorage::count(const FetchRequest& request,
                                   const std::shared_ptr<ManagedObjectContext>& context) {
  auto target = context ? context : contextForCurrentThread();
  std::size_t result = 0;
  target->performAndWait([&] {
    try {
      result = target->countForFetchRequest(request);
    } catch (const std::exception& error) {
      logWarning(std::string("Handbook count failed: ") + error.what());
      result = 0;
    }
  });
  return result;
}

void HandbookStorage::performOnSavingContextAndWait(
    const std::function<void(ManagedObjectContext&)>& block,
    const std::function<void()>& completion) {
  auto context = managedObjectBackgroundForSavingContext();
  context->performAndWait([&] { block(*context); });
  if (completion) completion();
}

void HandbookStorage::performOnSavingQueue(std::function<void(ManagedObjectContext&)> block,
                                           std::function<void()> done) {
  std::weak_ptr<HandbookStorage> weakSelf = weak_from_this();
  savingQueue_->async([weakSelf, block = std::move(block), done = std::move(done)] {
    if (auto self = weakSelf.lock()) {
      auto context = self->managedObjectBackgroundForSavingContext();
      context->performAndWait([&] {
        if (block) block(*context);
        try {
          context->save();
        } catch (const std::exception& error) {
          logWarning(std::string("Handbook save failed: ") + error.what());
        }
      });
    }
    if (done) done();
  });
}

void HandbookStorage::performOnSavingContext(std::function<void(ManagedObjectContext&)> block) {
  auto context = managedObjectBackgroundForSavingContext();
  context->perform([context, block = std::move(block)] { block(*context); });
}

void HandbookStorage::addObserver(const std::shared_ptr<HandbookStorageDelegate>& observer) {
  if (!observer) return;
  std::lock_guard lock(mutex_);
  observers_.push_back(observer);
}

void HandbookStorage::notifyObservers() {
  std::vector<std::weak_ptr<HandbookStorageDelegate>> snapshot;
  {
    std::lock_guard lock(mutex_);
    std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
    snapshot = observers_;
  }
  for (const auto& weak : snapshot)
    if (auto observer = weak.lock()) observer->currentHandbookLocalizationWasLoaded();
}

void HandbookStorage::seedDatabaseWasLoaded(const std::filesystem::path& seedArchive,
                                            const std::string& languageCode) {
  std::weak_ptr<HandbookStorage> weakSelf = weak_from_this();
  MainQueue::shared().async([weakSelf, seedArchive, languageCode] {
    auto self = weakSelf.lock();
    if (!self) return;
    self->replaceStoreWithSeed(seedArchive, languageCode);
    std::function<void()> completion;
    {
      std::lock_guard lock(self->mutex_);
      completion = self->localizationWasLoadedCompletion_;
    }
    if (completion) completion();
    self->notifyObservers();
  });
}

bool HandbookStorage::replaceStoreWithSeed(const std::filesystem::path& seedArchive,
                                           const std::string& languageCode) {
  // restoreSeed replaces the files only after the archive has been extracted and checked,
  // so a refused archive leaves the store as it was.
  if (!seedStorage_->restoreSeed(seedArchive, storeFile_, languageCode)) return false;
  {
    std::lock_guard lock(mutex_);
    openError_.reset();
  }
  auto store = openStoreWithRecovery();
  std::lock_guard lock(mutex_);
  retired_.push_back(stack_);
  stack_ = makeStack(std::move(store));
  return true;
}

}  // namespace dm
