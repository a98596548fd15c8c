// The diagnostic-event service: an event description with a parameter dictionary, sent
// where the application's analytics would see store failures and similar incidents.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace dm {

// Receives diagnostic events. Implementations must be callable from any thread.
class DiagnosticEvents {
 public:
  virtual ~DiagnosticEvents() = default;
  virtual void logEvent(std::string_view description, const nlohmann::json& parameters) = 0;

  // The process-wide service (writes one line to stderr unless replaced). Thread-safe.
  static std::shared_ptr<DiagnosticEvents> shared();
  // Replaces the process-wide service; nullptr restores the stderr one.
  static void setShared(std::shared_ptr<DiagnosticEvents> events);
};

class StderrDiagnosticEvents final : public DiagnosticEvents {
 public:
  void logEvent(std::string_view description, const nlohmann::json& parameters) override;
};

// Keeps every event in memory; the test double.
class RecordingDiagnosticEvents final : public DiagnosticEvents {
 public:
  struct Event {
    std::string description;
    nlohmann::json parameters;
  };
  void logEvent(std::string_view description, const nlohmann::json& parameters) override;
  std::vector<Event> events() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<Event> events_;  // guarded by mutex_
};

}  // namespace dm
