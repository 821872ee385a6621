#include "tovanel/chat/base/CharacterSet.hpp"

#include <utf8proc.h>

#include <algorithm>

#include "base/TextScanning.hpp"

namespace tovanel::chat {

CharacterSet CharacterSet::whitespacesAndNewlines() {
  std::vector<Range> ranges;
  for (const auto& range : detail::kWhiteSpace) ranges.push_back({range.first, range.last});
  return CharacterSet(std::move(ranges));
}

CharacterSet CharacterSet::charactersIn(std::string_view utf8) {
  std::vector<Range> ranges;
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(utf8.data());
  std::size_t at = 0;
  while (at < utf8.size()) {
    utf8proc_int32_t codePoint = 0;
    const auto length =
        utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(utf8.size() - at), &codePoint);
    if (length <= 0) {
      ++at;  // not UTF-8: skipped
      continue;
    }
    const auto character = static_cast<char32_t>(codePoint);
    ranges.push_back({character, character});
    at += static_cast<std::size_t>(length);
  }
  return CharacterSet(std::move(ranges));
}

bool CharacterSet::contains(char32_t codePoint) const noexcept {
  return std::any_of(ranges_.begin(), ranges_.end(), [codePoint](const Range& range) {
    return range.first <= codePoint && codePoint <= range.last;
  });
}

}  // namespace tovanel::chat
