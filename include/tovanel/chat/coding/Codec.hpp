#pragma once
// How each kind of value is read and written: text, integers, numbers, booleans, raw-value
// enumerations, lists and records. A record takes part by having
//   static bool decodeInto(const Decoder&, T&)   (the checking decode) and
//   void encode(Encoder&) const;
// any other type by specialising coding::Codec<T>.

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat::coding {

/// Reaches what records keep private for their coding: the default constructor used to decode
/// in place, and the field table.
struct Access {
  /// A T made by its default constructor, private or not.
  template <class T>
  static T construct() {
    return T();
  }
  /// The record's field table.
  template <class T>
  static constexpr auto fields() {
    return T::codingFields();
  }
  /// The record's hash order, when it states one (checked here, where private members are
  /// visible, so that a private hashOrder is not mistaken for none).
  template <class T>
  static constexpr auto hashOrder() -> decltype(T::hashOrder()) {
    return T::hashOrder();
  }
};

/// How values of T are read and written: `static bool decode(const Decoder&, T&)`, the checking
/// decode, and `static void encode(Encoder&, const T&)`.
template <class T>
struct Codec;

/// Text: a JSON string.
template <>
struct Codec<std::string> {
  /// Reads a string.
  static bool decode(const Decoder& decoder, std::string& out) { return decoder.read(out); }
  /// Writes a string.
  static void encode(Encoder& encoder, const std::string& value) { encoder.writeString(value); }
};

/// Integers: a JSON number that is a whole number within 64 bits.
template <>
struct Codec<std::int64_t> {
  /// Reads a whole number.
  static bool decode(const Decoder& decoder, std::int64_t& out) { return decoder.read(out); }
  /// Writes the number in decimal.
  static void encode(Encoder& encoder, std::int64_t value) { encoder.writeInteger(value); }
};

/// Doubles: any JSON number.
template <>
struct Codec<double> {
  /// Reads a number.
  static bool decode(const Decoder& decoder, double& out) { return decoder.read(out); }
  /// Writes the number in its shortest round-trip form.
  static void encode(Encoder& encoder, double value) { encoder.writeNumber(value); }
};

/// Booleans: true or false.
template <>
struct Codec<bool> {
  /// Reads a boolean.
  static bool decode(const Decoder& decoder, bool& out) { return decoder.read(out); }
  /// Writes a boolean.
  static void encode(Encoder& encoder, bool value) { encoder.writeBool(value); }
};

/// Dates, by the decoder's and the encoder's date strategies.
template <>
struct TOVANEL_CHAT_API Codec<Date> {
  /// Reads a date by the decoder's date strategy.
  static bool decode(const Decoder& decoder, Date& out);
  /// Writes a date by the encoder's date strategy.
  static void encode(Encoder& encoder, const Date& value);
};

/// Records "cannot initialize <type> from invalid raw value ..." (dataCorrupted).
TOVANEL_CHAT_API bool failInvalidRawValue(const Decoder& decoder, std::string_view typeName,
                                          std::string_view text);

/// Raw-value enumerations: their raw string.
template <RawValueEnum E>
struct Codec<E> {
  /// Reads a string that is one of the raw values; any other string is dataCorrupted.
  static bool decode(const Decoder& decoder, E& out) {
    std::string_view text;
    if (!decoder.read(text)) return false;
    if (const auto value = fromRawValue<E>(text)) {
      out = *value;
      return true;
    }
    return failInvalidRawValue(decoder, RawValues<E>::typeName, text);
  }
  /// Writes the raw value.
  static void encode(Encoder& encoder, E value) { encoder.writeString(rawValue(value)); }
};

/// Lists: a JSON array of T.
template <class T>
struct Codec<std::vector<T>> {
  /// Reads every element in order; the first failing element fails the list.
  static bool decode(const Decoder& decoder, std::vector<T>& out) {
    auto elements = decoder.arrayContainer();
    if (!elements) return false;
    out.clear();
    out.reserve(elements->count());
    while (!elements->isAtEnd()) {
      const Decoder element = elements->next();
      out.push_back(Access::construct<T>());
      if (!Codec<T>::decode(element, out.back())) return false;
    }
    return true;
  }
  /// Writes every element in order.
  static void encode(Encoder& encoder, const std::vector<T>& list) {
    auto elements = encoder.unkeyedContainer();
    for (const auto& element : list) elements.encode(element);
  }
};

/// A type with a checking decode of its own: `static bool decodeInto(const Decoder&, T&)`.
template <class T>
concept DecodableRecord = requires(const Decoder& decoder, T& out) {
  { T::decodeInto(decoder, out) } -> std::same_as<bool>;
};
/// A type that writes itself: `void encode(Encoder&) const`.
template <class T>
concept EncodableRecord = requires(const T& value, Encoder& encoder) {
  value.encode(encoder);
};

/// Records: their own decodeInto and encode.
template <class T>
requires(DecodableRecord<T> || EncodableRecord<T>) struct Codec<T> {
  /// The record's checking decode.
  static bool decode(const Decoder& decoder, T& out) requires DecodableRecord<T> {
    return T::decodeInto(decoder, out);
  }
  /// The record's encode.
  static void encode(Encoder& encoder, const T& value) requires EncodableRecord<T> {
    value.encode(encoder);
  }
};

// ---- keyed reads of the checking core ----
// Each read takes the value found under the key (or nothing), so that a record that found it by
// its key table and an application that looks it up by name share one reading.

/// A required key: keyNotFound when absent, then the value's own errors.
template <class T>
bool readRequired(const KeyedDecodingContainer& container, std::string_view key,
                  const std::optional<Decoder>& value, T& out) {
  if (!value) return container.failKeyNotFound(key);
  return Codec<T>::decode(*value, out);
}

/// An optional key: empty when absent or null; any other failure fails.
template <class T>
bool readOptional(const std::optional<Decoder>& value, std::optional<T>& out) {
  if (!value || value->isNull()) {
    out.reset();
    return true;
  }
  out.emplace(Access::construct<T>());
  if (Codec<T>::decode(*value, *out)) return true;
  out.reset();
  return false;
}

/// An optional key whose failures leave the value empty. Never fails, throws nothing, and builds
/// no error for what it discards.
template <class T>
void readTolerant(DecodingRun& run, const std::optional<Decoder>& value, std::optional<T>& out) {
  DecodingRun::QuietScope quiet(run);
  if (!readOptional(value, out)) run.clearError();
}

/// A required key: keyNotFound when absent, then the value's own errors.
template <class T>
bool decodeRequired(const KeyedDecodingContainer& container, std::string_view key, T& out) {
  return readRequired(container, key, container.find(key), out);
}

/// An optional key: empty when absent or null; any other failure fails.
template <class T>
bool decodeOptional(const KeyedDecodingContainer& container, std::string_view key,
                    std::optional<T>& out) {
  return readOptional(container.find(key), out);
}

/// An optional key whose failures leave the value empty; never fails, builds no error.
template <class T>
void decodeTolerant(const KeyedDecodingContainer& container, std::string_view key,
                    std::optional<T>& out) {
  readTolerant(container.decoder().run(), container.find(key), out);
}

}  // namespace tovanel::chat::coding

