#pragma once
// Encoding views that stream compact (or pretty) JSON into one string. An Encoder is the place of
// one value: a value writes itself there, once, as a scalar or through one container. Writing a
// second value at a place is an EncodingError, so the output is always one JSON value. A place
// where nothing was written holds `{}`. A container's object or array is closed when its place's
// value ends, not when the container object goes out of scope.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"

namespace tovanel::chat {

class Date;
class JSONEncoder;
class KeyedEncodingContainer;
class UnkeyedEncodingContainer;
class SingleValueEncodingContainer;

/// A member's key as the encoder takes it: its text, and whether the text goes out as it stands
/// (printable ASCII with no quote or backslash). The check is a constant expression, so for the
/// keys of field tables and for string literals it costs nothing when encoding.
struct MemberKey {
  std::string_view text;  ///< the key
  bool plain;             ///< true when the text needs no escaping

  /// A key, checked for what must be escaped.
  constexpr MemberKey(std::string_view key) noexcept : text(key), plain(isPlain(key)) {}
  /// A key from a NUL-terminated string (a literal, usually).
  constexpr MemberKey(const char* key) noexcept : MemberKey(std::string_view(key)) {}
  /// A key held in a string.
  MemberKey(const std::string& key) noexcept : MemberKey(std::string_view(key)) {}

 private:
  static constexpr bool isPlain(std::string_view key) noexcept {
    for (const char c : key) {
      if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') return false;
    }
    return true;
  }
};

/// How the output is laid out.
struct OutputFormatting {
  bool prettyPrinted = false;  ///< newlines and two-space indentation
  bool sortedKeys = false;     ///< object members ordered by key (by the key's bytes, unescaped)
};

namespace coding {
template <class T>
struct Codec;
}  // namespace coding

namespace coding::detail {
/// Copies a short run of `size` bytes without a call: in overlapping words, reading and writing
/// nothing outside the two ranges.
inline void copyShort(char* to, const char* from, std::size_t size) noexcept {
  if (size >= 8) {
    std::uint64_t word;
    for (std::size_t i = 0; i + 8 < size; i += 8) {
      std::memcpy(&word, from + i, 8);
      std::memcpy(to + i, &word, 8);
    }
    std::memcpy(&word, from + size - 8, 8);
    std::memcpy(to + size - 8, &word, 8);
  } else if (size >= 4) {
    std::uint32_t first, last;
    std::memcpy(&first, from, 4);
    std::memcpy(&last, from + size - 4, 4);
    std::memcpy(to, &first, 4);
    std::memcpy(to + size - 4, &last, 4);
  } else if (size > 0) {
    const char first = from[0], middle = from[size / 2], last = from[size - 1];
    to[0] = first;
    to[size / 2] = middle;
    to[size - 1] = last;
  }
}

/// The state of one encode call: where the text goes, how it is laid out, and the members of the
/// objects still open when keys are sorted. Text is written through a cursor into `out`, which is
/// sized ahead of the cursor and cut back to it by finish().
class EncodingRun {
 public:
  TOVANEL_CHAT_API EncodingRun(const JSONEncoder& owner, std::string& out);
  EncodingRun(const EncodingRun&) = delete;
  EncodingRun& operator=(const EncodingRun&) = delete;

  /// Room for `size` more bytes at the cursor, which it returns.
  char* reserve(std::size_t size) {
    if (static_cast<std::size_t>(limit - cursor) < size) grow(size);
    return cursor;
  }
  /// Writes the bytes at the cursor.
  void put(const char* data, std::size_t size) {
    char* at = reserve(size);
    std::memcpy(at, data, size);
    cursor = at + size;
  }
  /// The offset of the cursor in `out`.
  std::size_t written() const noexcept { return static_cast<std::size_t>(cursor - out.data()); }
  /// The text written so far as `out` itself, for edits by offset; the cursor stays at its end.
  TOVANEL_CHAT_API std::string& text();
  /// Cuts `out` back to the text written.
  void finish() { out.resize(written()); }

  const JSONEncoder& owner;
  std::string& out;
  const OutputFormatting formatting;
  const bool compact;  // neither pretty-printed nor sorted: members written straight through
  int depth = 0;       // containers open
  char* cursor;        // the next byte to write, in `out`
  char* limit;         // the end of `out`
  std::size_t start;   // where this call's text begins in `out`
  /// The output range of each member of the open objects, from its key's quote to its end.
  struct Span {
    std::size_t key;
    std::size_t end;
  };
  std::vector<Span> spans;

 private:
  TOVANEL_CHAT_API void grow(std::size_t size);
};
}  // namespace coding::detail

/// The place of one value in the output, during one encode.
class TOVANEL_CHAT_API Encoder {
 public:
  /// The place of the top-level value of a run.
  explicit Encoder(coding::detail::EncodingRun& run) noexcept : run_(&run) {}
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  /// An object at this place; its members are written through the container.
  KeyedEncodingContainer container();
  /// An array at this place.
  UnkeyedEncodingContainer unkeyedContainer();
  /// This place, for one value.
  SingleValueEncodingContainer singleValueContainer() noexcept;
  /// Encodes a T at this place.
  template <class T>
  void encode(const T& value);

