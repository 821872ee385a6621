#pragma once
// A list of types: the one place a sum type names its records, from which its dispatch is
// generated. Each record names its own kind (`T::kind`); the helpers find a record by kind.

#include <array>
#include <cstddef>
#include <type_traits>

namespace tovanel::chat {

/// The types T..., as one type.
template <class... T>
struct TypeList {
  static constexpr std::size_t size = sizeof...(T);  ///< how many types
};

namespace detail {

template <class List, class T>
struct ListContains;
template <class... U, class T>
struct ListContains<TypeList<U...>, T> : std::bool_constant<(std::is_same_v<U, T> || ...)> {};

template <class List, std::size_t I>
struct TypeAt;
template <class Head, class... Tail>
struct TypeAt<TypeList<Head, Tail...>, 0> {
  using type = Head;
};
template <class Head, class... Tail, std::size_t I>
struct TypeAt<TypeList<Head, Tail...>, I> : TypeAt<TypeList<Tail...>, I - 1> {};

/// The positions of the kinds of a list's records (their `kind`), in list order.
template <class... T>
constexpr std::array<std::size_t, sizeof...(T)> kindPositions(TypeList<T...>) {
  return {static_cast<std::size_t>(T::kind)...};
}

/// For each of `kindCount` kinds, the position in the list of the record of that kind, or
/// `List::size` for a kind no record names. Fails to compile when two records name one kind or a
/// record names no kind of the enumeration.
template <class List, std::size_t kindCount>
constexpr std::array<std::size_t, kindCount> recordOfKind() {
  constexpr auto kinds = kindPositions(List{});
  std::array<std::size_t, kindCount> record{};
  record.fill(List::size);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] >= kindCount) throw "a record names a kind beyond the enumeration";
    if (record[kinds[i]] != List::size) throw "two records name the same kind";
    record[kinds[i]] = i;
  }
  return record;
}

}  // namespace detail
}  // namespace tovanel::chat
