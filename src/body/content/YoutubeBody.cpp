#include "tovanel/chat/body/content/YoutubeBody.hpp"

#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

namespace tovanel::chat {

coding::Status YoutubeBody::readDuration(const KeyedDecodingContainer& container,
                                         std::string_view key, std::optional<double>& out) {
  out.reset();
  const auto value = container.find(key);
  if (!value) return {};
  // A number, else ISO 8601 text read in place; anything else leaves the field empty.
  double seconds = 0;
  if (value->tryRead(seconds)) {
    out = seconds;
    return {};
  }
  std::string_view text;
  if (!value->tryRead(text)) return {};
  if (const auto components = ISO8601DurationFormatter().dateComponents(text)) {
    out = toTimeInterval(*components);
  }
  return {};
}

}  // namespace tovanel::chat
