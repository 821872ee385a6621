// The direct reader's scanning: white space, strings (scanned in blocks), numbers, and values
// checked and stepped over. Whatever the parser would refuse, or might read otherwise, declines.

#include "tovanel/chat/coding/DirectReader.hpp"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "coding/SparePayloads.hpp"
#include "coding/Text.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define TOVANEL_DIRECT_X86 1
#endif

namespace tovanel::chat::coding::direct {

namespace {

// ---- string scanning ----
// A scanner returns the first byte at or after `at` (before `end`) that is a quote, a backslash
// or a control character, or `end`; it sets `nonAscii` when a byte it passed is above 0x7F.
using Scanner = const char* (*)(const char* at, const char* end, bool& nonAscii) noexcept;

bool special(unsigned char c) noexcept { return c == '"' || c == '\\' || c < 0x20; }

const char* scanScalar(const char* at, const char* end, bool& nonAscii) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101ULL;
  constexpr std::uint64_t highs = 0x8080808080808080ULL;
  // Eight bytes at a time: a word with no quote, backslash or control byte is passed whole.
  while (end - at >= 8) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    const std::uint64_t quote = word ^ (ones * '"');
    const std::uint64_t backslash = word ^ (ones * '\\');
    // A zero byte of x, or a byte below 0x20 of word, sets the high bit of its lane (exactly,
    // since the high bit of the byte itself is masked out first).
    const auto zeroOf = [](std::uint64_t x) { return ~(((x & ~highs) + ~highs) | x) & highs; };
    const std::uint64_t control = ~(((word & ~highs) + (ones * (0x80 - 0x20))) | word) & highs;
    const std::uint64_t hits = zeroOf(quote) | zeroOf(backslash) | control;
    if (hits != 0) {
      const std::size_t lane = static_cast<std::size_t>(__builtin_ctzll(hits)) / 8;
      for (std::size_t i = 0; i < lane; ++i) {
        if (static_cast<unsigned char>(at[i]) > 0x7F) nonAscii = true;
      }
      return at + lane;
    }
    if ((word & highs) != 0) nonAscii = true;
    at += 8;
  }
  for (; at < end; ++at) {
    const auto c = static_cast<unsigned char>(*at);
    if (special(c)) return at;
    if (c > 0x7F) nonAscii = true;
  }
  return at;
}

#ifdef TOVANEL_DIRECT_X86
// The lane of the first quote, backslash or control byte among the 16 bytes at `at`, or 16 for
// none; `nonAscii` is set when a byte before that lane is not ASCII.
[[gnu::always_inline]] inline unsigned specialInBlock(const char* at, bool& nonAscii) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i controlMax = _mm_set1_epi8(0x1F);
  const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(bytes, controlMax), controlMax);
  const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')),
                                                 _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))),
                                    control);
  const auto mask = static_cast<unsigned>(_mm_movemask_epi8(hits));
  const auto high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
  if (mask != 0) {
    const unsigned lane = static_cast<unsigned>(__builtin_ctz(mask));
    if ((high & ((1u << lane) - 1)) != 0) nonAscii = true;
    return lane;
  }
  if (high != 0) nonAscii = true;
  return 16;
}

const char* scanSse2(const char* at, const char* end, bool& nonAscii) noexcept {
  for (; end - at >= 16; at += 16) {
    const unsigned lane = specialInBlock(at, nonAscii);
    if (lane < 16) return at + lane;
  }
  return scanScalar(at, end, nonAscii);
}

[[gnu::target("avx2")]] const char* scanAvx2(const char* at, const char* end,
                                             bool& nonAscii) noexcept {
  const __m256i quote = _mm256_set1_epi8('"');
  const __m256i backslash = _mm256_set1_epi8('\\');
  const __m256i controlMax = _mm256_set1_epi8(0x1F);
  while (end - at >= 32) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    const __m256i control = _mm256_cmpeq_epi8(_mm256_max_epu8(bytes, controlMax), controlMax);
    const __m256i hits = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi8(bytes, quote), _mm256_cmpeq_epi8(bytes, backslash)),
        control);
    const auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(hits));
    const auto high = static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
    if (mask != 0) {
      const unsigned lane = static_cast<unsigned>(__builtin_ctz(mask));
      if ((high & ((std::uint32_t{1} << lane) - 1)) != 0) nonAscii = true;
      return at + lane;
    }
    if (high != 0) nonAscii = true;
    at += 32;
  }
  return scanSse2(at, end, nonAscii);
}
#endif

