// Contexts: object registry, change tracking, the save path to the parent or the store,
// merges, notifications and fetches that see unsaved changes.
#include "Platform/ObjectStore/ManagedObjectContext.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unordered_set>

#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

namespace {
using Lock = std::lock_guard<std::recursive_mutex>;
std::atomic<std::int64_t> nextTemporaryKey{1};

std::string currentThreadDescription() {
  if (WorkQueue* q = WorkQueue::current()) return "queue \"" + q->label() + "\"";
  if (MainQueue::shared().isCurrent()) return "the main thread";
  std::ostringstream out;
  out << "thread " << std::this_thread::get_id();
  return out.str();
}

enum class AncestorState { NotFound, Found, Deleted };
}  // namespace

// What a root context remembers while its bulk write is open: the rows its saves touched,
// to undo them in memory on rollback and to tell merging children on commit.
struct BulkWriteState {
  bool failed = false;
  std::vector<ObjectID> inserted, updated, deleted;
};

// ---------------------------------------------------------------- tokens

ContextObserverToken::ContextObserverToken(ContextObserverToken&& other) noexcept
    : context_(std::move(other.context_)), id_(other.id_) {
  other.id_ = 0;
}
ContextObserverToken& ContextObserverToken::operator=(ContextObserverToken&& other) noexcept {
  if (this != &other) {
    reset();
    context_ = std::move(other.context_);
    id_ = other.id_;
    other.id_ = 0;
  }
  return *this;
}
ContextObserverToken::~ContextObserverToken() {
  reset();
}
void ContextObserverToken::reset() {
  if (id_)
    if (auto context = context_.lock()) context->removeObserver(id_);
  id_ = 0;
  context_.reset();
}

// ---------------------------------------------------------------- lifecycle

ManagedObjectContext::ManagedObjectContext(Private, std::shared_ptr<PersistentStore> store,
                                           std::shared_ptr<ManagedObjectContext> parent,
                                           ConcurrencyType type, std::string label)
    : store_(std::move(store)), parent_(std::move(parent)), type_(type), label_(std::move(label)) {
  if (type_ == ConcurrencyType::PrivateQueue) {
    ownQueue_ = std::make_unique<SerialQueue>("context." + label_);
    queue_ = ownQueue_.get();
  } else {
    queue_ = &MainQueue::shared();
  }
}

ManagedObjectContext::~ManagedObjectContext() {
  // A BulkWrite holds the context, so none can be open here; a failed one may be.
  if (ownQueue_ && ownQueue_->isCurrent()) {
    // The last owner let go inside one of our own blocks: the queue cannot join itself.
    std::thread([queue = std::move(ownQueue_)]() mutable { queue.reset(); }).detach();
  } else {
    ownQueue_.reset();  // runs the remaining blocks while the context is still whole
  }
}

std::shared_ptr<ManagedObjectContext> ManagedObjectContext::createRoot(
    std::shared_ptr<PersistentStore> store, ConcurrencyType type, std::string label) {
  if (!store) throw std::invalid_argument("A root context needs a store");
  auto context =
      std::make_shared<ManagedObjectContext>(Private{}, store, nullptr, type, std::move(label));
  store->registerContext(context);
  return context;
}

std::shared_ptr<ManagedObjectContext> ManagedObjectContext::createChild(
    std::shared_ptr<ManagedObjectContext> parent, ConcurrencyType type, std::string label) {
  if (!parent) throw std::invalid_argument("A child context needs a parent");
  auto context = std::make_shared<ManagedObjectContext>(Private{}, parent->store_, parent, type,
                                                        std::move(label));
  {
    Lock lock(parent->mutex_);
    std::erase_if(parent->children_, [](const auto& weak) { return weak.expired(); });
    parent->children_.push_back(context);
  }
  parent->store_->registerContext(context);
  return context;
}

const ManagedObjectModel& ManagedObjectContext::model() const {
  return store_->model();
}

void ManagedObjectContext::perform(std::function<void()> block) {
  queue_->async(std::move(block));
}

void ManagedObjectContext::performAndWait(const std::function<void()>& block) {
  queue_->performAndWait(block);
}

void ManagedObjectContext::checkQueue(const char* operation) const {
  if (queue_->isCurrent()) return;
  std::string message = std::string("Context \"") + label_ + "\" used for " + operation + " on " +
                        currentThreadDescription() + ", but it belongs to queue \"" +
                        queue_->label() + "\"; use perform/performAndWait";
  logError(message);
  std::fprintf(stderr, "fatal: %s\n", message.c_str());
  std::abort();
}

// ---------------------------------------------------------------- objects

ManagedObject* ManagedObjectContext::createObject(const EntityDescription& entity,
                                                  const ObjectID& id) {
  std::unique_ptr<ManagedObject> object = ManagedObjectClasses::create(entity.className());
  object->context_ = this;
  object->entity_ = &entity;
  object->id_ = id;
  ManagedObject* raw = object.get();
  objects_[id] = std::move(object);
  return raw;
}

ManagedObject* ManagedObjectContext::insertNewObject(std::string_view entityName) {
  const EntityDescription* entity = model().entityNamed(entityName);
  if (!entity) throw Error(ErrorCode::UnknownEntity, "No entity named " + std::string(entityName));
  return insertNewObject(*entity);
}

ManagedObject* ManagedObjectContext::insertNewObject(const EntityDescription& entity) {
  checkQueue("insert");
  // Inserts come in long runs of one entity: check its model once per run, not per object.
  if (&entity != lastInsertedEntity_) {
    if (model().entityNamed(entity.name()) != &entity)
      throw std::invalid_argument("Entity " + entity.name() + " is not in this store's model");
    if (entity.isAbstract())
      throw std::invalid_argument("Entity " + entity.name() + " is abstract");
    lastInsertedEntity_ = &entity;
  }
  Lock lock(mutex_);
  ManagedObject* object = createObject(entity, ObjectID{&entity, nextTemporaryKey++, true});
  const auto& attributes = entity.attributes();
  object->values_.reserve(attributes.size());
  for (const auto& a : attributes) object->values_.push_back(a.defaultValue);
  object->toOne_.resize(entity.relationships().size());
  object->toMany_.resize(entity.relationships().size());
  for (auto& slot : object->toMany_) slot.loaded = true;
  object->flags_ = ManagedObject::kInserted | ManagedObject::kPendingNotification;
  pendingInserted_.push_back(object);
  noteChangedLocked(object);
  object->awakeFromInsert();
  return object;
}

void ManagedObjectContext::noteChangedLocked(ManagedObject* object) {
  if (!(object->flags_ & ManagedObject::kInChangeList)) {
    object->flags_ |= ManagedObject::kInChangeList;
    changeList_.push_back(object);
  }
  if (!(object->flags_ & ManagedObject::kPendingNotification)) {
    object->flags_ |= ManagedObject::kPendingNotification;
    pendingUpdated_.push_back(object);
  }
}

