#pragma once
// The subscriber's end shared by Publisher and Future: the callbacks of one subscription, and the
// rules of their delivery. An implementation detail of the async types.
//
// Deliveries of one subscription run one at a time, under its lock. Once the subscription ends
// (cancelled, completed or failed) nothing more is delivered and the callbacks are released, so
// what they captured is freed without waiting for the producer to let go of its end.

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>

namespace tovanel::chat::detail {

/// What a Future<void> holds in place of a value.
struct Unit {};

/// The value callback of a stream or future of T (no argument for void).
template <class T>
struct ValueCallback {
  using type = std::function<void(const T&)>;
  using Stored = T;
  static void call(const type& callback, const T& value) { callback(value); }
};
template <>
struct ValueCallback<void> {
  using type = std::function<void()>;
  using Stored = Unit;
  static void call(const type& callback, const Unit&) { callback(); }
};

/// The part of a subscription that cancelling needs, whatever the value type.
class SubscriptionCore {
 public:
  SubscriptionCore() = default;
  SubscriptionCore(const SubscriptionCore&) = delete;
  SubscriptionCore& operator=(const SubscriptionCore&) = delete;
  virtual ~SubscriptionCore() = default;

  /// True once cancelled, completed or failed.
  bool ended() const noexcept { return ended_.load(std::memory_order_acquire); }

  /// Ends the subscription. When a delivery runs on another thread, waits for it to return; when
  /// called from a callback of this subscription, that callback runs to its end but nothing
  /// follows it.
  void cancel() noexcept {
    std::lock_guard lock(mutex_);
    ended_.store(true, std::memory_order_release);
    if (depth_ == 0) releaseCallbacks();
  }

 protected:
  /// Runs `call` unless the subscription has ended; `last` ends it before the call, so that
  /// nothing the call triggers is delivered after it.
  template <class F>
  void deliver(bool last, F&& call) {
    std::lock_guard lock(mutex_);
    if (ended_.load(std::memory_order_relaxed)) return;
    if (last) ended_.store(true, std::memory_order_release);
    ++depth_;
    struct Leave {
      SubscriptionCore& self;
      ~Leave() {
        if (--self.depth_ == 0 && self.ended_.load(std::memory_order_relaxed)) {
          self.releaseCallbacks();
        }
      }
    } leave{*this};
    std::forward<F>(call)();
  }

  /// Destroys the callbacks (called under the lock, never while one of them runs).
  virtual void releaseCallbacks() noexcept = 0;

 private:
  // Recursive, so that a callback may cancel its own subscription or trigger a nested delivery.
  std::recursive_mutex mutex_;
  std::atomic<bool> ended_{false};
  int depth_ = 0;  // deliveries in progress on the lock's thread
};

/// One subscription to values of T: a value callback and a completion callback, which receives
/// a null pointer when the stream finishes and the error when it fails.
template <class T>
class Subscription final : public SubscriptionCore {
 public:
  using OnValue = typename ValueCallback<T>::type;
  using OnCompletion = std::function<void(std::exception_ptr)>;
  using Stored = typename ValueCallback<T>::Stored;

  Subscription(OnValue onValue, OnCompletion onCompletion)
      : onValue_(std::move(onValue)), onCompletion_(std::move(onCompletion)) {}

  /// Delivers a value; `last` ends the subscription with it (a future's one value).
  void value(const Stored& value, bool last) {
    deliver(last, [&] {
      if (onValue_) ValueCallback<T>::call(onValue_, value);
    });
  }
  /// Ends the subscription: finished when `error` is null, failed otherwise.
  void complete(std::exception_ptr error) {
    deliver(true, [&] {
      if (onCompletion_) onCompletion_(std::move(error));
    });
  }

 private:
  void releaseCallbacks() noexcept override {
    // Moved out first: destroying a callback may cancel this very subscription again, which then
    // finds nothing left to release.
    auto onValue = std::exchange(onValue_, nullptr);
    auto onCompletion = std::exchange(onCompletion_, nullptr);
  }

  OnValue onValue_;
  OnCompletion onCompletion_;
};

}  // namespace tovanel::chat::detail
