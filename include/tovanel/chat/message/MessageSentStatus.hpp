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

namespace tovanel::chat {

/// The delivery state of one's own message; the raw value is the underlying integer.
enum class MessageSentStatus : std::int32_t {
  sent = 0,
  sending = 1,
  failed = 2,
};

/// Enumerations whose raw value is an integer: a specialisation lists the cases, and each case's
/// underlying value is its raw value.
template <class E>
struct IntegerRawValues;

/// The cases of MessageSentStatus.
template <>
struct IntegerRawValues<MessageSentStatus> {
  /// Every case, in declaration order.
  static constexpr std::array cases{MessageSentStatus::sent, MessageSentStatus::sending,
                                    MessageSentStatus::failed};
};

template <class E>
concept IntegerRawValueEnum = std::is_enum_v<E> && requires {
  { IntegerRawValues<E>::cases.size() } -> std::convertible_to<std::size_t>;
};

/// The case's integer raw value.
template <IntegerRawValueEnum E>
constexpr std::underlying_type_t<E> rawValue(E value) noexcept {
  return static_cast<std::underlying_type_t<E>>(value);
}

/// The case whose raw value is `raw`; nothing for any other integer. Any integer type is
/// accepted and compared by value, so a wide value never wraps onto a case.
template <IntegerRawValueEnum E, std::integral I>
requires(!std::same_as<I, bool>) constexpr std::optional<E> fromRawValue(I raw) noexcept {
  for (const E value : IntegerRawValues<E>::cases) {
    if (std::cmp_equal(rawValue(value), raw)) return value;
  }
  return std::nullopt;
}

/// Feeds the raw value as an unsigned 32-bit word.
template <class H>
void hashInto(H& hasher, MessageSentStatus status) {
  hasher.combine(static_cast<std::uint32_t>(rawValue(status)));
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
