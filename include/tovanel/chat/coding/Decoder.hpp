#pragma once
// Decoding views over one parsed JSON document. A Decoder stands at one value of the document;
// containers read objects, arrays and single values from it. Decoders and containers are cheap
// views that live only during the decode call that made them.
//
// Two kinds of reads, told apart by their names:
//  - reads named `try...` throw nothing: they return a coding::Status, or a coding::Result
//    holding the value, that says what failed (`tryDecodeTolerantly`, which cannot fail, returns
//    the value or nothing). The library's own records are built on them, so that a read whose
//    failure is tolerated costs no exception and builds no error;
//  - every other read (`decode`, `decodeIfPresent`, `decodeNil`, `container()`...) throws
//    DecodingError, or the library's other errors that a nested value throws (see Error).
// The calls that only look (`type`, `isNull`, `find`, `contains`, `isAtEnd`...) cannot fail.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat {

class JSONDecoder;
class Decoder;
class KeyedDecodingContainer;
class UnkeyedDecodingContainer;
class SingleValueDecodingContainer;

/// The JSON type of a value.
enum class JsonType : std::uint8_t { null, boolean, integer, number, string, array, object };

/// "a string", "null", "an object"...: a JSON type as error messages name it.
TOVANEL_CHAT_API std::string_view describe(JsonType type) noexcept;

namespace coding {

namespace detail {
/// The parsed text of one decode call (defined where the parser is).
struct Document;

/// The first eight bytes of a key as a little-endian word, zero past its end: keys of eight bytes
/// or fewer compare as one word.
constexpr std::uint64_t keyPrefix(std::string_view key) noexcept {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < key.size() && i < 8; ++i) {
    word |= std::uint64_t{static_cast<unsigned char>(key[i])} << (8 * i);
  }
  return word;
}

/// The keys a record reads, in the order of its field table, with their prefixes (distinct, at
/// most KeyedDecodingContainer::kMaxKeyTable of them).
struct KeyTable {
  const std::string_view* keys;
  const std::uint64_t* prefixes;
  std::size_t size;
};

/// The storage of a KeyTable of N keys, built at compile time from a record's keys.
template <std::size_t N>
struct KeyTableOf {
  constexpr explicit KeyTableOf(const std::array<std::string_view, N>& list) noexcept : keys(list) {
    for (std::size_t i = 0; i < N; ++i) prefixes[i] = keyPrefix(list[i]);
  }
  constexpr KeyTable table() const noexcept { return {keys.data(), prefixes.data(), N}; }

  std::array<std::string_view, N> keys;
  std::array<std::uint64_t, N> prefixes{};
};
}  // namespace detail

/// The outcome of a checking read: success, or what failed and where. It is small and builds no
/// error text: the DecodingError it stands for is made only when it is raised or described. It
/// refers to the decode call's document and to the keys it names, so it is used within that call.
class [[nodiscard]] Status {
 public:
  Status() noexcept = default;

  explicit operator bool() const noexcept { return reason_ == Reason::none; }

  /// Throws the error this failure stands for: a DecodingError, or the library error (or the
  /// DecodingError of a custom strategy) that was caught on the way. Only for a failure.
  [[noreturn]] TOVANEL_CHAT_API void raise() const;
  /// The text of that error (its `what()`). Only for a failure.
  TOVANEL_CHAT_API std::string describe() const;

 private:
  friend class tovanel::chat::Decoder;
  friend class tovanel::chat::KeyedDecodingContainer;
  friend class tovanel::chat::UnkeyedDecodingContainer;
  enum class Reason : std::uint8_t {
    none,
    missingKey,        // `detail` is the key, `at` the object
    expected,          // `detail` is what was expected, `at` what was found
    numberDoesNotFit,  // `at` is a number that is no 64-bit integer
    invalidRawValue,   // `detail` is the type's name, `at` the string
    noMoreElements,    // `at` is the array
    caught,            // `at` is the index of the error the document keeps
  };
  Status(Reason reason, const detail::Document* document, std::size_t at,
         std::string_view detail = {}) noexcept
      : reason_(reason), detail_(detail), document_(document), at_(at) {}
  TOVANEL_CHAT_API DecodingError error() const;

  Reason reason_ = Reason::none;
  std::string_view detail_;
  const detail::Document* document_ = nullptr;
  std::size_t at_ = 0;
};

/// A value of T, or the failure that left none.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  /// A failure (the status must be one).
  Result(Status failure) noexcept : status_(failure) {}
  /// A value made in place from `arguments`.
  template <class... A>
  explicit Result(std::in_place_t, A&&... arguments)
      : value_(std::in_place, std::forward<A>(arguments)...) {}

  /// True when there is a value.
  explicit operator bool() const noexcept { return value_.has_value(); }
  T& operator*() noexcept { return *value_; }
  const T& operator*() const noexcept { return *value_; }
  T* operator->() noexcept { return &*value_; }
  const T* operator->() const noexcept { return &*value_; }
  /// The failure; success when there is a value.
  const Status& status() const noexcept { return status_; }

 private:
  std::optional<T> value_;
  Status status_;
};

}  // namespace coding

