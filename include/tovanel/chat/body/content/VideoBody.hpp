#pragma once
// The payload of a message that carries a video clip: the clip and its thumbnail picture, each
// optional. An empty clip object is a present clip, which differs from no clip.

#include <optional>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/Video.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind video.
struct VideoBody : coding::Record<VideoBody> {
  static constexpr BodyType kind = BodyType::video;  ///< the body kind of this payload

  std::optional<Video> video;      ///< the clip
  std::optional<Image> thumbnail;  ///< its thumbnail

  /// A body of a clip and its thumbnail.
  VideoBody(std::optional<Video> videoValue, std::optional<Image> thumbnailValue)
      : video(std::move(videoValue)), thumbnail(std::move(thumbnailValue)) {}

 private:
  friend struct coding::Access;
  explicit VideoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("video", &VideoBody::video),
                      coding::optionalKey("thumbnail", &VideoBody::thumbnail)};
  }
};

}  // namespace tovanel::chat
