#include "tovanel/chat/body/content/TextBody.hpp"

namespace tovanel::chat {

std::optional<Range> TextBody::Mention::range() const noexcept {
  if (!rangeStart || !rangeEnd) return std::nullopt;
  std::int64_t length = 0;
  if (__builtin_sub_overflow(*rangeEnd, *rangeStart, &length)) return std::nullopt;
  return Range{*rangeStart, length};
}

}  // namespace tovanel::chat
