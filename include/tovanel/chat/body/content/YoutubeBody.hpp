#pragma once
// The payload of a youtube message: a YouTube video the message refers to, as the service
// describes it. Decoding is fully tolerant: a missing, null or malformed value leaves only its
// own field empty, and only a body that is not an object fails.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/Video.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind youtube, read tolerantly.
struct TOVANEL_CHAT_API YoutubeBody : coding::Record<YoutubeBody> {
  static constexpr BodyType kind = BodyType::youtube;  ///< the body kind of this payload

  /// The public key set; `bodyDescription` travels as "description", `siteName` as "site_name".
  enum class CodingKeys : std::uint8_t {
    url,
    id,
    title,
    image,
    duration,
    type,
    bodyDescription,
    video,
    channelTitle,
    originalUrl,
    siteName,
    favicon,
    viewCount,
  };

  std::optional<std::string> url;    ///< the video's page
  std::optional<std::string> id;     ///< the video's identifier
  std::optional<std::string> title;  ///< the video's title
  std::optional<Image> image;        ///< a preview picture
  /// Seconds. Read from a number as is, or from ISO 8601 duration text ("PT4M13S" is 253);
  /// always written as a number.
  std::optional<double> duration;
  std::optional<std::string> type;             ///< as the service names it
  std::optional<std::string> bodyDescription;  ///< "description"
  std::optional<Video> video;                  ///< the playable clip
  std::optional<std::string> channelTitle;     ///< the channel's name
  std::optional<std::string> originalUrl;      ///< the link as shared
  std::optional<std::string> siteName;         ///< "site_name"
  /// The icon's link.
  std::optional<std::string> favicon;
  /// Text as the service sends it; a number under "viewCount" is not read.
  std::optional<std::string> viewCount;

  /// A body with every field, in declaration order.
  YoutubeBody(std::optional<std::string> urlValue, std::optional<std::string> idValue,
              std::optional<std::string> titleValue, std::optional<Image> imageValue,
              std::optional<double> durationValue, std::optional<std::string> typeValue,
              std::optional<std::string> bodyDescriptionValue, std::optional<Video> videoValue,
              std::optional<std::string> channelTitleValue,
              std::optional<std::string> originalUrlValue, std::optional<std::string> siteNameValue,
              std::optional<std::string> faviconValue, std::optional<std::string> viewCountValue)
      : url(std::move(urlValue)),
        id(std::move(idValue)),
        title(std::move(titleValue)),
        image(std::move(imageValue)),
        duration(durationValue),
        type(std::move(typeValue)),
        bodyDescription(std::move(bodyDescriptionValue)),
        video(std::move(videoValue)),
        channelTitle(std::move(channelTitleValue)),
        originalUrl(std::move(originalUrlValue)),
        siteName(std::move(siteNameValue)),
        favicon(std::move(faviconValue)),
        viewCount(std::move(viewCountValue)) {}

 private:
  friend struct coding::Access;
  explicit YoutubeBody(coding::detail::Unfilled) {}

  /// A number, or else ISO 8601 text converted to seconds; anything else leaves it empty. Never
  /// fails.
  static coding::Status readDuration(const KeyedDecodingContainer& container, std::string_view key,
                                     std::optional<double>& out);
  /// The same reading of a value present.
  static void durationOf(const coding::ScalarValue& value, std::optional<double>& out);

  static constexpr auto codingFields() {
    return std::tuple{
        coding::tolerantKey("url", &YoutubeBody::url),
        coding::tolerantKey("id", &YoutubeBody::id),
        coding::tolerantKey("title", &YoutubeBody::title),
        coding::tolerantKey("image", &YoutubeBody::image),
        coding::customKey("duration", &YoutubeBody::duration, &readDuration, &durationOf),
        coding::tolerantKey("type", &YoutubeBody::type),
        coding::tolerantKey("description", &YoutubeBody::bodyDescription),
        coding::tolerantKey("video", &YoutubeBody::video),
        coding::tolerantKey("channelTitle", &YoutubeBody::channelTitle),
        coding::tolerantKey("originalUrl", &YoutubeBody::originalUrl),
        coding::tolerantKey("site_name", &YoutubeBody::siteName),
        coding::tolerantKey("favicon", &YoutubeBody::favicon),
        coding::tolerantKey("viewCount", &YoutubeBody::viewCount)};
  }
};

/// The JSON keys of YoutubeBody, from its field table.
template <>
struct RawValues<YoutubeBody::CodingKeys> {
  static constexpr std::string_view typeName = "YoutubeBody.CodingKeys";  ///< as errors name it
  static constexpr auto values = coding::keysOf<YoutubeBody>();           ///< in key order
};

}  // namespace tovanel::chat
