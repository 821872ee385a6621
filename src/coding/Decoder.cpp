// The parser and the decoding views over its DOM: the one file that knows simdjson. It reads the
// document's tape directly, a layout private to simdjson's major version 3.

#include "tovanel/chat/coding/Decoder.hpp"

#include <simdjson.h>

static_assert(simdjson::SIMDJSON_VERSION_MAJOR == 3,
              "Decoder.cpp reads simdjson 3's tape and string buffer: check that layout before "
              "building with another major version");

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "coding/Text.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat {

namespace {
using simdjson::dom::element;

static_assert(sizeof(element) == sizeof(coding::JsonRef));
static_assert(std::is_trivially_copyable_v<element>);

element toElement(coding::JsonRef ref) noexcept { return std::bit_cast<element>(ref); }

// The tape, read directly where the element API would only add checks: one 64-bit word per
// value (two for numbers), its type in the top byte; a string word holds the offset of the
// string's 32-bit length, which its bytes follow; an object's or array's opening word holds the
// position just past its closing word.
const simdjson::dom::document& documentOf(coding::JsonRef ref) noexcept {
  return *static_cast<const simdjson::dom::document*>(ref.document);
}
constexpr int kTypeShift = 56;
char typeOf(std::uint64_t word) noexcept { return static_cast<char>(word >> kTypeShift); }
std::uint64_t wordAt(coding::JsonRef ref) noexcept { return documentOf(ref).tape[ref.index]; }

std::string_view stringAt(const std::uint8_t* strings, std::uint64_t word) noexcept {
  const std::uint8_t* at = strings + (word & simdjson::internal::JSON_VALUE_MASK);
  std::uint32_t size;
  std::memcpy(&size, at, sizeof size);
  return {reinterpret_cast<const char*>(at + sizeof size), size};
}

// The position just past the value at `position`.
std::uint32_t after(const std::uint64_t* tape, std::uint32_t position) noexcept {
  const std::uint64_t word = tape[position];
  switch (typeOf(word)) {
    case '{':
    case '[':
      return static_cast<std::uint32_t>(word);
    case 'l':
    case 'u':
    case 'd':
      return position + 2;
    default:
      return position + 1;
  }
}

std::uint64_t load64(const char* p) noexcept {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}
std::uint64_t littleEndian(std::uint64_t word) noexcept {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}
std::uint32_t load32(const char* p) noexcept {
  std::uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// Equal bytes, compared inline: keys are short, and a call to memcmp costs more than they do.
// Reads only inside both ranges (overlapping words cover the tails).
[[gnu::always_inline]] inline bool sameBytes(const char* a, const char* b,
                                             std::size_t size) noexcept {
  if (size >= 8) {
    for (std::size_t i = 0; i + 8 < size; i += 8) {
      if (load64(a + i) != load64(b + i)) return false;
    }
    return load64(a + size - 8) == load64(b + size - 8);
  }
  if (size >= 4) {
    return load32(a) == load32(b) && load32(a + size - 4) == load32(b + size - 4);
  }
  if (size == 0) return true;
  // 1 to 3 bytes: the first, the middle and the last cover them all.
  return a[0] == b[0] && a[size / 2] == b[size / 2] && a[size - 1] == b[size - 1];
}

// A bit of a 128-bit filter for a key: keys with different bits differ, so only a key whose bit
// is already set can repeat one.
unsigned filterBit(std::string_view key) noexcept {
  // The size, the first byte and the middle one; an empty key counts its bytes as zero.
  const auto first = key.empty() ? 0u : static_cast<unsigned char>(key[0]);
  const auto middle = key.empty() ? 0u : static_cast<unsigned char>(key[key.size() / 2]);
  const std::uint32_t mixed = static_cast<std::uint32_t>(key.size()) | first << 8 | middle << 16;
  return (mixed * 0x9E3779B1u) >> 25;
}

constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void failText(std::string_view what) {
  std::string description = "the data is not valid JSON: ";
  description += what;
  throw DecodingError(DecodingError::Kind::dataCorrupted, {}, std::move(description));
}

bool startsWithForeignByteOrderMark(std::string_view text) {
  constexpr std::string_view kMarks[] = {"\xFE\xFF", "\xFF\xFE",
                                         std::string_view("\x00\x00\xFE\xFF", 4)};
  return std::any_of(std::begin(kMarks), std::end(kMarks),
                     [&](std::string_view mark) { return text.starts_with(mark); });
}

std::string describeParseFailure(simdjson::error_code error, std::string_view text,
                                 std::size_t maximumDepth) {
  switch (error) {
    case simdjson::EMPTY:
      return "the text is empty or only white space";
    case simdjson::DEPTH_ERROR:
      return "arrays and objects nest deeper than the decoder's maximumDepth of " +
             std::to_string(maximumDepth);
    case simdjson::NUMBER_ERROR:
      return "a number is malformed or out of range (an integer must fit in 64 bits, any other "
             "number in a double)";
    case simdjson::STRING_ERROR:
      return "a string holds an invalid escape sequence, or a \\u escape of a lone surrogate";
    case simdjson::UTF8_ERROR: {
      const auto offset = coding::detail::firstMalformedUtf8(text);
      return offset ? "the text is not valid UTF-8 (first malformed byte at byte offset " +
                          std::to_string(*offset) + ")"
                    : "the text is not valid UTF-8";
    }
    case simdjson::UNESCAPED_CHARS:
      return coding::detail::describeRawControlCharacter(text);
    case simdjson::UNCLOSED_STRING:
      return "a string is not closed";
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
    case simdjson::N_ATOM_ERROR:
      return "a word that is not true, false or null";
    case simdjson::TAPE_ERROR:
      return "the structure is malformed (a missing or extra comma, colon, bracket, brace or "
             "key, or text after the value)";
    default:
      return simdjson::error_message(error);
  }
}

std::string formatNumber(double number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}
}  // namespace

std::string_view describe(JsonType type) noexcept {
  switch (type) {
    case JsonType::null:
      return "null";
    case JsonType::boolean:
      return "a boolean";
    case JsonType::integer:
      return "an integer";
    case JsonType::number:
      return "a number";
    case JsonType::string:
      return "a string";
    case JsonType::array:
      return "an array";
    case JsonType::object:
      return "an object";
  }
  return "a value";
}

CodingPath coding::detail::pathOf(const PathLink& link) {
  std::size_t depth = 0;
  for (const PathLink* l = &link; l->parent != nullptr; l = l->parent) ++depth;
  CodingPath path(depth);
  for (const PathLink* l = &link; l->parent != nullptr; l = l->parent) {
    const auto& step = l->step;
    path[--depth] = step.key != nullptr ? CodingKey::key(std::string(step.key, step.keySizeOrIndex))
                                        : CodingKey::index(static_cast<int>(step.keySizeOrIndex));
  }
  return path;
}

// ---- DecodingRun ----

void DecodingRun::rethrow() {
  std::exception_ptr error = std::move(error_);
  const bool quietFailure = !error;
  clearError();
  if (quietFailure) {
    throw DecodingError(DecodingError::Kind::dataCorrupted, {}, "the value could not be decoded");
  }
  std::rethrow_exception(error);
}

void DecodingRun::clearError() noexcept {
  failed_ = false;
  error_ = nullptr;
  description_.clear();
}

void DecodingRun::fail(std::exception_ptr error, std::string description) {
  failed_ = true;
  error_ = std::move(error);
  description_ = std::move(description);
}

const coding::detail::PathLink* DecodingRun::pinned(const coding::detail::PathLink& link) {
  static const coding::detail::PathLink kRoot{};
  if (link.parent == nullptr) return &kRoot;
  PinnedLink& node = pinned_.emplace_front();
  node.link.parent = pinned(*link.parent);
  node.link.step = link.step;
  if (link.step.key != nullptr) {
    node.key.assign(link.step.key, link.step.keySizeOrIndex);
    node.link.step.key = node.key.data();
  }
  return &node.link;
}

// ---- Decoder ----

const UserInfo& Decoder::userInfo() const noexcept { return run_->owner().userInfo; }

CodingPath Decoder::codingPath() const { return coding::detail::pathOf(link_); }

JsonType Decoder::type() const noexcept {
  switch (typeOf(wordAt(value_))) {
    case 't':
    case 'f':
      return JsonType::boolean;
    case 'l':
    case 'u':
      return JsonType::integer;
    case 'd':
      return JsonType::number;
    case '"':
      return JsonType::string;
    case '[':
      return JsonType::array;
    case '{':
      return JsonType::object;
    default:
      return JsonType::null;
  }
}

bool Decoder::fail(DecodingError::Kind kind, std::string_view message) const {
  if (run_->quiet_ > 0) {
    run_->failed_ = true;  // the caller discards it: no need to build the error
    return false;
  }
  DecodingError error(kind, codingPath(), std::string(message));
  std::string description = error.what();
  run_->fail(std::make_exception_ptr(std::move(error)), std::move(description));
  return false;
}

bool Decoder::failExpecting(std::string_view what) const {
  const JsonType found = type();
  if (run_->quiet_ > 0) return fail(DecodingError::Kind::typeMismatch, {});
  std::string message = "expected ";
  message += what;
  message += ", found ";
  message += describe(found);
  return fail(found == JsonType::null ? DecodingError::Kind::valueNotFound
                                      : DecodingError::Kind::typeMismatch,
              message);
}

bool Decoder::read(std::string_view& out) const {
  const simdjson::dom::document& document = documentOf(value_);
  const std::uint64_t word = document.tape[value_.index];
  if (typeOf(word) != '"') return failExpecting("a string");
  out = stringAt(document.string_buf.get(), word);
  return true;
}

bool Decoder::read(std::string& out) const {
  const simdjson::dom::document& document = documentOf(value_);
  const std::uint64_t word = document.tape[value_.index];
  if (typeOf(word) != '"') return failExpecting("a string");
  const std::string_view text = stringAt(document.string_buf.get(), word);
  out.assign(text.data(), text.size());
  return true;
}

bool Decoder::read(std::int64_t& out) const {
  const std::uint64_t* tape = documentOf(value_).tape.get() + value_.index;
  switch (typeOf(tape[0])) {
    case 'l':
      out = std::bit_cast<std::int64_t>(tape[1]);
      return true;
    case 'u':
      return fail(
          DecodingError::Kind::dataCorrupted,
          "the number " + std::to_string(tape[1]) + " does not fit in a signed 64-bit integer");
    case 'd': {
      const auto number = std::bit_cast<double>(tape[1]);
      // Whole numbers written with a fraction or an exponent (5.0, 1e2) read as integers.
      if (std::trunc(number) == number && number >= -9223372036854775808.0 &&
          number < 9223372036854775808.0) {
        out = static_cast<std::int64_t>(number);
        return true;
      }
      const bool whole = std::trunc(number) == number;
      return fail(
          DecodingError::Kind::dataCorrupted,
          "the number " + formatNumber(number) +
              (whole ? " does not fit in a signed 64-bit integer" : " is not a whole number"));
    }
    default:
      return failExpecting("an integer");
  }
}

bool Decoder::read(double& out) const {
  const std::uint64_t* tape = documentOf(value_).tape.get() + value_.index;
  switch (typeOf(tape[0])) {
    case 'l':
      out = static_cast<double>(std::bit_cast<std::int64_t>(tape[1]));
      return true;
    case 'u':
      out = static_cast<double>(tape[1]);
      return true;
    case 'd':
      out = std::bit_cast<double>(tape[1]);
      return true;
    default:
      return failExpecting("a number");
  }
}

bool Decoder::read(bool& out) const {
  switch (typeOf(wordAt(value_))) {
    case 't':
      out = true;
      return true;
    case 'f':
      out = false;
      return true;
    default:
      return failExpecting("a boolean");
  }
}

std::optional<KeyedDecodingContainer> Decoder::keyedContainer() const {
  if (typeOf(wordAt(value_)) != '{') {
    failExpecting("an object");
    return std::nullopt;
  }
  return std::optional<KeyedDecodingContainer>(std::in_place, *this,
                                               KeyedDecodingContainer::Opening());
}

std::optional<KeyedDecodingContainer> Decoder::keyedContainer(coding::KeyTable keys) const {
  if (typeOf(wordAt(value_)) != '{') {
    failExpecting("an object");
    return std::nullopt;
  }
  return std::optional<KeyedDecodingContainer>(std::in_place, *this,
                                               KeyedDecodingContainer::Opening(), keys);
}

std::optional<UnkeyedDecodingContainer> Decoder::arrayContainer() const {
  simdjson::dom::array array;
  if (toElement(value_).get_array().get(array) != simdjson::SUCCESS) {
    failExpecting("an array");
    return std::nullopt;
  }
  std::size_t count = array.size();
  if (count == 0xFFFFFF) {  // the tape saturates its count: count the long array by hand
    count = 0;
    for ([[maybe_unused]] element child : array) ++count;
  }
  return UnkeyedDecodingContainer(*this, count, value_.index + 1);
}

KeyedDecodingContainer Decoder::container() const {
  if (typeOf(wordAt(value_)) != '{') {
    failExpecting("an object");
    run_->rethrow();
  }
  return KeyedDecodingContainer(*this, KeyedDecodingContainer::Opening());
}

UnkeyedDecodingContainer Decoder::unkeyedContainer() const {
  auto container = arrayContainer();
  if (!container) run_->rethrow();
  return *container;
}

SingleValueDecodingContainer Decoder::singleValueContainer() const {
  return SingleValueDecodingContainer(*this);
}

// ---- KeyedDecodingContainer ----

KeyedDecodingContainer::KeyedDecodingContainer(const Decoder& self, Opening) noexcept
    : self_(self) {
  const simdjson::dom::document& document = documentOf(self_.value_);
  const std::uint64_t* tape = tape_ = document.tape.get();
  const std::uint8_t* strings = strings_ = document.string_buf.get();
  const auto start = static_cast<std::uint32_t>(self_.value_.index);
  const std::uint32_t end = end_ = static_cast<std::uint32_t>(tape[start]) - 1;
  std::uint32_t count = 0;
  for (std::uint32_t position = start + 1; position < end; position = after(tape, position + 1)) {
    const std::string_view key = stringAt(strings, tape[position]);
    const unsigned bit = filterBit(key);
    std::uint64_t& filter = filter_[bit >> 6];
    const std::uint64_t mask = std::uint64_t{1} << (bit & 63);
    if ((filter & mask) != 0) {
      std::uint32_t i = 0;
      while (i < count && !keyIs(keys_[i], key)) ++i;
      if (i < count) {
        keys_[i] = position;  // the last duplicate wins
        continue;
      }
    }
    filter |= mask;
    if (count == kMaxKeyTable) return;  // too many to index: lookups walk the object
    keys_[count++] = position;
  }
  entries_ = count;
  indexed_ = true;
}

KeyedDecodingContainer::KeyedDecodingContainer(const Decoder& self, Opening,
                                               coding::KeyTable table) noexcept
    : self_(self), table_(table.keys), entries_(static_cast<std::uint32_t>(table.size)) {
  const simdjson::dom::document& document = documentOf(self_.value_);
  const std::uint64_t* tape = tape_ = document.tape.get();
  const std::uint8_t* strings = strings_ = document.string_buf.get();
  const auto start = static_cast<std::uint32_t>(self_.value_.index);
  const std::uint32_t end = end_ = static_cast<std::uint32_t>(tape[start]) - 1;
  const std::uint32_t entries = entries_;
  std::fill_n(keys_, entries, 0);
  // Members usually come in table order: each search starts past the entry matched last.
  std::uint32_t next = 0;
  for (std::uint32_t position = start + 1; position < end; position = after(tape, position + 1)) {
    const std::string_view key = stringAt(strings, tape[position]);
    // The string buffer is padded past its last string, so eight bytes are always readable.
    const std::uint64_t mask =
        key.size() >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * key.size())) - 1;
    const std::uint64_t prefix = littleEndian(load64(key.data())) & mask;
    std::uint32_t i = next;
    for (std::uint32_t step = 0; step < entries; ++step, ++i) {
      if (i == entries) i = 0;
      if (table.prefixes[i] == prefix && table.keys[i].size() == key.size() &&
          (key.size() <= 8 ||
           sameBytes(table.keys[i].data() + 8, key.data() + 8, key.size() - 8))) {
        keys_[i] = position;  // a later duplicate overwrites: the last one wins
        next = i + 1;
        break;
      }
    }
  }
  indexed_ = true;
}

