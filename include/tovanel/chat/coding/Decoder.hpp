#pragma once
// Decoding views over one parsed JSON document. A Decoder stands at one value of the document;
// containers read objects, arrays and single values from it. Decoders and containers are cheap
// views that live only during the decode call that made them.
//
// Two layers of calls:
//  - the applications' API (`decode`, `decodeIfPresent`, `container()`...) throws DecodingError;
//  - the checking core (`read`, `find`, `keyedContainer`...) that the library's own records are
//    built on returns false or nothing after recording the failure in the run, so tolerant reads
//    skip bad values without throwing anything.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>
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
/// A value inside a parsed document (opaque; only the coding sources look inside).
struct JsonRef {
  const void* document = nullptr;  ///< the parsed document
  std::size_t index = 0;           ///< the value's position in it
};

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
/// most KeyedDecodingContainer::kMaxKeyTable of them). Made once per record by KeyTableOf.
struct KeyTable {
  const std::string_view* keys;   ///< the keys, in table order
  const std::uint64_t* prefixes;  ///< keyPrefix of each key
  std::size_t size;               ///< how many keys
};

/// The storage of a KeyTable of N keys, built at compile time from a record's keys.
template <std::size_t N>
struct KeyTableOf {
  /// Takes the keys and computes their prefixes.
  constexpr explicit KeyTableOf(const std::array<std::string_view, N>& list) noexcept : keys(list) {
    for (std::size_t i = 0; i < N; ++i) prefixes[i] = keyPrefix(list[i]);
  }
  /// The table view of this storage.
  constexpr KeyTable table() const noexcept { return {keys.data(), prefixes.data(), N}; }

  std::array<std::string_view, N> keys;     ///< the keys, in table order
  std::array<std::uint64_t, N> prefixes{};  ///< keyPrefix of each key
};
}  // namespace coding

/// The state of one decode call: the decoder's options and the failure, if one was recorded.
class TOVANEL_CHAT_API DecodingRun {
 public:
  /// A run of `owner`'s decode; nothing failed yet.
  explicit DecodingRun(const JSONDecoder& owner) noexcept : owner_(&owner) {}
  DecodingRun(const DecodingRun&) = delete;
  DecodingRun& operator=(const DecodingRun&) = delete;

  /// The JSONDecoder whose decode this is (its options).
  const JSONDecoder& owner() const noexcept { return *owner_; }

  /// True once a failure is recorded.
  bool hasError() const noexcept { return failed_; }
  /// The recorded error's description (empty when the failure was recorded quietly).
  const std::string& errorDescription() const noexcept { return description_; }
  /// Throws the recorded error; a quiet failure throws a generic dataCorrupted.
  [[noreturn]] void rethrow();
  /// Forgets the recorded failure (after a read whose failure is tolerated).
  void clearError() noexcept;

  /// Records a failure that is not a DecodingError (the body-type hand-off's own error, or what a
  /// custom date strategy threw).
  void fail(std::exception_ptr error, std::string description);

  /// While quiet, failures are recorded without building their error: for tolerant reads, which
  /// discard the error anyway.
  class QuietScope {
   public:
    /// Quiet until destroyed.
    explicit QuietScope(DecodingRun& run) noexcept : run_(run) { ++run_.quiet_; }
    ~QuietScope() { --run_.quiet_; }
    QuietScope(const QuietScope&) = delete;
    QuietScope& operator=(const QuietScope&) = delete;

   private:
    DecodingRun& run_;
  };
  /// Lifts quiet mode, for a decode whose error must be described even when it is discarded.
  class LoudScope {
   public:
    /// Loud until destroyed; then as quiet as before.
    explicit LoudScope(DecodingRun& run) noexcept : run_(run), saved_(run.quiet_) {
      run_.quiet_ = 0;
    }
    ~LoudScope() { run_.quiet_ = saved_; }
    LoudScope(const LoudScope&) = delete;
    LoudScope& operator=(const LoudScope&) = delete;

   private:
    DecodingRun& run_;
    int saved_;
  };

