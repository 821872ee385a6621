#pragma once
// One description per record. A record states its JSON keys once, in key order, as a field table:
//
//   static constexpr auto codingFields() {
//     return std::tuple{coding::requiredKey("text", &TextBody::text),
//                       coding::optionalKey("mentions", &TextBody::mentions)};
//   }
//
// kept private with `friend struct coding::Access;`, together with a private constructor taking
// coding::detail::Unfilled that leaves every field unset (what decoding fills in place). It
// derives from coding::Record<T>, which turns the table into decoding (keys read in table order,
// the first failure wins), encoding (required fields always written, optional ones only when
// present), equality and the hash input (fields in declaration order). A record whose key order
// differs from its declaration order also states `hashOrder()`, its members in declaration order
// (checked at compile time to be the table's members, each once). A key whose reading no presence
// expresses names its own reader with customKey; it is written, compared and hashed like any
// optional field. A record without fields reads nothing, not even an object, and writes `{}`.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/ValueSemantics.hpp"
#include "tovanel/chat/coding/Codec.hpp"
#include "tovanel/chat/coding/CodingKeys.hpp"

namespace tovanel::chat::coding {

/// How a field is read: required (fails when absent), optional (empty when absent or null),
/// tolerant (empty when absent, null or unreadable) or custom (by the field's own reader).
/// Required fields are always written; the others only when present.
enum class Presence : std::uint8_t { required, optional, tolerant, custom };

/// A number or a string as a custom field's reader of scalars sees it: `type` says which (any
/// other type stands for a value that is neither); `number` holds a number, `text` a string.
struct ScalarValue {
  JsonType type = JsonType::null;
  double number = 0;
  std::string_view text;
};

/// One entry of a field table: a JSON key, the member it fills and how it is read.
template <class R, class M, Presence P>
struct Field {
  std::string_view key;  ///< the JSON key
  M R::*member;
  /// The reader of a custom field: the checking decode of `key` into the member.
  Status (*read)(const KeyedDecodingContainer& container, std::string_view key, M& out) = nullptr;
  /// A custom field's reading of a value present, when it depends on nothing but the value as a
  /// ScalarValue and never fails: lets the direct reader read it too.
  void (*readScalar)(const ScalarValue& value, M& out) = nullptr;
  /// The key as the encoder takes it, checked for escapes once, when the table is built.
  MemberKey encodingKey = MemberKey(key);
  static constexpr Presence presence = P;  ///< how the key is read and written
};

/// A required field: keyNotFound when absent, valueNotFound when null; always written.
template <class R, class M>
constexpr Field<R, M, Presence::required> requiredKey(std::string_view key, M R::*member) {
  return {key, member};
}
/// An optional field: empty when absent or null, other failures fail; written when present.
template <class R, class M>
constexpr Field<R, std::optional<M>, Presence::optional> optionalKey(std::string_view key,
                                                                     std::optional<M> R::*member) {
  return {key, member};
}
/// A tolerant field: empty when absent, null or unreadable, never failing; written when present.
template <class R, class M>
constexpr Field<R, std::optional<M>, Presence::tolerant> tolerantKey(std::string_view key,
                                                                     std::optional<M> R::*member) {
  return {key, member};
}
/// An optional field read by `read`, which returns its failure or success; written only when
/// present. `readScalar`, when given, reads a present value as `read` would (see Field).
template <class R, class M>
constexpr Field<R, std::optional<M>, Presence::custom> customKey(
    std::string_view key, std::optional<M> R::*member,
    Status (*read)(const KeyedDecodingContainer&, std::string_view, std::optional<M>&),
    void (*readScalar)(const ScalarValue&, std::optional<M>&) = nullptr) {
  return {key, member, read, readScalar};
}

namespace detail {

/// Reads the field at position I of the table: by position from a container opened with the
/// table's keys (`byPosition`), else by name.
template <bool byPosition, std::size_t I, class R, class M, Presence P>
Status readField(const KeyedDecodingContainer& container, R& record, const Field<R, M, P>& field) {
  const auto value = [&] {
    if constexpr (byPosition) {
      return container.findField(I);
    } else {
      return container.find(field.key);
    }
  };
  if constexpr (P == Presence::required) {
    return readRequired(container, field.key, value(), record.*field.member);
  } else if constexpr (P == Presence::optional) {
    return readOptional(value(), record.*field.member);
  } else if constexpr (P == Presence::tolerant) {
    readTolerant(value(), record.*field.member);
    return {};
  } else {
    return field.read(container, field.key, record.*field.member);
  }
}

/// Reads a field by its key: for hand-written decoders that read the fields of their table one
/// by one.
template <class R, class M, Presence P>
Status readField(const KeyedDecodingContainer& container, R& record, const Field<R, M, P>& field) {
  return readField<false, 0>(container, record, field);
}

/// Writes one field by its presence.
template <class R, class M, Presence P>
void writeField(KeyedEncodingContainer& container, const R& record, const Field<R, M, P>& field) {
  if constexpr (P == Presence::required) {
    container.encode(field.encodingKey, record.*field.member);
  } else {
    container.encodeIfPresent(field.encodingKey, record.*field.member);
  }
}

/// True when no key occurs twice in the list.
template <std::size_t N>
constexpr bool distinctKeys(const std::array<std::string_view, N>& keys) {
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = i + 1; j < N; ++j) {
      if (keys[i] == keys[j]) return false;
    }
  }
  return true;
}