void ManagedObjectContext::deleteObject(ManagedObject* object) {
  checkQueue("delete");
  if (!object) return;
  if (object->context_ != this)
    throw std::invalid_argument("The object belongs to another context");
  Lock lock(mutex_);
  deleteObjectLocked(object);
}

void ManagedObjectContext::deleteObjectLocked(ManagedObject* object) {
  if (object->flags_ & ManagedObject::kDeleted) return;
  object->fireFaultLocked();
  object->flags_ |= ManagedObject::kDeleted;  // set first: cascades may come back here
  const auto& relationships = object->entity_->relationships();
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    const auto& rel = relationships[i];
    std::vector<ManagedObject*> related;
    if (rel.toMany) {
      related = object->loadToManyLocked(i).members();
      for (ManagedObject* other : related) object->removeFromManyLocked(i, other);
    } else if (ManagedObject* other = object->resolveToOneLocked(i)) {
      related.push_back(other);
      object->setToOneLocked(i, nullptr);
    }
    if (rel.deleteRule == DeleteRule::Cascade)
      for (ManagedObject* other : related) deleteObjectLocked(other);
  }
  if (object->flags_ & ManagedObject::kInserted) {
    // Never saved: it simply goes away.
    std::erase(changeList_, object);
    std::erase(pendingInserted_, object);
    std::erase(pendingUpdated_, object);
    object->flags_ &= ~(ManagedObject::kInChangeList | ManagedObject::kPendingNotification);
    forgetObjectLocked(object);
    return;
  }
  noteChangedLocked(object);
  std::erase(pendingUpdated_, object);
  pendingDeleted_.push_back(object);
}

void ManagedObjectContext::forgetObjectLocked(ManagedObject* object) {
  auto it = objects_.find(object->id_);
  if (it != objects_.end() && it->second.get() == object) {
    graveyard_.push_back(std::move(it->second));
    objects_.erase(it);
  }
}

static bool isConcrete(const EntityDescription* entity);

ManagedObject* ManagedObjectContext::objectRegisteredForID(const ObjectID& id) const {
  Lock lock(mutex_);
  auto it = objects_.find(id);
  return it == objects_.end() ? nullptr : it->second.get();
}

ManagedObject* ManagedObjectContext::objectWithID(const ObjectID& id) {
  checkQueue("objectWithID");
  Lock lock(mutex_);
  if (auto it = objects_.find(id); it != objects_.end()) return it->second.get();
  if (id.temporary || !isConcrete(id.entity)) return nullptr;
  return registeredOrFaultLocked(id);
}

ManagedObject* ManagedObjectContext::existingObjectWithID(const ObjectID& id) {
  checkQueue("existingObjectWithID");
  Lock lock(mutex_);
  if (auto it = objects_.find(id); it != objects_.end()) return it->second.get();
  if (id.temporary || !id.entity) return nullptr;
  return objectForKeyLocked(*id.entity, id.key);
}

bool ManagedObjectContext::findAncestorSnapshot(const ObjectID& id, ObjectSnapshot& out) const {
  for (ManagedObjectContext* p = parent_.get(); p; p = p->parent_.get()) {
    Lock lock(p->mutex_);
    auto it = p->objects_.find(id);
    if (it == p->objects_.end()) continue;
    const ManagedObject* object = it->second.get();
    if (object->flags_ & ManagedObject::kDeleted) {
      out.id = ObjectID{};
      return true;
    }
    if (object->flags_ & ManagedObject::kFault) continue;
    out = p->snapshotOfLocked(object);
    return true;
  }
  return false;
}

bool ManagedObjectContext::findAncestorToMany(const ObjectID& id,
                                              const RelationshipDescription& rel,
                                              std::vector<ObjectID>& out) const {
  for (ManagedObjectContext* p = parent_.get(); p; p = p->parent_.get()) {
    Lock lock(p->mutex_);
    auto it = p->objects_.find(id);
    if (it == p->objects_.end()) continue;
    const ManagedObject* object = it->second.get();
    if (object->flags_ & ManagedObject::kFault || !object->toMany_[rel.index].loaded) continue;
    for (const ManagedObject* member : object->toMany_[rel.index].members())
      out.push_back(member->id_);
    return true;
  }
  return false;
}

ObjectSnapshot ManagedObjectContext::snapshotOfLocked(const ManagedObject* object,
                                                      bool withValues) const {
  ObjectSnapshot s;
  s.id = object->id_;
  if (withValues) s.values = object->values_;
  const auto& relationships = object->entity_->relationships();
  s.toOne.resize(relationships.size());
  s.toMany.resize(relationships.size());
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    if (relationships[i].toMany) {
      const auto& slot = object->toMany_[i];
      if (!slot.loaded) continue;
      const auto& members = slot.members();
      std::vector<ObjectID> ids;
      ids.reserve(members.size());
      for (const ManagedObject* member : members) ids.push_back(member->id_);
      s.toMany[i] = std::move(ids);
    } else {
      const auto& slot = object->toOne_[i];
      if (slot.object)
        s.toOne[i] = slot.object->id_;
      else if (slot.pendingKey)
        s.toOne[i] = ObjectID{relationships[i].destination, slot.pendingKey, false};
    }
  }
  return s;
}

ManagedObject* ManagedObjectContext::objectForKeyLocked(const EntityDescription& entity,
                                                        std::int64_t key) {
  ObjectID id{&entity, key, false};
  if (auto it = objects_.find(id); it != objects_.end()) return it->second.get();
  ObjectSnapshot snapshot;
  if (findAncestorSnapshot(id, snapshot)) {
    if (snapshot.id.isNull()) return nullptr;  // deleted by an ancestor
  } else if (!store_->loadRow(entity, key, snapshot)) {
    return nullptr;
  }
  return registerSnapshotLocked(std::move(snapshot), false);
}

// An object for an identifier met in a snapshot: registered, a fault of a concrete entity,
// or nullptr when the entity is not known precisely (resolved later through its row).
static bool isConcrete(const EntityDescription* entity) {
  return entity && !entity->isAbstract() && entity->subentities().empty();
}

ManagedObject* ManagedObjectContext::registerSnapshotLocked(ObjectSnapshot&& snapshot,
                                                            bool overwrite) {
  // Rows read for this context alone: their values move into the object.
  ManagedObject* object = registeredOrFaultLocked(snapshot.id);
  if (!snapshot.values.empty() && ((object->flags_ & ManagedObject::kFault) || overwrite))
    applyStateLocked(object, std::move(snapshot.values), snapshot);
  return object;
}

