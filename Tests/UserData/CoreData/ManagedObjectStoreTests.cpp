// The main store: shared instance, file creation and reopening, recovery from a corrupt file
// (kept aside) and no recovery for a file that cannot be opened, injector registration.
#include <gtest/gtest.h>

#include <string>

#include "MainStoreTestSupport.h"
#include "Mapping/Records/ModelMetadata.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm::test {
namespace {

using MainStoreTest = MainStoreFixture;

const char* const kLogFile = "Modules/DataModel/Sources/UserData/CoreData/ManagedObjectStore";

void insertOwner(ManagedObjectStore& store, std::int64_t entityID, const std::string& name) {
  auto context = store.mainQueueManagedObjectContext();
  ManagedObject* owner = context->insertNewObject("Owner");
  owner->setValueForKey("entityID", entityID);
  owner->setValueForKey("name", name);
  ObjectStoreHelpers::saveToPersistentStoreAndWait(*context);
}

// Owner names sorted by entityID, read through the root context.
std::vector<std::string> ownerNames(ManagedObjectStore& store) {
  auto root = store.persistentStoreManagedObjectContext();
  std::vector<std::string> names;
  root->performAndWait([&] {
    FetchRequest request(store.managedObjectModel()->entityNamed("Owner"));
    request.sortDescriptors.push_back({"entityID", true});
    for (auto* object : root->executeFetchRequest(request))
      names.push_back(object->valueForKey("name").asString());
  });
  return names;
}

std::vector<RecordingLogger::Entry> entriesAt(const RecordingLogger& logger, unsigned line) {
  std::vector<RecordingLogger::Entry> found;
  for (const auto& entry : logger.entries())
    if (entry.line == line && entry.file == kLogFile) found.push_back(entry);
  return found;
}

TEST_F(MainStoreTest, SecondInitialisationReturnsTheFirstStoreWhateverTheName) {
  auto first = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->managedObjectModel()->name(), "Korvalo");
  EXPECT_EQ(ManagedObjectStore::initWithModelName("NoSuchModel"), first);
  EXPECT_EQ(ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel()), first);
  EXPECT_EQ(ManagedObjectStore::sharedInstance(), first);

  // The first open creates the file in the documents directory, with both contexts.
  EXPECT_TRUE(std::filesystem::is_regular_file(storeFile()));
  EXPECT_FALSE(first->isInMemory());
  EXPECT_EQ(first->persistentStore()->path(), storeFile().string());
  ASSERT_NE(first->persistentStoreManagedObjectContext(), nullptr);
  EXPECT_EQ(first->persistentStoreManagedObjectContext()->concurrencyType(),
            ConcurrencyType::PrivateQueue);
  EXPECT_EQ(first->mainQueueManagedObjectContext()->concurrencyType(), ConcurrencyType::MainQueue);
  EXPECT_EQ(first->mainQueueManagedObjectContext()->parentContext(),
            first->persistentStoreManagedObjectContext());
  EXPECT_TRUE(logger->entries().empty());
  EXPECT_TRUE(events->events().empty());

  // Published as the record helpers' defaults until the shared instance is forgotten.
  EXPECT_EQ(ObjectStoreHelpers::defaultContext(), first->mainQueueManagedObjectContext());
  EXPECT_EQ(ObjectStoreHelpers::rootSavingContext(), first->persistentStoreManagedObjectContext());
  EXPECT_EQ(ObjectStoreHelpers::defaultStore(), first->persistentStore());
  ManagedObjectStore::resetSharedInstance();
  EXPECT_EQ(ObjectStoreHelpers::defaultContext(), nullptr);
  EXPECT_EQ(ObjectStoreHelpers::defaultStore(), nullptr);
}

TEST_F(MainStoreTest, UnknownModelGivesNothingAndLeavesNoSharedInstance) {
  EXPECT_EQ(ManagedObjectStore::initWithModelName("NoSuchModel"), nullptr);
  EXPECT_EQ(ManagedObjectStore::sharedInstance(), nullptr);
  EXPECT_TRUE(logger->contains(LogLevel::Error, "NoSuchModel"));
  EXPECT_FALSE(std::filesystem::exists(storeFile()));
}

TEST_F(MainStoreTest, InjectorProvidesTheSharedStoreAsObjectStore) {
  Injector injector;
  ManagedObjectStore::initialize(injector);
  auto provided = injector.getNamed<MappingStore>("objectStore");
  ASSERT_NE(provided, nullptr);
  EXPECT_EQ(provided.get(), injector.get<ManagedObjectStore>().get());
  EXPECT_EQ(provided.get(), ManagedObjectStore::sharedInstance().get());
  EXPECT_EQ(provided->managedObjectModel()->name(), ManagedObjectStore::modelName);
  // The record layer's services receive the store itself.
  ModelMetadata::registerWith(injector);
  auto metadata = injector.get<ModelMetadata>();
  ASSERT_NE(metadata, nullptr);
  EXPECT_EQ(metadata->objectStore(), provided);

  // Class operations use the main-queue context until a host without a main loop swaps it.
  auto store = ManagedObjectStore::sharedInstance();
  EXPECT_EQ(provided->defaultContext(), store->mainQueueManagedObjectContext());
  store->setDefaultContext(store->persistentStoreManagedObjectContext());
  EXPECT_EQ(provided->defaultContext(), store->persistentStoreManagedObjectContext());
  store->setDefaultContext(nullptr);
  EXPECT_EQ(provided->defaultContext(), store->mainQueueManagedObjectContext());
}

