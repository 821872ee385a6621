#pragma once
// How each kind of value is read and written: text, integers, numbers, booleans, raw-value
// enumerations, lists and records. A record takes part by having
//   static coding::Status tryDecode(const Decoder&, T&)   (the checking decode), or
//   static T decode(const Decoder&)                       (a decode that throws), and
//   void encode(Encoder&) const;
// any other type by specialising coding::Codec<T>.

#include <array>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat {
class InfoBody;
template <class T>
struct BodyPayloadOps;
}  // namespace tovanel::chat

namespace tovanel::chat::coding {

namespace direct {
struct Records;
}  // namespace direct

/// How values of T are read and written: `static Status tryDecode(const Decoder&, T&)` and
/// `static void encode(Encoder&, const T&)`.
template <class T>
struct Codec;

/// A type with a checking decode of its own.
template <class T>
concept CheckingDecodable = requires(const Decoder& decoder, T& out) {
  { T::tryDecode(decoder, out) } -> std::same_as<Status>;
};
/// A type with only a decode that throws.
template <class T>
concept ThrowingDecodable = !CheckingDecodable<T> && requires(const Decoder& decoder) {
  { T::decode(decoder) } -> std::same_as<T>;
};
/// A type that writes itself.
template <class T>
concept EncodableRecord = requires(const T& value, Encoder& encoder) {
  value.encode(encoder);
};
/// A type the encoder can write: a record, or a type with a Codec.
template <class T>
concept Encodable = requires(Encoder& encoder, const T& value) {
  Codec<T>::encode(encoder, value);
};

namespace detail {
/// What records are made from when they are decoded in place: their constructor that takes it
/// leaves every field unset. Not default-constructible, so that `T({})` never means it.
struct Unfilled {
  explicit constexpr Unfilled(int) noexcept {}
};
template <class T>
Status readOptional(const std::optional<Decoder>& value, std::optional<T>& out);
template <class T>
Status appendElement(const Decoder& element, std::vector<T>& out);
}  // namespace detail
template <class T>
constexpr auto keysOf();
enum class Presence : std::uint8_t;
namespace detail {
template <class T>
constexpr auto fieldPresences();
}  // namespace detail

/// The coding machinery's way into a record: its constructor for decoding in place, its field
/// table and its hash order, which records keep private and open to this class alone. Nothing of
/// it is public: only the machinery named as its friends reaches it, so no other code makes a
/// record in place or decodes into one that exists through it. A list's element, an optional's
/// value and a body's payload that fail to decode in place are dropped.
struct Access {
 private:
  // Decodes a new T, in the object returned; throws the failure.
  template <class T>
  static T decodeNew(const Decoder& decoder) {
    T out = construct<T>();
    if (Status status = Codec<T>::tryDecode(decoder, out); !status) status.raise();
    return out;
  }
  // Decodes into `out` the value found (a required key's, an element's): made in place, and
  // reset when it fails.
  template <class T>
  static Status decodeOptional(const Decoder& value, std::optional<T>& out) {
    Status status = Codec<T>::tryDecode(value, out.emplace(construct<T>()));
    if (!status) out.reset();
    return status;
  }
  // Decodes the next element of a list at its end, made in place; an element that fails is not
  // kept.
  template <class T>
  static Status decodeAppended(const Decoder& element, std::vector<T>& out) {
    Status status = Codec<T>::tryDecode(element, out.emplace_back(construct<T>()));
    if (!status) out.pop_back();
    return status;
  }
  // Decodes a T into a new holder made of `arguments` and the T, its `value`: the allocation
  // that keeps the T is the one it is decoded in.
  template <class T, class Holder, class... A>
  static Result<std::unique_ptr<Holder>> decodeHeld(const Decoder& decoder, A&&... arguments) {
    auto holder = std::make_unique<Holder>(std::forward<A>(arguments)..., construct<T>());
    if (Status status = Codec<T>::tryDecode(decoder, holder->value); !status) return status;
    return Result<std::unique_ptr<Holder>>(std::move(holder));
  }
  // Decodes the alternative T of a variant, made in place.
  template <class T, class Variant>
  static Status decodeAlternative(const Decoder& decoder, Variant& out) {
    return Codec<T>::tryDecode(decoder, out.template emplace<T>(construct<T>()));
  }

  // Writes a record's fields as one object.
  template <class T>
  static void encodeFields(Encoder& encoder, const T& value);
  // Every field equal.
  template <class T>
  static bool equalFields(const T& a, const T& b);
  // Feeds the fields in declaration order.
  template <class H, class T>
  static void feedFields(H& hasher, const T& value);
  // The JSON keys of a record's table, in key order.
  template <class T>
  static constexpr auto keys();