ManagedObject* ManagedObjectContext::registeredOrFaultLocked(const ObjectID& id) {
  // One probe of the object table for both the lookup and the registration.
  auto [it, isNew] = objects_.try_emplace(id);
  if (!isNew) return it->second.get();
  try {
    it->second = ManagedObjectClasses::create(id.entity->className());
  } catch (...) {
    objects_.erase(it);
    throw;
  }
  ManagedObject* object = it->second.get();
  object->context_ = this;
  object->entity_ = id.entity;
  object->id_ = id;
  object->flags_ = ManagedObject::kFault;
  return object;
}

void ManagedObjectContext::applySnapshotLocked(ManagedObject* object,
                                               const ObjectSnapshot& snapshot) {
  applyStateLocked(object, snapshot.values, snapshot);
}

void ManagedObjectContext::applyStateLocked(ManagedObject* object, std::vector<Value> values,
                                            const ObjectSnapshot& snapshot) {
  const bool readRow = !values.empty();
  const auto& relationships = object->entity_->relationships();
  object->values_ = std::move(values);
  object->values_.resize(object->entity_->attributes().size());
  object->toOne_.assign(relationships.size(), {});
  object->toMany_.clear();
  object->toMany_.resize(relationships.size());
  object->flags_ &= ~ManagedObject::kFault;
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    if (relationships[i].toMany) {
      if (i >= snapshot.toMany.size() || !snapshot.toMany[i]) continue;
      auto& slot = object->toMany_[i];
      for (const ObjectID& id : *snapshot.toMany[i]) {
        ManagedObject* member = nullptr;
        if (auto found = objects_.find(id); found != objects_.end())
          member = found->second.get();
        else if (isConcrete(id.entity))
          member = registeredOrFaultLocked(id);
        else
          member = objectForKeyLocked(*id.entity, id.key);
        if (member && !(member->flags_ & ManagedObject::kDeleted)) slot.add(member);
      }
      slot.loaded = true;
    } else if (i < snapshot.toOne.size() && !snapshot.toOne[i].isNull()) {
      const ObjectID& id = snapshot.toOne[i];
      if (auto found = objects_.find(id); found != objects_.end())
        object->toOne_[i].object = found->second.get();
      else
        object->toOne_[i].pendingKey = id.key;
    }
  }
  // Not for inserted objects, and not while the flag is already set: by a hook that reloads,
  // or by a child's save pushing its state here (that is no read of the row).
  if (readRow &&
      !(object->flags_ & (ManagedObject::kInserted | ManagedObject::kAwakingFromFetch))) {
    object->flags_ |= ManagedObject::kAwakingFromFetch;
    try {
      object->awakeFromFetch();
    } catch (...) {
      object->flags_ &= ~ManagedObject::kAwakingFromFetch;
      throw;
    }
    object->flags_ &= ~ManagedObject::kAwakingFromFetch;
  }
}

void ManagedObjectContext::fulfillFaultLocked(ManagedObject* object) {
  ObjectSnapshot snapshot;
  bool found = findAncestorSnapshot(object->id_, snapshot) && !snapshot.id.isNull();
  if (!found && !object->id_.temporary)
    found = store_->loadRow(*object->entity_, object->id_.key, snapshot);
  if (found) {
    snapshot.id = object->id_;
    applySnapshotLocked(object, snapshot);
    return;
  }
  // The row is gone (deleted elsewhere): the object reads as empty.
  debugOutput("Fault for " + object->id_.uriRepresentation() + " found no row");
  ObjectSnapshot empty{object->id_, {}, {}, {}};
  applySnapshotLocked(object, empty);
}

std::vector<ManagedObject*> ManagedObjectContext::loadToManyLocked(
    ManagedObject* object, const RelationshipDescription& rel) {
  std::vector<ObjectID> ids;
  if (!findAncestorToMany(object->id_, rel, ids)) ids = store_->loadToMany(object->id_, rel);
  std::vector<ManagedObject*> members;
  members.reserve(ids.size());
  for (const ObjectID& id : ids) {
    ManagedObject* member = nullptr;
    if (auto found = objects_.find(id); found != objects_.end())
      member = found->second.get();
    else
      member = objectForKeyLocked(*id.entity, id.key);
    if (member && !(member->flags_ & ManagedObject::kDeleted)) members.push_back(member);
  }
  return members;
}

void ManagedObjectContext::refreshObject(ManagedObject* object, bool mergeChanges) {
  checkQueue("refresh");
  Lock lock(mutex_);
  if (!object || object->context_ != this || (object->flags_ & ManagedObject::kInserted)) return;
  refreshLocked(object, mergeChanges);
}

void ManagedObjectContext::refreshLocked(ManagedObject* object, bool mergeChanges) {
  bool changed = object->flags_ & (ManagedObject::kChanged | ManagedObject::kDeleted);
  if (mergeChanges && changed) {
    // Keep local edits, refresh everything else.
    ObjectSnapshot fresh;
    bool found = findAncestorSnapshot(object->id_, fresh) && !fresh.id.isNull();
    if (!found) found = store_->loadRow(*object->entity_, object->id_.key, fresh);
    if (!found) return;
    ObjectSnapshot mine = snapshotOfLocked(object);
    std::size_t na = object->entity_->attributes().size();
    for (std::size_t i = 0; i < na; ++i)
      if (!object->changed_.test(i)) mine.values[i] = fresh.values[i];
    for (std::size_t i = 0; i < mine.toOne.size(); ++i)
      if (!object->changed_.test(na + i)) {
        mine.toOne[i] = fresh.toOne[i];
        mine.toMany[i].reset();
      }
    applySnapshotLocked(object, mine);
    return;
  }
  if (changed) {
    std::erase(changeList_, object);
    std::erase(pendingUpdated_, object);
    std::erase(pendingDeleted_, object);
  }
  object->flags_ = ManagedObject::kFault;
  object->changed_.clear();
  releaseStateLocked(object);
}

// A fault keeps no values: its memory goes back now, not when the object is forgotten.
void ManagedObjectContext::releaseStateLocked(ManagedObject* object) {
  std::vector<Value>().swap(object->values_);
  decltype(object->toOne_)().swap(object->toOne_);
  decltype(object->toMany_)().swap(object->toMany_);
}

void ManagedObjectContext::reset() {
  checkQueue("reset");
  Lock lock(mutex_);
  changeList_.clear();
  pendingInserted_.clear();
  pendingUpdated_.clear();
  pendingDeleted_.clear();
  objects_.clear();
  graveyard_.clear();
}

bool ManagedObjectContext::hasChanges() const {
  Lock lock(mutex_);
  return !changeList_.empty();
}

std::vector<ManagedObject*> ManagedObjectContext::insertedObjects() const {
  Lock lock(mutex_);
  std::vector<ManagedObject*> out;
  for (ManagedObject* o : changeList_)
    if ((o->flags_ & ManagedObject::kInserted) && !(o->flags_ & ManagedObject::kDeleted))
      out.push_back(o);
  return out;
}