  /// The JSONEncoder's user information.
  const UserInfo& userInfo() const noexcept;
  /// The path from the top-level value to this place.
  CodingPath codingPath() const;
  /// The JSONEncoder whose run this is (its options).
  const JSONEncoder& owner() const noexcept { return run_->owner; }

  // ---- the writers everything ends in; each is the place's one value ----
  void writeString(std::string_view text);  ///< EncodingError for text that is not UTF-8
  void writeInteger(std::int64_t number);   ///< in decimal
  void writeNumber(double number);          ///< EncodingError for NaN and the infinities
  void writeBool(bool flag);
  void writeNull();

  /// Throws EncodingError at this place.
  [[noreturn]] void fail(std::string message) const;

 private:
  friend class JSONEncoder;
  friend class KeyedEncodingContainer;
  friend class UnkeyedEncodingContainer;
  friend struct coding::Codec<Date>;
  enum class Holds : std::uint8_t { nothing, scalar, object, array };

  Encoder(coding::detail::EncodingRun& run, const Encoder& parent,
          coding::detail::PathStep step) noexcept
      : run_(&run), link_{&parent.link_, step} {}

  /// Claims the place for a value; EncodingError when it holds one already.
  void take(Holds what) {
    if (holds_ != Holds::nothing) failSecondValue();
    holds_ = what;
  }
  [[noreturn]] void failSecondValue() const;
  /// Writes ISO 8601 text, which needs no escaping, as this place's string.
  void writeISO8601(const char* text, std::size_t size);
  /// Closes the value at this place once it is complete: its object or array, or `{}` when
  /// nothing was written. Called by whoever made the place.
  void end() {
    if (holds_ != Holds::scalar) close();
  }
  void close();
  /// In compact output, writes the separator, key and colon of the next member in one copy and
  /// returns true; false (nothing written) for pretty or sorted output and for keys that need
  /// escaping or are long, which go through writeMemberKey.
  bool putCompactKey(MemberKey key) {
    coding::detail::EncodingRun& run = *run_;
    constexpr std::size_t kShortKey = 56;
    if (!run.compact || !key.plain || key.text.size() > kShortKey) return false;
    char* at = run.reserve(kShortKey + 4);
    *at = ',';
    at += count_++ != 0;
    *at++ = '"';
    coding::detail::copyShort(at, key.text.data(), key.text.size());
    at += key.text.size();
    *at++ = '"';
    *at++ = ':';
    run.cursor = at;
    return true;
  }
  /// The place of the next member, its key written.
  Encoder beginMember(MemberKey key) {
    if (!putCompactKey(key)) writeMemberKey(key);
    return Encoder(*run_, *this, coding::detail::PathStep{key.text.data(), key.text.size()});
  }
  /// A member's string or integer after putCompactKey wrote its key: the member's place would
  /// hold this one scalar, so none is made unless the text fails, for its path.
  void writeStringMember(MemberKey key, std::string_view text);
  void writeIntegerMember(std::int64_t number);
  /// A member's date after putCompactKey wrote its key: ISO 8601 text in place, anything else
  /// through a place of its own.
  void writeDateMember(MemberKey key, const Date& date);
  void writeMemberKey(MemberKey key);
  void endMember(Encoder& member) {
    member.end();
    if (!run_->compact) endSortedMember();
  }
  void endSortedMember();
  Encoder beginElement();
  void closeObject();

  coding::detail::EncodingRun* run_;
  coding::detail::PathLink link_;
  Holds holds_ = Holds::nothing;
  std::size_t count_ = 0;      // members or elements written into the object or array here
  std::size_t firstSpan_ = 0;  // with sorted keys: the first of this object's run spans
};

/// The members of the object at a place, written in the order they are given. Copies write into
/// the same object.
class TOVANEL_CHAT_API KeyedEncodingContainer {
 public:
  /// Writes the key always.
  template <class T>
  [[gnu::always_inline]] inline void encode(MemberKey key, const T& value);
  /// Writes the key only for a present value; never a JSON null.
  template <class T>
  void encodeIfPresent(MemberKey key, const std::optional<T>& value) {
    if (value) encode(key, *value);
  }
  /// Writes the key with null.
  void encodeNil(MemberKey key);

 private:
  friend class Encoder;
  explicit KeyedEncodingContainer(Encoder& place) noexcept : place_(&place) {}
  // A member through a place of its own. encode() stays inline, so that a key known where it is
  // written is copied as a constant and a string or integer member needs no place.
  template <class T>
  void encodeMember(MemberKey key, const T& value);
  Encoder* place_;
};

/// The elements of the array at a place, written in order. Copies write into the same array.
class TOVANEL_CHAT_API UnkeyedEncodingContainer {
 public:
  /// Writes the next element.
  template <class T>
  void encode(const T& value);

 private:
  friend class Encoder;
  explicit UnkeyedEncodingContainer(Encoder& place) noexcept : place_(&place) {}
  Encoder* place_;
};

/// One value written as a whole.
class SingleValueEncodingContainer {
 public:
  template <class T>
  void encode(const T& value) {
    place_->encode(value);
  }
  void encodeNil() { place_->writeNull(); }

 private:
  friend class Encoder;
  explicit SingleValueEncodingContainer(Encoder& place) noexcept : place_(&place) {}
  Encoder* place_;
};

}  // namespace tovanel::chat

#include "tovanel/chat/coding/Codec.hpp"
