// The network path monitor: tells its handler when the device's network status changes, so
// work that needs the network (fetching a handbook seed) is retried when it may succeed.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace dm {

enum class NetworkStatus { Unknown, Unavailable, Available };

// The base is also the monitor a host drives itself: its reachability callback calls
// report(). Methods may be called from any thread; the handler runs on the reporting thread
// (for SystemNetworkMonitor its own thread).
class NetworkMonitor {
 public:
  using Handler = std::function<void(NetworkStatus)>;

  virtual ~NetworkMonitor() = default;
  // Replaces the handler (an empty one ignores reports).
  void setHandler(Handler handler);
  // Starts watching (nothing for a host-driven monitor). Idempotent.
  virtual void start() {}
  // The status last reported (Unknown before any).
  NetworkStatus status() const;
  // Records `status` and calls the handler with it, whether or not it changed: a path that
  // stays "available" may still have been replaced by another.
  void report(NetworkStatus status);

  // A new monitor of the kind the process uses: the host's factory when set, else a
  // SystemNetworkMonitor. Any thread.
  static std::shared_ptr<NetworkMonitor> makeDefault();
  // Replaces the factory; an empty one restores SystemNetworkMonitor.
  static void setDefaultFactory(std::function<std::shared_ptr<NetworkMonitor>()> factory);

  // The handler and last status, shared with a watching thread so that it stays valid even
  // when the monitor is destroyed from inside its own handler.
  struct State {
    std::mutex mutex;
    Handler handler;                                // guarded by mutex
    NetworkStatus status = NetworkStatus::Unknown;  // guarded by mutex
    void report(NetworkStatus status);
  };

 protected:
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

// Watches the kernel's routing messages (links and addresses coming and going) on a thread
// of its own and reports the status after each change: Available while any interface other
// than loopback is up and has an address. Without a routing socket (a sandbox) it reports
// nothing. The watching thread stops when the monitor is destroyed.
class SystemNetworkMonitor final : public NetworkMonitor {
 public:
  SystemNetworkMonitor() = default;
  ~SystemNetworkMonitor() override;
  void start() override;

  // Available while an interface other than loopback is up with an address. Any thread.
  static NetworkStatus currentStatus();

 private:
  std::mutex startMutex_;
  std::thread thread_;  // guarded by startMutex_
  int wakeFd_ = -1;     // eventfd that ends the watch; startMutex_
  // Set when the monitor is destroyed on its own watching thread: that thread then closes
  // wakeFd_ (otherwise the destructor does, after joining).
  std::shared_ptr<std::atomic<bool>> threadClosesWake_;
};

}  // namespace dm
