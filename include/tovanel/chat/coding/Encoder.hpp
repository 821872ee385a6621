#pragma once
// Encoding views that stream compact (or pretty) JSON into one string. An Encoder stands at the
// place of one value; a value writes itself there through one container. A value that writes
// nothing is written as `{}`, wherever it stands.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"

namespace tovanel::chat {

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
  bool sortedKeys = false;     ///< object members ordered by key
};

/// The state of one encode call: where the text goes and how it is laid out.
class TOVANEL_CHAT_API EncodingRun {
 public:
  /// A run of `owner`'s encode, appending to `out`.
  EncodingRun(const JSONEncoder& owner, std::string& out) noexcept;
  EncodingRun(const EncodingRun&) = delete;
  EncodingRun& operator=(const EncodingRun&) = delete;

  /// The JSONEncoder whose encode this is (its options).
  const JSONEncoder& owner() const noexcept { return *owner_; }
  /// The text written so far.
  std::string& out() noexcept { return *out_; }
  /// The layout of the output.
  const OutputFormatting& formatting() const noexcept { return formatting_; }

 private:
  friend class KeyedEncodingContainer;
  friend class UnkeyedEncodingContainer;
  const JSONEncoder* owner_;
  std::string* out_;
  OutputFormatting formatting_;
  int depth_ = 0;
};

/// The place of one value in the output, during one encode.
class TOVANEL_CHAT_API Encoder {
 public:
  /// The place of the top-level value of a run.
  explicit Encoder(EncodingRun& run) noexcept : run_(&run) {}

  /// An object at this place; its members are written through it and it closes when destroyed.
  KeyedEncodingContainer container();
  /// An array at this place.
  UnkeyedEncodingContainer unkeyedContainer();
  /// One value at this place.
  SingleValueEncodingContainer singleValueContainer();
  /// Encodes a T at this place.
  template <class T>
  void encode(const T& value);

  /// The JSONEncoder's user information.
  const UserInfo& userInfo() const noexcept;
  /// The path from the top-level value to this place.
  CodingPath codingPath() const;
  /// The run this encoder belongs to.
  EncodingRun& run() const noexcept { return *run_; }
  /// The JSONEncoder whose run this is (its options).
  const JSONEncoder& owner() const noexcept { return run_->owner(); }

  // ---- the writers everything ends in ----
  void writeString(std::string_view text);  ///< EncodingError for text that is not UTF-8
  /// Writes an integer in decimal.
  void writeInteger(std::int64_t number);
  void writeNumber(double number);  ///< EncodingError for NaN and the infinities
  /// Writes true or false.
  void writeBool(bool flag);
  /// Writes null.
  void writeNull();

  /// Throws EncodingError at this place.
  [[noreturn]] void fail(std::string message) const;

 private:
  friend class KeyedEncodingContainer;
  friend class UnkeyedEncodingContainer;
  Encoder(EncodingRun& run, const Encoder& parent, coding::PathStep step) noexcept
      : run_(&run), link_{&parent.link_, step} {}

  EncodingRun* run_;
  coding::PathLink link_;
};

/// The members of one JSON object, written in the order they are given.
class TOVANEL_CHAT_API KeyedEncodingContainer {
 public:
  ~KeyedEncodingContainer();
  KeyedEncodingContainer(const KeyedEncodingContainer&) = delete;
  KeyedEncodingContainer& operator=(const KeyedEncodingContainer&) = delete;

  /// Writes the key always.
  template <class T>
  void encode(MemberKey key, const T& value);
  /// Writes the key only for a present value; never a JSON null.
  template <class T>
  void encodeIfPresent(MemberKey key, const std::optional<T>& value) {
    if (value) encode(key, *value);
  }
  /// Writes the key with null.
  void encodeNil(MemberKey key);

  /// Starts a member: separator and key. The value is then written through the returned
  /// encoder, and `endMember` closes it.
  Encoder beginMember(MemberKey key, std::size_t& mark);
  /// Closes the member that beginMember started with `mark`.
  void endMember(std::size_t mark);

 private:
  friend class Encoder;
  explicit KeyedEncodingContainer(const Encoder& self);
  Encoder self_;
  std::size_t count_ = 0;
  std::size_t memberStart_ = 0;
  std::vector<std::pair<std::size_t, std::size_t>> spans_;  // member texts, for sorted keys
};

/// The elements of one JSON array, written in order.
class TOVANEL_CHAT_API UnkeyedEncodingContainer {
 public:
  ~UnkeyedEncodingContainer();
  UnkeyedEncodingContainer(const UnkeyedEncodingContainer&) = delete;
  UnkeyedEncodingContainer& operator=(const UnkeyedEncodingContainer&) = delete;

  /// Writes the next element.
  template <class T>
  void encode(const T& value);

  /// Starts an element: the separator. The value is then written through the returned encoder, and
  /// `endElement` closes it.
  Encoder beginElement(std::size_t& mark);
  /// Closes the element that beginElement started with `mark`.
  void endElement(std::size_t mark);

 private:
  friend class Encoder;
  explicit UnkeyedEncodingContainer(const Encoder& self);
  Encoder self_;
  std::size_t count_ = 0;
};

/// One value written as a whole.
class SingleValueEncodingContainer {
 public:
  /// Writes the value.
  template <class T>
  void encode(const T& value) {
    self_.encode(value);
  }
  /// Writes null.
  void encodeNil() { self_.writeNull(); }

 private:
  friend class Encoder;
  explicit SingleValueEncodingContainer(const Encoder& self) noexcept : self_(self) {}
  Encoder self_;
};

}  // namespace tovanel::chat

#include "tovanel/chat/coding/Codec.hpp"
