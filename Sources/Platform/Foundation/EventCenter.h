// The event centre: named events posted with an optional sender and an info dictionary,
// delivered synchronously to the observers registered for that name.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace dm {

// A posted event. `object` identifies the sender only: it is compared, never dereferenced,
// so any address (or nullptr for "no sender") will do.
struct Event {
  std::string name;
  const void* object = nullptr;
  nlohmann::json userInfo;  // null when the poster gave none
};

class EventCenter;

// Keeps an observer registered; destroying or reset()-ing it unregisters the observer.
// Move-only. A token may outlive its centre (it then does nothing).
class ObserverToken {
 public:
  ObserverToken() = default;
  ~ObserverToken() { reset(); }
  ObserverToken(ObserverToken&& other) noexcept;
  ObserverToken& operator=(ObserverToken&& other) noexcept;
  ObserverToken(const ObserverToken&) = delete;
  ObserverToken& operator=(const ObserverToken&) = delete;

  // Unregisters now (idempotent). After it returns the observer is not called by any post
  // that starts later; a delivery already running on another thread may still finish.
  void reset();
  bool isActive() const { return id_ != 0 && !registry_.expired(); }

 private:
  friend class EventCenter;
  struct Registry;
  ObserverToken(std::weak_ptr<Registry> registry, std::uint64_t id)
      : registry_(std::move(registry)), id_(id) {}

  std::weak_ptr<Registry> registry_;
  std::uint64_t id_ = 0;
};

// All methods may be called from any thread. Observers run on the posting thread, in the order
// they were added, from a snapshot taken when the post starts: observers added during a post
// wait for the next one, and observers removed during a post (by themselves or by another
// observer) and not yet called are skipped. Observers may post, add and remove freely.
class EventCenter {
 public:
  using Handler = std::function<void(const Event&)>;

  EventCenter();
  ~EventCenter();
  EventCenter(const EventCenter&) = delete;
  EventCenter& operator=(const EventCenter&) = delete;

  // Calls `handler` for every event named `name` (every event when `name` is empty) whose
  // sender is `object` (any sender when `object` is nullptr). The observer stays registered
  // while the returned token lives; keep it. An empty handler registers nothing.
  [[nodiscard]] ObserverToken addObserver(std::string name, Handler handler,
                                          const void* object = nullptr);
  // Same as token.reset().
  void removeObserver(ObserverToken& token);

  // Delivers the event to the matching observers before returning. An exception thrown by an
  // observer is logged and does not stop delivery to the others.
  void post(std::string_view name, const void* object = nullptr,
            const nlohmann::json& userInfo = nullptr);

  // The process-wide centre. Thread-safe; the returned centre stays valid while held.
  static std::shared_ptr<EventCenter> defaultCenter();
  // Replaces the process-wide centre; nullptr installs a fresh one.
  static void setDefaultCenter(std::shared_ptr<EventCenter> center);

 private:
  std::shared_ptr<ObserverToken::Registry> registry_;
};

}  // namespace dm