bool KeyedDecodingContainer::keyIs(std::uint32_t position, std::string_view key) const noexcept {
  const std::string_view candidate = stringAt(strings_, tape_[position]);
  return candidate.size() == key.size() && sameBytes(candidate.data(), key.data(), key.size());
}

std::optional<Decoder> KeyedDecodingContainer::find(std::string_view key) const noexcept {
  if (!indexed_) return scan(key);
  std::uint32_t i = hint_;
  if (table_ != nullptr) {
    for (std::uint32_t step = 0; step < entries_; ++step, ++i) {
      if (i >= entries_) i = 0;
      const std::string_view entry = table_[i];
      // The record's own key is usually the very string of its table.
      if (entry.size() == key.size() &&
          (entry.data() == key.data() || sameBytes(entry.data(), key.data(), key.size()))) {
        hint_ = i + 1;
        if (keys_[i] == 0) return std::nullopt;
        return member(keys_[i], key);
      }
    }
    return scan(key);  // a key the table does not list
  }
  if (entries_ == 0) return std::nullopt;
  // Keys are usually read in member order: the entry past the last one found comes first.
  if (i >= entries_) i = 0;
  if (keyIs(keys_[i], key)) {
    hint_ = i + 1;
    return member(keys_[i], key);
  }
  // A key whose filter bit is clear is none of the object's: absent keys cost no more comparison.
  const unsigned bit = filterBit(key);
  if ((filter_[bit >> 6] & (std::uint64_t{1} << (bit & 63))) == 0) return std::nullopt;
  ++i;
  for (std::uint32_t step = 1; step < entries_; ++step, ++i) {
    if (i >= entries_) i = 0;
    if (keyIs(keys_[i], key)) {
      hint_ = i + 1;
      return member(keys_[i], key);
    }
  }
  return std::nullopt;
}

