#pragma once
// A picture wherever a body carries one: its pixel size, its link and the link of an optimized
// rendition. Every field is optional; nothing is validated.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// A picture: size, link and an optimized rendition's link.
struct Image : coding::Record<Image> {
  std::optional<std::int64_t> width;        ///< pixels
  std::optional<std::int64_t> height;       ///< pixels
  std::optional<std::string> url;           ///< the picture's link
  std::optional<std::string> optimizedUrl;  ///< a smaller or faster rendition's link

  /// An image with every field.
  Image(std::optional<std::int64_t> widthValue, std::optional<std::int64_t> heightValue,
        std::optional<std::string> urlValue, std::optional<std::string> optimizedUrlValue)
      : width(widthValue),
        height(heightValue),
        url(std::move(urlValue)),
        optimizedUrl(std::move(optimizedUrlValue)) {}

  /// Height over width (0.5 for 200 wide and 100 high); nothing unless both are positive.
  std::optional<double> aspectRatio() const noexcept {
    if (!width || !height || *width <= 0 || *height <= 0) return std::nullopt;
    return static_cast<double>(*height) / static_cast<double>(*width);
  }

 private:
  friend struct coding::Access;
  explicit Image(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("width", &Image::width),
                      coding::optionalKey("height", &Image::height),
                      coding::optionalKey("url", &Image::url),
                      coding::optionalKey("optimizedUrl", &Image::optimizedUrl)};
  }
};

}  // namespace tovanel::chat
