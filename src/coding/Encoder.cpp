#include "tovanel/chat/coding/Encoder.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/DateText.hpp"
#include "coding/Text.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {

namespace {
constexpr char kHexDigits[] = "0123456789abcdef";

bool needsEscape(unsigned char c) noexcept { return c == '"' || c == '\\' || c < 0x20; }

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// Whether any of the eight bytes needs escaping: a quote, a backslash or a control character.
// Exact as a yes or no: a borrow can only mark bytes above a byte that matches.
bool anyEscape(std::uint64_t word) noexcept {
  const auto zeroByte = [](std::uint64_t v) { return (v - kOnes) & ~v & kHighBits; };
  return (zeroByte(word ^ (kOnes * '"')) | zeroByte(word ^ (kOnes * '\\')) |
          ((word - kOnes * 0x20) & ~word & kHighBits)) != 0;
}

// Writes one byte of a string at the cursor, escaped when it must be.
[[gnu::noinline]] char* putEscapedByte(char* at, unsigned char c) noexcept {
  if (!needsEscape(c)) {
    *at = static_cast<char>(c);
    return at + 1;
  }
  at[0] = '\\';
  switch (c) {
    case '"':
    case '\\':
      at[1] = static_cast<char>(c);
      return at + 2;
    case '\n':
      at[1] = 'n';
      return at + 2;
    case '\t':
      at[1] = 't';
      return at + 2;
    case '\r':
      at[1] = 'r';
      return at + 2;
    case '\b':
      at[1] = 'b';
      return at + 2;
    case '\f':
      at[1] = 'f';
      return at + 2;
    default:
      std::memcpy(at + 1, "u00", 3);
      at[4] = kHexDigits[c >> 4];
      at[5] = kHexDigits[c & 0xF];
      return at + 6;
  }
}

// The bytes [from, to) of a string of `size` bytes at `data`, written escaped: the run is grown
// so that the rest of the string, escaped or not, still fits after each byte.
char* putEscapedBytes(coding::detail::EncodingRun& run, char* at, const char* data,
                      std::size_t from, std::size_t to, std::size_t size) {
  for (std::size_t i = from; i < to; ++i) {
    run.cursor = at;
    at = run.reserve(6 + (size - i) + 1);
    at = putEscapedByte(at, static_cast<unsigned char>(data[i]));
  }
  return at;
}

// A word holding every one of the `size` (1 to 7) bytes at `p`, some twice, and otherwise 'a':
// it needs an escape or has a high bit exactly when one of the bytes does.
std::uint64_t tailWord(const char* p, std::size_t size) noexcept {
  if (size >= 4) {
    std::uint32_t first;
    std::uint32_t last;
    std::memcpy(&first, p, 4);
    std::memcpy(&last, p + size - 4, 4);
    return first | std::uint64_t{last} << 32;
  }
  const auto byte = [p](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(p[i])}; };
  return (kOnes * 'a' & ~std::uint64_t{0xFFFFFF}) | byte(0) | byte(size / 2) << 8 |
         byte(size - 1) << 16;
}

// Whether any of the 16 bytes needs escaping, as a mask with one bit a byte, and ORs their high
// bits into `highBytes`.
#if defined(__SSE2__)
[[gnu::always_inline]] inline int specialBytes(__m128i block, int& highBytes) noexcept {
  highBytes |= _mm_movemask_epi8(block);
  // A byte is at most 0x1F exactly when the unsigned maximum with 0x1F is 0x1F.
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  const __m128i special =
      _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('"')),
                                _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'))),
                   _mm_cmpeq_epi8(_mm_max_epu8(block, lastControl), lastControl));
  return _mm_movemask_epi8(special);
}
#endif

