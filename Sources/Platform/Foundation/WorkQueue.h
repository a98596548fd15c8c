// Work queues: serial queues with their own thread, and the main queue that the host drives.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace dm {

enum class QualityOfService { Background, Utility, Default, UserInitiated, UserInteractive };

// A queue runs submitted blocks one at a time, in submission order.
class WorkQueue {
 public:
  using Block = std::function<void()>;
  virtual ~WorkQueue() = default;

  // Submits a block to run later on the queue. Any thread.
  virtual void async(Block block) = 0;
  // Runs the block on the queue and returns when it has finished. Runs inline when the
  // caller is already on this queue, so nested calls do not deadlock. Any thread.
  void performAndWait(const Block& block);
  // True while the calling thread is running a block of this queue (or, for the main
  // queue, is the main thread).
  virtual bool isCurrent() const = 0;

  const std::string& label() const { return label_; }
  QualityOfService qualityOfService() const { return qos_; }

  // The queue whose block the calling thread is running, or nullptr.
  static WorkQueue* current();

 protected:
  WorkQueue(std::string label, QualityOfService qos) : label_(std::move(label)), qos_(qos) {}
  // Runs `block` with current() set to this queue. Exceptions escaping a block are logged.
  void runBlock(const Block& block);

 private:
  // Constant after construction.
  const std::string label_;
  const QualityOfService qos_;
};

// A serial queue with its own worker thread. The destructor finishes every submitted
// block, then joins the thread; it must not be called from a block of the same queue.
class SerialQueue final : public WorkQueue {
 public:
  explicit SerialQueue(std::string label, QualityOfService qos = QualityOfService::Default);
  ~SerialQueue() override;
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  void async(Block block) override;
  bool isCurrent() const override;

 private:
  void workerLoop();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Block> pending_;  // guarded by mutex_
  bool stopping_ = false;      // guarded by mutex_
  std::thread worker_;         // constant after construction
};

// The application's main queue. It has no thread of its own: the host drives it from
// its main thread with runUntilIdle() (an event loop tick) or run() (dmctl's blocking
// mode). The main thread is the thread that created the queue unless the host calls
// adoptCurrentThread().
class MainQueue final : public WorkQueue {
 public:
  // The process-wide main queue.
  static MainQueue& shared();

  void async(Block block) override;
  bool isCurrent() const override;

  // Makes the calling thread the main thread.
  void adoptCurrentThread();
  // Runs pending blocks (and blocks they submit) until none is left. Main thread only.
  // Returns the number of blocks run.
  size_t runUntilIdle();
  // Runs blocks as they arrive until stop() is called. Main thread only.
  void run();
  // Makes run() return after its current block. Any thread.
  void stop();

 private:
  MainQueue();

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Block> pending_;      // guarded by mutex_
  bool stopRequested_ = false;     // guarded by mutex_
  std::thread::id mainThread_;     // guarded by mutex_
};

}  // namespace dm
