// Warning and error texts with their source location, and the debug output for texts
// that users never see. The process-wide logger is replaceable by the host.
#pragma once

#include <memory>
#include <mutex>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

namespace dm {

enum class LogLevel { Debug, Warning, Error };

// A source location given explicitly, for log lines whose reported file and line are
// part of the contract (the host's crash reports group by them).
struct LogLocation {
  std::string file;
  unsigned line = 0;
  std::string function;
};

// Receives log lines. Implementations must be callable from any thread.
class Logger {
 public:
  virtual ~Logger() = default;
  virtual void log(LogLevel level, std::string_view message, const LogLocation& location) = 0;
  void log(LogLevel level, std::string_view message, const std::source_location& location);

  // The process-wide logger (writes to stderr unless the host replaced it).
  // Thread-safe; the returned pointer stays valid while the caller holds it.
  static std::shared_ptr<Logger> shared();
  // Replaces the process-wide logger; nullptr restores the stderr logger.
  static void setShared(std::shared_ptr<Logger> logger);
};

// Writes "[warning] file:line: message" lines to stderr. Debug lines only when the
// environment variable DM_DEBUG is set, so diagnostics stay out of normal output.
class StderrLogger final : public Logger {
 public:
  using Logger::log;
  void log(LogLevel level, std::string_view message, const LogLocation& location) override;
};

// Keeps every line in memory; the test double.
class RecordingLogger final : public Logger {
 public:
  struct Entry {
    LogLevel level;
    std::string message;
    std::string file;
    unsigned line;
    std::string function;
  };
  using Logger::log;
  void log(LogLevel level, std::string_view message, const LogLocation& location) override;
  std::vector<Entry> entries() const;
  // True when some entry of that level contains `fragment`.
  bool contains(LogLevel level, std::string_view fragment) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;  // guarded by mutex_
};

void logWarning(std::string_view message,
                const std::source_location& location = std::source_location::current());
void logError(std::string_view message,
              const std::source_location& location = std::source_location::current());
void logWarning(std::string_view message, const LogLocation& location);
void logError(std::string_view message, const LogLocation& location);
// Debug output: texts that users never see ("Failed to load: ...").
void debugOutput(std::string_view message,
                 const std::source_location& location = std::source_location::current());

}  // namespace dm