std::vector<ManagedObject*> ManagedObjectContext::updatedObjects() const {
  Lock lock(mutex_);
  std::vector<ManagedObject*> out;
  for (ManagedObject* o : changeList_)
    if (!(o->flags_ & (ManagedObject::kInserted | ManagedObject::kDeleted))) out.push_back(o);
  return out;
}

std::vector<ManagedObject*> ManagedObjectContext::deletedObjects() const {
  Lock lock(mutex_);
  std::vector<ManagedObject*> out;
  for (ManagedObject* o : changeList_)
    if (o->flags_ & ManagedObject::kDeleted) out.push_back(o);
  return out;
}

std::size_t ManagedObjectContext::registeredObjectCount() const {
  Lock lock(mutex_);
  return objects_.size();
}

// ---------------------------------------------------------------- saving

void ManagedObjectContext::obtainPermanentIDs(const std::vector<ManagedObject*>& objects) {
  checkQueue("obtainPermanentIDs");
  Lock lock(mutex_);
  obtainPermanentIDsLocked(objects);
}

void ManagedObjectContext::obtainPermanentIDsLocked(const std::vector<ManagedObject*>& objects) {
  std::unordered_map<const EntityDescription*, std::vector<ManagedObject*>> byTable;
  for (ManagedObject* o : objects)
    if (o->id_.temporary) byTable[o->entity_->rootEntity()].push_back(o);
  for (auto& [root, list] : byTable) {
    std::int64_t key = store_->allocateKeys(*root, list.size());
    for (ManagedObject* o : list) {
      auto node = objects_.extract(o->id_);
      o->id_ = ObjectID{o->entity_, key++, false};
      if (!node.empty()) {
        node.key() = o->id_;
        objects_.insert(std::move(node));
      }
    }
  }
}

SaveChangeSet ManagedObjectContext::collectChangesLocked() {
  SaveChangeSet changes;
  for (ManagedObject* o : changeList_) {
    if (o->flags_ & ManagedObject::kDeleted)
      changes.deleted.push_back(o->id_);
    else if (o->flags_ & ManagedObject::kInserted)
      changes.inserted.push_back(o->id_);
    else if (o->flags_ & ManagedObject::kChanged)
      changes.updated.push_back(o->id_);
  }
  return changes;
}

std::vector<std::shared_ptr<ManagedObjectContext>> ManagedObjectContext::mergeRecipients() {
  std::vector<std::shared_ptr<ManagedObjectContext>> out;
  {
    Lock lock(mutex_);
    for (const auto& weak : children_)
      if (auto child = weak.lock(); child && child->automaticallyMergesChangesFromParent())
        out.push_back(std::move(child));
  }
  if (parent_) {
    // Siblings that merge from the parent see what was just pushed into it.
    Lock parentLock(parent_->mutex_);
    for (const auto& weak : parent_->children_)
      if (auto sibling = weak.lock();
          sibling && sibling.get() != this && sibling->automaticallyMergesChangesFromParent())
        out.push_back(std::move(sibling));
  }
  return out;
}

void ManagedObjectContext::save() {
  checkQueue("save");
  {
    // By index: objects that willSave changes join the list and get their turn too.
    Lock lock(mutex_);
    for (std::size_t i = 0; i < changeList_.size(); ++i) {
      ManagedObject* object = changeList_[i];
      if (object->flags_ & ManagedObject::kDeleted) continue;
      if (object->flags_ & (ManagedObject::kInserted | ManagedObject::kChanged)) object->willSave();
    }
  }
  processPendingChanges();
  if (bulk_ && bulk_->failed)
    throw StoreError(StoreErrorCode::SaveFailed,
                     "The bulk write of context \"" + label_ +
                         "\" failed and was rolled back; close it before saving again");
  // Copies of the saved state are made only for contexts that merge them; the store and the
  // parent read the objects in place. Inside a bulk write nobody hears of the saves until
  // the commit.
  auto recipients =
      bulk_ ? std::vector<std::shared_ptr<ManagedObjectContext>>{} : mergeRecipients();
  std::shared_ptr<SaveChangeSet> changes;
  ContextChanges saved;
  std::exception_ptr bulkFailure;
  {
    Lock lock(mutex_);
    if (changeList_.empty()) return;
    std::vector<ManagedObject*> inserted;
    for (ManagedObject* o : changeList_)
      if (o->flags_ & ManagedObject::kInserted) inserted.push_back(o);
    obtainPermanentIDsLocked(inserted);
    if (parent_) {
      Lock parentLock(parent_->mutex_);
      parent_->applyChangesFromChildLocked(*this);
    } else {
      SaveBatch batch;
      for (ManagedObject* o : changeList_) {
        if (o->flags_ & ManagedObject::kDeleted)
          batch.deleted.push_back(o->id_);
        else if (o->flags_ & ManagedObject::kInserted)
          batch.inserted.push_back(o);
        else if (o->flags_ & ManagedObject::kChanged)
          batch.updated.push_back(o);
      }
      try {
        store_->save(batch, this);  // throws with nothing written; our changes stay pending
      } catch (const StoreError&) {
        if (!bulk_) throw;
        bulkFailure = std::current_exception();
      }
      if (bulk_ && !bulkFailure) {
        for (const ManagedObject* o : batch.inserted) bulk_->inserted.push_back(o->id_);
        for (const ManagedObject* o : batch.updated) bulk_->updated.push_back(o->id_);
        for (const ObjectID& id : batch.deleted) bulk_->deleted.push_back(id);
      }
    }
    if (!bulkFailure) {
      if (!recipients.empty()) changes = std::make_shared<SaveChangeSet>(collectChangesLocked());
      for (ManagedObject* o : changeList_) {
        if (o->flags_ & ManagedObject::kDeleted)
          saved.deleted.push_back(o);
        else if (o->flags_ & ManagedObject::kInserted)
          saved.inserted.push_back(o);
        else
          saved.updated.push_back(o);
        o->flags_ &=
            ~(ManagedObject::kInserted | ManagedObject::kChanged | ManagedObject::kInChangeList);
        o->changed_.clear();
        if (o->flags_ & ManagedObject::kDeleted) forgetObjectLocked(o);
      }
      changeList_.clear();
    }
  }
  if (bulkFailure) {
    // All or nothing: one failed chunk undoes the whole bulk write.
    store_->rollbackBulkWrite(this);
    {
      Lock lock(mutex_);
      discardBulkWriteLocked();
      bulk_->failed = true;
    }
    processPendingChanges();
    std::rethrow_exception(bulkFailure);
  }
  post(ContextNotification::DidSave, saved);
  if (parent_) {
    std::weak_ptr<ManagedObjectContext> weakParent = parent_;
    parent_->perform([weakParent] {
      if (auto parent = weakParent.lock()) parent->processPendingChanges();
    });
  }
  if (!changes) return;
  std::shared_ptr<const SaveChangeSet> shared = changes;
  for (auto& recipient : recipients) {
    std::weak_ptr<ManagedObjectContext> weak = recipient;
    recipient->perform([weak, shared] {
      if (auto c = weak.lock()) c->mergeChanges(shared);
    });
  }
}

