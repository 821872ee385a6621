#pragma once
// The direct reader: a single forward pass over JSON text that fills records from their field
// tables, in front of the parser and its Decoder views. It accepts only text it can prove the
// parser-based decoding turns into the same value, and declines everything else (returns false),
// so that the caller decodes the same text the usual way: every error, coding path and diagnostic
// line still comes from there. It declines on any failure (tolerant fields included), a repeated
// key, a body before its kind, `\u` escapes, an integer written as 5.0 or with 19 or more digits,
// -0 as an integer, a byte-order mark, nesting beyond maximumDepth, a custom date strategy,
// trailing content, a record with a decode of its own, and a custom field without a reader of
// scalars. What it declines it may have written into the record in part.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/coding/Codec.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {
class Body;
class JSONDecoder;
template <class T>
struct BodyPayloadOps;
}  // namespace tovanel::chat

namespace tovanel::chat::coding::direct {

/// A position in the text and the nesting there, to come back to.
struct Mark {
  const char* at;
  std::size_t depth;
};

/// A table key as it is written most often, `"key":` with no white space inside, as three words
/// in the text's byte order and the masks of the bytes it covers; `size` is 0 for a key that does
/// not fit 24 bytes or holds a byte that a key's text would escape.
struct KeyPattern {
  std::uint64_t words[3]{};
  std::uint64_t masks[3]{};
  std::size_t size = 0;

  constexpr explicit KeyPattern(std::string_view key) noexcept {
    if (key.size() + 3 > 24) return;
    for (const char c : key) {
      if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20) return;
    }
    size = key.size() + 3;
    for (std::size_t at = 0; at < size; ++at) {
      const char c = at == 0 || at == size - 2 ? '"' : at == size - 1 ? ':' : key[at - 1];
      const std::size_t lane = std::endian::native == std::endian::little ? at % 8 : 7 - at % 8;
      words[at / 8] |= std::uint64_t{static_cast<unsigned char>(c)} << (8 * lane);
      masks[at / 8] |= std::uint64_t{0xFF} << (8 * lane);
    }
  }
};

/// The forward pass over one text. Every reading call returns false to decline; after that the
/// cursor is not read again. The steps taken between every two values are forced inline: the
/// walk of a table calls them once per field.
class TOVANEL_CHAT_API Cursor {
 public:
  Cursor(const JSONDecoder& owner, std::string_view text) noexcept;

  /// `{`, then true in `empty` when `}` follows at once.
  bool beginObject(bool& empty) noexcept { return begin('{', '}', empty); }
  /// `[`, then true in `empty` when `]` follows at once.
  bool beginArray(bool& empty) noexcept { return begin('[', ']', empty); }
  /// A member's key and its colon. Keys with escapes decline.
  bool key(std::string_view& out) noexcept {
    std::uint64_t ignored = 0;
    return key(out, ignored);
  }
  /// The same, with the key's first eight bytes as a little-endian word, zero past its end
  /// (coding::detail::keyPrefix of the key).
  bool key(std::string_view& out, std::uint64_t& prefix) noexcept;
  /// Steps over the key and colon of `pattern` when the text holds them there exactly; false
  /// (nothing read) otherwise, for key() to read what is there.
  [[gnu::always_inline]] bool expectKey(const KeyPattern& pattern) noexcept {
    if (pattern.size == 0 || end_ - at_ < 24) return false;
    std::uint64_t words[3];
    std::memcpy(words, at_, sizeof words);
    if ((((words[0] ^ pattern.words[0]) & pattern.masks[0]) |
         ((words[1] ^ pattern.words[1]) & pattern.masks[1]) |
         ((words[2] ^ pattern.words[2]) & pattern.masks[2])) != 0) {
      return false;
    }
    at_ += pattern.size;
    return true;
  }
  /// After a member: true in `more` for a comma, false for the closing brace.
  [[gnu::always_inline]] bool nextMember(bool& more) noexcept { return nextOrClose('}', more); }
  /// After an element: true in `more` for a comma, false for the closing bracket.
  [[gnu::always_inline]] bool nextElement(bool& more) noexcept { return nextOrClose(']', more); }
  /// Steps over `null` when the next value is null.
  [[gnu::always_inline]] bool null() noexcept {
    // Most values read here are not null and follow their colon at once: no call for them.
    if (at_ != end_ && *at_ > ' ' && *at_ != 'n') return false;
    return nullAfterSpace();
  }

