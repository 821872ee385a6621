#pragma once
// One value or one error that arrives later, such as a page of messages or the outcome of a
// deletion. Every subscriber receives the result once, also one that subscribes after it
// arrived (at once, on its own thread). Future<void> carries no value, only success or failure.
//
// The producer makes a Promise, hands out its future, and resolves it once, from any thread:
//
//   Promise<std::vector<ChatMessage>> promise;
//   Future<std::vector<ChatMessage>> page = promise.future();
//   ... promise.resolve(messages);            // or promise.reject(std::make_exception_ptr(e))
//
// A future whose promise is never resolved delivers nothing. The library runs no threads.

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "tovanel/chat/async/Cancellable.hpp"
#include "tovanel/chat/async/Subscription.hpp"

namespace tovanel::chat {

namespace detail {

/// The result shared by a promise and its futures, and the subscribers still waiting for it.
template <class T>
class FutureState {
 public:
  using Stored = typename ValueCallback<T>::Stored;

  /// Sets the result unless one is set; false when it was.
  bool settle(std::optional<Stored> value, std::exception_ptr error) {
    std::vector<std::shared_ptr<Subscription<T>>> waiting;
    {
      std::lock_guard lock(mutex_);
      if (settled_) return false;
      value_ = std::move(value);
      error_ = std::move(error);
      settled_ = true;
      waiting.swap(waiting_);
    }
    // Delivered outside the lock: a callback may subscribe to this future again.
    for (const auto& subscription : waiting) deliverTo(*subscription);
    return true;
  }

  void subscribe(const std::shared_ptr<Subscription<T>>& subscription) {
    {
      std::lock_guard lock(mutex_);
      if (!settled_) {
        // Cancelled subscribers are dropped here, so that a future that stays pending does not
        // collect them.
        std::erase_if(waiting_, [](const auto& waiting) { return waiting->ended(); });
        waiting_.push_back(subscription);
        return;
      }
    }
    deliverTo(*subscription);
  }

 private:
  // The result never changes once settled_ is set under the lock, so it is read without it.
  void deliverTo(Subscription<T>& subscription) const {
    if (error_) {
      subscription.complete(error_);
    } else {
      subscription.value(*value_, true);
    }
  }

  std::mutex mutex_;
  bool settled_ = false;
  std::optional<Stored> value_;
  std::exception_ptr error_;
  std::vector<std::shared_ptr<Subscription<T>>> waiting_;
};

}  // namespace detail

/// One value of T (or success, for void) or one error, delivered to every subscriber once. Made by
/// a Promise.
template <class T>
class Future {
 public:
  /// Receives the value: `void(const T&)`, or `void()` for Future<void>.
  using OnValue = typename detail::ValueCallback<T>::type;
  /// Receives the error when the future fails.
  using OnError = std::function<void(std::exception_ptr)>;

  /// Subscribes: exactly one of the callbacks runs once, unless the returned handle is cancelled
  /// or destroyed first. When the result is already there, it runs before this returns.
  [[nodiscard]] Cancellable subscribe(OnValue onValue, OnError onError = {}) const {
    auto subscription =
        std::make_shared<detail::Subscription<T>>(std::move(onValue), std::move(onError));
    Cancellable handle(subscription);
    state_->subscribe(subscription);
    return handle;
  }

 private:
  template <class>
  friend class Promise;
  explicit Future(std::shared_ptr<detail::FutureState<T>> state) noexcept
      : state_(std::move(state)) {}

  std::shared_ptr<detail::FutureState<T>> state_;
};

/// The producer's side of a Future. Copies share the result; the first resolve or reject wins and
/// the later ones return false. Thread-safe.
template <class T>
class Promise {
 public:
  Promise() : state_(std::make_shared<detail::FutureState<T>>()) {}

  /// A future of this promise's result; every future of one promise delivers the same result.
  Future<T> future() const { return Future<T>(state_); }

  /// Sets the value and delivers it to the waiting subscribers; false when the result was set
  /// already.
  bool resolve(typename detail::ValueCallback<T>::Stored value) const requires(!std::is_void_v<T>) {
    return state_->settle(std::move(value), nullptr);
  }
  /// Completes a Future<void> successfully; false when the result was already set.
  bool resolve() const requires std::is_void_v<T> {
    return state_->settle(detail::Unit{}, nullptr);
  }
  /// Fails the future with `error`. A null error is replaced by a std::invalid_argument, so that
  /// subscribers always have an error to look at.
  bool reject(std::exception_ptr error) const {
    if (!error) {
      error = std::make_exception_ptr(std::invalid_argument("Promise::reject without an error"));
    }
    return state_->settle(std::nullopt, std::move(error));
  }

 private:
  std::shared_ptr<detail::FutureState<T>> state_;
};

}  // namespace tovanel::chat