struct Choice {
  Scanner scan;
  std::string_view name;
};

Choice chooseScanner() noexcept {
  const char* forced = std::getenv("TOVANEL_DIRECT_SCAN");
  if (forced != nullptr && std::string_view(forced) == "scalar") return {&scanScalar, "scalar"};
#ifdef TOVANEL_DIRECT_X86
  if (__builtin_cpu_supports("avx2")) return {&scanAvx2, "avx2"};
  return {&scanSse2, "sse2"};
#else
  return {&scanScalar, "scalar"};
#endif
}

const Choice& scanner() noexcept {
  static const Choice chosen = chooseScanner();
  return chosen;
}

// The first quote, backslash or control byte of a string's text from `at`, or `end`: its first
// sixteen bytes are tested inline (most strings end within them), the rest by the chosen scanner.
// `vector` is false when the portable scanner is in use.
inline const char* findSpecial(const char* at, const char* end, bool vector,
                               bool& nonAscii) noexcept {
#ifdef TOVANEL_DIRECT_X86
  if (vector && end - at >= 16) {
    const unsigned lane = specialInBlock(at, nonAscii);
    if (lane < 16) return at + lane;
    at += 16;
  }
#else
  (void)vector;
#endif
  return scanner().scan(at, end, nonAscii);
}

bool isSpace(char c) noexcept { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// Most integers of a message have fewer than eight digits: those are found and converted within
// one word, with no branch per digit (whose exit the predictor cannot know). True when it read
// them, leaving `p` after them; false, with nothing read, for eight digits or more or too little
// text, which the caller reads digit by digit.
bool leadingDigits(const char*& p, const char* end, std::uint64_t& value) noexcept {
  if constexpr (std::endian::native != std::endian::little) return false;
  if (end - p < 8) return false;
  constexpr std::uint64_t highNibbles = 0xF0F0F0F0F0F0F0F0ULL;
  constexpr std::uint64_t threes = 0x3030303030303030ULL;
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  // A byte is a digit when its high nibble is 3, and still 3 with 6 added (0x30 to 0x39). A carry
  // out of a byte leaves one that is not a digit, and reaches only the bytes after it.
  const std::uint64_t notDigits =
      ((word & highNibbles) ^ threes) | (((word + 0x0606060606060606ULL) & highNibbles) ^ threes);
  if (notDigits == 0) return false;
  const auto count = static_cast<unsigned>(__builtin_ctzll(notDigits)) / 8;
  if (count == 0) return false;
  // The digits moved to the word's last bytes, zeros before them, then converted in pairs, fours
  // and eights (the first byte is the most significant digit).
  std::uint64_t v = (word << (8 * (8 - count))) & 0x0F0F0F0F0F0F0F0FULL;
  v = (v * 2561) >> 8;
  v = ((v & 0x00FF00FF00FF00FFULL) * 6553601) >> 16;
  value = ((v & 0x0000FFFF0000FFFFULL) * 42949672960001ULL) >> 32;
  p += count;
  return true;
}

// An escape's character, for the escapes read here (\u declines).
char unescaped(char c) noexcept {
  switch (c) {
    case '"':
      return '"';
    case '\\':
      return '\\';
    case '/':
      return '/';
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return 0;
  }
}

}  // namespace

bool enabledByDefault() noexcept {
  static const bool enabled = [] {
    const char* setting = std::getenv("TOVANEL_DIRECT_READING");
    return setting == nullptr || std::string_view(setting) != "off";
  }();
  return enabled;
}

std::string_view scannerName() noexcept { return scanner().name; }

Cursor::Cursor(const JSONDecoder& owner, std::string_view text) noexcept
    : owner_(owner),
      at_(text.data()),
      end_(text.data() + text.size()),
      maximumDepth_(owner.maximumDepth),
      vectorKeys_(scanner().scan != &scanScalar) {
  // Text the parser refuses for its size alone declines at once.
  if (text.size() > owner.maximumDocumentSize) end_ = at_;
}

