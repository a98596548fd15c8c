// The progress line: when it shows, how it reads, and the thread that redraws it.
#include "dmctl/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "dmctl/Command.h"

namespace dmctl {
namespace {

constexpr int kBarWidth = 24;
constexpr auto kRedrawInterval = std::chrono::milliseconds(200);

std::string duration(double seconds) {
  long total = std::lround(std::max(seconds, 0.0));
  char text[32];
  if (total >= 3600)
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", total / 3600, total / 60 % 60, total % 60);
  else
    std::snprintf(text, sizeof text, "%ld:%02ld", total / 60, total % 60);
  return text;
}

double configuredDelay() {
  const char* text = std::getenv("DMCTL_PROGRESS_DELAY");
  if (!text || !*text) return 1.0;
  char* end = nullptr;
  double seconds = std::strtod(text, &end);
  return (end && *end == '\0' && seconds >= 0 && std::isfinite(seconds)) ? seconds : 1.0;
}

}  // namespace

Progress::Progress(const GlobalOptions& options, std::string label)
    : label_(std::move(label)),
      enabled_(options.chatty() && ::isatty(STDERR_FILENO) == 1),
      start_(std::chrono::steady_clock::now()),
      delay_(configuredDelay()) {
  if (enabled_) display_ = std::thread([this] { run(); });
}

Progress::~Progress() {
  finish();
}

void Progress::update(std::size_t done, std::size_t total) {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  done_ = done;
  total_ = total;
}

void Progress::setPhase(std::string phase) {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  phase_ = std::move(phase);
}

void Progress::finish() {
  if (!display_.joinable()) return;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  display_.join();
  std::lock_guard lock(mutex_);
  // Work that ended before the delay leaves no trace; a shown line ends with its final state.
  if (shown_ || elapsedSeconds() >= delay_.count()) {
    drawLocked(true);
    std::fputc('\n', stderr);
    std::fflush(stderr);
  }
}

double Progress::elapsedSeconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::run() {
  std::unique_lock lock(mutex_);
  wake_.wait_for(lock, delay_, [this] { return stopping_; });
  while (!stopping_) {
    drawLocked(false);
    wake_.wait_for(lock, kRedrawInterval, [this] { return stopping_; });
  }
}

void Progress::drawLocked(bool final) {
  shown_ = true;
  std::string line =
      formatLine(label_, final ? std::string() : phase_, done_, total_, elapsedSeconds());
  // Carriage return and clear-to-end-of-line: the line is redrawn in place.
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  std::fflush(stderr);
}

std::string Progress::formatLine(const std::string& label, const std::string& phase,
                                 std::size_t done, std::size_t total, double seconds) {
  std::string line = label;
  if (total > 0) {
    done = std::min(done, total);
    const double fraction = static_cast<double>(done) / static_cast<double>(total);
    const int filled = static_cast<int>(fraction * kBarWidth);
    line += " [" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] ";
    line += std::to_string(done) + "/" + std::to_string(total) + " records";
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    char text[64];
    std::snprintf(text, sizeof text, ", %.0f/s", rate);
    line += text;
    if (done < total && rate > 0)
      line += ", " + duration(static_cast<double>(total - done) / rate) + " left";
    else
      line += ", " + duration(seconds);
  } else {
    line += ": " + duration(seconds);
  }
  if (!phase.empty()) line += " (" + phase + ")";
  return line;
}

}  // namespace dmctl