// Writes the text as a JSON string at the run's cursor and tells whether it is all ASCII. The
// bytes are copied while they are checked: a string under 16 bytes as two overlapping words (most
// strings are that short), a longer one 16 bytes at a time with SSE2 (else 8) and its last
// partial block as the string's last 16 bytes, overlapping what was written. A block with a byte
// to escape goes byte by byte.
[[gnu::always_inline]] inline bool putString(coding::detail::EncodingRun& run,
                                             std::string_view text) {
  const char* const data = text.data();
  const std::size_t size = text.size();
  char* at = run.reserve(size + 2);
  *at++ = '"';
  std::uint64_t seen = 0;  // every byte ORed in: its high bits tell non-ASCII text
  if (size < 16) {
    if (size >= 8) {
      std::uint64_t first, last;
      std::memcpy(&first, data, 8);
      std::memcpy(&last, data + size - 8, 8);
      seen = first | last;
      if (anyEscape(first) || anyEscape(last)) {
        at = putEscapedBytes(run, at, data, 0, size, size);
      } else {
        std::memcpy(at, &first, 8);
        std::memcpy(at + size - 8, &last, 8);
        at += size;
      }
    } else if (size > 0) {
      seen = tailWord(data, size);
      if (anyEscape(seen)) {
        at = putEscapedBytes(run, at, data, 0, size, size);
      } else {
        coding::detail::copyShort(at, data, size);
        at += size;
      }
    }
  } else {
    std::size_t i = 0;
#if defined(__SSE2__)
    int highBytes = 0;
    bool straight = true;  // the last block was copied as it stands
    for (; i + 16 <= size; i += 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
      straight = specialBytes(block, highBytes) == 0;
      if (straight) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at), block);
        at += 16;
      } else {
        at = putEscapedBytes(run, at, data, i, i + 16, size);
      }
    }
    if (i < size) {
      const std::size_t rest = size - i;
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + size - 16));
      // The block's first 16 - rest bytes were checked and written already: as they stand when
      // the block before went straight, so that writing them again changes nothing.
      const unsigned special = static_cast<unsigned>(specialBytes(block, highBytes)) >> (16 - rest);
      if (special == 0 && straight) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at - (16 - rest)), block);
        at += rest;
      } else {
        at = putEscapedBytes(run, at, data, i, size, size);
      }
    }
    if (highBytes != 0) seen = kHighBits;
#else
    for (; i + 8 <= size; i += 8) {
      std::uint64_t word;
      std::memcpy(&word, data + i, sizeof word);
      seen |= word;
      if (anyEscape(word)) {
        at = putEscapedBytes(run, at, data, i, i + 8, size);
      } else {
        std::memcpy(at, &word, sizeof word);
        at += sizeof word;
      }
    }
    if (i < size) {
      const std::uint64_t word = tailWord(data + i, size - i);
      seen |= word;
      if (anyEscape(word)) {
        at = putEscapedBytes(run, at, data, i, size, size);
      } else {
        coding::detail::copyShort(at, data + i, size - i);
        at += size - i;
      }
    }
#endif
  }
  *at++ = '"';
  run.cursor = at;
  return (seen & kHighBits) == 0;
}

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// 10^i for i up to 19.
constexpr auto kPowersOf10 = [] {
  std::array<std::uint64_t, 20> powers{};
  std::uint64_t power = 1;
  for (auto& p : powers) {
    p = power;
    power *= 10;
  }
  return powers;
}();

// Writes the integer in decimal at `at` (up to 20 bytes) and returns the end: the digits are
// counted first, then written two at a time from the last.
char* putInteger(char* at, std::int64_t number) noexcept {
  auto value = static_cast<std::uint64_t>(number);
  if (number < 0) {
    *at++ = '-';
    value = 0 - value;
  }
  // floor(log10(2^bits)) is the number of digits, or one more than it.
  const int estimate = (std::bit_width(value | 1) * 1233) >> 12;
  char* const end = at + estimate + ((value | 1) >= kPowersOf10[estimate]);
  char* p = end;
  while (value >= 100) {
    p -= 2;
    std::memcpy(p, kDigitPairs + 2 * (value % 100), 2);
    value /= 100;
  }
  if (value >= 10) {
    std::memcpy(p - 2, kDigitPairs + 2 * value, 2);
  } else {
    p[-1] = static_cast<char>('0' + value);
  }
  return end;
}

// The same, out of line, for keys that need escaping: they are rare, and writeString keeps the
// inlined copy to itself.
[[gnu::noinline]] bool putEscapedKey(coding::detail::EncodingRun& run, std::string_view key) {
  return putString(run, key);
}

void putIndent(coding::detail::EncodingRun& run) {
  const auto width = static_cast<std::size_t>(run.depth) * 2;
  char* at = run.reserve(width + 1);
  *at = '\n';
  std::memset(at + 1, ' ', width);
  run.cursor = at + 1 + width;
}

