// Singleton creation and named lookup for the dependency injector.
#include "Platform/Foundation/Injector.h"

#include "Platform/Foundation/Logger.h"

namespace dm {
namespace {

std::mutex& defaultMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<Injector>& defaultSlot() {
  static std::shared_ptr<Injector> injector = std::make_shared<Injector>();
  return injector;
}

}  // namespace

std::shared_ptr<void> Injector::instance(std::type_index type, const char* typeName) {
  std::shared_ptr<Entry> entry;
  {
    std::lock_guard lock(mutex_);
    auto found = entries_.find(type);
    if (found != entries_.end()) entry = found->second;
  }
  if (!entry) {
    logError(std::string("Injector: no registration for ") + typeName);
    return nullptr;
  }
  // Creation runs under the entry's own lock only, so the factory may ask for other services.
  std::lock_guard lock(entry->mutex);
  if (entry->instance) return entry->instance;
  if (entry->creating) {
    logError(std::string("Injector: cyclic dependency while creating ") + typeName);
    return nullptr;
  }
  entry->creating = true;
  std::string failure;
  std::shared_ptr<void> created;
  try {
    created = entry->create(*this, failure);
  } catch (const std::exception& error) {
    failure = std::string("the factory threw: ") + error.what();
  }
  entry->creating = false;
  if (!created) {
    logError(std::string("Injector: could not create ") + typeName + ": " + failure);
    return nullptr;
  }
  entry->instance = created;
  return created;
}

std::shared_ptr<void> Injector::named(std::string_view name, std::type_index type) {
  std::function<std::shared_ptr<void>(Injector&)> provide;
  {
    std::lock_guard lock(mutex_);
    auto found = providers_.find(std::string(name));
    if (found == providers_.end()) {
      logError("Injector: no provider named \"" + std::string(name) + "\"");
      return nullptr;
    }
    if (found->second.type != type) {
      logError("Injector: provider \"" + std::string(name) + "\" gives another type than " +
               type.name());
      return nullptr;
    }
    provide = found->second.provide;
  }
  return provide(*this);
}

void Injector::releaseInstances() {
  std::vector<std::shared_ptr<Entry>> entries;
  {
    std::lock_guard lock(mutex_);
    for (auto& [type, entry] : entries_) entries.push_back(entry);
  }
  std::vector<std::shared_ptr<void>> released;  // destroyed after the locks are let go
  for (auto& entry : entries) {
    std::lock_guard lock(entry->mutex);
    released.push_back(std::move(entry->instance));
    entry->instance.reset();
  }
}

std::shared_ptr<Injector> Injector::defaultInjector() {
  std::lock_guard lock(defaultMutex());
  return defaultSlot();
}

void Injector::setDefaultInjector(std::shared_ptr<Injector> injector) {
  std::shared_ptr<Injector> previous;
  std::lock_guard lock(defaultMutex());
  previous = std::move(defaultSlot());
  defaultSlot() = injector ? std::move(injector) : std::make_shared<Injector>();
}

void Injector::reset() {
  setDefaultInjector(nullptr);
}

}  // namespace dm
