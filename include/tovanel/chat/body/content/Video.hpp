#pragma once
// A clip wherever a body carries one: its pixel size, its link and its length (a plain number in
// whatever unit the service sends). Every field is optional; nothing is validated.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// A clip: size, link and length.
struct Video : coding::Record<Video> {
  std::optional<std::int64_t> width;   ///< pixels
  std::optional<std::int64_t> height;  ///< pixels
  std::optional<std::string> url;      ///< the clip's link
  std::optional<double> duration;      ///< the length, in the service's unit

  /// A clip with every field.
  Video(std::optional<std::int64_t> widthValue, std::optional<std::int64_t> heightValue,
        std::optional<std::string> urlValue, std::optional<double> durationValue)
      : width(widthValue), height(heightValue), url(std::move(urlValue)), duration(durationValue) {}

 private:
  friend struct coding::Access;
  explicit Video(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{
        coding::optionalKey("width", &Video::width), coding::optionalKey("height", &Video::height),
        coding::optionalKey("url", &Video::url), coding::optionalKey("duration", &Video::duration)};
  }
};

}  // namespace tovanel::chat
