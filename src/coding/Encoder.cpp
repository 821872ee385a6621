#include "tovanel/chat/coding/Encoder.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "coding/Text.hpp"
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

// Escapes the bytes [from, to) of `data` into `out`, where `runStart` is the first byte not yet
// written.
void escapeBytes(std::string& out, const char* data, std::size_t from, std::size_t to,
                 std::size_t& runStart) {
  for (std::size_t i = from; i < to; ++i) {
    const auto c = static_cast<unsigned char>(data[i]);
    if (!needsEscape(c)) continue;
    out.append(data + runStart, i - runStart);
    runStart = i + 1;
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default: {
        const char escape[6] = {'\\', 'u', '0', '0', kHexDigits[c >> 4], kHexDigits[c & 0xF]};
        out.append(escape, 6);
      }
    }
  }
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

// Appends the text as a JSON string and tells whether it is all ASCII. Eight bytes at a time:
// runs without a byte to escape are appended whole.
[[gnu::always_inline]] inline bool appendEscaped(std::string& out, std::string_view text) {
  out += '"';
  const char* const data = text.data();
  const std::size_t size = text.size();
  std::uint64_t seen = 0;  // every byte ORed in: its high bits tell non-ASCII text
  std::size_t runStart = 0;
  std::size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, data + i, sizeof word);
    seen |= word;
    if (anyEscape(word)) escapeBytes(out, data, i, i + 8, runStart);
  }
  if (i < size) {
    const std::uint64_t word = tailWord(data + i, size - i);
    seen |= word;
    if (anyEscape(word)) escapeBytes(out, data, i, size, runStart);
  }
  out.append(data + runStart, size - runStart);
  out += '"';
  return (seen & kHighBits) == 0;
}

// The same, out of line, for keys that need escaping: they are rare, and writeString keeps the
// inlined copy to itself.
[[gnu::noinline]] bool appendEscapedKey(std::string& out, std::string_view key) {
  return appendEscaped(out, key);
}

void appendIndent(std::string& out, int depth) {
  out += '\n';
  out.append(static_cast<std::size_t>(depth) * 2, ' ');
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

coding::detail::EncodingRun::EncodingRun(const JSONEncoder& owner, std::string& out) noexcept
    : owner(owner), out(out), formatting(owner.outputFormatting) {}

// ---- Encoder ----

const UserInfo& Encoder::userInfo() const noexcept { return run_->owner.userInfo; }

CodingPath Encoder::codingPath() const { return coding::detail::pathOf(link_); }

void Encoder::fail(std::string message) const {
  throw EncodingError(codingPath(), std::move(message));
}

void Encoder::failSecondValue() const {
  fail("a second value at one place (a value writes itself once, as one scalar or through one "
       "container)");
}

void Encoder::writeString(std::string_view text) {
  take(Holds::scalar);
  std::string& out = run_->out;
  const std::size_t start = out.size();
  // The escaping pass also tells whether the text is ASCII, which is valid UTF-8 as it is.
  if (!appendEscaped(out, text) && !coding::detail::isValidUtf8(text)) {
    out.resize(start);  // nothing of the text is written
    fail("the text is not valid UTF-8");
  }
}

void Encoder::writeInteger(std::int64_t number) {
  take(Holds::scalar);
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  run_->out.append(buffer, result.ptr);
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
  run_->out.append(buffer, result.ptr);
}

void Encoder::writeBool(bool flag) {
  take(Holds::scalar);
  run_->out += flag ? "true" : "false";
}

void Encoder::writeNull() {
  take(Holds::scalar);
  run_->out += "null";
}

KeyedEncodingContainer Encoder::container() {
  take(Holds::object);
  run_->out += '{';
  ++run_->depth;
  firstSpan_ = run_->spans.size();
  return KeyedEncodingContainer(*this);
}

UnkeyedEncodingContainer Encoder::unkeyedContainer() {
  take(Holds::array);
  run_->out += '[';
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
      run.out += "{}";
      return;
    case Holds::scalar:
      return;
    case Holds::object:
      closeObject();
      return;
    case Holds::array:
      --run.depth;
      if (run.formatting.prettyPrinted && count_ > 0) appendIndent(run.out, run.depth);
      run.out += ']';
      return;
  }
}

void Encoder::closeObject() {
  coding::detail::EncodingRun& run = *run_;
  std::string& out = run.out;
  --run.depth;
  if (run.formatting.sortedKeys) {
    const auto first = run.spans.begin() + static_cast<std::ptrdiff_t>(firstSpan_);
    if (run.spans.end() - first > 1) {
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
    }
    run.spans.erase(first, run.spans.end());
  }
  if (run.formatting.prettyPrinted && count_ > 0) appendIndent(out, run.depth);
  out += '}';
}

Encoder Encoder::beginMember(MemberKey key) {
  coding::detail::EncodingRun& run = *run_;
  std::string& out = run.out;
  const bool pretty = run.formatting.prettyPrinted;
  const bool first = count_++ == 0;
  if (pretty) {
    if (!first) out += ',';
    appendIndent(out, run.depth);
  }
  std::size_t keyStart = 0;
  constexpr std::size_t kShortKey = 56;
  if (key.plain && key.text.size() <= kShortKey) {
    // Most keys: the separator, the quoted key and the colon in one append.
    char prefix[kShortKey + 5];
    char* p = prefix;
    if (!first && !pretty) *p++ = ',';
    keyStart = out.size() + static_cast<std::size_t>(p - prefix);
    *p++ = '"';
    std::memcpy(p, key.text.data(), key.text.size());
    p += key.text.size();
    *p++ = '"';
    *p++ = ':';
    if (pretty) *p++ = ' ';
    out.append(prefix, p);
  } else {
    if (!first && !pretty) out += ',';
    keyStart = out.size();
    if (!appendEscapedKey(out, key.text) && !coding::detail::isValidUtf8(key.text)) {
      out.resize(keyStart);
      fail("the text is not valid UTF-8");
    }
    out += pretty ? ": " : ":";
  }
  if (run.formatting.sortedKeys) run.spans.push_back({keyStart, 0});
  return Encoder(run, *this, coding::detail::PathStep{key.text.data(), key.text.size()});
}

void Encoder::endMember(Encoder& member) {
  member.end();
  if (run_->formatting.sortedKeys) run_->spans.back().end = run_->out.size();
}

Encoder Encoder::beginElement() {
  coding::detail::EncodingRun& run = *run_;
  std::string& out = run.out;
  if (count_ > 0) out += ',';
  if (run.formatting.prettyPrinted) appendIndent(out, run.depth);
  return Encoder(run, *this, coding::detail::PathStep{nullptr, count_++});
}

// ---- containers ----

void KeyedEncodingContainer::encodeNil(MemberKey key) {
  Encoder member = place_->beginMember(key);
  member.writeNull();
  place_->endMember(member);
}

}  // namespace tovanel::chat
