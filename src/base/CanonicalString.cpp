#include "tovanel/chat/base/CanonicalString.hpp"

#include <utf8proc.h>

#include <cstdlib>
#include <cstring>
#include <memory>

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
  const auto composed = utf8proc_normalize_utf32(
      parts, count, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
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

}  // namespace

// The Unicode quick check: a text is in NFC when no code point may change under it and the
// combining classes of marks never decrease.
bool isKnownCanonical(std::string_view text) noexcept {
  const auto* p = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto* const end = p + text.size();
  utf8proc_propval_t previousClass = 0;
  while (p != end) {
    if (end - p >= 8) {  // eight ASCII bytes at a time
      std::uint64_t word;
      std::memcpy(&word, p, 8);
      if ((word & 0x8080808080808080ULL) == 0) {
        previousClass = 0;
        p += 8;
        continue;
      }
    }
    if (*p < 0x80) {
      previousClass = 0;
      ++p;
      continue;
    }
    utf8proc_int32_t c = 0;
    const auto length = utf8proc_iterate(p, end - p, &c);
    if (length < 0) return false;
    p += length;
    const utf8proc_property_t& property = *utf8proc_get_property(c);
    if (mayChangeUnderNFC(c, property)) return false;
    const utf8proc_propval_t combiningClass = property.combining_class;
    if (combiningClass != 0 && combiningClass < previousClass) return false;
    previousClass = combiningClass;
  }
  return true;
}

std::string canonicalForm(std::string_view text) {
  if (isKnownCanonical(text)) return std::string(text);
  utf8proc_uint8_t* normalized = nullptr;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &normalized,
                                   static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  if (length < 0) return std::string(text);  // not UTF-8: the bytes are all there is to compare
  std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(normalized, &std::free);
  return std::string(reinterpret_cast<const char*>(normalized), static_cast<std::size_t>(length));
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
