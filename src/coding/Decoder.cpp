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

#include "coding/SparePayloads.hpp"
#include "coding/Text.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat {

namespace coding::detail {
/// The parsed text of one decode: the tape and strings of simdjson's document, the decoder whose
/// decode it is, and the errors caught during the decode (which Status values refer to).
struct Document {
  const std::uint64_t* tape = nullptr;
  const std::uint8_t* strings = nullptr;
  const JSONDecoder* owner = nullptr;
  mutable std::vector<std::exception_ptr> caught;
};
}  // namespace coding::detail

namespace {

using coding::Status;

// The tape, read directly where the element API would only add checks: one 64-bit word per
// value (two for numbers), its type in the top byte; a string word holds the offset of the
// string's 32-bit length, which its bytes follow; an object's or array's opening word holds the
// position just past its closing word.
constexpr int kTypeShift = 56;
char typeOf(std::uint64_t word) noexcept { return static_cast<char>(word >> kTypeShift); }

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

// The path from the top-level value to the value at `target`, found by walking the tape from
// the top: decoders keep no path of their own, and only an error needs one.
CodingPath pathTo(const coding::detail::Document& document, std::size_t target) {
  const std::uint64_t* tape = document.tape;
  CodingPath path;
  std::size_t at = 1;
  while (at != target) {
    const std::uint64_t word = tape[at];
    const char type = typeOf(word);
    if (type != '{' && type != '[') break;
    const auto end = static_cast<std::uint32_t>(word) - 1;
    bool inside = false;
    int index = 0;
    for (std::uint32_t position = static_cast<std::uint32_t>(at) + 1; position < end; ++index) {
      const std::uint32_t value = type == '{' ? position + 1 : position;
      const std::uint32_t next = after(tape, value);
      if (target >= value && target < next) {
        path.push_back(type == '{'
                           ? CodingKey::key(std::string(stringAt(document.strings, tape[position])))
                           : CodingKey::index(index));
        at = value;
        inside = true;
        break;
      }
      position = next;
    }
    if (!inside) break;
  }
  return path;
}

JsonType typeAt(const coding::detail::Document& document, std::size_t index) noexcept {
  switch (typeOf(document.tape[index])) {
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

// The description of a number that no 64-bit integer holds.
std::string describeUnfitNumber(const std::uint64_t* tape) {
  if (typeOf(tape[0]) == 'u') {
    return "the number " + std::to_string(tape[1]) + " does not fit in a signed 64-bit integer";
  }
  const auto number = std::bit_cast<double>(tape[1]);
  const bool whole = std::trunc(number) == number;
  return "the number " + formatNumber(number) +
         (whole ? " does not fit in a signed 64-bit integer" : " is not a whole number");
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

// ---- Status ----

DecodingError Status::error() const {
  const coding::detail::Document& document = *document_;
  const auto quoted = [&] {
    return '"' + std::string(stringAt(document.strings, document.tape[at_])) + '"';
  };
  switch (reason_) {
    case Status::Reason::missingKey: {
      CodingPath path = pathTo(document, at_);
      path.push_back(CodingKey::key(std::string(detail_)));
      std::string message = "no value for the key \"";
      message.append(detail_).append("\"");
      return DecodingError(DecodingError::Kind::keyNotFound, std::move(path), std::move(message));
    }
    case Status::Reason::expected: {
      const JsonType found = typeAt(document, at_);
      std::string message = "expected ";
      message.append(detail_).append(", found ").append(chat::describe(found));
      return DecodingError(found == JsonType::null ? DecodingError::Kind::valueNotFound
                                                   : DecodingError::Kind::typeMismatch,
                           pathTo(document, at_), std::move(message));
    }
    case Status::Reason::numberDoesNotFit:
      return DecodingError(DecodingError::Kind::dataCorrupted, pathTo(document, at_),
                           describeUnfitNumber(document.tape + at_));
    case Status::Reason::invalidRawValue:
      return DecodingError::invalidRawValue(pathTo(document, at_), detail_, quoted());
    case Status::Reason::noMoreElements:
      return DecodingError(DecodingError::Kind::valueNotFound, pathTo(document, at_),
                           "the array has no more elements");
    case Status::Reason::none:
    case Status::Reason::caught:
      break;
  }
  return DecodingError(DecodingError::Kind::dataCorrupted, {}, "the value could not be decoded");
}

void Status::raise() const {
  if (reason_ == Status::Reason::caught) std::rethrow_exception(document_->caught[at_]);
  throw error();
}

std::string Status::describe() const {
  if (reason_ == Status::Reason::caught) {
    try {
      std::rethrow_exception(document_->caught[at_]);
    } catch (const std::exception& caught) {
      return caught.what();
    }
  }
  return error().what();
}

// ---- Decoder ----

const JSONDecoder& Decoder::owner() const noexcept { return *document_->owner; }

const UserInfo& Decoder::userInfo() const noexcept { return document_->owner->userInfo; }

CodingPath Decoder::codingPath() const { return pathTo(*document_, index_); }

JsonType Decoder::type() const noexcept { return typeAt(*document_, index_); }

Status Decoder::expecting(std::string_view what) const noexcept {
  return Status(Status::Reason::expected, document_, index_, what);
}

Status Decoder::failure(DecodingError::Kind kind, std::string message) const {
  return failure(std::make_exception_ptr(DecodingError(kind, codingPath(), std::move(message))));
}

Status Decoder::failure(std::exception_ptr error) const {
  document_->caught.push_back(std::move(error));
  return Status(Status::Reason::caught, document_, document_->caught.size() - 1);
}

Status Decoder::tryRead(std::string_view& out) const noexcept {
  const std::uint64_t word = document_->tape[index_];
  if (typeOf(word) != '"') return expecting("a string");
  out = stringAt(document_->strings, word);
  return {};
}

Status Decoder::tryRead(std::string& out) const {
  const std::uint64_t word = document_->tape[index_];
  if (typeOf(word) != '"') return expecting("a string");
  const std::string_view text = stringAt(document_->strings, word);
  out.assign(text.data(), text.size());
  return {};
}

Status Decoder::tryRead(std::int64_t& out) const noexcept {
  const std::uint64_t* tape = document_->tape + index_;
  switch (typeOf(tape[0])) {
    case 'l':
      out = std::bit_cast<std::int64_t>(tape[1]);
      return {};
    case 'u':
      return Status(Status::Reason::numberDoesNotFit, document_, index_);
    case 'd': {
      const auto number = std::bit_cast<double>(tape[1]);
      // Whole numbers written with a fraction or an exponent (5.0, 1e2) read as integers.
      if (std::trunc(number) == number && number >= -9223372036854775808.0 &&
          number < 9223372036854775808.0) {
        out = static_cast<std::int64_t>(number);
        return {};
      }
      return Status(Status::Reason::numberDoesNotFit, document_, index_);
    }
    default:
      return expecting("an integer");
  }
}

Status Decoder::tryRead(double& out) const noexcept {
  const std::uint64_t* tape = document_->tape + index_;
  switch (typeOf(tape[0])) {
    case 'l':
      out = static_cast<double>(std::bit_cast<std::int64_t>(tape[1]));
      return {};
    case 'u':
      out = static_cast<double>(tape[1]);
      return {};
    case 'd':
      out = std::bit_cast<double>(tape[1]);
      return {};
    default:
      return expecting("a number");
  }
}

Status Decoder::tryRead(bool& out) const noexcept {
  switch (typeOf(document_->tape[index_])) {
    case 't':
      out = true;
      return {};
    case 'f':
      out = false;
      return {};
    default:
      return expecting("a boolean");
  }
}

coding::Result<KeyedDecodingContainer> Decoder::tryContainer() const noexcept {
  if (typeOf(document_->tape[index_]) != '{') return expecting("an object");
  return coding::Result<KeyedDecodingContainer>(std::in_place, *this,
                                                KeyedDecodingContainer::Opening());
}

coding::Result<KeyedDecodingContainer> Decoder::tryContainer(
    coding::detail::KeyTable keys) const noexcept {
  if (typeOf(document_->tape[index_]) != '{') return expecting("an object");
  return coding::Result<KeyedDecodingContainer>(std::in_place, *this,
                                                KeyedDecodingContainer::Opening(), keys);
}

coding::Result<UnkeyedDecodingContainer> Decoder::tryUnkeyedContainer() const noexcept {
  const std::uint64_t word = document_->tape[index_];
  if (typeOf(word) != '[') return expecting("an array");
  // The opening word holds the count beside the closing position, saturated at 24 bits: a
  // longer array is counted by hand.
  std::size_t count = (word >> 32) & 0xFFFFFF;
  if (count == 0xFFFFFF) {
    count = 0;
    const auto end = static_cast<std::uint32_t>(word) - 1;
    for (auto at = static_cast<std::uint32_t>(index_) + 1; at < end;
         at = after(document_->tape, at)) {
      ++count;
    }
  }
  return UnkeyedDecodingContainer(*this, count);
}

KeyedDecodingContainer Decoder::container() const {
  auto container = tryContainer();
  if (!container) container.status().raise();
  return *container;
}

UnkeyedDecodingContainer Decoder::unkeyedContainer() const {
  auto container = tryUnkeyedContainer();
  if (!container) container.status().raise();
  return *container;
}

SingleValueDecodingContainer Decoder::singleValueContainer() const noexcept {
  return SingleValueDecodingContainer(*this);
}

// ---- KeyedDecodingContainer ----

KeyedDecodingContainer::KeyedDecodingContainer(const Decoder& self, Opening) noexcept
    : self_(self) {
  const std::uint64_t* tape = tape_ = self_.document_->tape;
  const std::uint8_t* strings = strings_ = self_.document_->strings;
  const auto start = static_cast<std::uint32_t>(self_.index_);
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
                                               coding::detail::KeyTable table) noexcept
    : self_(self), table_(table.keys), entries_(static_cast<std::uint32_t>(table.size)) {
  const std::uint64_t* tape = tape_ = self_.document_->tape;
  const std::uint8_t* strings = strings_ = self_.document_->strings;
  const auto start = static_cast<std::uint32_t>(self_.index_);
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
        return member(keys_[i]);
      }
    }
    return scan(key);  // a key the table does not list
  }
  if (entries_ == 0) return std::nullopt;
  // Keys are usually read in member order: the entry past the last one found comes first.
  if (i >= entries_) i = 0;
  if (keyIs(keys_[i], key)) {
    hint_ = i + 1;
    return member(keys_[i]);
  }
  // A key whose filter bit is clear is none of the object's: absent keys cost no more comparison.
  const unsigned bit = filterBit(key);
  if ((filter_[bit >> 6] & (std::uint64_t{1} << (bit & 63))) == 0) return std::nullopt;
  ++i;
  for (std::uint32_t step = 1; step < entries_; ++step, ++i) {
    if (i >= entries_) i = 0;
    if (keyIs(keys_[i], key)) {
      hint_ = i + 1;
      return member(keys_[i]);
    }
  }
  return std::nullopt;
}

std::optional<Decoder> KeyedDecodingContainer::scan(std::string_view key) const noexcept {
  std::optional<std::uint32_t> found;
  const auto start = static_cast<std::uint32_t>(self_.index_);
  for (std::uint32_t position = start + 1; position < end_; position = after(tape_, position + 1)) {
    if (keyIs(position, key)) found = position;
  }
  if (!found) return std::nullopt;
  return member(*found);
}

Status KeyedDecodingContainer::missing(std::string_view key) const noexcept {
  return Status(Status::Reason::missingKey, self_.document_, self_.index_, key);
}

std::vector<std::string> KeyedDecodingContainer::allKeys() const {
  std::vector<std::string> keys;
  for (std::uint32_t position = static_cast<std::uint32_t>(self_.index_) + 1; position < end_;
       position = after(tape_, position + 1)) {
    keys.emplace_back(stringAt(strings_, tape_[position]));
  }
  return keys;
}

bool KeyedDecodingContainer::decodeNil(std::string_view key) const {
  return nestedDecoder(key).isNull();
}

Decoder KeyedDecodingContainer::nestedDecoder(std::string_view key) const {
  const auto value = find(key);
  if (!value) missing(key).raise();
  return *value;
}

// ---- UnkeyedDecodingContainer ----

Decoder UnkeyedDecodingContainer::next() noexcept {
  const Decoder element(self_.document_, cursor_);
  cursor_ = after(self_.document_->tape, static_cast<std::uint32_t>(cursor_));
  ++index_;
  return element;
}

Status UnkeyedDecodingContainer::noMoreElements() const noexcept {
  return Status(Status::Reason::noMoreElements, self_.document_, self_.index_);
}

// ---- raw values ----

Status Decoder::invalidRawValue(std::string_view typeName) const noexcept {
  return Status(Status::Reason::invalidRawValue, document_, index_, typeName);
}

// ---- parsing ----

bool coding::detail::isValidUtf8(std::string_view text) noexcept {
  // simdjson's own entry point loads the active implementation at every call; it is found once
  // here instead (the first call resolves it to this machine's best, or to the one forced by
  // SIMDJSON_FORCE_IMPLEMENTATION), and every implementation gives the same answer.
  static const simdjson::implementation* const active = [] {
    [[maybe_unused]] const bool resolved = simdjson::validate_utf8("", 0);
    return static_cast<const simdjson::implementation*>(simdjson::get_active_implementation());
  }();
  return active->validate_utf8(text.data(), text.size());
}

struct JSONDecoder::Parser {
  simdjson::dom::parser parser;
  coding::detail::Document document;
  coding::direct::SparePayloads spares;
};

coding::direct::SparePayloads& JSONDecoder::spares() const noexcept { return parser_->spares; }

JSONDecoder::JSONDecoder() : parser_(std::make_unique<Parser>()) {}
JSONDecoder::~JSONDecoder() = default;
JSONDecoder::JSONDecoder(JSONDecoder&&) noexcept = default;
JSONDecoder& JSONDecoder::operator=(JSONDecoder&&) noexcept = default;

static_assert(JSONDecoder::kTextPadding >= simdjson::SIMDJSON_PADDING);

Decoder JSONDecoder::parse(std::string_view json, bool padded) {
  if (json.size() > maximumDocumentSize) {
    failText("the text is " + std::to_string(json.size()) + " bytes long, more than the " +
             std::to_string(maximumDocumentSize) + " bytes of the decoder's maximumDocumentSize");
  }
  if (startsWithForeignByteOrderMark(json)) {
    failText("the text starts with a UTF-16 or UTF-32 byte-order mark; only UTF-8 is read");
  }
  if (json.starts_with(kUtf8ByteOrderMark)) json.remove_prefix(kUtf8ByteOrderMark.size());

  simdjson::dom::parser& parser = parser_->parser;
  // The parser counts the top-level value as one level, and a value inside it as the next. It
  // reserves room for each level it allows, so it is never asked for more levels than the text
  // has bytes (no text nests deeper): a depth near SIZE_MAX would overflow that room. Any limit
  // from what the text needs up to maximumDepth refuses exactly what maximumDepth refuses.
  const std::size_t limit = parser.max_depth() - 1;
  if (limit > maximumDepth || limit < std::min(maximumDepth, json.size())) {
    const std::size_t depth = std::min(maximumDepth, std::max(json.size(), kDefaultMaximumDepth));
    if (const auto error = parser.allocate(std::max(parser.capacity(), json.size()), depth + 1)) {
      failText(describeParseFailure(error, json, maximumDepth));
    }
  }
  // Unless the text is padded, the parser copies it into its own padded buffer, which it keeps
  // for the next call.
  simdjson::dom::element root;
  if (const auto error = parser.parse(json.data(), json.size(), !padded).get(root)) {
    failText(describeParseFailure(error, json, maximumDepth));
  }
  const simdjson::dom::document& parsed = parser.doc;
  coding::detail::Document& document = parser_->document;
  document.tape = parsed.tape.get();
  document.strings = parsed.string_buf.get();
  document.owner = this;
  document.caught.clear();
  static_cast<void>(root);
  return Decoder(&document, 1);  // the top-level value follows the root word
}

}  // namespace tovanel::chat