void Cursor::skipSpace() noexcept {
  while (at_ < end_ && isSpace(*at_)) ++at_;
}

bool Cursor::begin(char open, char close, bool& empty) noexcept {
  skipSpace();
  if (at_ == end_ || *at_ != open) return false;
  // The parser counts the enclosing levels; declining one level early is always safe.
  if (++depth_ > maximumDepth_) return false;
  ++at_;
  skipSpace();
  empty = at_ < end_ && *at_ == close;
  if (empty) {
    ++at_;
    --depth_;
  }
  return true;
}

bool Cursor::next(char close, bool& more) noexcept {
  skipSpace();
  if (at_ == end_) return false;
  if (*at_ == ',') {
    ++at_;
    more = true;
    return true;
  }
  if (*at_ != close) return false;
  ++at_;
  --depth_;
  more = false;
  return true;
}

bool Cursor::key(std::string_view& out, std::uint64_t& prefix) noexcept {
  skipSpace();
  if (at_ == end_ || *at_ != '"') return false;
  const char* start = at_ + 1;
  const char* stop = nullptr;
#ifdef TOVANEL_DIRECT_X86
  // Most keys are short and plain ASCII: one block of 16 bytes holds their closing quote.
  if (vectorKeys_ && end_ - start >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(start));
    const __m128i controlMax = _mm_set1_epi8(0x1F);
    const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(bytes, controlMax), controlMax);
    const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')),
                                                   _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))),
                                      control);
    // A byte above 0x7F stops the block too: such keys take the checking path below.
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(hits) | _mm_movemask_epi8(bytes));
    if (mask != 0) {
      const char* first = start + __builtin_ctz(mask);
      if (*first == '"') stop = first;
    }
  }
#endif
  if (stop == nullptr) {
    bool nonAscii = false;
    stop = scanner().scan(start, end_, nonAscii);
    if (stop == end_ || *stop != '"') return false;
    if (nonAscii && !coding::detail::isValidUtf8({start, static_cast<std::size_t>(stop - start)})) {
      return false;
    }
  }
  const auto size = static_cast<std::size_t>(stop - start);
  out = std::string_view(start, size);
  if (std::endian::native == std::endian::little && end_ - start >= 8) {
    std::memcpy(&prefix, start, sizeof prefix);
    if (size < 8) prefix &= (std::uint64_t{1} << (8 * size)) - 1;
  } else {
    prefix = coding::detail::keyPrefix(out);
  }
  at_ = stop + 1;
  skipSpace();
  if (at_ == end_ || *at_ != ':') return false;
  ++at_;
  return true;
}

bool Cursor::nullAfterSpace() noexcept {
  skipSpace();
  if (end_ - at_ >= 4 && std::memcmp(at_, "null", 4) == 0) {
    at_ += 4;
    return true;
  }
  return false;
}

bool Cursor::readString(std::string* out) {
  skipSpace();
  if (at_ == end_ || *at_ != '"') return false;
  ++at_;
  if (out != nullptr) out->clear();
  for (;;) {
    const char* start = at_;
    bool nonAscii = false;
    const char* stop = findSpecial(at_, end_, vectorKeys_, nonAscii);
    if (stop == end_) return false;
    if (nonAscii && !coding::detail::isValidUtf8({start, static_cast<std::size_t>(stop - start)})) {
      return false;
    }
    if (out != nullptr) out->append(start, static_cast<std::size_t>(stop - start));
    at_ = stop + 1;
    if (*stop == '"') return true;
    if (*stop != '\\' || at_ == end_) return false;  // a raw control character
    const char c = unescaped(*at_);
    if (c == 0) return false;  // \u, or no escape at all
    if (out != nullptr) out->push_back(c);
    ++at_;
  }
}

bool Cursor::read(std::string& out) {
  try {
    return readString(&out);
  } catch (...) {
    return false;  // out of memory: the parser-based decoding says so
  }
}