std::optional<Decoder> KeyedDecodingContainer::scan(std::string_view key) const noexcept {
  std::optional<std::uint32_t> found;
  const auto start = static_cast<std::uint32_t>(self_.value_.index);
  for (std::uint32_t position = start + 1; position < end_; position = after(tape_, position + 1)) {
    if (keyIs(position, key)) found = position;
  }
  if (!found) return std::nullopt;
  return member(*found, key);
}

bool KeyedDecodingContainer::failKeyNotFound(std::string_view key) const {
  const Decoder missing(self_.value_, self_.run(), self_,
                        coding::detail::PathStep{key.data(), key.size()});
  std::string message = "no value for the key \"";
  message += key;
  message += '"';
  return missing.fail(DecodingError::Kind::keyNotFound, message);
}

std::vector<std::string> KeyedDecodingContainer::allKeys() const {
  std::vector<std::string> keys;
  const simdjson::dom::object object = toElement(self_.value_).get_object().value_unsafe();
  for (const auto field : object) {
    keys.emplace_back(field.key);
  }
  return keys;
}

bool KeyedDecodingContainer::decodeNil(std::string_view key) const {
  return nestedDecoder(key).isNull();
}

Decoder KeyedDecodingContainer::nestedDecoder(std::string_view key) const {
  auto value = find(key);
  if (!value) {
    failKeyNotFound(key);
    self_.run().rethrow();
  }
  // The result may outlive this container (decoder.container().nestedDecoder("k")), so its path
  // must not point into it.
  value->link_ = *self_.run().pinned(value->link_);
  return *value;
}