 private:
  friend class Decoder;
  friend class KeyedDecodingContainer;

  /// A copy of `link` and of its parents, with their keys, kept until the run ends: for a decoder
  /// handed to the application, whose parent may be a temporary container.
  const coding::detail::PathLink* pinned(const coding::detail::PathLink& link);
  struct PinnedLink {
    coding::detail::PathLink link;
    std::string key;
  };

  const JSONDecoder* owner_;
  std::forward_list<PinnedLink> pinned_;  // stable addresses; allocates nothing while empty
  std::exception_ptr error_;
  std::string description_;
  int quiet_ = 0;
  bool failed_ = false;
};

/// A view of one value of a parsed document, during one decode.
class TOVANEL_CHAT_API Decoder {
 public:
  /// The decoder at the top-level value of a run.
  Decoder(coding::JsonRef value, DecodingRun& run) noexcept : value_(value), run_(&run) {}

  // ---- applications' API: throws DecodingError ----

  /// The object at this value (typeMismatch, or valueNotFound for null, otherwise).
  KeyedDecodingContainer container() const;
  /// The array at this value.
  UnkeyedDecodingContainer unkeyedContainer() const;
  /// This value, read as one value.
  SingleValueDecodingContainer singleValueContainer() const;
  /// Decodes this value as a T.
  template <class T>
  T decode() const;

  /// The JSONDecoder's user information: the same objects at every level of the run.
  const UserInfo& userInfo() const noexcept;
  /// The path from the top-level value to this one.
  CodingPath codingPath() const;
  /// The run this decoder belongs to.
  DecodingRun& run() const noexcept { return *run_; }
  /// The JSONDecoder whose run this is (its options).
  const JSONDecoder& owner() const noexcept { return run_->owner(); }

  // ---- checking core: false or nothing after recording the failure; throws nothing ----

  /// The value's JSON type.
  JsonType type() const noexcept;
  /// True for JSON null.
  bool isNull() const noexcept { return type() == JsonType::null; }
  /// Reads a string; typeMismatch (valueNotFound for null) otherwise.
  bool read(std::string& out) const;
  /// Reads a string without copying it; the view lives as long as the parsed document.
  bool read(std::string_view& out) const;
  /// Reads a whole number within 64 bits (5.0 and 1e2 are whole); dataCorrupted for a fraction or a
  /// number too large, typeMismatch for another type.
  bool read(std::int64_t& out) const;
  /// Reads any number.
  bool read(double& out) const;
  /// Reads true or false.
  bool read(bool& out) const;
  /// The object at this value; nothing, with the failure recorded, for another type.
  std::optional<KeyedDecodingContainer> keyedContainer() const;
  /// The same, with the object's members matched once against the keys a record reads, so that
  /// `findField` costs no comparison (and `find` of those keys next to none).
  std::optional<KeyedDecodingContainer> keyedContainer(coding::KeyTable keys) const;
  /// The array at this value; nothing, with the failure recorded, for another type.
  std::optional<UnkeyedDecodingContainer> arrayContainer() const;

  /// Records a failure at this value and returns false.
  bool fail(DecodingError::Kind kind, std::string_view message) const;
  /// Records "expected <what>, found <this value's type>" (valueNotFound for null).
  bool failExpecting(std::string_view what) const;

  /// The value inside its document.
  coding::JsonRef ref() const noexcept { return value_; }

 private:
  friend class KeyedDecodingContainer;
  friend class UnkeyedDecodingContainer;
  Decoder(coding::JsonRef value, DecodingRun& run, const Decoder& parent,
          coding::detail::PathStep step) noexcept
      : value_(value), run_(&run), link_{&parent.link_, step} {}

  coding::JsonRef value_;
  DecodingRun* run_;
  coding::detail::PathLink link_;
};