bool Cursor::readView(std::string_view& out) noexcept {
  skipSpace();
  if (at_ == end_ || *at_ != '"') return false;
  const char* start = at_ + 1;
  bool nonAscii = false;
  const char* stop = findSpecial(start, end_, vectorKeys_, nonAscii);
  if (stop == end_ || *stop != '"') return false;
  if (nonAscii && !coding::detail::isValidUtf8({start, static_cast<std::size_t>(stop - start)})) {
    return false;
  }
  out = std::string_view(start, static_cast<std::size_t>(stop - start));
  at_ = stop + 1;
  return true;
}

bool Cursor::read(std::int64_t& out) noexcept {
  skipSpace();
  const char* p = at_;
  const bool negative = p < end_ && *p == '-';
  if (negative) ++p;
  const char* digits = p;
  std::uint64_t value = 0;
  if (!leadingDigits(p, end_, value)) {
    while (p < end_ && isDigit(*p)) {
      value = value * 10 + static_cast<std::uint64_t>(*p - '0');
      ++p;
    }
  }
  const auto count = p - digits;
  // No digits, a leading zero, 19 digits or more, a fraction or an exponent, -0: declined.
  if (count == 0 || count > 18 || (*digits == '0' && count > 1)) return false;
  if (p < end_ && (*p == '.' || *p == 'e' || *p == 'E')) return false;
  if (negative && value == 0) return false;
  out = negative ? -static_cast<std::int64_t>(value) : static_cast<std::int64_t>(value);
  at_ = p;
  return true;
}

bool Cursor::number(double* out, bool skipping) noexcept {
  skipSpace();
  const char* start = at_;
  const char* p = at_;
  if (p < end_ && *p == '-') ++p;
  const char* digits = p;
  while (p < end_ && isDigit(*p)) ++p;
  const auto count = p - digits;
  if (count == 0 || (*digits == '0' && count > 1)) return false;
  bool whole = true;
  if (p < end_ && *p == '.') {
    whole = false;
    const char* fraction = ++p;
    while (p < end_ && isDigit(*p)) ++p;
    if (p == fraction) return false;
  }
  if (p < end_ && (*p == 'e' || *p == 'E')) {
    whole = false;
    ++p;
    if (p < end_ && (*p == '+' || *p == '-')) ++p;
    const char* exponent = p;
    while (p < end_ && isDigit(*p)) ++p;
    if (p == exponent) return false;
  }
  // Integers the parser keeps in 64 bits are converted as it converts them, correctly rounded
  // either way; longer ones, and numbers the parser might round otherwise, decline.
  if (whole && count > 18) return false;
  if (!whole || out != nullptr) {
    if (p - start > 40) return false;
    double value = 0;
    const auto result = std::from_chars(start, p, value);
    if (result.ec != std::errc() || result.ptr != p || !std::isfinite(value)) return false;
    if (!skipping && whole && value == 0 && *start == '-') return false;  // -0
    if (out != nullptr) *out = value;
  }
  at_ = p;
  return true;
}

bool Cursor::read(double& out) noexcept { return number(&out, false); }

bool Cursor::read(bool& out) noexcept {
  skipSpace();
  if (end_ - at_ >= 4 && std::memcmp(at_, "true", 4) == 0) {
    out = true;
    at_ += 4;
    return true;
  }
  if (end_ - at_ >= 5 && std::memcmp(at_, "false", 5) == 0) {
    out = false;
    at_ += 5;
    return true;
  }
  return false;
}

bool Cursor::read(Date& out) noexcept {
  const DateDecodingStrategy& strategy = owner_.dateDecodingStrategy;
  switch (strategy.kind) {
    case DateStrategyKind::deferredToDate:
    case DateStrategyKind::secondsSince1970:
    case DateStrategyKind::millisecondsSince1970: {
      double number = 0;
      if (!read(number)) return false;
      out = strategy.kind == DateStrategyKind::deferredToDate ? Date::sinceReferenceDate(number)
            : strategy.kind == DateStrategyKind::secondsSince1970
                ? Date::since1970(number)
                : Date::since1970(number / 1000.0);
      return true;
    }
    case DateStrategyKind::iso8601: {
      std::string_view text;
      if (!readView(text)) return false;
      try {
        const auto date = Date::fromISO8601(text);
        if (!date) return false;
        out = *date;
        return true;
      } catch (...) {
        return false;
      }
    }
    case DateStrategyKind::custom:
      break;
  }
  return false;
}