  bool read(std::string& out);
  /// A string without escapes, viewing the text.
  bool readView(std::string_view& out) noexcept;
  /// A whole number of at most 18 digits, written without fraction or exponent.
  bool read(std::int64_t& out) noexcept;
  bool read(double& out) noexcept;
  bool read(bool& out) noexcept;
  /// By the decoder's date strategy; a custom one declines.
  bool read(Date& out) noexcept;
  /// A number or a string as a ScalarValue; any other value is checked and stepped over.
  bool read(ScalarValue& out);
  /// Checks and steps over any value.
  bool skip() noexcept;
  /// Nothing but white space left.
  bool atEnd() noexcept;

  Mark mark() const noexcept { return {at_, depth_}; }
  void rewind(Mark mark) noexcept {
    at_ = mark.at;
    depth_ = mark.depth;
  }

  /// The body kind handed over by the enclosing record, or by the decoder's body-type box (looked
  /// up once per text); nothing while a record that hands one has not read it yet.
  std::optional<BodyType> bodyKind() const noexcept;
  /// Hands a body kind on: into the decoder's body-type box (which the parser-based decoding
  /// would leave holding it) and to the body that follows. False without a box.
  bool handKind(BodyType kind) noexcept;
  /// Puts back the kind the box held before the first handKind: for text that declines.
  void undoHandOff() noexcept;
  /// While true, a body declines: its kind has not been read yet.
  bool kindPending = false;

 private:
  friend class tovanel::chat::Body;
  template <class T>
  friend struct tovanel::chat::BodyPayloadOps;

  // The decoder's payload kept in `slot` (a body kind's position), now the caller's; null for
  // none.
  void* takeSpare(std::size_t slot) noexcept;
  // Hands `payload`, which nothing else refers to, to the decoder to keep in `slot`.
  void setAside(std::size_t slot, void* payload, void (*destroy)(void*) noexcept) noexcept;

  bool begin(char open, char close, bool& empty) noexcept;
  bool nullAfterSpace() noexcept;
  bool next(char close, bool& more) noexcept;
  // A comma right after the value, the most frequent case, without a call.
  [[gnu::always_inline]] bool nextOrClose(char close, bool& more) noexcept {
    if (at_ != end_ && *at_ == ',') {
      ++at_;
      more = true;
      return true;
    }
    return next(close, more);
  }
  bool readString(std::string* out);
  bool number(double* out, bool skipping) noexcept;
  bool skipDeep() noexcept;
  void skipSpace() noexcept;
  CodingUserInfoValue<BodyType>* box() noexcept;

  const JSONDecoder& owner_;
  const char* at_;
  const char* end_;
  std::size_t depth_ = 0;
  std::size_t maximumDepth_;
  bool vectorKeys_;  // keys and strings are first scanned as one 16-byte block
  CodingUserInfoValue<BodyType>* box_ = nullptr;
  bool boxFound_ = false;
  bool handedKind_ = false;
  std::optional<BodyType> kindBefore_;
};

/// True unless the environment variable TOVANEL_DIRECT_READING is "off": the default of
/// JSONDecoder::directReading.
TOVANEL_CHAT_API bool enabledByDefault() noexcept;

/// The string scanner in use: "avx2", "sse2" or "scalar" (chosen once, at run time;
/// TOVANEL_DIRECT_SCAN=scalar forces the portable one).
TOVANEL_CHAT_API std::string_view scannerName() noexcept;

/// A field the direct reader hands on as the body kind once read (see Cursor::handKind). Only
/// the direct reader knows it: tables that use it describe text for the direct reader alone.
template <class F>
struct HandsKind {
  F field;
};
template <class R>
constexpr HandsKind<Field<R, BodyType, Presence::required>> kindKey(std::string_view key,
                                                                    BodyType R::*member) {
  return {{key, member}};
}
/// A field that is empty when absent or null without being an optional: it then holds M{}.
template <class R, class M>
constexpr Field<R, M, Presence::optional> defaultedKey(std::string_view key, M R::*member) {
  return {key, member};
}

template <class T>
struct Reader;
template <class T>
std::optional<T> readNew(const JSONDecoder& owner, std::string_view text);
namespace detail {
template <class R, class Entry>
bool readEntry(Cursor& cursor, R& record, const Entry& entry);
}  // namespace detail

