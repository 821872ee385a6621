#include "tovanel/chat/body/content/YoutubeBody.hpp"

#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

namespace tovanel::chat {

coding::Status YoutubeBody::readDuration(const KeyedDecodingContainer& container,
                                         std::string_view key, std::optional<double>& out) {
  out.reset();
  const auto value = container.find(key);
  if (!value) return {};
  coding::ScalarValue scalar;
  std::string_view text;
  if (value->tryRead(scalar.number)) {
    scalar.type = JsonType::number;
  } else if (value->tryRead(text)) {
    scalar.type = JsonType::string;
    scalar.text = text;
  } else {
    scalar.type = value->type();
  }
  durationOf(scalar, out);
  return {};
}

void YoutubeBody::durationOf(const coding::ScalarValue& value, std::optional<double>& out) {
  out.reset();
  // A number, else ISO 8601 text read in place; anything else leaves the field empty.
  if (value.type == JsonType::number) {
    out = value.number;
  } else if (value.type == JsonType::string) {
    if (const auto components = ISO8601DurationFormatter().dateComponents(value.text)) {
      out = toTimeInterval(*components);
    }
  }
}

}  // namespace tovanel::chat