void ManagedObjectContext::applyChangesFromChildLocked(const ManagedObjectContext& child) {
  // Values are copied straight from the child's objects; relationships go by identifier.
  std::vector<std::pair<ManagedObject*, const ManagedObject*>> touched;
  touched.reserve(child.changeList_.size());
  for (const ManagedObject* c : child.changeList_) {
    if (c->flags_ & ManagedObject::kDeleted || !(c->flags_ & ManagedObject::kInserted)) continue;
    auto it = objects_.find(c->id_);
    ManagedObject* object =
        it != objects_.end() ? it->second.get() : createObject(*c->entity_, c->id_);
    if (it == objects_.end()) {
      object->flags_ = ManagedObject::kInserted | ManagedObject::kPendingNotification;
      pendingInserted_.push_back(object);
    }
    touched.emplace_back(object, c);
  }
  // Updated rows that neither this context nor an ancestor holds are read in one query per
  // table rather than one each.
  std::unordered_map<const EntityDescription*, std::vector<std::int64_t>> unread;
  for (const ManagedObject* c : child.changeList_) {
    if (c->flags_ & (ManagedObject::kDeleted | ManagedObject::kInserted) ||
        !(c->flags_ & ManagedObject::kChanged) || objects_.count(c->id_))
      continue;
    bool held = false;
    for (ManagedObjectContext* p = parent_.get(); p && !held; p = p->parent_.get()) {
      Lock lock(p->mutex_);
      auto it = p->objects_.find(c->id_);
      held = it != p->objects_.end() &&
             (it->second->flags_ & (ManagedObject::kDeleted | ManagedObject::kFault)) !=
                 ManagedObject::kFault;
    }
    if (!held) unread[c->id_.entity->rootEntity()].push_back(c->id_.key);
  }
  for (const auto& [table, keys] : unread)
    for (ObjectSnapshot& row : store_->loadRows(*table, keys))
      registerSnapshotLocked(std::move(row), false);
  for (const ManagedObject* c : child.changeList_) {
    if (c->flags_ & (ManagedObject::kDeleted | ManagedObject::kInserted) ||
        !(c->flags_ & ManagedObject::kChanged))
      continue;
    if (ManagedObject* object = objectForKeyLocked(*c->id_.entity, c->id_.key))
      touched.emplace_back(object, c);
  }
  for (auto& [object, c] : touched) {
    bool hadValues = !(object->flags_ & ManagedObject::kFault) && !object->values_.empty();
    ObjectSnapshot relations = child.snapshotOfLocked(c, false);
    std::vector<Value> old;
    if (hadValues) {
      // Relationships the child never loaded keep what this context had loaded.
      for (std::size_t i = 0; i < relations.toMany.size(); ++i)
        if (!relations.toMany[i] && i < object->toMany_.size() && object->toMany_[i].loaded) {
          std::vector<ObjectID> ids;
          for (const ManagedObject* m : object->toMany_[i].members()) ids.push_back(m->id_);
          relations.toMany[i] = std::move(ids);
        }
      old = std::move(object->values_);
    }
    object->flags_ |= ManagedObject::kAwakingFromFetch;
    applyStateLocked(object, c->values_, relations);
    object->flags_ &= ~ManagedObject::kAwakingFromFetch;
    std::size_t na = object->entity_->attributes().size();
    for (std::size_t i = 0; i < na; ++i)
      if (!hadValues || i >= old.size() || !(old[i].storage() == object->values_[i].storage()))
        object->markAttributeChanged(i);
    for (std::size_t i = 0; i < object->entity_->relationships().size(); ++i)
      object->markRelationshipChanged(i);
  }
  for (const ManagedObject* c : child.changeList_) {
    if (!(c->flags_ & ManagedObject::kDeleted)) continue;
    const ObjectID& id = c->id_;
    auto it = objects_.find(id);
    ManagedObject* object = it != objects_.end()
                                ? it->second.get()
                                : (id.temporary ? nullptr : objectForKeyLocked(*id.entity, id.key));
    if (!object || (object->flags_ & ManagedObject::kDeleted)) continue;
    if (object->flags_ & ManagedObject::kInserted) {
      std::erase(changeList_, object);
      std::erase(pendingInserted_, object);
      std::erase(pendingUpdated_, object);
      object->flags_ |= ManagedObject::kDeleted;
      forgetObjectLocked(object);
      continue;
    }
    object->flags_ |= ManagedObject::kDeleted;
    noteChangedLocked(object);
    std::erase(pendingUpdated_, object);
    pendingDeleted_.push_back(object);
  }
}

// ---------------------------------------------------------------- bulk writes

BulkWrite ManagedObjectContext::beginBulkWrite() {
  checkQueue("beginBulkWrite");
  if (parent_)
    throw std::logic_error("Context \"" + label_ +
                           "\" is a child; only a root context writes to the store in bulk");
  {
    Lock lock(mutex_);
    if (bulk_) throw std::logic_error("Context \"" + label_ + "\" already has a bulk write open");
    if (!changeList_.empty())
      throw std::logic_error("Context \"" + label_ +
                             "\" has unsaved changes; save or drop them before a bulk write");
  }
  store_->beginBulkWrite(this);
  Lock lock(mutex_);
  bulk_ = std::make_unique<BulkWriteState>();
  return BulkWrite(shared_from_this());
}

bool ManagedObjectContext::isInBulkWrite() const {
  Lock lock(mutex_);
  return bulk_ != nullptr;
}

// Rolls back what the bulk write stored (unless a failed save already did) and closes it.
void ManagedObjectContext::abandonBulkWrite() {
  if (!bulk_->failed) {
    store_->rollbackBulkWrite(this);
    {
      Lock lock(mutex_);
      discardBulkWriteLocked();
    }
    processPendingChanges();
  }
  Lock lock(mutex_);
  bulk_.reset();
}