/// The private parts of records, as the direct reader needs them: their tables, and (to the
/// reader alone) a record with every field unset to read into.
struct Records {
  template <class T>
  static constexpr auto fields() {
    return Access::fields<T>();
  }
  template <class T>
  static constexpr bool hasTable() {
    return Access::hasFields<T>();
  }

 private:
  template <class T>
  static T make() {
    return Access::construct<T>();
  }
  template <class T>
  friend struct Reader;
  template <class T>
  friend std::optional<T> readNew(const JSONDecoder& owner, std::string_view text);
  template <class R, class Entry>
  friend bool detail::readEntry(Cursor& cursor, R& record, const Entry& entry);
};

template <class T>
concept TableRecord = Records::hasTable<T>();

// A record read by its table alone: no decode of its own in place of the one its table makes.
// Compared at run time (a constant after optimisation): not every compiler compares function
// addresses in constant expressions.
template <class T>
bool readByTable() noexcept {
  if constexpr (std::is_base_of_v<Record<T>, T>) {
    return &T::tryDecode == &Record<T>::tryDecode;
  } else {
    return false;
  }
}

/// How the direct reader reads a T: by default it declines.
template <class T>
struct Reader {
  static bool read(Cursor&, T&) { return false; }
};

template <class T>
bool readValue(Cursor& cursor, T& out) {
  if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, std::int64_t> ||
                std::is_same_v<T, double> || std::is_same_v<T, bool> || std::is_same_v<T, Date>) {
    return cursor.read(out);
  } else if constexpr (RawValueEnum<T>) {
    std::string_view text;
    if (!cursor.readView(text)) return false;
    const auto value = fromRawValue<T>(text);
    if (!value) return false;
    out = *value;
    return true;
  } else if constexpr (requires(Cursor & c, T & t) {
                         { T::readDirect(c, t) } -> std::same_as<bool>;
                       }) {
    return T::readDirect(cursor, out);
  } else {
    return Reader<T>::read(cursor, out);
  }
}

/// Lists: elements read into those the list holds, then appended.
template <class T>
struct Reader<std::vector<T>> {
  static bool read(Cursor& cursor, std::vector<T>& out) {
    bool empty = false;
    if (!cursor.beginArray(empty)) return false;
    std::size_t count = 0;
    if (!empty) {
      bool more = true;
      while (more) {
        if (count < out.size()) {
          if (!readValue(cursor, out[count])) return false;
        } else {
          out.push_back(Records::make<T>());
          if (!readValue(cursor, out.back())) return false;
        }
        ++count;
        if (!cursor.nextElement(more)) return false;
      }
    }
    out.erase(out.begin() + static_cast<std::ptrdiff_t>(count), out.end());
    return true;
  }
};

namespace detail {

/// The keys of a table, matched against a member's key: its first eight bytes as one word and
/// its size, then, beyond eight bytes, its last eight as one word and the bytes between.
template <std::size_t N>
struct KeyMatcher {
  constexpr explicit KeyMatcher(const std::array<std::string_view, N>& list) noexcept
      : keys(list), patterns(makePatterns(list, std::make_index_sequence<N>{})) {
    for (std::size_t i = 0; i < N; ++i) {
      prefixes[i] = coding::detail::keyPrefix(list[i]);
      if (list[i].size() > 8)
        suffixes[i] = coding::detail::keyPrefix(list[i].substr(list[i].size() - 8));
    }
  }
  std::array<std::string_view, N> keys;
  std::array<std::uint64_t, N> prefixes{};
  std::array<std::uint64_t, N> suffixes{};  // the last eight bytes of keys longer than eight
  std::array<KeyPattern, N> patterns;

  // The entry of `key`, whose prefix is `prefix`, trying `hint` (where the previous key's
  // successor is) first; N for none.
  std::size_t find(std::string_view key, std::uint64_t prefix, std::size_t hint) const noexcept {
    for (std::size_t k = 0; k < N; ++k) {
      std::size_t i = hint + k;
      if (i >= N) i -= N;
      if (prefixes[i] == prefix && keys[i].size() == key.size() &&
          (key.size() <= 8 || restEqual(i, key))) {
        return i;
      }
    }
    return N;
  }

