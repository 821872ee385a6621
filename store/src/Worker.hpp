#pragma once
// The store's one thread: runs queued tasks one at a time, in the order they were posted.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tovanel::chat::store::detail {

class Worker {
 public:
  Worker();
  /// Stops, when stop() was not called.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Queues a task, from any thread; false (and the task is dropped) once stopping. A task that
  /// throws is ended there: the thread goes on with the next one.
  bool post(std::function<void()> task);

  /// Refuses new tasks, runs those already queued, and joins the thread. Must not be called on
  /// the worker thread itself.
  void stop();

  bool isCurrentThread() const noexcept { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  bool stopping_ = false;
  std::thread thread_;  // last, so that it starts once the rest is built
};

}  // namespace tovanel::chat::store::detail
