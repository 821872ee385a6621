#pragma once
// Enumerations with raw values. A string raw value is the JSON form: an enumeration opts in by
// specialising `RawValues<E>` with the raw strings in case order (the case's position is its
// index). An integer raw value is the case's underlying value: `IntegerRawValues<E>` lists the
// cases.

#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

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

/// Enumerations whose raw value is an integer: a specialisation lists the cases, and each case's
/// underlying value is its raw value.
template <class E>
struct IntegerRawValues;  // specialise: static constexpr std::array cases{...};

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

}  // namespace tovanel::chat
