#pragma once
// A stream of values that ends with completion or an error, such as the messages of a room.
//
// The producer makes a Publisher from a function that is called once per subscription with a
// Subscriber, the producer's end of that subscription; it keeps the Subscriber and sends values,
// then finishes or fails, from any thread. The library runs no threads: values arrive on the
// thread that sends them.
//
//   Publisher<int> counter([](Subscriber<int> subscriber) {
//     subscriber.receive(1);
//     subscriber.finish();
//   });
//   Cancellable subscription = counter.subscribe(
//       [](const int& value) { ... }, [](std::exception_ptr error) { /* null: finished */ });

#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "tovanel/chat/async/Cancellable.hpp"
#include "tovanel/chat/async/Subscription.hpp"

namespace tovanel::chat {

/// The producer's end of one subscription. Copies share the subscription; every call is
/// thread-safe and does nothing once the subscription has ended (cancelled, finished or failed).
/// Deliveries to one subscriber never overlap: a call waits while another thread delivers.
template <class T>
class Subscriber {
 public:
  /// The producer's end of `subscription` (Publisher::subscribe makes it).
  explicit Subscriber(std::shared_ptr<detail::Subscription<T>> subscription) noexcept
      : subscription_(std::move(subscription)) {}

  /// Delivers a value to the subscriber.
  void receive(const T& value) const { hold()->value(value, false); }
  /// Ends the stream normally.
  void finish() const { hold()->complete(nullptr); }
  /// Ends the stream with an error.
  void fail(std::exception_ptr error) const { hold()->complete(std::move(error)); }
  /// True once the subscriber cancelled or the stream ended: the producer may drop this end.
  bool ended() const noexcept { return subscription_->ended(); }

 private:
  // A callback may drop the producer's last copy of this Subscriber; the local owner keeps the
  // subscription alive until the call returns.
  std::shared_ptr<detail::Subscription<T>> hold() const { return subscription_; }

  std::shared_ptr<detail::Subscription<T>> subscription_;
};

/// A stream of values of T that ends with completion or an error; each subscription runs the
/// producer's function once.
template <class T>
class Publisher {
 public:
  /// Receives each value.
  using OnValue = std::function<void(const T&)>;
  /// Called once at the end: with a null pointer when the stream finished, else with its error.
  using OnCompletion = std::function<void(std::exception_ptr)>;
  /// The producer's function: called once per subscription with that subscription's Subscriber.
  using OnSubscribe = std::function<void(Subscriber<T>)>;

  /// `onSubscribe` runs on the subscribing thread, once per subscription; it may send at once.
  explicit Publisher(OnSubscribe onSubscribe)
      : onSubscribe_(std::make_shared<const OnSubscribe>(std::move(onSubscribe))) {}

  /// Subscribes; values and the completion arrive until the returned handle is cancelled or
  /// destroyed.
  [[nodiscard]] Cancellable subscribe(OnValue onValue, OnCompletion onCompletion = {}) const {
    auto subscription =
        std::make_shared<detail::Subscription<T>>(std::move(onValue), std::move(onCompletion));
    Cancellable handle(subscription);
    (*onSubscribe_)(Subscriber<T>(std::move(subscription)));
    return handle;
  }

  /// A stream that fails with `error` as soon as it is subscribed to.
  static Publisher failing(std::exception_ptr error) {
    return Publisher([error](Subscriber<T> subscriber) { subscriber.fail(error); });
  }

 private:
  std::shared_ptr<const OnSubscribe> onSubscribe_;
};

}  // namespace tovanel::chat