// ---- UnkeyedDecodingContainer ----

Decoder UnkeyedDecodingContainer::next() noexcept {
  const coding::JsonRef ref{self_.value_.document, cursor_};
  const Decoder element(ref, self_.run(), self_, coding::detail::PathStep{nullptr, index_});
  cursor_ = simdjson::internal::tape_ref(static_cast<const simdjson::dom::document*>(ref.document),
                                         cursor_)
                .after_element();
  ++index_;
  return element;
}

// ---- raw values ----

bool coding::failInvalidRawValue(const Decoder& decoder, std::string_view typeName,
                                 std::string_view text) {
  std::string message = "cannot initialize ";
  message += typeName;
  message += " from invalid raw value \"";
  message += text;
  message += '"';
  return decoder.fail(DecodingError::Kind::dataCorrupted, message);
}

// ---- parsing ----

bool coding::detail::isValidUtf8(std::string_view text) noexcept {
  return simdjson::validate_utf8(text.data(), text.size());
}

struct JSONDecoder::Parser {
  simdjson::dom::parser parser;
};

JSONDecoder::JSONDecoder() : parser_(std::make_unique<Parser>()) {}
JSONDecoder::~JSONDecoder() = default;
JSONDecoder::JSONDecoder(JSONDecoder&&) noexcept = default;
JSONDecoder& JSONDecoder::operator=(JSONDecoder&&) noexcept = default;