/// A view of one value of a parsed document, during one decode.
class TOVANEL_CHAT_API Decoder {
 public:
  // ---- throwing ----

  /// The object at this value (typeMismatch, or valueNotFound for null, otherwise).
  KeyedDecodingContainer container() const;
  /// The array at this value.
  UnkeyedDecodingContainer unkeyedContainer() const;
  /// Decodes this value as a T.
  template <class T>
  T decode() const;

  // ---- reading nothing: cannot fail ----

  /// This value, read as one value.
  SingleValueDecodingContainer singleValueContainer() const noexcept;
  /// The JSONDecoder's user information: the same objects at every level of the run.
  const UserInfo& userInfo() const noexcept;
  /// The path from the top-level value to this one.
  CodingPath codingPath() const;
  /// The JSONDecoder whose decode this is (its options).
  const JSONDecoder& owner() const noexcept;

  // ---- checking: throw nothing ----

  JsonType type() const noexcept;
  bool isNull() const noexcept { return type() == JsonType::null; }
  /// A string; typeMismatch (valueNotFound for null) otherwise.
  coding::Status tryRead(std::string& out) const;
  /// A string without copying it; the view lives as long as the parsed document.
  coding::Status tryRead(std::string_view& out) const noexcept;
  /// A whole number within 64 bits (5.0 and 1e2 are whole); dataCorrupted for a fraction or a
  /// number too large, typeMismatch for another type.
  coding::Status tryRead(std::int64_t& out) const noexcept;
  /// Any number.
  coding::Status tryRead(double& out) const noexcept;
  /// true or false.
  coding::Status tryRead(bool& out) const noexcept;
  /// The object at this value.
  coding::Result<KeyedDecodingContainer> tryContainer() const noexcept;
  /// The same, with the object's members matched once against the keys a record reads, so that
  /// `findField` costs no comparison (and `find` of those keys next to none).
  coding::Result<KeyedDecodingContainer> tryContainer(coding::detail::KeyTable keys) const noexcept;
  /// The array at this value.
  coding::Result<UnkeyedDecodingContainer> tryUnkeyedContainer() const noexcept;
  /// Decodes this value as a T into `out` (which is left unspecified on failure).
  template <class T>
  coding::Status tryDecode(T& out) const;

  /// A failure of this value: "expected <what>, found <its type>", typeMismatch (valueNotFound
  /// for null). `what` must outlive the decode call (a literal, usually).
  coding::Status expecting(std::string_view what) const noexcept;
  /// A failure of this string: none of the raw values of the enumeration `typeName` (which must
  /// outlive the decode call), dataCorrupted.
  coding::Status invalidRawValue(std::string_view typeName) const noexcept;
  /// A failure of this value, of any kind, with the caller's description.
  coding::Status failure(DecodingError::Kind kind, std::string message) const;
  /// A failure that is an error already thrown (one of the library's Errors, as caught).
  coding::Status failure(std::exception_ptr error) const;

 private:
  friend class JSONDecoder;
  friend class KeyedDecodingContainer;
  friend class UnkeyedDecodingContainer;
  friend class coding::Status;
  Decoder(const coding::detail::Document* document, std::size_t index) noexcept
      : document_(document), index_(index) {}

  const coding::detail::Document* document_;
  std::size_t index_;  // the value's position in the document
};

/// The members of one JSON object. When a key occurs more than once, the last occurrence wins.
class TOVANEL_CHAT_API KeyedDecodingContainer {
 public:
  /// True when the object has the key (whatever its value, null included).
  bool contains(std::string_view key) const noexcept { return find(key).has_value(); }
  /// The object's keys in document order; a repeated key appears each time.
  std::vector<std::string> allKeys() const;

  // ---- throwing ----

  /// A required key: keyNotFound when absent, then the value's own errors.
  template <class T>
  T decode(std::string_view key) const;
  /// An optional key: nothing when absent or null; other failures throw.
  template <class T>
  std::optional<T> decodeIfPresent(std::string_view key) const;
  /// True when the key holds null (keyNotFound when absent).
  bool decodeNil(std::string_view key) const;
  /// A decoder at the key's value (keyNotFound when absent).
  Decoder nestedDecoder(std::string_view key) const;

  // ---- checking: throw nothing ----

