#pragma once
// The handle of one subscription to a Publisher or a Future. Cancelling stops delivery to that
// subscriber; so does destroying the handle, so keep it for as long as values are wanted.

#include <memory>
#include <utility>

#include "tovanel/chat/async/Subscription.hpp"

namespace tovanel::chat {

/// The handle of one subscription: cancels it when told to or when destroyed.
class Cancellable {
 public:
  /// A handle that cancels nothing.
  Cancellable() noexcept = default;
  /// A handle of `subscription` (made by Publisher::subscribe and Future::subscribe).
  explicit Cancellable(std::shared_ptr<detail::SubscriptionCore> subscription) noexcept
      : subscription_(std::move(subscription)) {}

  /// Takes over the other handle's subscription; the other handle then cancels nothing.
  Cancellable(Cancellable&&) noexcept = default;
  /// Cancels this handle's subscription, then takes over the other's.
  Cancellable& operator=(Cancellable&& other) noexcept {
    if (this != &other) {
      cancel();
      subscription_ = std::move(other.subscription_);
    }
    return *this;
  }
  Cancellable(const Cancellable&) = delete;
  Cancellable& operator=(const Cancellable&) = delete;
  ~Cancellable() { cancel(); }

  /// Stops delivery. Once this returns no callback of the subscription runs any more: a
  /// delivery in progress on another thread is waited for, so do not call it while holding
  /// something that a callback waits for. From within the subscription's own callback, that
  /// callback finishes and nothing follows. Calling it again does nothing.
  void cancel() noexcept {
    // Held here, so that the subscription outlives the call even if releasing its callbacks
    // drops every other owner.
    if (const auto subscription = std::exchange(subscription_, nullptr)) subscription->cancel();
  }

 private:
  std::shared_ptr<detail::SubscriptionCore> subscription_;
};

}  // namespace tovanel::chat