TEST_F(MainStoreTest, ReopenedStoreReadsBackWhatWasSaved) {
  {
    auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
    insertOwner(*store, 2, "second");
    insertOwner(*store, 1, "first");
  }
  ManagedObjectStore::resetSharedInstance();
  MainQueue::shared().runUntilIdle();

  auto reopened = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  EXPECT_FALSE(reopened->isInMemory());
  EXPECT_EQ(ownerNames(*reopened), (std::vector<std::string>{"first", "second"}));
  EXPECT_TRUE(logger->entries().empty());
}

TEST_F(MainStoreTest, CorruptFileIsReplacedByAFreshStoreWithOneWarning) {
  std::filesystem::create_directories(documents());
  writeFile(storeFile(), std::string(4096, '\x5a') + "not a database");

  auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  ASSERT_NE(store, nullptr);
  EXPECT_FALSE(store->isInMemory());

  auto warnings = entriesAt(*logger, 81);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].level, LogLevel::Warning);
  EXPECT_EQ(warnings[0].message, "Removing existing SQLite persistent store.");
  EXPECT_TRUE(entriesAt(*logger, 84).empty());
  EXPECT_EQ(logger->entries().size(), 1u);
  // The damaged file is kept beside the new one, and the event says where.
  auto sent = events->events();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].description, "ManagedObjectStore.storeMovedAside");
  EXPECT_EQ(sent[0].parameters.at("kept as"), storeFile().string() + ".damaged");
  EXPECT_EQ(readFile(storeFile().string() + ".damaged"),
            std::string(4096, '\x5a') + "not a database");

  // The new file is a working, empty store.
  EXPECT_TRUE(ownerNames(*store).empty());
  insertOwner(*store, 7, "after recovery");
  EXPECT_EQ(ownerNames(*store), std::vector<std::string>{"after recovery"});
}

// A non-empty directory where the file should be cannot be opened, but it is not a damaged
// store either: nothing is moved or deleted, the store runs memory-only and says why.
TEST_F(MainStoreTest, UnopenableStoreIsLeftAloneAndFallsBackToMemoryWithTheDiagnosticEvent) {
  std::filesystem::create_directories(storeFile());
  writeFile(storeFile() / "keep", "x");

  auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->isInMemory());
  ASSERT_TRUE(store->openError().has_value());
  EXPECT_EQ(store->openError()->kind(), StoreFailureKind::CannotOpen);
  EXPECT_TRUE(entriesAt(*logger, 81).empty());
  EXPECT_TRUE(entriesAt(*logger, 84).empty());

  auto sent = events->events();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].description, "ManagedObjectStore.initializeContextWithStorePath");
  const auto& parameters = sent[0].parameters;
  EXPECT_EQ(parameters.size(), 4u);
  const std::string failed = parameters.at("Failed to add SQLite persistent store.");
  EXPECT_EQ(failed.rfind("path: " + storeFile().string() + " error: ", 0), 0u) << failed;
  EXPECT_GT(failed.size(), ("path: " + storeFile().string() + " error: ").size());
  const std::string freeSpace = parameters.at("Free disk space");
  EXPECT_FALSE(freeSpace.empty());
  EXPECT_EQ(freeSpace.find_first_not_of("0123456789"), std::string::npos) << freeSpace;
  EXPECT_EQ(parameters.at("Is documentsDirectory exist"), "1");
  EXPECT_EQ(parameters.at("Is file exist"), "1");

  // Memory-only, but usable for the rest of the process.
  insertOwner(*store, 1, "kept in memory");
  EXPECT_EQ(ownerNames(*store), std::vector<std::string>{"kept in memory"});
  EXPECT_TRUE(std::filesystem::exists(storeFile() / "keep"));
}

TEST_F(MainStoreTest, MissingDocumentsDirectoryReportsNeitherDirectoryNorFile) {
  // The data root is a file, so the documents directory cannot be created under it.
  auto root = dir.path() / "root-is-a-file";
  writeFile(root, "x");
  Directories::setDataRoot(root);

  auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->isInMemory());
  EXPECT_TRUE(entriesAt(*logger, 81).empty());
  EXPECT_TRUE(entriesAt(*logger, 84).empty());
  auto sent = events->events();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].parameters.at("Is documentsDirectory exist"), "0");
  EXPECT_EQ(sent[0].parameters.at("Is file exist"), "0");
  EXPECT_EQ(sent[0].parameters.at("Free disk space"), "0");
}

TEST_F(MainStoreTest, SaveFailureReachesTheCallerAndKeepsTheChanges) {
  auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  auto context = store->mainQueueManagedObjectContext();
  ManagedObject* sample = context->insertNewObject("Sample");
  sample->setValueForKey("code", Value());  // required attribute left empty
  EXPECT_THROW(ObjectStoreHelpers::saveToPersistentStoreAndWait(*context), StoreError);
  // The main context handed its changes to the root; the root failed and still holds them.
  auto root = store->persistentStoreManagedObjectContext();
  root->performAndWait([&] { EXPECT_TRUE(root->hasChanges()); });
}

}  // namespace
}  // namespace dm::test
