// A progress line on stderr for work that takes a while: records done of the total, the
// rate and the time left (or the phase and the time spent when there is no count yet).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace dmctl {

struct GlobalOptions;

// Shown only when stderr is a terminal, neither --json nor --quiet is given, and the work
// has run longer than the delay (one second; the DMCTL_PROGRESS_DELAY environment variable
// sets it in seconds). A display thread redraws the line a few times a second, so a long
// step without reports still shows its time; finish() writes the final line and a newline.
// update()/setPhase() may be called from any thread (the library reports from its queues).
class Progress {
 public:
  Progress(const GlobalOptions& options, std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // True when this run would show a progress line at all.
  bool enabled() const { return enabled_; }
  void update(std::size_t done, std::size_t total);
  // A step without a count ("saving", "compacting"); the count stays as it was.
  void setPhase(std::string phase);
  // Ends the display; called by the destructor too. Safe to call twice.
  void finish();

  // The text of one progress line; exposed for the display's own formatting rules.
  static std::string formatLine(const std::string& label, const std::string& phase,
                                std::size_t done, std::size_t total, double seconds);

 private:
  void run();
  void drawLocked(bool final);
  double elapsedSeconds() const;

  const std::string label_;
  bool enabled_ = false;
  std::chrono::steady_clock::time_point start_;
  std::chrono::duration<double> delay_{1.0};
  std::mutex mutex_;
  std::condition_variable wake_;
  std::string phase_;
  std::size_t done_ = 0;
  std::size_t total_ = 0;
  bool shown_ = false;
  bool stopping_ = false;
  std::thread display_;
};

}  // namespace dmctl
