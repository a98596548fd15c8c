// The process-wide diagnostic-event service and its recording test double.
#include "Platform/Foundation/DiagnosticEvents.h"

#include <cstdio>

namespace dm {
namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<DiagnosticEvents>& sharedSlot() {
  static std::shared_ptr<DiagnosticEvents> events = std::make_shared<StderrDiagnosticEvents>();
  return events;
}

}  // namespace

std::shared_ptr<DiagnosticEvents> DiagnosticEvents::shared() {
  std::lock_guard lock(sharedMutex());
  return sharedSlot();
}

void DiagnosticEvents::setShared(std::shared_ptr<DiagnosticEvents> events) {
  std::lock_guard lock(sharedMutex());
  sharedSlot() = events ? std::move(events) : std::make_shared<StderrDiagnosticEvents>();
}

void StderrDiagnosticEvents::logEvent(std::string_view description,
                                      const nlohmann::json& parameters) {
  const std::string params = parameters.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::fprintf(stderr, "[event] %.*s %s\n", static_cast<int>(description.size()),
               description.data(), params.c_str());
}

void RecordingDiagnosticEvents::logEvent(std::string_view description,
                                         const nlohmann::json& parameters) {
  std::lock_guard lock(mutex_);
  events_.push_back(Event{std::string(description), parameters});
}

std::vector<RecordingDiagnosticEvents::Event> RecordingDiagnosticEvents::events() const {
  std::lock_guard lock(mutex_);
  return events_;
}

void RecordingDiagnosticEvents::clear() {
  std::lock_guard lock(mutex_);
  events_.clear();
}

}  // namespace dm
