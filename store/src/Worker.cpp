#include "Worker.hpp"

#include <cstdio>
#include <exception>
#include <utility>

namespace tovanel::chat::store::detail {

Worker::Worker() : thread_([this] { run(); }) {}

Worker::~Worker() { stop(); }

bool Worker::post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
  return true;
}

void Worker::stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) {
    if (isCurrentThread()) {
      // Joining itself would never return: the owner was destroyed from one of its callbacks.
      std::fputs("tovanel store: the repository was destroyed on its own worker thread\n", stderr);
      std::terminate();
    }
    thread_.join();
  }
}

void Worker::run() {
  for (;;) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [&] { return stopping_ || !tasks_.empty(); });
      if (tasks_.empty()) return;  // stopping, and everything queued has run
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    try {
      task();
    } catch (...) {
      // Tasks route their own failures to their futures; what escapes is an application
      // callback's exception, which has nobody to go to.
    }
  }
}

}  // namespace tovanel::chat::store::detail