  /// An optional key whose failures are swallowed: nothing when absent, null or unreadable.
  template <class T>
  std::optional<T> tryDecodeTolerantly(std::string_view key) const;
  /// A required key into `out`.
  template <class T>
  coding::Status tryDecode(std::string_view key, T& out) const;
  /// An optional key into `out`: empty when absent or null.
  template <class T>
  coding::Status tryDecodeIfPresent(std::string_view key, std::optional<T>& out) const;
  /// The value under `key`, or nothing when the object has no such key.
  std::optional<Decoder> find(std::string_view key) const noexcept;
  /// On a container opened with a key table: the value under the table's key at `index`.
  std::optional<Decoder> findField(std::size_t index) const noexcept {
    if (keys_[index] == 0) return std::nullopt;
    return member(keys_[index]);
  }
  /// The failure keyNotFound for `key`, which must outlive the decode call.
  coding::Status missing(std::string_view key) const noexcept;

  /// The decoder at the object.
  const Decoder& decoder() const noexcept { return self_; }

  /// The most keys an index or a key table holds.
  static constexpr std::size_t kMaxKeyTable = 16;

  /// The key to the constructors below, which only a Decoder makes: they are public so that a
  /// container is opened in the Result that returns it, not moved there.
  class Opening {
    friend class Decoder;
    Opening() = default;
  };
  /// The object at `self`, its distinct keys indexed.
  KeyedDecodingContainer(const Decoder& self, Opening) noexcept;
  /// The object at `self`, its members matched once against a record's keys.
  KeyedDecodingContainer(const Decoder& self, Opening, coding::detail::KeyTable keys) noexcept;

 private:
  friend class Decoder;

  // Opening the container walks the object's members once, so that a lookup costs a comparison
  // or two instead of a walk. Without a key table, the distinct keys are indexed: a repeated key
  // keeps one entry holding its last value, and lookups start where the previous one ended,
  // since records read their keys in the order the service usually writes them; objects with more
  // distinct keys than the index holds are walked on each lookup instead. With a key table, each
  // member is matched to its entry in the table (the last duplicate overwriting the earlier), and
  // the keys of no entry are found by a walk.
  bool keyIs(std::uint32_t position, std::string_view key) const noexcept;
  std::optional<Decoder> scan(std::string_view key) const noexcept;
  Decoder member(std::uint32_t keyPosition) const noexcept {
    return Decoder(self_.document_, keyPosition + std::size_t{1});
  }

  Decoder self_;
  const std::uint64_t* tape_;  // the parsed document's tape and strings (see Decoder.cpp)
  const std::uint8_t* strings_;
  const std::string_view* table_ = nullptr;  // the key table, when opened with one
  std::uint32_t end_;                        // the tape position of the object's closing word
  std::uint32_t entries_ = 0;                // entries of keys_ in use
  mutable std::uint32_t hint_ = 0;
  bool indexed_ = false;
  // Tape positions of keys (each value follows its key): of the distinct keys in member order,
  // or of each table entry's key in table order (0 for an absent one).
  std::uint32_t keys_[kMaxKeyTable];
  std::uint64_t filter_[2] = {0, 0};  // without a table: a bit per distinct key (see Decoder.cpp)
};

/// The elements of one JSON array, read front to back.
class TOVANEL_CHAT_API UnkeyedDecodingContainer {
 public:
  std::size_t count() const noexcept { return count_; }
  /// The index of the next element.
  std::size_t currentIndex() const noexcept { return index_; }
  /// True once every element has been read.
  bool isAtEnd() const noexcept { return index_ >= count_; }
  /// Decodes the next element as a T (throws; valueNotFound past the last element).
  template <class T>
  T decode();
  /// The checking form: the next element into `out`, or a failure past the last one.
  template <class T>
  coding::Status tryDecode(T& out);
  /// A decoder at the next element, then steps past it. Only while !isAtEnd().
  Decoder next() noexcept;

 private:
  friend class Decoder;
  friend class coding::Result<UnkeyedDecodingContainer>;
  UnkeyedDecodingContainer(const Decoder& self, std::size_t count) noexcept
      : self_(self), count_(count), cursor_(self.index_ + 1) {}
  coding::Status noMoreElements() const noexcept;

  Decoder self_;
  std::size_t count_;
  std::size_t cursor_;  // document position of the next element
  std::size_t index_ = 0;
};

/// One value read as a whole: a string, a number, a raw-value enumeration...
class SingleValueDecodingContainer {
 public:
  bool isNull() const noexcept { return self_.isNull(); }
  /// Decodes the value as a T (throws DecodingError).
  template <class T>
  T decode() const {
    return self_.decode<T>();
  }
  /// The decoder at the value.
  const Decoder& decoder() const noexcept { return self_; }

 private:
  friend class Decoder;
  explicit SingleValueDecodingContainer(const Decoder& self) noexcept : self_(self) {}
  Decoder self_;
};

}  // namespace tovanel::chat

#include "tovanel/chat/coding/Codec.hpp"