void ManagedObjectContext::endBulkWrite(bool commit) {
  checkQueue("bulk write");
  if (!bulk_) return;
  if (!commit) {
    abandonBulkWrite();
    return;
  }
  if (bulk_->failed) {
    bulk_.reset();
    throw StoreError(StoreErrorCode::SaveFailed,
                     "The bulk write failed earlier and was rolled back; nothing was written");
  }
  try {
    save();  // the last chunk; a failure rolls the whole write back
    store_->commitBulkWrite(this);
  } catch (...) {
    abandonBulkWrite();
    throw;
  }
  std::unique_ptr<BulkWriteState> state;
  {
    Lock lock(mutex_);
    state = std::move(bulk_);
  }
  auto recipients = mergeRecipients();
  if (recipients.empty()) return;
  auto changes = std::make_shared<SaveChangeSet>();
  changes->inserted = std::move(state->inserted);
  changes->updated = std::move(state->updated);
  changes->deleted = std::move(state->deleted);
  std::shared_ptr<const SaveChangeSet> shared = changes;
  for (auto& recipient : recipients) {
    std::weak_ptr<ManagedObjectContext> weak = recipient;
    recipient->perform([weak, shared] {
      if (auto c = weak.lock()) c->mergeChanges(shared);
    });
  }
}

void ManagedObjectContext::discardBulkWriteLocked() {
  // Pending notifications describe states that no longer exist.
  for (auto* list : {&pendingInserted_, &pendingUpdated_, &pendingDeleted_}) {
    for (ManagedObject* o : *list) o->flags_ &= ~ManagedObject::kPendingNotification;
    list->clear();
  }
  auto drop = [&](ManagedObject* o) {  // its row does not exist in the file
    o->flags_ = ManagedObject::kDeleted | ManagedObject::kPendingNotification;
    pendingDeleted_.push_back(o);
    forgetObjectLocked(o);
  };
  auto refault = [&](ManagedObject* o) {  // reads the file's values when next touched
    if (o->flags_ & ManagedObject::kPendingNotification) return;
    o->flags_ = ManagedObject::kFault | ManagedObject::kPendingNotification;
    o->changed_.clear();
    releaseStateLocked(o);
    pendingUpdated_.push_back(o);
  };
  std::vector<ManagedObject*> unsaved;
  unsaved.swap(changeList_);
  for (ManagedObject* o : unsaved) {
    if (o->flags_ & ManagedObject::kInserted)
      drop(o);
    else
      refault(o);
  }
  for (const ObjectID& id : bulk_->inserted)
    if (auto it = objects_.find(id); it != objects_.end()) drop(it->second.get());
  for (const ObjectID& id : bulk_->updated)
    if (auto it = objects_.find(id); it != objects_.end()) refault(it->second.get());
  bulk_->inserted.clear();
  bulk_->updated.clear();
  bulk_->deleted.clear();
}

// ---------------------------------------------------------------- merging

void ManagedObjectContext::mergeChanges(const std::shared_ptr<const SaveChangeSet>& changes) {
  {
    Lock lock(mutex_);
    for (const ObjectID& id : changes->inserted) {
      // Announced as a fault: whoever looks at it reads the saved row. A registered object
      // is ours already (pushed up from here) unless it is a fault met earlier through a
      // relationship, which nobody has heard of yet.
      auto it = objects_.find(id);
      ManagedObject* object = nullptr;
      if (it == objects_.end())
        object = registeredOrFaultLocked(id);
      else if ((it->second->flags_ &
                (ManagedObject::kFault | ManagedObject::kPendingNotification)) ==
               ManagedObject::kFault)
        object = it->second.get();
      else
        continue;
      object->flags_ |= ManagedObject::kPendingNotification;
      pendingInserted_.push_back(object);
    }
    for (const ObjectID& id : changes->updated) {
      auto it = objects_.find(id);
      if (it == objects_.end()) continue;  // not held here: nothing to refresh
      ManagedObject* object = it->second.get();
      if (object->flags_ &
          (ManagedObject::kFault | ManagedObject::kDeleted | ManagedObject::kInserted))
        continue;  // a fault loads fresh when touched
      // Reload from the parent or the file, keeping local edits.
      bool pending = object->flags_ & ManagedObject::kPendingNotification;
      refreshLocked(object, true);
      if (!(object->flags_ & ManagedObject::kPendingNotification)) {
        object->flags_ |= ManagedObject::kPendingNotification;
        if (!pending) pendingUpdated_.push_back(object);
      }
    }
  }
  std::vector<ObjectID> deleted = changes->deleted;
  mergeDeletedIDs(deleted);
}

void ManagedObjectContext::mergeDeletedIDs(const std::vector<ObjectID>& ids) {
  {
    Lock lock(mutex_);
    for (const ObjectID& id : ids) {
      auto it = objects_.find(id);
      if (it == objects_.end()) continue;
      ManagedObject* object = it->second.get();
      if (!(object->flags_ & ManagedObject::kFault)) {
        const auto& relationships = object->entity_->relationships();
        for (std::size_t i = 0; i < relationships.size(); ++i) {
          const auto* inverse = relationships[i].inverse;
          if (!inverse) continue;
          std::vector<ManagedObject*> neighbours;
          if (relationships[i].toMany) {
            if (object->toMany_[i].loaded) neighbours = object->toMany_[i].members();
          } else if (object->toOne_[i].object) {
            neighbours.push_back(object->toOne_[i].object);
          }
          for (ManagedObject* n : neighbours) {
            if (n->flags_ & ManagedObject::kFault) continue;
            if (inverse->toMany)
              n->toMany_[inverse->index].remove(object);
            else if (n->toOne_[inverse->index].object == object)
              n->toOne_[inverse->index] = {};
          }
        }
      }
      std::erase(changeList_, object);
      std::erase(pendingUpdated_, object);
      std::erase(pendingInserted_, object);
      object->flags_ |= ManagedObject::kDeleted | ManagedObject::kPendingNotification;
      object->flags_ &= ~ManagedObject::kInChangeList;
      pendingDeleted_.push_back(object);
      forgetObjectLocked(object);
    }
  }
  processPendingChanges();
}

// ---------------------------------------------------------------- notifications

void ManagedObjectContext::processPendingChanges() {
  ContextChanges changes;
  {
    Lock lock(mutex_);
    for (ManagedObject* o : pendingInserted_) {
      o->flags_ &= ~ManagedObject::kPendingNotification;
      if (!(o->flags_ & ManagedObject::kDeleted)) changes.inserted.push_back(o);
    }
    for (ManagedObject* o : pendingUpdated_) {
      o->flags_ &= ~ManagedObject::kPendingNotification;
      if (!(o->flags_ & ManagedObject::kDeleted)) changes.updated.push_back(o);
    }
    for (ManagedObject* o : pendingDeleted_) {
      o->flags_ &= ~ManagedObject::kPendingNotification;
      changes.deleted.push_back(o);
    }
    pendingInserted_.clear();
    pendingUpdated_.clear();
    pendingDeleted_.clear();
  }
  if (!changes.empty()) post(ContextNotification::ObjectsDidChange, changes);
}

