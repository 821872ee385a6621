#pragma once
// The fifteen kinds of message body. A body's JSON does not name its kind: the enclosing record
// carries it beside the body (see BodyTypeBox.hpp for how it reaches the body's decoding).

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

/// Positions matter: they are fed to the hash of Body.
enum class BodyType : std::uint8_t {
  action,
  app,
  event,
  hint,
  hls,
  images,
  info,
  location,
  soundcloud,
  text,
  twitch,
  url,
  video,
  vimeo,
  youtube,
};

/// The raw values of BodyType: the case names.
template <>
struct RawValues<BodyType> {
  static constexpr std::string_view typeName = "BodyType";  ///< as errors name it
  /// In case order.
  static constexpr std::array<std::string_view, 15> values{
      "action", "app",  "event",  "hint", "hls",   "images", "info",   "location",
      "soundcloud", "text", "twitch", "url",  "video", "vimeo",  "youtube"};
};

}  // namespace tovanel::chat
