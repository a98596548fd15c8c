// Change notifications, merging from the parent and live result sets.
#include <gtest/gtest.h>

#include "Platform/ObjectStore/FetchedResultsController.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

std::vector<std::string> names(const std::vector<ManagedObject*>& objects) {
  std::vector<std::string> out;
  for (auto* o : objects) out.push_back(o->valueForKey("name").asString());
  return out;
}

TEST(ObservationTest, NotificationsCarryTheChangedObjectsUntilTheTokenGoes) {
  TempDir dir;
  StoreFixture f(dir);
  std::vector<ContextChanges> changed, saved;
  auto changeToken = f.root->addObserver(ContextNotification::ObjectsDidChange,
                                         [&](const ContextChanges& c) { changed.push_back(c); });
  auto saveToken = f.root->addObserver(ContextNotification::DidSave,
                                       [&](const ContextChanges& c) { saved.push_back(c); });
  auto* a = f.root->insertNewObject("Owner");
  auto* b = f.root->insertNewObject("Owner");
  f.root->processPendingChanges();
  ASSERT_EQ(changed.size(), 1u);
  EXPECT_EQ(changed[0].inserted.size(), 2u);
  f.root->processPendingChanges();  // nothing new: no notification
  EXPECT_EQ(changed.size(), 1u);
  f.root->save();
  ASSERT_EQ(saved.size(), 1u);
  EXPECT_EQ(saved[0].inserted.size(), 2u);

  a->setValueForKey("name", "x");
  f.root->deleteObject(b);
  f.root->save();
  ASSERT_EQ(changed.size(), 2u);
  EXPECT_EQ(changed[1].updated, std::vector<ManagedObject*>{a});
  EXPECT_EQ(changed[1].deleted, std::vector<ManagedObject*>{b});
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_EQ(saved[1].deleted, std::vector<ManagedObject*>{b});

  ContextObserverToken moved = std::move(changeToken);
  EXPECT_FALSE(changeToken.isActive());
  moved.reset();
  a->setValueForKey("name", "y");
  f.root->processPendingChanges();
  EXPECT_EQ(changed.size(), 2u);
}

TEST(ObservationTest, OnlyContextsThatAskMergeWhatSiblingsAndParentsSave) {
  TempDir dir;
  StoreFixture f(dir);
  auto* stored = f.root->insertNewObject("Owner");
  stored->setValueForKey("name", "Bob");
  auto* gone = f.root->insertNewObject("Owner");
  gone->setValueForKey("name", "Gone");
  f.root->save();
  const ObjectID bobID = stored->objectID(), goneID = gone->objectID();

  auto merging = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "merging");
  merging->setAutomaticallyMergesChangesFromParent(true);
  auto plain = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "plain");
  auto* mergingBob = merging->existingObjectWithID(bobID);
  auto* mergingGone = merging->existingObjectWithID(goneID);
  auto* plainBob = plain->existingObjectWithID(bobID);
  EXPECT_EQ(mergingBob->valueForKey("name").asString(), "Bob");
  EXPECT_EQ(mergingGone->valueForKey("name").asString(), "Gone");
  EXPECT_EQ(plainBob->valueForKey("name").asString(), "Bob");
  mergingBob->setValueForKey("title", "local edit");  // unsaved edits survive a merge

  std::vector<ContextChanges> seen;
  auto token = merging->addObserver(ContextNotification::ObjectsDidChange,
                                    [&](const ContextChanges& c) { seen.push_back(c); });
  auto writer = ManagedObjectContext::createChild(f.root, ConcurrencyType::PrivateQueue, "writer");
  writer->performAndWait([&] {
    writer->existingObjectWithID(bobID)->setValueForKey("name", "Robert");
    writer->deleteObject(writer->existingObjectWithID(goneID));
    writer->insertNewObject("Owner")->setValueForKey("name", "New");
    writer->save();
  });
  MainQueue::shared().runUntilIdle();

  EXPECT_EQ(mergingBob->valueForKey("name").asString(), "Robert");
  EXPECT_EQ(mergingBob->valueForKey("title").asString(), "local edit");
  EXPECT_TRUE(mergingBob->hasChanges());
  EXPECT_TRUE(mergingGone->isDeleted());
  EXPECT_EQ(plainBob->valueForKey("name").asString(), "Bob");  // did not ask
  std::size_t inserted = 0, deleted = 0;
  for (const auto& c : seen) {
    inserted += c.inserted.size();
    deleted += c.deleted.size();
  }
  EXPECT_EQ(inserted, 1u);
  EXPECT_EQ(deleted, 1u);

  // The parent's own save reaches the merging child too.
  f.root->existingObjectWithID(bobID)->setValueForKey("name", "Rob");
  f.root->save();
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(mergingBob->valueForKey("name").asString(), "Rob");
  merging->save();
  f.root->save();
  f.open();
  auto bob = f.root->existingObjectWithID(bobID);
  EXPECT_EQ(bob->valueForKey("name").asString(), "Rob");
  EXPECT_EQ(bob->valueForKey("title").asString(), "local edit");
}

