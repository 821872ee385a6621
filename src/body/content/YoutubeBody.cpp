#include "tovanel/chat/body/content/YoutubeBody.hpp"

#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

namespace tovanel::chat {

bool YoutubeBody::readDuration(const KeyedDecodingContainer& container, std::string_view key,
                               std::optional<double>& out) {
  // Two quiet attempts under the same key: a number first, then text.
  coding::decodeTolerant(container, key, out);
  if (out) return true;
  std::optional<std::string> text;
  coding::decodeTolerant(container, key, text);
  if (!text) return true;
  if (const auto components = ISO8601DurationFormatter().dateComponents(*text)) {
    out = toTimeInterval(*components);
  }
  return true;
}

}  // namespace tovanel::chat