 private:
  template <std::size_t... I>
  static constexpr std::array<KeyPattern, N> makePatterns(
      const std::array<std::string_view, N>& list, std::index_sequence<I...>) noexcept {
    return {KeyPattern(list[I])...};
  }
  // Of a key of entry i's size, beyond eight bytes, whose first eight bytes match.
  bool restEqual(std::size_t i, std::string_view key) const noexcept {
    std::uint64_t last = 0;
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(&last, key.data() + key.size() - 8, sizeof last);
    } else {
      last = coding::detail::keyPrefix(key.substr(key.size() - 8));
    }
    if (last != suffixes[i]) return false;
      // Only keys beyond sixteen bytes have bytes between; GCC sees the loop reach past the shorter
      // keys of the table, which the size test excludes.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#endif
    for (std::size_t at = 8; at + 8 < key.size(); ++at) {
      if (keys[i][at] != key[at]) return false;
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
    return true;
  }
};

template <class F>
constexpr const auto& plain(const F& field) {
  if constexpr (requires { field.field; }) {
    return field.field;
  } else {
    return field;
  }
}
template <class F>
constexpr bool handsKind = requires(const F& entry) {
  entry.field;
};

template <class M>
struct IsOptional : std::false_type {};
template <class M>
struct IsOptional<std::optional<M>> : std::true_type {
  using value_type = M;
};

// Reads one field's value by its presence.
template <class R, class Entry>
bool readEntry(Cursor& cursor, R& record, const Entry& entry) {
  const auto& field = plain(entry);
  using F = std::remove_cvref_t<decltype(field)>;
  auto& member = record.*field.member;
  using M = std::remove_cvref_t<decltype(member)>;
  if constexpr (F::presence == Presence::required) {
    if (!readValue(cursor, member)) return false;
    if constexpr (handsKind<Entry>) {
      if (!cursor.handKind(member)) return false;
      cursor.kindPending = false;
    }
    return true;
  } else if constexpr (F::presence == Presence::custom) {
    if (field.readScalar == nullptr) return false;
    ScalarValue value;
    if (!cursor.read(value)) return false;
    field.readScalar(value, member);
    return true;
  } else if constexpr (IsOptional<M>::value) {
    using V = typename IsOptional<M>::value_type;
    if (cursor.null()) {
      member.reset();
      return true;
    }
    if (!member) member.emplace(Records::make<V>());
    return readValue(cursor, *member);
  } else {
    if (cursor.null()) {
      member = M{};
      return true;
    }
    if constexpr (IntegerRawValueEnum<M>) {
      std::int64_t raw = 0;
      if (!cursor.read(raw)) return false;
      const auto value = fromRawValue<M>(raw);
      if (!value) return false;
      member = *value;
      return true;
    } else {
      return readValue(cursor, member);
    }
  }
}

// An entry not in the text: required ones decline, the others are emptied.
template <class R, class Entry>
bool absentEntry(R& record, const Entry& entry) {
  const auto& field = plain(entry);
  using F = std::remove_cvref_t<decltype(field)>;
  if constexpr (F::presence == Presence::required) {
    return false;
  } else {
    auto& member = record.*field.member;
    using M = std::remove_cvref_t<decltype(member)>;
    if constexpr (IsOptional<M>::value) {
      member.reset();
    } else {
      member = M{};
    }
    return true;
  }
}

}  // namespace detail