  // The checking decode of a record's fields, in table order; decoding into a record that exists
  // would overwrite the fields it keeps read-only.
  template <class T>
  static Status decodeFields(const Decoder& decoder, T& out);
  template <class T>
  static T construct() {
    if constexpr (requires { T(detail::Unfilled(0)); }) {
      return T(detail::Unfilled(0));
    } else {
      return T();
    }
  }
  template <class T>
  static constexpr auto fields() {
    return T::codingFields();
  }
  template <class T>
  static constexpr auto hashOrder() -> decltype(T::hashOrder()) {
    return T::hashOrder();
  }
  template <class T>
  static constexpr auto hashMembers();
  template <class T>
  static constexpr bool hasFields() {
    return requires { T::codingFields(); };
  }
  template <class>
  friend class Record;
  friend class tovanel::chat::Decoder;   // decode<T>
  friend class tovanel::chat::InfoBody;  // its reader of the kind, and its records in place
  template <class>
  friend struct tovanel::chat::BodyPayloadOps;  // a payload decoded in the body's allocation
  template <class T>
  friend Status detail::readOptional(const std::optional<Decoder>&, std::optional<T>&);
  template <class T>
  friend Status detail::appendElement(const Decoder&, std::vector<T>&);
  template <class T>
  friend constexpr auto keysOf();
  template <class T>
  friend constexpr auto detail::fieldPresences();
  friend struct direct::Records;  // the direct reader, which fills records from their tables
  // The library's compile-time check of its public CodingKeys against the tables.
  friend struct CodingKeysCheck;
};

/// Each key of a record's table with how it is read, in key order: what checks over every record
/// need, and no way to its members.
template <class T>
constexpr auto detail::fieldPresences() {
  return std::apply(
      [](const auto&... field) {
        return std::array<std::pair<std::string_view, Presence>, sizeof...(field)>{
            {{field.key, field.presence}...}};
      },
      Access::fields<T>());
}

/// Text: a JSON string.
template <>
struct Codec<std::string> {
  static Status tryDecode(const Decoder& decoder, std::string& out) { return decoder.tryRead(out); }
  static void encode(Encoder& encoder, const std::string& value) { encoder.writeString(value); }
};

/// Integers: a JSON number that is a whole number within 64 bits.
template <>
struct Codec<std::int64_t> {
  static Status tryDecode(const Decoder& decoder, std::int64_t& out) {
    return decoder.tryRead(out);
  }
  static void encode(Encoder& encoder, std::int64_t value) { encoder.writeInteger(value); }
};

/// Doubles: any JSON number, written in its shortest round-trip form.
template <>
struct Codec<double> {
  static Status tryDecode(const Decoder& decoder, double& out) { return decoder.tryRead(out); }
  static void encode(Encoder& encoder, double value) { encoder.writeNumber(value); }
};

/// Booleans: true or false.
template <>
struct Codec<bool> {
  static Status tryDecode(const Decoder& decoder, bool& out) { return decoder.tryRead(out); }
  static void encode(Encoder& encoder, bool value) { encoder.writeBool(value); }
};

/// Dates, by the decoder's and the encoder's date strategies.
template <>
struct TOVANEL_CHAT_API Codec<Date> {
  static Status tryDecode(const Decoder& decoder, Date& out);
  static void encode(Encoder& encoder, const Date& value);
};

/// Raw-value enumerations: their raw string; any other string is dataCorrupted.
template <RawValueEnum E>
struct Codec<E> {
  static Status tryDecode(const Decoder& decoder, E& out) {
    std::string_view text;
    if (Status status = decoder.tryRead(text); !status) return status;
    if (const auto value = fromRawValue<E>(text)) {
      out = *value;
      return {};
    }
    return decoder.invalidRawValue(RawValues<E>::typeName);
  }
  static void encode(Encoder& encoder, E value) { encoder.writeString(rawValue(value)); }
};

/// Lists: a JSON array of T; the first failing element fails the list.
template <class T>
struct Codec<std::vector<T>> {
  static Status tryDecode(const Decoder& decoder, std::vector<T>& out) {
    auto elements = decoder.tryUnkeyedContainer();
    if (!elements) return elements.status();
    out.clear();
    out.reserve(elements->count());
    while (!elements->isAtEnd()) {
      if (Status status = detail::appendElement(elements->next(), out); !status) return status;
    }
    return {};
  }
  static void encode(Encoder& encoder, const std::vector<T>& list) {
    auto elements = encoder.unkeyedContainer();
    for (const auto& element : list) elements.encode(element);
  }
};

/// Records: their own decode and encode. A decode that throws is caught as a failure, so that
/// tolerant reads tolerate it too.
template <class T>
requires(CheckingDecodable<T> || ThrowingDecodable<T> || EncodableRecord<T>) struct Codec<T> {
  static Status tryDecode(const Decoder& decoder, T& out) requires CheckingDecodable<T> {
    return T::tryDecode(decoder, out);
  }
  static Status tryDecode(const Decoder& decoder, T& out) requires ThrowingDecodable<T> {
    try {
      out = T::decode(decoder);
      return {};
    } catch (const Error&) {
      return decoder.failure(std::current_exception());
    }
  }
  static void encode(Encoder& encoder, const T& value) requires EncodableRecord<T> {
    value.encode(encoder);
  }
};

namespace detail {

// ---- keyed reads ----
// Each takes the value found under the key (or nothing), so that a record that found it by its
// key table and an application that looks it up by name share one reading.

/// A required key: keyNotFound when absent, then the value's own errors.
template <class T>
Status readRequired(const KeyedDecodingContainer& container, std::string_view key,
                    const std::optional<Decoder>& value, T& out) {
  if (!value) return container.missing(key);
  return Codec<T>::tryDecode(*value, out);
}

/// An optional key: empty when absent or null; any other failure fails.
template <class T>
Status readOptional(const std::optional<Decoder>& value, std::optional<T>& out) {
  if (!value || value->isNull()) {
    out.reset();
    return {};
  }
  return Access::decodeOptional(*value, out);
}

/// Decodes one element of a list at the list's end; an element that fails is not kept.
template <class T>
Status appendElement(const Decoder& element, std::vector<T>& out) {
  return Access::decodeAppended(element, out);
}

/// An optional key whose failures leave the value empty: never fails, throws nothing.
template <class T>
void readTolerant(const std::optional<Decoder>& value, std::optional<T>& out) {
  if (!readOptional(value, out)) out.reset();
}

}  // namespace detail
}  // namespace tovanel::chat::coding

