#pragma once
// Equality and hash input of field values, the same rules for every record:
// text by canonical equivalence; doubles by IEEE equality, fed as their bit pattern with minus
// zero fed as plus zero; integers as 64-bit words; optionals as a presence byte then the value;
// lists as their count then each element; raw-value enumerations by their raw string; records by
// their own `operator==` and `hashInto`; integer raw-value enumerations as their raw value, in a
// word of its width. A record states its members once, as a tuple of member pointers in
// declaration order, and gets its equality and hash input from it (equalMembers, feedMembers).

#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "tovanel/chat/base/CanonicalString.hpp"
#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat::value {

// Declared first so that each overload sees all the others (lists of optionals and so on).
template <class T>
bool equal(const std::optional<T>& a, const std::optional<T>& b);
template <class T>
bool equal(const std::vector<T>& a, const std::vector<T>& b);
template <class H, class T>
void feed(H& hasher, const std::optional<T>& optional);
template <class H, class T>
void feed(H& hasher, const std::vector<T>& list);

/// Text: canonical equivalence.
inline bool equal(const std::string& a, const std::string& b) { return canonicallyEqual(a, b); }
/// Doubles: IEEE equality (-0 equals +0; NaN equals nothing).
inline bool equal(double a, double b) noexcept { return a == b; }
/// Integers: the same value.
inline bool equal(std::int64_t a, std::int64_t b) noexcept { return a == b; }
/// Booleans: the same value.
inline bool equal(bool a, bool b) noexcept { return a == b; }
/// Records, enumerations and other types: their own `operator==`.
template <class T>
requires(!std::is_arithmetic_v<T>) bool equal(const T& a, const T& b) { return a == b; }
/// Optionals: both absent, or both present with equal values.
template <class T>
bool equal(const std::optional<T>& a, const std::optional<T>& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a.has_value() || equal(*a, *b);
}
/// Lists: the same length and equal elements in order.
template <class T>
bool equal(const std::vector<T>& a, const std::vector<T>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!equal(a[i], b[i])) return false;
  }
  return true;
}

/// Text: its canonical form.
template <class H>
void feed(H& hasher, const std::string& text) {
  hashCanonical(hasher, text);
}
/// Doubles: the 64-bit pattern, minus zero fed as plus zero.
template <class H>
void feed(H& hasher, double number) {
  if (number == 0) number = 0.0;  // both zeros are equal, so they must hash alike
  hasher.combine(std::bit_cast<std::uint64_t>(number));
}
/// Integers: a 64-bit word.
template <class H>
void feed(H& hasher, std::int64_t number) {
  hasher.combine(static_cast<std::uint64_t>(number));
}
/// Booleans: one byte, 1 or 0.
template <class H>
void feed(H& hasher, bool flag) {
  hasher.combine(static_cast<std::uint8_t>(flag ? 1 : 0));
}
/// Raw-value enumerations: the raw string.
template <class H, RawValueEnum E>
void feed(H& hasher, E value) {
  hasher.combineString(rawValue(value));
}
/// Integer raw-value enumerations: the raw value as an unsigned word of its width.
template <class H, IntegerRawValueEnum E>
void feed(H& hasher, E value) {
  hasher.combine(static_cast<std::make_unsigned_t<std::underlying_type_t<E>>>(rawValue(value)));
}
/// Records: their own `hashInto`.
template <class H, class T>
requires requires(const T& v, H& h) { v.hashInto(h); }
void feed(H& hasher, const T& record) { record.hashInto(hasher); }
/// Optionals: a presence byte (1 or 0), then the value when present.
template <class H, class T>
void feed(H& hasher, const std::optional<T>& optional) {
  hasher.combine(static_cast<std::uint8_t>(optional.has_value() ? 1 : 0));
  if (optional) feed(hasher, *optional);
}
/// Lists: the count as a 64-bit word, then each element.
template <class H, class T>
void feed(H& hasher, const std::vector<T>& list) {
  hasher.combine(static_cast<std::uint64_t>(list.size()));
  for (const auto& element : list) feed(hasher, element);
}

/// True when every member of the tuple of member pointers is equal in both.
template <class T, class... M>
bool equalMembers(const T& a, const T& b, const std::tuple<M T::*...>& members) {
  return std::apply([&](auto... member) { return (equal(a.*member, b.*member) && ...); }, members);
}

/// Feeds each member of the tuple of member pointers, in its order.
template <class H, class T, class... M>
void feedMembers(H& hasher, const T& value, const std::tuple<M T::*...>& members) {
  std::apply([&](auto... member) { (feed(hasher, value.*member), ...); }, members);
}

}  // namespace tovanel::chat::value
