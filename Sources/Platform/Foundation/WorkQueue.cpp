// Serial queues on their own threads and the host-driven main queue.
#include "Platform/Foundation/WorkQueue.h"

#include <exception>
#include <future>

#include "Platform/Foundation/Logger.h"

namespace dm {
namespace {
thread_local WorkQueue* tCurrentQueue = nullptr;
}  // namespace

WorkQueue* WorkQueue::current() { return tCurrentQueue; }

void WorkQueue::runBlock(const Block& block) {
  WorkQueue* previous = tCurrentQueue;
  tCurrentQueue = this;
  try {
    block();
  } catch (const std::exception& error) {
    logError("Uncaught exception on queue " + label_ + ": " + error.what());
  } catch (...) {
    logError("Uncaught exception on queue " + label_);
  }
  tCurrentQueue = previous;
}

void WorkQueue::performAndWait(const Block& block) {
  if (isCurrent()) {
    WorkQueue* previous = tCurrentQueue;
    tCurrentQueue = this;
    try {
      block();
    } catch (...) {
      tCurrentQueue = previous;
      throw;
    }
    tCurrentQueue = previous;
    return;
  }
  // Exceptions travel back to the waiting caller rather than being logged on the queue.
  std::promise<void> done;
  auto finished = done.get_future();
  async([&] {
    try {
      block();
      done.set_value();
    } catch (...) {
      done.set_exception(std::current_exception());
    }
  });
  finished.get();
}

// ---- SerialQueue ----

SerialQueue::SerialQueue(std::string label, QualityOfService qos)
    : WorkQueue(std::move(label), qos), worker_([this] { workerLoop(); }) {}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  worker_.join();
}

void SerialQueue::async(Block block) {
  {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(block));
  }
  wake_.notify_one();
}

bool SerialQueue::isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }

void SerialQueue::workerLoop() {
  for (;;) {
    Block block;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
      if (pending_.empty()) return;  // stopping and drained
      block = std::move(pending_.front());
      pending_.pop_front();
    }
    runBlock(block);
  }
}

// ---- MainQueue ----

MainQueue::MainQueue() : WorkQueue("main", QualityOfService::UserInteractive) {
  mainThread_ = std::this_thread::get_id();
}

MainQueue& MainQueue::shared() {
  static MainQueue queue;
  return queue;
}

void MainQueue::async(Block block) {
  {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(block));
  }
  wake_.notify_all();
}

bool MainQueue::isCurrent() const {
  std::lock_guard lock(mutex_);
  return std::this_thread::get_id() == mainThread_;
}

void MainQueue::adoptCurrentThread() {
  std::lock_guard lock(mutex_);
  mainThread_ = std::this_thread::get_id();
}

size_t MainQueue::runUntilIdle() {
  size_t count = 0;
  for (;;) {
    Block block;
    {
      std::lock_guard lock(mutex_);
      if (pending_.empty()) return count;
      block = std::move(pending_.front());
      pending_.pop_front();
    }
    runBlock(block);
    ++count;
  }
}

void MainQueue::run() {
  for (;;) {
    Block block;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopRequested_ || !pending_.empty(); });
      if (stopRequested_) {
        stopRequested_ = false;
        return;
      }
      block = std::move(pending_.front());
      pending_.pop_front();
    }
    runBlock(block);
  }
}

void MainQueue::stop() {
  {
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
  }
  wake_.notify_all();
}

}  // namespace dm
