#pragma once
// The delivery state of a message of one's own. Its raw value is a signed 32-bit integer (0, 1,
// 2); it has no JSON form.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/base/ValueSemantics.hpp"

namespace tovanel::chat {

/// The delivery state of one's own message; the raw value is the underlying integer.
enum class MessageSentStatus : std::int32_t {
  sent = 0,
  sending = 1,
  failed = 2,
};

/// The cases of MessageSentStatus.
template <>
struct IntegerRawValues<MessageSentStatus> {
  /// Every case, in declaration order.
  static constexpr std::array cases{MessageSentStatus::sent, MessageSentStatus::sending,
                                    MessageSentStatus::failed};
};

/// Feeds the raw value as an unsigned 32-bit word.
template <class H>
void hashInto(H& hasher, MessageSentStatus status) {
  value::feed(hasher, status);
}

/// The hash with the process's seed.
inline std::uint64_t hashValue(MessageSentStatus status) noexcept {
  Hasher hasher;
  hashInto(hasher, status);
  return hasher.finalize();
}

}  // namespace tovanel::chat

template <>
struct std::hash<tovanel::chat::MessageSentStatus> {
  std::size_t operator()(tovanel::chat::MessageSentStatus status) const noexcept {
    return static_cast<std::size_t>(tovanel::chat::hashValue(status));
  }
};
