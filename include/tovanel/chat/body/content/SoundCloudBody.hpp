#pragma once
// The payload of a soundcloud message: the track it refers to. Decoded strictly: a value of the
// wrong type fails the body, and the duration is a required plain number. A SoundCloud body is
// made by decoding; its fields can then be changed one by one.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind soundcloud: a track.
struct SoundCloudBody : coding::Record<SoundCloudBody> {
  static constexpr BodyType kind = BodyType::soundcloud;  ///< the body kind of this payload

  std::optional<std::int64_t> favorites;   ///< times marked as a favourite
  std::optional<std::string> title;        ///< the track's title
  std::optional<Image> image;              ///< the track's picture
  double duration = 0;                     ///< in whatever unit the service sends
  std::optional<std::string> streamUrl;    ///< the audio stream's link
  std::optional<std::string> username;     ///< the uploader
  std::optional<std::int64_t> plays;       ///< times played
  std::optional<std::string> type;         ///< as the service names it
  std::optional<std::string> url;          ///< the track's page
  std::optional<std::string> originalUrl;  ///< the link as shared

 private:
  friend struct coding::Access;
  explicit SoundCloudBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("favorites", &SoundCloudBody::favorites),
                      coding::optionalKey("title", &SoundCloudBody::title),
                      coding::optionalKey("image", &SoundCloudBody::image),
                      coding::requiredKey("duration", &SoundCloudBody::duration),
                      coding::optionalKey("streamUrl", &SoundCloudBody::streamUrl),
                      coding::optionalKey("username", &SoundCloudBody::username),
                      coding::optionalKey("plays", &SoundCloudBody::plays),
                      coding::optionalKey("type", &SoundCloudBody::type),
                      coding::optionalKey("url", &SoundCloudBody::url),
                      coding::optionalKey("originalUrl", &SoundCloudBody::originalUrl)};
  }
};

}  // namespace tovanel::chat
