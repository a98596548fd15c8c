// Host-driven network reports and the kernel-watching monitor.
#include "Platform/Host/NetworkMonitor.h"

#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "Platform/Foundation/Logger.h"

namespace dm {
namespace {
std::mutex gFactoryMutex;
std::function<std::shared_ptr<NetworkMonitor>()> gFactory;  // guarded by gFactoryMutex

// A routing socket subscribed to link and address changes; -1 when the system refuses one.
int openRoutingSocket() {
  int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  if (fd < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Reads every pending message; true when any arrived (their content does not matter: the
// status is read afresh).
bool drain(int fd) {
  bool any = false;
  alignas(nlmsghdr) char buffer[8192];
  while (true) {
    ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n > 0) {
      any = true;
      continue;
    }
    // ENOBUFS: messages were lost, which still means something changed.
    if (n < 0 && errno == ENOBUFS) {
      any = true;
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    return any;
  }
}

// Closes `wake` on the way out only when `closesWake` is set by then: the destructor sets it
// when it runs on the watching thread itself; otherwise it joins and closes the descriptor.
void watch(std::shared_ptr<NetworkMonitor::State> state, int routing, int wake,
           std::shared_ptr<std::atomic<bool>> closesWake);

// A sandbox without routing sockets says so once, not for every monitor.
void warnOnce(const char* message) {
  static std::atomic<bool> warned{false};
  if (!warned.exchange(true)) logWarning(message);
}
}  // namespace

void NetworkMonitor::setHandler(Handler handler) {
  std::lock_guard lock(state_->mutex);
  state_->handler = std::move(handler);
}

NetworkStatus NetworkMonitor::status() const {
  std::lock_guard lock(state_->mutex);
  return state_->status;
}

void NetworkMonitor::report(NetworkStatus status) {
  state_->report(status);
}

void NetworkMonitor::State::report(NetworkStatus newStatus) {
  Handler current;
  {
    std::lock_guard lock(mutex);
    status = newStatus;
    current = handler;
  }
  // Outside the lock: the handler may ask for the status or replace itself.
  if (current) current(newStatus);
}

std::shared_ptr<NetworkMonitor> NetworkMonitor::makeDefault() {
  std::function<std::shared_ptr<NetworkMonitor>()> factory;
  {
    std::lock_guard lock(gFactoryMutex);
    factory = gFactory;
  }
  if (factory) {
    if (auto monitor = factory()) return monitor;
  }
  return std::make_shared<SystemNetworkMonitor>();
}

void NetworkMonitor::setDefaultFactory(std::function<std::shared_ptr<NetworkMonitor>()> factory) {
  std::lock_guard lock(gFactoryMutex);
  gFactory = std::move(factory);
}

NetworkStatus SystemNetworkMonitor::currentStatus() {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return NetworkStatus::Unknown;
  NetworkStatus status = NetworkStatus::Unavailable;
  for (ifaddrs* entry = list; entry; entry = entry->ifa_next) {
    if (!entry->ifa_addr || !(entry->ifa_flags & IFF_UP) || (entry->ifa_flags & IFF_LOOPBACK))
      continue;
    const int family = entry->ifa_addr->sa_family;
    if (family == AF_INET || family == AF_INET6) {
      status = NetworkStatus::Available;
      break;
    }
  }
  ::freeifaddrs(list);
  return status;
}

void SystemNetworkMonitor::start() {
  std::lock_guard lock(startMutex_);
  if (thread_.joinable()) return;
  int routing = openRoutingSocket();
  if (routing < 0) {
    warnOnce("network monitor: no routing socket; network changes will not be noticed");
    return;
  }
  int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake < 0) {
    ::close(routing);
    warnOnce("network monitor: no eventfd; network changes will not be noticed");
    return;
  }
  wakeFd_ = wake;
  threadClosesWake_ = std::make_shared<std::atomic<bool>>(false);
  thread_ = std::thread(watch, state_, routing, wake, threadClosesWake_);
}

SystemNetworkMonitor::~SystemNetworkMonitor() {
  std::lock_guard lock(startMutex_);
  if (!thread_.joinable()) return;
  std::uint64_t one = 1;
  (void)!::write(wakeFd_, &one, sizeof one);
  // Destroyed from its own handler: the thread holds everything it still uses and closes the
  // wake-up descriptor itself once it has seen it.
  if (thread_.get_id() == std::this_thread::get_id()) {
    threadClosesWake_->store(true);
    thread_.detach();
  } else {
    thread_.join();
    ::close(wakeFd_);
  }
}

namespace {
void watch(std::shared_ptr<NetworkMonitor::State> state, int routing, int wake,
           std::shared_ptr<std::atomic<bool>> closesWake) {
  bool routingUsable = true;
  while (true) {
    pollfd fds[2] = {{wake, POLLIN, 0}, {routing, POLLIN, 0}};
    int ready = ::poll(fds, routingUsable ? 2 : 1, -1);
    // Only the wake-up may end the loop: the destructor writes to its descriptor.
    if (ready < 0) continue;
    if (fds[0].revents) break;
    if (!routingUsable) continue;
    if (fds[1].revents & (POLLERR | POLLHUP | POLLNVAL)) {
      // Keep waiting for the wake-up only: the descriptors must outlive the destructor's write.
      routingUsable = false;
      continue;
    }
    if ((fds[1].revents & POLLIN) && drain(routing))
      state->report(SystemNetworkMonitor::currentStatus());
  }
  ::close(routing);
  if (closesWake->load()) ::close(wake);
}
}  // namespace

}  // namespace dm
