#pragma once
// Handing values to the application's callbacks from the worker thread.

#include <algorithm>
#include <vector>

#include "tovanel/chat/async/Publisher.hpp"

namespace tovanel::chat::store::detail {

/// Runs a delivery to the application. A callback's exception has nobody to go to; it must not
/// stop the deliveries to the others.
template <class F>
void shielded(F&& deliver) noexcept {
  try {
    deliver();
  } catch (...) {
  }
}

/// Forgets the subscribers that cancelled or ended.
template <class T>
void dropEnded(std::vector<Subscriber<T>>& subscribers) {
  std::erase_if(subscribers, [](const Subscriber<T>& s) { return s.ended(); });
}

}  // namespace tovanel::chat::store::detail