bool Cursor::read(ScalarValue& out) {
  skipSpace();
  if (at_ == end_) return false;
  if (*at_ == '"') {
    std::string_view text;
    if (!readView(text)) return false;  // escapes decline
    out.type = JsonType::string;
    out.text = text;
    return true;
  }
  if (*at_ == '-' || isDigit(*at_)) {
    out.type = JsonType::number;
    return number(&out.number, false);
  }
  out.type = *at_ == '{' ? JsonType::object : *at_ == '[' ? JsonType::array : JsonType::null;
  if (*at_ == 't' || *at_ == 'f') out.type = JsonType::boolean;
  return skip();
}

bool Cursor::skip() noexcept {
  skipSpace();
  if (at_ == end_) return false;
  switch (*at_) {
    case '"':
      try {
        return readString(nullptr);
      } catch (...) {
        return false;
      }
    case '{':
    case '[':
      return skipDeep();
    case 't':
    case 'f': {
      bool ignored = false;
      return read(ignored);
    }
    case 'n':
      return null();
    default:
      return number(nullptr, true);
  }
}

// An object or an array, walked level by level without recursion: a bit per open level says
// whether it is an object.
bool Cursor::skipDeep() noexcept {
  const std::size_t base = depth_;
  std::uint64_t objects = 0;
  const auto level = [&] { return depth_ - base - 1; };
  // Opens the container at the cursor: 1 when it has members, 0 when empty, -1 to decline.
  const auto open = [&] {
    const bool object = *at_ == '{';
    bool empty = false;
    if (!begin(*at_, object ? '}' : ']', empty)) return -1;
    if (empty) return 0;
    if (level() >= 64) return -1;
    const std::uint64_t bit = std::uint64_t{1} << level();
    objects = object ? objects | bit : objects & ~bit;
    return 1;
  };
  int opened = open();
  if (opened <= 0) return opened == 0;
  for (;;) {
    if ((objects >> level() & 1) != 0) {
      std::string_view ignored;
      if (!key(ignored)) return false;
    }
    skipSpace();
    if (at_ == end_) return false;
    if (*at_ == '{' || *at_ == '[') {
      opened = open();
      if (opened < 0) return false;
      if (opened == 1) continue;
    } else if (!skip()) {
      return false;
    }
    // After a value: a comma goes on at this level, a closing ends it.
    for (;;) {
      bool more = false;
      if (!next((objects >> level() & 1) != 0 ? '}' : ']', more)) return false;
      if (more) break;
      if (depth_ == base) return true;
    }
  }
}

bool Cursor::atEnd() noexcept {
  skipSpace();
  return at_ == end_;
}

CodingUserInfoValue<BodyType>* Cursor::box() noexcept {
  if (!boxFound_) {
    box_ = coding::detail::findBox<BodyType>(owner_.userInfo, bodyTypeKey());
    boxFound_ = true;
  }
  return box_;
}

std::optional<BodyType> Cursor::bodyKind() const noexcept {
  if (kindPending) return std::nullopt;
  auto* self = const_cast<Cursor*>(this);
  CodingUserInfoValue<BodyType>* found = self->box();
  if (found == nullptr) return std::nullopt;
  return found->value;
}

bool Cursor::handKind(BodyType kind) noexcept {
  CodingUserInfoValue<BodyType>* found = box();
  if (found == nullptr) return false;
  if (!handedKind_) {
    kindBefore_ = found->value;
    handedKind_ = true;
  }
  found->value = kind;
  return true;
}

void Cursor::undoHandOff() noexcept {
  if (handedKind_) box()->value = kindBefore_;
}

void* Cursor::takeSpare(std::size_t slot) noexcept {
  return slot < SparePayloads::kSlots ? owner_.spares().take(slot) : nullptr;
}

void Cursor::setAside(std::size_t slot, void* payload, void (*destroy)(void*) noexcept) noexcept {
  if (slot < SparePayloads::kSlots) {
    owner_.spares().keep(slot, payload, destroy);
  } else {
    destroy(payload);
  }
}

}  // namespace tovanel::chat::coding::direct
