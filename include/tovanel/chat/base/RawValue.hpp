#pragma once
// Enumerations whose JSON form is a string raw value. An enumeration opts in by specialising
// `RawValues<E>` with the raw strings in case order; the case's position is its index.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>

namespace tovanel::chat {

template <class E>
struct RawValues;  // specialise: static constexpr std::array<std::string_view, N> values{...};

template <class E>
concept RawValueEnum = std::is_enum_v<E> && requires {
  { RawValues<E>::values.size() } -> std::convertible_to<std::size_t>;
};

/// The raw string of a case.
template <RawValueEnum E>
constexpr std::string_view rawValue(E value) noexcept {
  return RawValues<E>::values[static_cast<std::size_t>(value)];
}

/// The case whose raw value equals `text` byte for byte; nothing for any other text.
template <RawValueEnum E>
constexpr std::optional<E> fromRawValue(std::string_view text) noexcept {
  const auto& values = RawValues<E>::values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i] == text) return static_cast<E>(i);
  }
  return std::nullopt;
}

/// The case's position in declaration order.
template <RawValueEnum E>
constexpr std::size_t position(E value) noexcept {
  return static_cast<std::size_t>(value);
}

/// Every case, in declaration order.
template <RawValueEnum E>
constexpr auto allCases() noexcept {
  std::array<E, RawValues<E>::values.size()> cases{};
  for (std::size_t i = 0; i < cases.size(); ++i) cases[i] = static_cast<E>(i);
  return cases;
}

}  // namespace tovanel::chat
