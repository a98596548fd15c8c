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

#if defined(__cpp_lib_source_location)
using SourceLocation = std::source_location;
#else
// clang before 15 lacks the builtin libstdc++'s std::source_location needs.
struct SourceLocation {
  static constexpr SourceLocation current(const char* file = __builtin_FILE(),
                                          unsigned line = __builtin_LINE(),
                                          const char* function = __builtin_FUNCTION()) {
    return SourceLocation{file, line, function};
  }
  constexpr const char* file_name() const { return file_; }
  constexpr unsigned line() const { return line_; }
  constexpr const char* function_name() const { return function_; }
  const char* file_ = "";
  unsigned line_ = 0;
  const char* function_ = "";
};
#endif

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
  void log(LogLevel level, std::string_view message, const SourceLocation& location);

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
                const SourceLocation& location = SourceLocation::current());
void logError(std::string_view message, const SourceLocation& location = SourceLocation::current());
void logWarning(std::string_view message, const LogLocation& location);
void logError(std::string_view message, const LogLocation& location);
// Debug output: texts that users never see ("Failed to load: ...").
void debugOutput(std::string_view message,
                 const SourceLocation& location = SourceLocation::current());

}  // namespace dm