ContextObserverToken ManagedObjectContext::addObserver(ContextNotification kind,
                                                       Observer observer) {
  Lock lock(mutex_);
  std::uint64_t id = nextObserverID_++;
  observers_.push_back({id, kind, std::make_shared<Observer>(std::move(observer))});
  return ContextObserverToken(weak_from_this(), id);
}

void ManagedObjectContext::removeObserver(std::uint64_t id) {
  Lock lock(mutex_);
  std::erase_if(observers_, [id](const ObserverEntry& e) { return e.id == id; });
}

void ManagedObjectContext::post(ContextNotification kind, const ContextChanges& changes) {
  std::vector<std::shared_ptr<Observer>> targets;
  {
    Lock lock(mutex_);
    for (const auto& e : observers_)
      if (e.kind == kind) targets.push_back(e.observer);
  }
  for (const auto& observer : targets) (*observer)(changes);
}

// ---------------------------------------------------------------- fetching

std::vector<ManagedObject*> ManagedObjectContext::executeFetchRequest(const FetchRequest& request) {
  checkQueue("fetch");
  Lock lock(mutex_);
  return fetchLocked(request, nullptr);
}

std::size_t ManagedObjectContext::countForFetchRequest(const FetchRequest& request) {
  checkQueue("count");
  Lock lock(mutex_);
  std::size_t count = 0;
  fetchLocked(request, &count);
  return count;
}

std::vector<ManagedObject*> ManagedObjectContext::fetchLocked(const FetchRequest& request,
                                                              std::size_t* countOnly) {
  if (!request.entity || model().entityNamed(request.entity->name()) != request.entity)
    throw StoreError(StoreErrorCode::FetchFailed, "The fetch names no entity of this model");
  const EntityDescription& entity = *request.entity;
  auto wanted = [&](const ManagedObject* o) {
    return request.includesSubentities ? o->entity_->isKindOf(&entity) : o->entity_ == &entity;
  };

  // Unsaved state of this context and its ancestors overrides the file, nearest first.
  std::vector<std::unique_lock<std::recursive_mutex>> ancestorLocks;
  std::unordered_set<ObjectID, ObjectIDHash> seen;
  std::vector<std::int64_t> excluded;
  std::vector<std::pair<ManagedObjectContext*, ManagedObject*>> matches;
  bool foreignChanges = false;
  for (ManagedObjectContext* c = this; c; c = c->parent_.get()) {
    if (c != this) ancestorLocks.emplace_back(c->mutex_);
    for (ManagedObject* o : c->changeList_) {
      if (!wanted(o)) {
        foreignChanges = true;
        continue;
      }
      if (!seen.insert(o->id_).second) continue;
      if (!o->id_.temporary) excluded.push_back(o->id_.key);
      if (o->flags_ & ManagedObject::kDeleted) continue;
      if (request.predicate && !evaluate(*request.predicate, ManagedObjectValueSource(*o)))
        continue;
      matches.emplace_back(c, o);
    }
  }

  // A path through a relationship reads other rows; when some of those have unsaved
  // changes the file's values are stale, so filter and order in memory instead. So too for
  // a predicate nested deeper than SQL takes (the store refuses it before running anything).
  bool inMemoryFilter = false;
  if (foreignChanges) {
    std::vector<std::string> paths;
    if (request.predicate) paths = request.predicate->keyPaths();
    for (const auto& sort : request.sortDescriptors) paths.push_back(sort.keyPath);
    for (const auto& path : paths)
      if (path.find('.') != std::string::npos) inMemoryFilter = true;
  }

  if (countOnly && !inMemoryFilter) {
    try {
      std::size_t n = store_->count(request, excluded) + matches.size();
      if (request.fetchOffset) n = n > request.fetchOffset ? n - request.fetchOffset : 0;
      if (request.fetchLimit) n = std::min(n, request.fetchLimit);
      *countOnly = n;
      return {};
    } catch (const SqlNestingError&) {
      inMemoryFilter = true;
    }
  }

  // An entity without a table is read from its subentities' tables, one query each: the
  // order and window then apply here.
  const bool spansTables = !request.entity->hasTable();
  std::vector<ObjectSnapshot> rows;
  if (!inMemoryFilter) {
    const bool idsOnly = !request.includesPropertyValues || request.returnsObjectsAsFaults ||
                         request.fetchBatchSize > 0;
    try {
      rows = store_->query(request, excluded, matches.empty() && !spansTables, idsOnly);
    } catch (const SqlNestingError&) {
      inMemoryFilter = true;
    }
  }
  if (inMemoryFilter) {
    FetchRequest unfiltered = request;
    unfiltered.predicate.reset();
    rows = store_->query(unfiltered, excluded, false, false);
  }
  std::vector<ManagedObject*> results;
  results.reserve(rows.size() + matches.size());
  for (ObjectSnapshot& row : rows) {
    ManagedObject* object = registerSnapshotLocked(std::move(row), false);
    if (object->flags_ & ManagedObject::kDeleted) continue;
    if (inMemoryFilter && request.predicate &&
        !evaluate(*request.predicate, ManagedObjectValueSource(*object)))
      continue;
    results.push_back(object);
  }
  for (auto& [owner, o] : matches) {
    if (owner == this) {
      results.push_back(o);
      continue;
    }
    // Our copy is unchanged (else it would have been met first): refresh it.
    results.push_back(registerSnapshotLocked(owner->snapshotOfLocked(o), true));
  }
  if (!matches.empty() || inMemoryFilter || spansTables) {
    if (!request.sortDescriptors.empty()) {
      std::vector<std::pair<std::vector<Value>, ManagedObject*>> keyed;
      keyed.reserve(results.size());
      for (ManagedObject* o : results) {
        std::vector<Value> keys;
        for (const auto& sort : request.sortDescriptors)
          keys.push_back(o->valueForKeyPath(sort.keyPath));
        keyed.emplace_back(std::move(keys), o);
      }
      std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
        for (std::size_t i = 0; i < request.sortDescriptors.size(); ++i) {
          int c = Value::compare(a.first[i], b.first[i]);
          if (c != 0) return request.sortDescriptors[i].ascending ? c < 0 : c > 0;
        }
        return false;
      });
      for (std::size_t i = 0; i < keyed.size(); ++i) results[i] = keyed[i].second;
    }
    if (request.fetchOffset)
      results.erase(results.begin(), results.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                           request.fetchOffset, results.size())));
    if (request.fetchLimit && results.size() > request.fetchLimit)
      results.resize(request.fetchLimit);
  }
  if (countOnly) {
    *countOnly = results.size();
    return {};
  }
  // The first batch comes loaded; the rest stay faults until touched.
  if (request.fetchBatchSize > 0 && !request.returnsObjectsAsFaults &&
      request.includesPropertyValues) {
    std::size_t n = std::min(request.fetchBatchSize, results.size());
    for (std::size_t i = 0; i < n; ++i) results[i]->fireFaultLocked();
  }
  return results;
}