namespace tovanel::chat {

template <class T>
T Decoder::decode() const {
  if constexpr (coding::ThrowingDecodable<T>) {
    return T::decode(*this);
  } else {
    return coding::Access::decodeNew<T>(*this);
  }
}

template <class T>
coding::Status Decoder::tryDecode(T& out) const {
  return coding::Codec<T>::tryDecode(*this, out);
}

template <class T>
T KeyedDecodingContainer::decode(std::string_view key) const {
  const auto value = find(key);
  if (!value) missing(key).raise();
  return value->decode<T>();
}

template <class T>
std::optional<T> KeyedDecodingContainer::decodeIfPresent(std::string_view key) const {
  std::optional<T> out;
  if (coding::Status status = coding::detail::readOptional(find(key), out); !status) {
    status.raise();
  }
  return out;
}

template <class T>
std::optional<T> KeyedDecodingContainer::tryDecodeTolerantly(std::string_view key) const {
  std::optional<T> out;
  coding::detail::readTolerant(find(key), out);
  return out;
}

template <class T>
coding::Status KeyedDecodingContainer::tryDecode(std::string_view key, T& out) const {
  return coding::detail::readRequired(*this, key, find(key), out);
}

template <class T>
coding::Status KeyedDecodingContainer::tryDecodeIfPresent(std::string_view key,
                                                          std::optional<T>& out) const {
  return coding::detail::readOptional(find(key), out);
}

template <class T>
T UnkeyedDecodingContainer::decode() {
  if (isAtEnd()) noMoreElements().raise();
  return next().template decode<T>();
}

template <class T>
coding::Status UnkeyedDecodingContainer::tryDecode(T& out) {
  if (isAtEnd()) return noMoreElements();
  return coding::Codec<T>::tryDecode(next(), out);
}

template <class T>
void Encoder::encode(const T& value) {
  static_assert(coding::Encodable<T>,
                "this type has no JSON form: a record writes itself with `void encode(Encoder&) "
                "const`, any other type needs a coding::Codec<T>. A ChatMessage has none: encode "
                "its body, or the envelope your service expects");
  if constexpr (coding::Encodable<T>) coding::Codec<T>::encode(*this, value);
}

template <class T>
void KeyedEncodingContainer::encode(MemberKey key, const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    if (place_->putCompactKey(key)) return place_->writeStringMember(key, value);
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    if (place_->putCompactKey(key)) return place_->writeIntegerMember(value);
  } else if constexpr (std::is_same_v<T, Date>) {
    if (place_->putCompactKey(key)) return place_->writeDateMember(key, value);
  }
  encodeMember(key, value);
}

template <class T>
void KeyedEncodingContainer::encodeMember(MemberKey key, const T& value) {
  Encoder member = place_->beginMember(key);
  coding::Codec<T>::encode(member, value);
  place_->endMember(member);
}

template <class T>
void UnkeyedEncodingContainer::encode(const T& value) {
  Encoder element = place_->beginElement();
  coding::Codec<T>::encode(element, value);
  element.end();
}

}  // namespace tovanel::chat