// Saves are merged by identifier. An object the merging context met as a fault through a
// relationship before its insertion was merged is still announced as inserted.
TEST(ObservationTest, InsertionsMetEarlierThroughARelationshipAreStillAnnounced) {
  TempDir dir;
  StoreFixture f(dir);
  auto merging = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "merging");
  merging->setAutomaticallyMergesChangesFromParent(true);
  std::vector<std::string> announced;
  auto token =
      merging->addObserver(ContextNotification::ObjectsDidChange, [&](const ContextChanges& c) {
        for (ManagedObject* o : c.inserted) {
          announced.push_back(o->entity().name());
          if (o->entity().name() == "Owner") {  // loads the owner and meets its samples as faults
            EXPECT_EQ(o->objectsForKey("samples").size(), 1u);
          }
        }
      });
  auto* owner = f.root->insertNewObject("Owner");
  owner->setValueForKey("name", "o");
  f.root->save();
  auto* sample = f.root->insertNewObject("Sample");
  sample->setObjectForKey("owner", owner);
  f.root->save();
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(announced, (std::vector<std::string>{"Owner", "Sample"}));
}

struct RecordingDelegate : FetchedResultsControllerDelegate {
  void controllerWillChangeContent(FetchedResultsController&) override { log.push_back("will"); }
  void controllerDidChangeObject(FetchedResultsController&, const ResultsChange& c) override {
    static const char* kinds[] = {"insert", "delete", "move", "update"};
    std::string text = kinds[static_cast<int>(c.type)];
    if (c.type != ResultsChangeType::Insert) text += " " + std::to_string(c.oldIndex);
    if (c.type != ResultsChangeType::Delete) text += " -> " + std::to_string(c.newIndex);
    log.push_back(text);
  }
  void controllerDidChangeContent(FetchedResultsController&) override { log.push_back("did"); }
  std::vector<std::string> take() { return std::exchange(log, {}); }
  std::vector<std::string> log;
};

using Log = std::vector<std::string>;

TEST(LiveResultsTest, ReportsInsertsDeletesMovesAndUpdatesWithIndexes) {
  TempDir dir;
  StoreFixture f(dir);
  for (const char* name : {"b", "d", "f"})
    f.root->insertNewObject("Owner")->setValueForKey("name", name);
  f.root->insertNewObject("Tag");  // another entity: never reported
  f.root->save();

  FetchRequest request(&f.entity("Owner"));
  request.predicate = Predicate::parse("name != 'zzz'");
  request.sortDescriptors = {{"name", true}};
  request.fetchBatchSize = 2;
  FetchedResultsController results(f.root, request);
  RecordingDelegate delegate;
  results.setDelegate(&delegate);
  results.performFetch();
  EXPECT_EQ(names(results.fetchedObjects()), (Log{"b", "d", "f"}));
  auto agrees = [&] { EXPECT_EQ(results.fetchedObjects(), f.root->executeFetchRequest(request)); };

  f.root->insertNewObject("Owner")->setValueForKey("name", "c");
  f.root->insertNewObject("Tag");
  f.root->processPendingChanges();
  EXPECT_EQ(delegate.take(), (Log{"will", "insert -> 1", "did"}));
  agrees();

  results.objectAtIndex(3)->setValueForKey("name", "a");   // f -> a
  results.objectAtIndex(0)->setValueForKey("title", "t");  // b: not a sort key
  f.root->processPendingChanges();
  EXPECT_EQ(delegate.take(), (Log{"will", "move 3 -> 0", "update 0 -> 1", "did"}));
  EXPECT_EQ(names(results.fetchedObjects()), (Log{"a", "b", "c", "d"}));
  agrees();

  f.root->deleteObject(results.objectAtIndex(3));           // d
  results.objectAtIndex(2)->setValueForKey("name", "zzz");  // c leaves the predicate
  f.root->save();
  EXPECT_EQ(delegate.take(), (Log{"will", "delete 2", "delete 3", "did"}));
  EXPECT_EQ(names(results.fetchedObjects()), (Log{"a", "b"}));
  agrees();

  // A child's save reaches the results when the parent processes it.
  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue);
  child->insertNewObject("Owner")->setValueForKey("name", "ab");
  child->save();
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(delegate.take(), (Log{"will", "insert -> 1", "did"}));
  EXPECT_EQ(names(results.fetchedObjects()), (Log{"a", "ab", "b"}));
  agrees();
  EXPECT_EQ(results.indexOfObject(results.objectAtIndex(2)), 2u);
}

}  // namespace
}  // namespace dm::test