coding::JsonRef JSONDecoder::parse(std::string_view json) {
  if (json.size() > maximumDocumentSize) {
    failText("the text is " + std::to_string(json.size()) + " bytes long, more than the " +
             std::to_string(maximumDocumentSize) + " bytes of the decoder's maximumDocumentSize");
  }
  if (startsWithForeignByteOrderMark(json)) {
    failText("the text starts with a UTF-16 or UTF-32 byte-order mark; only UTF-8 is read");
  }
  if (json.starts_with(kUtf8ByteOrderMark)) json.remove_prefix(kUtf8ByteOrderMark.size());

  simdjson::dom::parser& parser = parser_->parser;
  // The parser counts the top-level value as one level, and a value inside it as the next.
  const std::size_t parserDepth = maximumDepth + (maximumDepth < SIZE_MAX ? 1 : 0);
  if (parser.max_depth() != parserDepth) {
    if (const auto error = parser.allocate(std::max(parser.capacity(), json.size()), parserDepth)) {
      failText(describeParseFailure(error, json, maximumDepth));
    }
  }
  // The parser copies the text into its own padded buffer, which it keeps for the next call.
  simdjson::dom::element root;
  if (const auto error = parser.parse(json.data(), json.size(), true).get(root)) {
    failText(describeParseFailure(error, json, maximumDepth));
  }
  return std::bit_cast<coding::JsonRef>(root);
}

}  // namespace tovanel::chat