namespace {

// The smallest and largest of many integer values that fill most of the span between them;
// none for other lists.
std::optional<std::pair<std::int64_t, std::int64_t>> denseIntegerRange(
    const std::vector<Value>& values) {
  constexpr std::size_t kShortestRange = 16;  // below this, a seek per value costs little
  if (values.size() < kShortestRange) return std::nullopt;
  std::int64_t low = std::numeric_limits<std::int64_t>::max();
  std::int64_t high = std::numeric_limits<std::int64_t>::min();
  for (const Value& v : values) {
    if (!v.isInteger()) return std::nullopt;
    low = std::min(low, v.asInt64());
    high = std::max(high, v.asInt64());
  }
  // At most a quarter more rows than values are read for nothing.
  const std::uint64_t span = static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low);
  if (span >= values.size() + values.size() / 4) return std::nullopt;
  return std::pair{low, high};
}

}  // namespace

std::unordered_map<Value, ManagedObject*, ValueHash> ManagedObjectContext::objectsByAttribute(
    const EntityDescription& entity, std::string_view attribute, const std::vector<Value>& values) {
  checkQueue("objectsByAttribute");
  if (model().entityNamed(entity.name()) != &entity)
    throw std::invalid_argument("Entity " + entity.name() + " is not in this store's model");
  const auto* attr = entity.attributeNamed(attribute);
  if (!attr)
    throw std::invalid_argument("Entity " + entity.name() + " has no attribute " +
                                std::string(attribute));
  std::unordered_map<Value, ManagedObject*, ValueHash> out;
  if (values.empty()) return out;
  const std::size_t index = attr->index;
  // The wanted values by hash, sorted: one allocation for the whole list (a hash set costs
  // one per value, and a batch asks for hundreds of values a call).
  const ValueHash hash;
  std::vector<std::pair<std::size_t, const Value*>> wanted;
  wanted.reserve(values.size());
  for (const Value& v : values) wanted.emplace_back(hash(v), &v);
  std::sort(wanted.begin(), wanted.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  auto isWanted = [&](const Value& v) {
    const std::size_t h = hash(v);
    auto it =
        std::lower_bound(wanted.begin(), wanted.end(), h,
                         [](const auto& entry, std::size_t key) { return entry.first < key; });
    for (; it != wanted.end() && it->first == h; ++it)
      if (*it->second == v) return true;
    return false;
  };

  Lock lock(mutex_);
  // Unsaved state first (nearest context wins), then the rows nobody overrides, in one
  // query with the values bound as a single list.
  std::vector<std::unique_lock<std::recursive_mutex>> ancestorLocks;
  std::unordered_set<ObjectID, ObjectIDHash> seen;
  // Rows with unsaved state are dropped from the query's answer here rather than excluded in
  // its SQL: a batch has thousands of them, and few of their keys ever match.
  std::unordered_set<std::int64_t> excluded;
  excluded.reserve(changeList_.size());
  std::vector<std::pair<ManagedObjectContext*, ManagedObject*>> matches;
  for (ManagedObjectContext* c = this; c; c = c->parent_.get()) {
    if (c != this) ancestorLocks.emplace_back(c->mutex_);
    for (ManagedObject* o : c->changeList_) {
      if (!o->entity_->isKindOf(&entity)) continue;
      // The nearest context's state wins; a root context has no other to compare with.
      if (parent_ && !seen.insert(o->id_).second) continue;
      if (!o->id_.temporary) excluded.insert(o->id_.key);
      if (o->flags_ & ManagedObject::kDeleted) continue;
      if (isWanted(o->values_[index])) matches.emplace_back(c, o);
    }
  }
  FetchRequest request(&entity);
  auto attributePath = [&] {
    PredicateExpression path;
    path.kind = PredicateExpression::Kind::KeyPath;
    path.keyPath = attr->name;
    return path;
  };
  const std::optional<std::pair<std::int64_t, std::int64_t>> range = denseIntegerRange(values);
  if (range) {
    // Keys that lie close together (a server's identifiers usually do) are read as one range
    // of the attribute's index: one walk instead of a seek per value. Rows in the range that
    // were not asked for are dropped below.
    auto bound = [&](Predicate::Operator op, std::int64_t limit) {
      PredicateExpression constant;
      constant.constant = Value(limit);
      return Predicate::comparison(attributePath(), op, std::move(constant));
    };
    request.predicate =
        Predicate::andPredicate({bound(Predicate::Operator::GreaterOrEqual, range->first),
                                 bound(Predicate::Operator::LessOrEqual, range->second)});
  } else {
    PredicateExpression list;
    list.kind = PredicateExpression::Kind::ConstantList;
    list.list = values;
    request.predicate =
        Predicate::comparison(attributePath(), Predicate::Operator::In, std::move(list));
  }
  std::vector<ObjectSnapshot> rows = store_->query(request, {}, false, false);
  out.reserve(rows.size() + matches.size());
  for (ObjectSnapshot& row : rows) {
    if (excluded.count(row.id.key)) continue;
    if (range && !isWanted(row.values[index])) continue;
    Value key = row.values[index];  // the file's value matched; the row's values move on
    ManagedObject* object = registerSnapshotLocked(std::move(row), false);
    if (!(object->flags_ & ManagedObject::kDeleted)) out.emplace(std::move(key), object);
  }
  for (auto& [owner, o] : matches) {
    ManagedObject* object =
        owner == this ? o : registerSnapshotLocked(owner->snapshotOfLocked(o), true);
    out.emplace(object->values_[index], object);
  }
  return out;
}

void ManagedObjectContext::reserveObjects(std::size_t count) {
  checkQueue("reserveObjects");
  Lock lock(mutex_);
  objects_.reserve(objects_.size() + count);
}

std::size_t ManagedObjectContext::batchDeleteExcept(const EntityDescription& entity,
                                                    std::string_view attribute,
                                                    const std::vector<Value>& keptValues) {
  checkQueue("batchDelete");
  auto ids = std::make_shared<const std::vector<ObjectID>>(
      store_->batchDeleteExcept(entity, std::string(attribute), keptValues, this));
  if (ids->empty()) return 0;
  mergeDeletedIDs(*ids);
  if (bulk_) {
    // Other contexts hear of it when the bulk write commits.
    Lock lock(mutex_);
    bulk_->deleted.insert(bulk_->deleted.end(), ids->begin(), ids->end());
    return ids->size();
  }
  for (auto& context : store_->contexts()) {
    if (context.get() == this) continue;
    std::weak_ptr<ManagedObjectContext> weak = context;
    context->perform([weak, ids] {
      if (auto c = weak.lock()) c->mergeDeletedIDs(*ids);
    });
  }
  return ids->size();
}

}  // namespace dm