int hexDigit(char c) noexcept { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

// Reads the key text starting at its opening quote, unescaping as it goes: the byte at a time
// that the key holds, so that keys compare by what they are rather than by how they are written.
class KeyBytes {
 public:
  KeyBytes(std::string_view out, std::size_t quote) noexcept : text_(out), at_(quote + 1) {}

  // The next byte of the key, or -1 at its end.
  int next() noexcept {
    if (pending_ > 0) return buffer_[--pending_];
    const char c = text_[at_];
    if (c == '"') return -1;
    ++at_;
    if (c != '\\') return static_cast<unsigned char>(c);
    const char escaped = text_[at_++];
    switch (escaped) {
      case 'n':
        return '\n';
      case 't':
        return '\t';
      case 'r':
        return '\r';
      case 'b':
        return '\b';
      case 'f':
        return '\f';
      case 'u': {
        unsigned code = 0;
        for (int i = 0; i < 4; ++i)
          code = code * 16 + static_cast<unsigned>(hexDigit(text_[at_++]));
        // The writer escapes only control characters this way; anything else is its UTF-8.
        if (code < 0x80) return static_cast<int>(code);
        if (code < 0x800) {
          buffer_[pending_++] = static_cast<int>(0x80 | (code & 0x3F));
          return static_cast<int>(0xC0 | (code >> 6));
        }
        buffer_[pending_++] = static_cast<int>(0x80 | (code & 0x3F));
        buffer_[pending_++] = static_cast<int>(0x80 | ((code >> 6) & 0x3F));
        return static_cast<int>(0xE0 | (code >> 12));
      }
      default:  // '"', '\\' and '/' stand for themselves
        return static_cast<unsigned char>(escaped);
    }
  }

 private:
  std::string_view text_;
  std::size_t at_;
  int buffer_[2] = {0, 0};  // continuation bytes still to give, the next one last
  int pending_ = 0;
};

// Whether the key at `a` orders before the key at `b`, byte by byte once unescaped.
bool keyBefore(std::string_view out, std::size_t a, std::size_t b) noexcept {
  KeyBytes left(out, a), right(out, b);
  while (true) {
    const int x = left.next(), y = right.next();
    if (x != y) return x < y;
    if (x < 0) return false;
  }
}
}  // namespace

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

coding::detail::EncodingRun::EncodingRun(const JSONEncoder& owner, std::string& out)
    : owner(owner),
      out(out),
      formatting(owner.outputFormatting),
      compact(!formatting.prettyPrinted && !formatting.sortedKeys),
      start(out.size()) {
  // Room for most messages at once; a longer text grows it by what this call has written, so
  // that appending to a long buffer does not refill all of it.
  out.resize(start + 512);
  cursor = out.data() + start;
  limit = out.data() + out.size();
}

void coding::detail::EncodingRun::grow(std::size_t size) {
  const std::size_t at = written();
  out.resize(at + std::max(size, 2 * (at - start) + 512));
  cursor = out.data() + at;
  limit = out.data() + out.size();
}

std::string& coding::detail::EncodingRun::text() {
  finish();
  cursor = limit = out.data() + out.size();
  return out;
}

// ---- Encoder ----

const UserInfo& Encoder::userInfo() const noexcept { return run_->owner.userInfo; }

CodingPath Encoder::codingPath() const { return coding::detail::pathOf(link_); }

void Encoder::fail(std::string message) const {
  throw EncodingError(codingPath(), std::move(message));
}

void Encoder::failSecondValue() const {
  fail(
      "a second value at one place (a value writes itself once, as one scalar or through one "
      "container)");
}

void Encoder::writeString(std::string_view text) {
  take(Holds::scalar);
  coding::detail::EncodingRun& run = *run_;
  const std::size_t start = run.written();
  // The escaping pass also tells whether the text is ASCII, which is valid UTF-8 as it is.
  if (!putString(run, text) && !coding::detail::isValidUtf8(text)) {
    run.cursor = run.out.data() + start;  // nothing of the text is written
    fail("the text is not valid UTF-8");
  }
}

void Encoder::writeStringMember(MemberKey key, std::string_view text) {
  coding::detail::EncodingRun& run = *run_;
  const std::size_t start = run.written();
  if (!putString(run, text) && !coding::detail::isValidUtf8(text)) {
    run.cursor = run.out.data() + start;
    Encoder(run, *this, coding::detail::PathStep{key.text.data(), key.text.size()})
        .fail("the text is not valid UTF-8");
  }
}

void Encoder::writeInteger(std::int64_t number) {
  take(Holds::scalar);
  run_->cursor = putInteger(run_->reserve(20), number);
}

void Encoder::writeIntegerMember(std::int64_t number) {
  run_->cursor = putInteger(run_->reserve(20), number);
}

void Encoder::writeDateMember(MemberKey key, const Date& date) {
  coding::detail::EncodingRun& run = *run_;
  if (run.owner.dateEncodingStrategy.kind == DateStrategyKind::iso8601) {
    char* at = run.reserve(chat::detail::kISO8601TextMax + 2);
    const std::size_t size = chat::detail::iso8601Text(date.timeIntervalSince1970(), at + 1);
    if (size != 0) {
      at[0] = '"';
      at[size + 1] = '"';
      run.cursor = at + size + 2;
      return;
    }
  }
  // The other strategies, and the failure with its message, as any member's value.
  Encoder member(run, *this, coding::detail::PathStep{key.text.data(), key.text.size()});
  coding::Codec<Date>::encode(member, date);
  member.end();
}

