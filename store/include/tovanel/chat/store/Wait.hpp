#pragma once
// Waiting for a future from a thread of one's own: for command-line tools, tests and start-up
// code, where blocking is what is wanted. Interactive code subscribes instead.

#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <type_traits>

#include "tovanel/chat/async/Future.hpp"

namespace tovanel::chat::store {

/// Blocks until the future settles, then returns its value or throws its error. Never call it
/// from a callback that the store delivers: those run on the store's worker thread, the one
/// thread that could settle the future, so the wait would never end.
template <class T>
T waitFor(const Future<T>& future) {
  using Stored = std::conditional_t<std::is_void_v<T>, bool, T>;
  std::mutex mutex;
  std::condition_variable settled;
  std::optional<Stored> value;
  std::exception_ptr error;
  bool done = false;
  const auto finish = [&](auto&& store) {
    std::lock_guard lock(mutex);
    store();
    done = true;
    settled.notify_all();
  };
  Cancellable subscription;
  if constexpr (std::is_void_v<T>) {
    subscription = future.subscribe([&] { finish([&] { value.emplace(true); }); },
                                    [&](std::exception_ptr e) { finish([&] { error = e; }); });
  } else {
    subscription = future.subscribe([&](const T& v) { finish([&] { value.emplace(v); }); },
                                    [&](std::exception_ptr e) { finish([&] { error = e; }); });
  }
  std::unique_lock lock(mutex);
  settled.wait(lock, [&] { return done; });
  if (error) std::rethrow_exception(error);
  if constexpr (!std::is_void_v<T>) return std::move(*value);
}

}  // namespace tovanel::chat::store
