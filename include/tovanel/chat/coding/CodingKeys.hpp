#pragma once
// Public key sets. A record that publishes its keys declares `enum class CodingKeys` with one case
// per table entry, in table (key) order, and takes the raw values from its own table:
//
//   template <>
//   struct RawValues<ChatMessageUser::CodingKeys> {
//     static constexpr std::string_view typeName = "ChatMessageUser.CodingKeys";
//     static constexpr auto values = coding::keysOf<ChatMessageUser>();
//   };
//
// A key is made from its string exactly (fromRawValue); its string value is its raw value; it
// has no integer form.

#include <optional>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

/// The key's JSON text (its raw value).
template <RawValueEnum K>
constexpr std::string_view stringValue(K key) noexcept {
  return rawValue(key);
}

/// Keys have no integer form.
template <RawValueEnum K>
constexpr std::optional<int> intValue(K) noexcept {
  return std::nullopt;
}

/// Keys have no integer form: no integer makes a key.
template <RawValueEnum K>
constexpr std::optional<K> codingKeyFromInt(int) noexcept {
  return std::nullopt;
}

}  // namespace tovanel::chat