/// Reads an object into `out` by the field table `Table::fields()` (plain fields, kindKey and
/// defaultedKey entries). Members of no entry are checked and stepped over.
template <class Table, class R>
bool readObject(Cursor& cursor, R& out) {
  static constexpr auto table = Table::fields();
  constexpr std::size_t size = std::tuple_size_v<std::remove_const_t<decltype(table)>>;
  static_assert(size <= 64, "the direct reader tracks at most 64 keys per record");
  static constexpr detail::KeyMatcher<size> keys = std::apply(
      [](const auto&... entry) {
        return detail::KeyMatcher<size>(
            std::array<std::string_view, size>{detail::plain(entry).key...});
      },
      table);
  // One reader per entry, chosen by the entry's index.
  using EntryReader = bool (*)(Cursor&, R&);
  static constexpr auto readers = []<std::size_t... I>(std::index_sequence<I...>) {
    return std::array<EntryReader, size>{+[](Cursor& at, R& record) {
      return detail::readEntry(at, record, std::get<I>(table));
    }...};
  }
  (std::make_index_sequence<size>{});
  constexpr bool handsKind = std::apply(
      [](const auto&... entry) {
        return (detail::handsKind<std::remove_cvref_t<decltype(entry)>> || ...);
      },
      table);
  if constexpr (handsKind) cursor.kindPending = true;

  bool empty = false;
  if (!cursor.beginObject(empty)) return false;
  std::uint64_t seen = 0;
  std::size_t hint = 0;
  bool more = !empty;
  // Members mostly come in the table's order: one walk down the table reads each entry whose key
  // is the next in the text, as it lies, through its own reader called directly. An entry whose
  // key is not there is absent or elsewhere; what the walk leaves goes the general way below.
  const bool walked = [&]<std::size_t... I>(std::index_sequence<I...>) {
    const auto step = [&](auto index) {
      constexpr std::size_t i = decltype(index)::value;
      if (!more || !cursor.expectKey(keys.patterns[i])) return true;
      seen |= std::uint64_t{1} << i;
      hint = i + 1;
      return readers[i](cursor, out) && cursor.nextMember(more);
    };
    return (step(std::integral_constant<std::size_t, I>{}) && ...);
  }
  (std::make_index_sequence<size>{});
  if (!walked) return false;
  while (more) {
    // What the walk left: the entry after the last one read is tried first, on the text as it
    // lies, then the table is searched for the key.
    const std::size_t expected = hint < size ? hint : 0;
    std::size_t index = expected;
    if (!cursor.expectKey(keys.patterns[expected])) {
      std::string_view key;
      std::uint64_t prefix = 0;
      if (!cursor.key(key, prefix)) return false;
      index = keys.find(key, prefix, hint);
    }
    if (index == size) {
      if (!cursor.skip()) return false;
    } else {
      const std::uint64_t bit = std::uint64_t{1} << index;
      if ((seen & bit) != 0) return false;  // a repeated key: the parser's last one would win
      seen |= bit;
      hint = index + 1;
      if (!readers[index](cursor, out)) return false;
    }
    if (!cursor.nextMember(more)) return false;
  }
  if constexpr (handsKind) {
    if (cursor.kindPending) return false;
  }
  const std::uint64_t all = size == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << size) - 1;
  if (seen == all) return true;
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return (((seen >> I & 1) != 0 || detail::absentEntry(out, std::get<I>(table))) && ...);
  }
  (std::make_index_sequence<size>{});
}

/// The field table of a record, as readObject takes it.
template <class T>
struct TableOf {
  static constexpr auto fields() { return Records::fields<T>(); }
};

/// Records read by their table.
template <class T>
requires TableRecord<T>
struct Reader<T> {
  static bool read(Cursor& cursor, T& out) {
    if (!readByTable<T>()) return false;
    if constexpr (std::tuple_size_v<decltype(Records::fields<T>())> == 0) {
      return cursor.skip();  // a record without fields reads nothing of its value
    } else {
      return readObject<TableOf<T>>(cursor, out);
    }
  }
};

template <class T>
struct IsVector : std::false_type {};
template <class T>
struct IsVector<std::vector<T>> : std::true_type {};

/// The types the direct reader may read whole: records read by their table, types with a
/// `readDirect` of their own, text, numbers, booleans, dates, raw-value enumerations and lists.
template <class T>
constexpr bool readable() {
  if constexpr (IsVector<T>::value) {
    return readable<typename T::value_type>();
  } else {
    return std::is_same_v<T, std::string> || std::is_same_v<T, std::int64_t> ||
           std::is_same_v<T, double> || std::is_same_v<T, bool> || std::is_same_v<T, Date> ||
           RawValueEnum<T> || requires(Cursor & c, T & t) {
      T::readDirect(c, t);
    }
    || TableRecord<T>;
  }
}

/// Reads the whole text as a T into `out`; false when declined.
template <class T>
bool read(const JSONDecoder& owner, std::string_view text, T& out) {
  Cursor cursor(owner, text);
  if (readValue(cursor, out) && cursor.atEnd()) return true;
  cursor.undoHandOff();
  return false;
}

/// A new T read from the whole text, or nothing when declined.
template <class T>
std::optional<T> readNew(const JSONDecoder& owner, std::string_view text) {
  std::optional<T> out(Records::make<T>());
  if (!read(owner, text, *out)) out.reset();
  return out;
}

}  // namespace tovanel::chat::coding::direct
