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

std::string canonicalForm(std::string_view text) {
  if (isAscii(text)) return std::string(text);
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
  if (isAscii(a) && isAscii(b)) return false;
  return canonicalForm(a) == canonicalForm(b);
}

}  // namespace tovanel::chat
