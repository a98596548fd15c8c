// The process-wide logger, its stderr implementation and the recording test double.
#include "Platform/Foundation/Logger.h"

#include <cstdio>
#include <cstdlib>

namespace dm {
namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<Logger>& sharedSlot() {
  static std::shared_ptr<Logger> logger = std::make_shared<StderrLogger>();
  return logger;
}

const char* levelName(LogLevel level) {
  switch (level) {
    case LogLevel::Debug: return "debug";
    case LogLevel::Warning: return "warning";
    case LogLevel::Error: return "error";
  }
  return "log";
}

}  // namespace

std::shared_ptr<Logger> Logger::shared() {
  std::lock_guard lock(sharedMutex());
  return sharedSlot();
}

void Logger::setShared(std::shared_ptr<Logger> logger) {
  std::lock_guard lock(sharedMutex());
  sharedSlot() = logger ? std::move(logger) : std::make_shared<StderrLogger>();
}

void Logger::log(LogLevel level, std::string_view message, const SourceLocation& location) {
  log(level, message,
      LogLocation{location.file_name(), static_cast<unsigned>(location.line()),
                  location.function_name()});
}

void StderrLogger::log(LogLevel level, std::string_view message, const LogLocation& location) {
  if (level == LogLevel::Debug && std::getenv("DM_DEBUG") == nullptr) return;
  std::fprintf(stderr, "[%s] %s:%u: %.*s\n", levelName(level), location.file.c_str(),
               location.line, static_cast<int>(message.size()), message.data());
}

void RecordingLogger::log(LogLevel level, std::string_view message, const LogLocation& location) {
  std::lock_guard lock(mutex_);
  entries_.push_back(
      Entry{level, std::string(message), location.file, location.line, location.function});
}

std::vector<RecordingLogger::Entry> RecordingLogger::entries() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

bool RecordingLogger::contains(LogLevel level, std::string_view fragment) const {
  std::lock_guard lock(mutex_);
  for (const auto& entry : entries_) {
    if (entry.level == level && entry.message.find(fragment) != std::string::npos) return true;
  }
  return false;
}

void RecordingLogger::clear() {
  std::lock_guard lock(mutex_);
  entries_.clear();
}

void logWarning(std::string_view message, const SourceLocation& location) {
  Logger::shared()->log(LogLevel::Warning, message, location);
}

void logError(std::string_view message, const SourceLocation& location) {
  Logger::shared()->log(LogLevel::Error, message, location);
}

void logWarning(std::string_view message, const LogLocation& location) {
  Logger::shared()->log(LogLevel::Warning, message, location);
}

void logError(std::string_view message, const LogLocation& location) {
  Logger::shared()->log(LogLevel::Error, message, location);
}

void debugOutput(std::string_view message, const SourceLocation& location) {
  Logger::shared()->log(LogLevel::Debug, message, location);
}

}  // namespace dm