void Encoder::writeNumber(double number) {
  if (!std::isfinite(number)) {
    fail(std::isnan(number) ? "NaN cannot be written as JSON"
                            : "an infinite number cannot be written as JSON");
  }
  take(Holds::scalar);
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  // Written out in full, a whole number from 2^63 on would read back as an integer that the
  // decoder may not hold in 64 bits: with an exponent it reads back as this double.
  if (std::fabs(number) >= 0x1p63 &&
      std::none_of(buffer, result.ptr, [](char c) { return c == '.' || c == 'e'; })) {
    result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  }
  run_->put(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

void Encoder::writeBool(bool flag) {
  take(Holds::scalar);
  if (flag) {
    run_->put("true", 4);
  } else {
    run_->put("false", 5);
  }
}

void Encoder::writeNull() {
  take(Holds::scalar);
  run_->put("null", 4);
}

void Encoder::writeISO8601(const char* text, std::size_t size) {
  take(Holds::scalar);
  char* at = run_->reserve(size + 2);
  *at++ = '"';
  std::memcpy(at, text, size);
  at[size] = '"';
  run_->cursor = at + size + 1;
}

KeyedEncodingContainer Encoder::container() {
  take(Holds::object);
  run_->put("{", 1);
  ++run_->depth;
  firstSpan_ = run_->spans.size();
  return KeyedEncodingContainer(*this);
}

UnkeyedEncodingContainer Encoder::unkeyedContainer() {
  take(Holds::array);
  run_->put("[", 1);
  ++run_->depth;
  return UnkeyedEncodingContainer(*this);
}

SingleValueEncodingContainer Encoder::singleValueContainer() noexcept {
  return SingleValueEncodingContainer(*this);
}

void Encoder::close() {
  coding::detail::EncodingRun& run = *run_;
  switch (holds_) {
    case Holds::nothing:
      run.put("{}", 2);
      return;
    case Holds::scalar:
      return;
    case Holds::object:
      closeObject();
      return;
    case Holds::array:
      --run.depth;
      if (run.formatting.prettyPrinted && count_ > 0) putIndent(run);
      run.put("]", 1);
      return;
  }
}

void Encoder::closeObject() {
  coding::detail::EncodingRun& run = *run_;
  --run.depth;
  if (run.formatting.sortedKeys) {
    const auto first = run.spans.begin() + static_cast<std::ptrdiff_t>(firstSpan_);
    if (run.spans.end() - first > 1) {
      std::string& out = run.text();
      // Reorder the member texts by key, keeping the separator that stands between them.
      std::vector<coding::detail::EncodingRun::Span> members(first, run.spans.end());
      const std::string separator = out.substr(members[0].end, members[1].key - members[0].end);
      std::stable_sort(members.begin(), members.end(),
                       [&](const auto& a, const auto& b) { return keyBefore(out, a.key, b.key); });
      std::string sorted;
      sorted.reserve(out.size() - first->key);
      for (const auto& member : members) {
        if (!sorted.empty()) sorted += separator;
        sorted.append(out, member.key, member.end - member.key);
      }
      out.replace(first->key, std::string::npos, sorted);
      run.cursor = run.limit = out.data() + out.size();
    }
    run.spans.erase(first, run.spans.end());
  }
  if (run.formatting.prettyPrinted && count_ > 0) putIndent(run);
  run.put("}", 1);
}

void Encoder::writeMemberKey(MemberKey key) {
  coding::detail::EncodingRun& run = *run_;
  const bool pretty = run.formatting.prettyPrinted;
  if (count_++ != 0) run.put(",", 1);
  if (pretty) putIndent(run);
  const std::size_t keyStart = run.written();
  if (!putEscapedKey(run, key.text) && !coding::detail::isValidUtf8(key.text)) {
    run.cursor = run.out.data() + keyStart;
    fail("the text is not valid UTF-8");
  }
  if (pretty) {
    run.put(": ", 2);
  } else {
    run.put(":", 1);
  }
  if (run.formatting.sortedKeys) run.spans.push_back({keyStart, 0});
}

void Encoder::endSortedMember() {
  if (run_->formatting.sortedKeys) run_->spans.back().end = run_->written();
}

Encoder Encoder::beginElement() {
  coding::detail::EncodingRun& run = *run_;
  if (count_ > 0) run.put(",", 1);
  if (run.formatting.prettyPrinted) putIndent(run);
  return Encoder(run, *this, coding::detail::PathStep{nullptr, count_++});
}

// ---- containers ----

void KeyedEncodingContainer::encodeNil(MemberKey key) {
  Encoder member = place_->beginMember(key);
  member.writeNull();
  place_->endMember(member);
}

}  // namespace tovanel::chat
