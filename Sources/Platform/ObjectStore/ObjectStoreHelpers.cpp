// Object-store helpers: defaults under a mutex, fetch short forms over FetchRequest.
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

#include <exception>
#include <mutex>
#include <stdexcept>

#include "Platform/Foundation/Error.h"

namespace dm {

namespace {

struct Defaults {
  std::mutex mutex;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> root;
  std::shared_ptr<ManagedObjectContext> main;
};

Defaults& defaults() {
  static Defaults d;
  return d;
}

FetchRequest makeRequest(ManagedObjectContext& context, std::string_view entity,
                         std::optional<Predicate> predicate, std::string sortKey, bool ascending) {
  const EntityDescription* description = context.model().entityNamed(entity);
  if (!description) throw Error(ErrorCode::UnknownEntity, "No entity named " + std::string(entity));
  FetchRequest request(description);
  request.predicate = std::move(predicate);
  if (!sortKey.empty()) request.sortDescriptors.push_back({std::move(sortKey), ascending});
  return request;
}

}  // namespace

void ObjectStoreHelpers::setDefaultStore(std::shared_ptr<PersistentStore> store) {
  std::lock_guard lock(defaults().mutex);
  defaults().store = std::move(store);
}
void ObjectStoreHelpers::setRootSavingContext(std::shared_ptr<ManagedObjectContext> context) {
  std::lock_guard lock(defaults().mutex);
  defaults().root = std::move(context);
}
void ObjectStoreHelpers::setDefaultContext(std::shared_ptr<ManagedObjectContext> context) {
  std::lock_guard lock(defaults().mutex);
  defaults().main = std::move(context);
}
std::shared_ptr<PersistentStore> ObjectStoreHelpers::defaultStore() {
  std::lock_guard lock(defaults().mutex);
  return defaults().store;
}
std::shared_ptr<ManagedObjectContext> ObjectStoreHelpers::rootSavingContext() {
  std::lock_guard lock(defaults().mutex);
  return defaults().root;
}
std::shared_ptr<ManagedObjectContext> ObjectStoreHelpers::defaultContext() {
  std::lock_guard lock(defaults().mutex);
  return defaults().main;
}

ManagedObject* ObjectStoreHelpers::findFirst(ManagedObjectContext& context, std::string_view entity,
                                             std::optional<Predicate> predicate,
                                             std::string sortKey, bool ascending) {
  FetchRequest request =
      makeRequest(context, entity, std::move(predicate), std::move(sortKey), ascending);
  request.fetchLimit = 1;
  auto results = context.executeFetchRequest(request);
  return results.empty() ? nullptr : results.front();
}

std::vector<ManagedObject*> ObjectStoreHelpers::findAllSorted(ManagedObjectContext& context,
                                                              std::string_view entity,
                                                              std::string sortKey, bool ascending,
                                                              std::optional<Predicate> predicate) {
  return context.executeFetchRequest(
      makeRequest(context, entity, std::move(predicate), std::move(sortKey), ascending));
}

std::size_t ObjectStoreHelpers::count(ManagedObjectContext& context, std::string_view entity,
                                      std::optional<Predicate> predicate) {
  return context.countForFetchRequest(makeRequest(context, entity, std::move(predicate), {}, true));
}

std::size_t ObjectStoreHelpers::deleteAllMatching(ManagedObjectContext& context,
                                                  std::string_view entity,
                                                  std::optional<Predicate> predicate) {
  FetchRequest request = makeRequest(context, entity, std::move(predicate), {}, true);
  request.includesPropertyValues = false;
  auto objects = context.executeFetchRequest(request);
  std::size_t n = 0;
  for (ManagedObject* o : objects) {
    if (o->isDeleted()) continue;  // a cascade from an earlier one got it
    context.deleteObject(o);
    ++n;
  }
  return n;
}

void ObjectStoreHelpers::saveToPersistentStoreAndWait(ManagedObjectContext& context) {
  for (ManagedObjectContext* c = &context; c; c = c->parentContext().get()) {
    std::exception_ptr failure;
    c->performAndWait([&] {
      try {
        c->save();
      } catch (...) {
        failure = std::current_exception();
      }
    });
    if (failure) std::rethrow_exception(failure);
  }
}

}  // namespace dm
