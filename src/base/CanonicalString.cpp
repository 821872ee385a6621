#include "tovanel/chat/base/CanonicalString.hpp"

#include <utf8proc.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

namespace tovanel::chat {

bool isAscii(std::string_view text) noexcept {
  const char* p = text.data();
  std::size_t n = text.size();
  // Eight bytes at a time: any byte with its top bit set is not ASCII.
  for (; n >= 8; n -= 8, p += 8) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    if ((word & 0x8080808080808080ULL) != 0) return false;
  }
  for (; n != 0; --n, ++p) {
    if ((static_cast<unsigned char>(*p) & 0x80) != 0) return false;
  }
  return true;
}

namespace {

/// NFC as utf8proc names it: canonical composition, limited to what the Unicode stability policy
/// allows.
constexpr auto kNFC = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE);

/// Hangul vowels and trailing consonants compose with the jamo or syllable before them by rule,
/// not through the composition table.
bool isHangulSecond(utf8proc_int32_t c) noexcept {
  return (c >= 0x1161 && c <= 0x1175) || (c >= 0x11A8 && c <= 0x11C2);
}

/// Whether the canonical decomposition of `c` composes back to `c`. It does not for the
/// composition exclusions, for singletons (one code point standing for another) and for
/// decompositions that start with a combining mark.
bool recomposes(utf8proc_int32_t c) noexcept {
  utf8proc_int32_t parts[8];
  int boundary = 0;
  const auto count = utf8proc_decompose_char(c, parts, 8, UTF8PROC_DECOMPOSE, &boundary);
  if (count < 1 || count > 8) return false;
  const auto composed = utf8proc_normalize_utf32(parts, count, kNFC);
  return composed == 1 && parts[0] == c;
}

/// Whether `c`, standing where it stands, may make the text differ from its NFC form: it
/// decomposes for good, or it may compose with what comes before it.
bool mayChangeUnderNFC(utf8proc_int32_t c, const utf8proc_property_t& property) noexcept {
  constexpr utf8proc_uint16_t kNotComposing = UINT16_MAX;
  constexpr utf8proc_uint16_t kSecondOfPair = 0x8000;  // the table marks seconds with the top bit
  const bool decomposes = property.decomp_seqindex != UINT16_MAX && property.decomp_type == 0;
  return (decomposes && !recomposes(c)) ||
         (property.comb_index != kNotComposing && property.comb_index >= kSecondOfPair) ||
         isHangulSecond(c);
}

/// Walks UTF-8 text one code point at a time, with what NFC needs to know of each: whether the
/// form may cut the text just before it (a boundary: a starter that never composes with what
/// precedes it nor changes), and whether it may change the text where it stands (it changes
/// itself, composes with what precedes it, or follows a mark it must be reordered with).
class NFCScan {
 public:
  explicit NFCScan(std::string_view text) noexcept
      : text_(reinterpret_cast<const utf8proc_uint8_t*>(text.data())), size_(text.size()) {}

  enum class Step { boundary, keeps, mayChange, invalid, end };

  /// Moves past the next code point; `at()` is then where it started.
  Step next() noexcept {
    at_ = next_;
    if (next_ == size_) return Step::end;
    if (size_ - next_ >= 8) {  // eight ASCII bytes: eight boundaries
      std::uint64_t word;
      std::memcpy(&word, text_ + next_, 8);
      if ((word & 0x8080808080808080ULL) == 0) {
        at_ = next_ + 7;
        next_ += 8;
        previousClass_ = 0;
        return Step::boundary;
      }
    }
    if (text_[next_] < 0x80) {
      ++next_;
      previousClass_ = 0;
      return Step::boundary;
    }
    utf8proc_int32_t c = 0;
    const auto length =
        utf8proc_iterate(text_ + next_, static_cast<utf8proc_ssize_t>(size_ - next_), &c);
    if (length < 0) return Step::invalid;
    next_ += static_cast<std::size_t>(length);
    const utf8proc_property_t& property = *utf8proc_get_property(c);
    const utf8proc_propval_t combiningClass = property.combining_class;
    const bool misordered = combiningClass != 0 && combiningClass < previousClass_;
    previousClass_ = combiningClass;
    if (misordered || mayChangeUnderNFC(c, property)) return Step::mayChange;
    return combiningClass == 0 ? Step::boundary : Step::keeps;
  }

  std::size_t at() const noexcept { return at_; }

 private:
  const utf8proc_uint8_t* text_;
  std::size_t size_;
  std::size_t at_ = 0;
  std::size_t next_ = 0;
  utf8proc_propval_t previousClass_ = 0;
};

/// NFC of the whole of `text` by utf8proc; nothing when it is not UTF-8.
std::optional<std::string> normalized(std::string_view text) {
  utf8proc_uint8_t* form = nullptr;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &form, kNFC);
  if (length < 0) return std::nullopt;
  std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(form, &std::free);
  return std::string(reinterpret_cast<const char*>(form), static_cast<std::size_t>(length));
}

}  // namespace

// The Unicode quick check: a text is in NFC when no code point may change under it and the
// combining classes of marks never decrease.
bool isKnownCanonical(std::string_view text) noexcept {
  if (isAscii(text)) return true;  // the common case, in the tightest loop
  NFCScan scan(text);
  for (;;) {
    switch (scan.next()) {
      case NFCScan::Step::boundary:
      case NFCScan::Step::keeps:
        continue;
      case NFCScan::Step::end:
        return true;
      case NFCScan::Step::mayChange:
      case NFCScan::Step::invalid:
        return false;
    }
  }
}

// NFC works between boundaries independently, so only the stretch from the boundary before a code
// point that may change to the boundary after it goes through utf8proc; the rest is copied.
std::string canonicalForm(std::string_view text) {
  NFCScan scan(text);
  std::string form;
  std::size_t copied = 0;    // text before this is in `form`
  std::size_t boundary = 0;  // the last place where NFC may cut the text
  for (;;) {
    switch (scan.next()) {
      case NFCScan::Step::boundary:
        boundary = scan.at();
        continue;
      case NFCScan::Step::keeps:
        continue;
      case NFCScan::Step::invalid:  // not UTF-8: the bytes are all there is to compare
        return std::string(text);
      case NFCScan::Step::end:
        if (copied == 0) return std::string(text);
        form.append(text.substr(copied));
        return form;
      case NFCScan::Step::mayChange: {
        auto step = scan.next();
        while (step != NFCScan::Step::boundary && step != NFCScan::Step::end) {
          if (step == NFCScan::Step::invalid) return std::string(text);
          step = scan.next();
        }
        const std::size_t stretchEnd = scan.at();
        const auto stretch = normalized(text.substr(boundary, stretchEnd - boundary));
        if (!stretch) return std::string(text);
        if (form.empty()) form.reserve(text.size() + 8);
        form.append(text.substr(copied, boundary - copied));
        form += *stretch;
        copied = stretchEnd;
        boundary = stretchEnd;
        if (step == NFCScan::Step::end) return form;
        continue;
      }
    }
  }
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
  if (a == b) return true;
  const bool aCanonical = isKnownCanonical(a), bCanonical = isKnownCanonical(b);
  if (aCanonical && bCanonical) return false;  // two NFC forms are equal only when byte-equal
  if (aCanonical) return canonicalForm(b) == a;
  if (bCanonical) return canonicalForm(a) == b;
  return canonicalForm(a) == canonicalForm(b);
}

}  // namespace tovanel::chat
