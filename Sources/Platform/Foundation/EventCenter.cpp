// Observer registration and synchronous delivery for the event centre.
#include "Platform/Foundation/EventCenter.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "Platform/Foundation/Logger.h"

namespace dm {

struct ObserverToken::Registry {
  struct Observer {
    std::uint64_t id;
    std::string name;
    const void* object;
    EventCenter::Handler handler;
    std::atomic<bool> active{true};
  };

  void remove(std::uint64_t id) {
    std::shared_ptr<Observer> removed;  // released after the lock, in case it owns much
    std::lock_guard lock(mutex);
    auto found = std::find_if(observers.begin(), observers.end(),
                              [id](const auto& observer) { return observer->id == id; });
    if (found == observers.end()) return;
    (*found)->active = false;
    removed = std::move(*found);
    observers.erase(found);
  }

  std::mutex mutex;
  std::uint64_t nextId = 1;                          // guarded by mutex
  std::vector<std::shared_ptr<Observer>> observers;  // guarded by mutex
};

ObserverToken::ObserverToken(ObserverToken&& other) noexcept
    : registry_(std::move(other.registry_)), id_(std::exchange(other.id_, 0)) {}

ObserverToken& ObserverToken::operator=(ObserverToken&& other) noexcept {
  if (this != &other) {
    reset();
    registry_ = std::move(other.registry_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

void ObserverToken::reset() {
  if (id_ == 0) return;
  if (auto registry = registry_.lock()) registry->remove(id_);
  registry_.reset();
  id_ = 0;
}

EventCenter::EventCenter() : registry_(std::make_shared<ObserverToken::Registry>()) {}

EventCenter::~EventCenter() = default;

ObserverToken EventCenter::addObserver(std::string name, Handler handler, const void* object) {
  if (!handler) return {};
  auto observer = std::make_shared<ObserverToken::Registry::Observer>();
  observer->name = std::move(name);
  observer->object = object;
  observer->handler = std::move(handler);
  std::lock_guard lock(registry_->mutex);
  observer->id = registry_->nextId++;
  registry_->observers.push_back(observer);
  return ObserverToken(registry_, observer->id);
}

void EventCenter::removeObserver(ObserverToken& token) {
  token.reset();
}

void EventCenter::post(std::string_view name, const void* object, const nlohmann::json& userInfo) {
  std::vector<std::shared_ptr<ObserverToken::Registry::Observer>> snapshot;
  {
    std::lock_guard lock(registry_->mutex);
    for (const auto& observer : registry_->observers) {
      if (!observer->name.empty() && observer->name != name) continue;
      if (observer->object != nullptr && observer->object != object) continue;
      snapshot.push_back(observer);
    }
  }
  if (snapshot.empty()) return;
  const Event event{std::string(name), object, userInfo};
  for (const auto& observer : snapshot) {
    if (!observer->active) continue;
    try {
      observer->handler(event);
    } catch (const std::exception& error) {
      logError("Observer of " + event.name + " threw: " + error.what());
    } catch (...) {
      logError("Observer of " + event.name + " threw an unknown exception");
    }
  }
}

namespace {

std::mutex& defaultMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<EventCenter>& defaultSlot() {
  static std::shared_ptr<EventCenter> center = std::make_shared<EventCenter>();
  return center;
}

}  // namespace

std::shared_ptr<EventCenter> EventCenter::defaultCenter() {
  std::lock_guard lock(defaultMutex());
  return defaultSlot();
}

void EventCenter::setDefaultCenter(std::shared_ptr<EventCenter> center) {
  std::shared_ptr<EventCenter> previous;
  std::lock_guard lock(defaultMutex());
  previous = std::move(defaultSlot());
  defaultSlot() = center ? std::move(center) : std::make_shared<EventCenter>();
}

}  // namespace dm
