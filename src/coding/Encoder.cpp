#include "tovanel/chat/coding/Encoder.hpp"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

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
bool appendEscaped(std::string& out, std::string_view text) {
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

void appendIndent(std::string& out, int depth) {
  out += '\n';
  out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

// The key of a member's text `"key":value`, still escaped.
std::string_view memberKey(std::string_view member) {
  std::size_t i = 1;
  while (i < member.size() && member[i] != '"') i += member[i] == '\\' ? 2 : 1;
  return member.substr(1, i - 1);
}
}  // namespace

EncodingRun::EncodingRun(const JSONEncoder& owner, std::string& out) noexcept
    : owner_(&owner), out_(&out), formatting_(owner.outputFormatting) {}

// ---- Encoder ----

const UserInfo& Encoder::userInfo() const noexcept { return run_->owner().userInfo; }

CodingPath Encoder::codingPath() const { return coding::pathOf(link_); }

void Encoder::fail(std::string message) const {
  throw EncodingError(codingPath(), std::move(message));
}

void Encoder::writeString(std::string_view text) {
  std::string& out = run_->out();
  const std::size_t start = out.size();
  // The escaping pass also tells whether the text is ASCII, which is valid UTF-8 as it is.
  if (!appendEscaped(out, text) && !simdjson::validate_utf8(text.data(), text.size())) {
    out.resize(start);  // nothing of the text is written
    fail("the text is not valid UTF-8");
  }
}

void Encoder::writeInteger(std::int64_t number) {
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  run_->out().append(buffer, result.ptr);
}

void Encoder::writeNumber(double number) {
  if (!std::isfinite(number)) {
    fail(std::isnan(number) ? "NaN cannot be written as JSON"
                            : "an infinite number cannot be written as JSON");
  }
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  // Written out in full, a whole number from 2^63 on would read back as an integer that the
  // decoder may not hold in 64 bits: with an exponent it reads back as this double.
  if (std::fabs(number) >= 0x1p63 && std::none_of(buffer, result.ptr, [](char c) {
        return c == '.' || c == 'e';
      })) {
    result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  }
  run_->out().append(buffer, result.ptr);
}

void Encoder::writeBool(bool flag) { run_->out() += flag ? "true" : "false"; }

void Encoder::writeNull() { run_->out() += "null"; }

KeyedEncodingContainer Encoder::container() { return KeyedEncodingContainer(*this); }

UnkeyedEncodingContainer Encoder::unkeyedContainer() { return UnkeyedEncodingContainer(*this); }

SingleValueEncodingContainer Encoder::singleValueContainer() {
  return SingleValueEncodingContainer(*this);
}

// ---- KeyedEncodingContainer ----

KeyedEncodingContainer::KeyedEncodingContainer(const Encoder& self) : self_(self) {
  self_.run_->out() += '{';
  ++self_.run_->depth_;
}

KeyedEncodingContainer::~KeyedEncodingContainer() {
  EncodingRun& run = *self_.run_;
  std::string& out = run.out();
  --run.depth_;
  if (spans_.size() > 1) {
    // Sorted keys: reorder the member texts, keeping the separator between them.
    const std::string separator = out.substr(spans_[0].second, spans_[1].first - spans_[0].second);
    std::vector<std::string> members;
    members.reserve(spans_.size());
    for (const auto& [begin, end] : spans_) members.push_back(out.substr(begin, end - begin));
    std::stable_sort(members.begin(), members.end(),
                     [](const auto& a, const auto& b) { return memberKey(a) < memberKey(b); });
    out.resize(spans_[0].first);
    for (std::size_t i = 0; i < members.size(); ++i) {
      if (i > 0) out += separator;
      out += members[i];
    }
  }
  if (run.formatting().prettyPrinted && count_ > 0) appendIndent(out, run.depth_);
  out += '}';
}

Encoder KeyedEncodingContainer::beginMember(MemberKey key, std::size_t& mark) {
  EncodingRun& run = *self_.run_;
  std::string& out = run.out();
  const bool pretty = run.formatting().prettyPrinted;
  const bool first = count_++ == 0;
  if (pretty) {
    if (!first) out += ',';
    appendIndent(out, run.depth_);
  }
  constexpr std::size_t kShortKey = 56;
  if (key.plain && key.text.size() <= kShortKey) {
    // Most keys: the separator, the quoted key and the colon in one append.
    char prefix[kShortKey + 5];
    char* p = prefix;
    if (!first && !pretty) *p++ = ',';
    memberStart_ = out.size() + static_cast<std::size_t>(p - prefix);
    *p++ = '"';
    std::memcpy(p, key.text.data(), key.text.size());
    p += key.text.size();
    *p++ = '"';
    *p++ = ':';
    if (pretty) *p++ = ' ';
    out.append(prefix, p);
  } else {
    if (!first && !pretty) out += ',';
    memberStart_ = out.size();
    self_.writeString(key.text);
    out += pretty ? ": " : ":";
  }
  mark = out.size();
  return Encoder(run, self_, coding::PathStep{key.text.data(), key.text.size()});
}

void KeyedEncodingContainer::endMember(std::size_t mark) {
  std::string& out = self_.run_->out();
  if (out.size() == mark) out += "{}";  // the value wrote nothing
  if (self_.run_->formatting().sortedKeys) spans_.emplace_back(memberStart_, out.size());
}

void KeyedEncodingContainer::encodeNil(MemberKey key) {
  std::size_t mark = 0;
  beginMember(key, mark).writeNull();
  endMember(mark);
}

// ---- UnkeyedEncodingContainer ----

UnkeyedEncodingContainer::UnkeyedEncodingContainer(const Encoder& self) : self_(self) {
  self_.run_->out() += '[';
  ++self_.run_->depth_;
}

UnkeyedEncodingContainer::~UnkeyedEncodingContainer() {
  EncodingRun& run = *self_.run_;
  --run.depth_;
  if (run.formatting().prettyPrinted && count_ > 0) appendIndent(run.out(), run.depth_);
  run.out() += ']';
}

Encoder UnkeyedEncodingContainer::beginElement(std::size_t& mark) {
  EncodingRun& run = *self_.run_;
  std::string& out = run.out();
  if (count_ > 0) out += ',';
  if (run.formatting().prettyPrinted) appendIndent(out, run.depth_);
  mark = out.size();
  return Encoder(run, self_, coding::PathStep{nullptr, count_++});
}

void UnkeyedEncodingContainer::endElement(std::size_t mark) {
  std::string& out = self_.run_->out();
  if (out.size() == mark) out += "{}";
}

}  // namespace tovanel::chat