/// The members of one JSON object. When a key occurs more than once, the last occurrence wins.
class TOVANEL_CHAT_API KeyedDecodingContainer {
 public:
  // ---- applications' API ----
  /// True when the object has the key (whatever its value, null included).
  bool contains(std::string_view key) const noexcept { return find(key).has_value(); }
  /// The object's keys in document order; a repeated key appears each time.
  std::vector<std::string> allKeys() const;
  /// A required key: keyNotFound when absent, then the value's own errors.
  template <class T>
  T decode(std::string_view key) const;
  /// An optional key: nothing when absent or null; other failures throw.
  template <class T>
  std::optional<T> decodeIfPresent(std::string_view key) const;
  /// An optional key whose failures are swallowed: nothing when absent, null or unreadable.
  template <class T>
  std::optional<T> decodeTolerantly(std::string_view key) const;
  /// True when the key holds null (keyNotFound when absent).
  bool decodeNil(std::string_view key) const;
  /// A decoder at the key's value (keyNotFound when absent).
  Decoder nestedDecoder(std::string_view key) const;

  // ---- checking core ----
  /// The value under `key`, or nothing when the object has no such key. Records no failure.
  std::optional<Decoder> find(std::string_view key) const noexcept;
  /// On a container opened with a key table: the value under the table's key at `index`.
  std::optional<Decoder> findField(std::size_t index) const noexcept {
    if (keys_[index] == 0) return std::nullopt;
    return member(keys_[index], table_[index]);
  }
  /// Records keyNotFound for `key` and returns false.
  bool failKeyNotFound(std::string_view key) const;

  /// The decoder at the object.
  const Decoder& decoder() const noexcept { return self_; }
  /// A copy reads the same object.
  KeyedDecodingContainer(const KeyedDecodingContainer&) = default;

  /// What only a Decoder can make: the key that opens a container in place.
  class Opening {
    friend class Decoder;
    Opening() = default;
  };
  /// The object at `self`, its members indexed by key.
  KeyedDecodingContainer(const Decoder& self, Opening) noexcept;
  /// The object at `self`, its members matched once against a record's keys.
  KeyedDecodingContainer(const Decoder& self, Opening, coding::KeyTable keys) noexcept;

  /// The most keys an index or a key table holds.
  static constexpr std::size_t kMaxKeyTable = 16;

 private:
  // Opening the container walks the object's members once, so that a lookup costs a comparison
  // or two instead of a walk. Without a key table, the distinct keys are indexed: a repeated key
  // keeps one entry holding its last value, and lookups start where the previous one ended,
  // since records read their keys in the order the service usually writes them; objects with more
  // distinct keys than the index holds are walked on each lookup instead. With a key table, each
  // member is matched to its entry in the table (the last duplicate overwriting the earlier), and
  // the keys of no entry are found by a walk.
  bool keyIs(std::uint32_t position, std::string_view key) const noexcept;
  std::optional<Decoder> scan(std::string_view key) const noexcept;
  Decoder member(std::uint32_t keyPosition, std::string_view key) const noexcept {
    return Decoder(coding::JsonRef{self_.value_.document, keyPosition + std::size_t{1}},
                   *self_.run_, self_, coding::detail::PathStep{key.data(), key.size()});
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
  /// The number of elements.
  std::size_t count() const noexcept { return count_; }
  /// The index of the next element.
  std::size_t currentIndex() const noexcept { return index_; }
  /// True once every element has been read.
  bool isAtEnd() const noexcept { return index_ >= count_; }
  /// Decodes the next element as a T (applications' API; throws).
  template <class T>
  T decode();

  /// A decoder at the next element, then steps past it. Only while !isAtEnd().
  Decoder next() noexcept;

  /// A copy continues from the same element, independently.
  UnkeyedDecodingContainer(const UnkeyedDecodingContainer&) = default;

 private:
  friend class Decoder;
  UnkeyedDecodingContainer(const Decoder& self, std::size_t count, std::size_t first) noexcept
      : self_(self), count_(count), cursor_(first) {}
  Decoder self_;
  std::size_t count_;
  std::size_t cursor_;  // document position of the next element
  std::size_t index_ = 0;
};

/// One value read as a whole: a string, a number, a raw-value enumeration...
class SingleValueDecodingContainer {
 public:
  /// True for JSON null.
  bool decodeNil() const noexcept { return self_.isNull(); }
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