namespace tovanel::chat {

// ---- the applications' API, on top of the checking core ----

template <class T>
T Decoder::decode() const {
  T out = coding::Access::construct<T>();
  if (!coding::Codec<T>::decode(*this, out)) run_->rethrow();
  return out;
}

template <class T>
T KeyedDecodingContainer::decode(std::string_view key) const {
  T out = coding::Access::construct<T>();
  if (!coding::decodeRequired(*this, key, out)) self_.run().rethrow();
  return out;
}

template <class T>
std::optional<T> KeyedDecodingContainer::decodeIfPresent(std::string_view key) const {
  std::optional<T> out;
  if (!coding::decodeOptional(*this, key, out)) self_.run().rethrow();
  return out;
}

template <class T>
std::optional<T> KeyedDecodingContainer::decodeTolerantly(std::string_view key) const {
  std::optional<T> out;
  coding::decodeTolerant(*this, key, out);
  return out;
}

template <class T>
T UnkeyedDecodingContainer::decode() {
  if (isAtEnd()) {
    self_.fail(DecodingError::Kind::valueNotFound, "the array has no more elements");
    self_.run().rethrow();
  }
  return next().template decode<T>();
}

template <class T>
void Encoder::encode(const T& value) {
  coding::Codec<T>::encode(*this, value);
}

template <class T>
void KeyedEncodingContainer::encode(MemberKey key, const T& value) {
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