/// The members of a field table, in its order.
template <class Fields>
constexpr auto membersOf(const Fields& fields) {
  return std::apply([](const auto&... field) { return std::tuple{field.member...}; }, fields);
}

/// True when a and b point to the same member.
template <class A, class B>
constexpr bool sameMember(A a, B b) {
  if constexpr (std::is_same_v<A, B>) {
    return a == b;
  } else {
    return false;
  }
}

/// True when `order` holds each member of `fields` exactly once, and nothing else.
template <class Order, class Fields>
constexpr bool permutesMembers(const Order& order, const Fields& fields) {
  if (std::tuple_size_v<Order> != std::tuple_size_v<Fields>) return false;
  return std::apply(
      [&](const auto&... field) {
        const auto timesInOrder = [&](auto member) {
          return std::apply(
              [&](auto... ordered) {
                return (std::size_t{0} + ... + std::size_t{sameMember(ordered, member)});
              },
              order);
        };
        return ((timesInOrder(field.member) == 1) && ...);
      },
      fields);
}

}  // namespace detail

template <class T>
constexpr auto Access::keys() {
  constexpr auto table = fields<T>();
  return std::apply(
      [](const auto&... field) {
        return std::array<std::string_view, sizeof...(field)>{field.key...};
      },
      table);
}

template <class T>
Status Access::decodeFields(const Decoder& decoder, T& out) {
  if constexpr (std::tuple_size_v<decltype(fields<T>())> == 0) {
    return {};
  } else {
    static constexpr detail::KeyTableOf table(keys<T>());
    // The object's members are matched to the table once, when the table can hold them; each
    // field then finds its value by position.
    constexpr bool byPosition = table.keys.size() <= KeyedDecodingContainer::kMaxKeyTable &&
                                detail::distinctKeys(table.keys);
    const auto container =
        byPosition ? decoder.tryContainer(table.table()) : decoder.tryContainer();
    if (!container) return container.status();
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      constexpr auto fieldTable = fields<T>();
      Status status;
      // Stops at the first failure: && reads no field after a failing one.
      static_cast<void>(
          ((status = detail::readField<byPosition, I>(*container, out, std::get<I>(fieldTable))) &&
           ...));
      return status;
    }
    (std::make_index_sequence<table.keys.size()>{});
  }
}

template <class T>
void Access::encodeFields(Encoder& encoder, const T& value) {
  auto container = encoder.container();
  // A table evaluated at compile time: each key's size and escaping are constants where it is
  // written.
  static constexpr auto table = fields<T>();
  std::apply([&](const auto&... field) { (detail::writeField(container, value, field), ...); },
             table);
}

template <class T>
bool Access::equalFields(const T& a, const T& b) {
  return value::equalMembers(a, b, detail::membersOf(fields<T>()));
}

template <class T>
constexpr auto Access::hashMembers() {
  constexpr auto table = fields<T>();
  if constexpr (requires { hashOrder<T>(); }) {
    constexpr auto order = hashOrder<T>();
    static_assert(detail::permutesMembers(order, table),
                  "hashOrder() must list each member of the field table exactly once");
    return order;
  } else {
    return detail::membersOf(table);
  }
}

template <class H, class T>
void Access::feedFields(H& hasher, const T& value) {
  value::feedMembers(hasher, value, hashMembers<T>());
}

/// The JSON keys of a record's table, in key order (the raw values of a public CodingKeys).
template <class T>
constexpr auto keysOf() {
  return Access::keys<T>();
}

/// The base of a record described by a field table.
template <class T>
class Record {
 public:
  /// Decodes a T from the decoder's value (throws DecodingError).
  static T decode(const Decoder& decoder) { return decoder.decode<T>(); }
  /// The checking decode into `out`.
  static Status tryDecode(const Decoder& decoder, T& out) {
    return Access::decodeFields(decoder, out);
  }
  /// Writes the record as one object.
  void encode(Encoder& encoder) const { Access::encodeFields(encoder, self()); }

  /// Feeds the fields in declaration order.
  template <class H>
  void hashInto(H& hasher) const {
    Access::feedFields(hasher, self());
  }
  /// The hash with the process's seed.
  std::uint64_t hashValue() const { return hashValueOf(self()); }

  /// Every field equal.
  friend bool operator==(const T& a, const T& b) { return equalFields(a, b); }

 private:
  // The friend above is no member, so it does not share Record's way into Access.
  static bool equalFields(const T& a, const T& b) { return Access::equalFields(a, b); }
  const T& self() const noexcept { return static_cast<const T&>(*this); }
};

}  // namespace tovanel::chat::coding

/// Records hash for unordered containers with the process's seed.
template <class T>
requires std::derived_from<T, tovanel::chat::coding::Record<T>>
struct std::hash<T> {
  std::size_t operator()(const T& value) const {
    return static_cast<std::size_t>(value.hashValue());
  }
};
