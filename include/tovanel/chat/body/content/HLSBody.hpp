#pragma once
// The payload of an hls message: a video stream offered as HLS with what the service knows about
// it (links by type, a geographic restriction, catalogue metadata, trailers). Every field is
// optional; a value of the wrong type anywhere fails the body.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/Video.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind hls: a video stream and what the service knows about it.
struct HLSBody : coding::Record<HLSBody> {
  static constexpr BodyType kind = BodyType::hls;  ///< the body kind of this payload

  /// One stream link of a given type.
  struct StreamURL : coding::Record<StreamURL> {
    std::optional<std::string> type;  ///< the link's type, as the service names it
    std::optional<std::string> url;   ///< the link

    /// A link of a type.
    StreamURL(std::optional<std::string> typeValue, std::optional<std::string> urlValue)
        : type(std::move(typeValue)), url(std::move(urlValue)) {}

   private:
    friend struct coding::Access;
    explicit StreamURL(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("type", &StreamURL::type),
                        coding::optionalKey("url", &StreamURL::url)};
    }
  };

  /// Where the stream may and may not be watched; the texts pass through unchecked.
  struct GeoRestriction : coding::Record<GeoRestriction> {
    std::optional<std::vector<std::string>> allowed;     ///< where it may be watched
    std::optional<std::vector<std::string>> disallowed;  ///< where it may not be watched

    /// A restriction with its two lists.
    GeoRestriction(std::optional<std::vector<std::string>> allowedValue,
                   std::optional<std::vector<std::string>> disallowedValue)
        : allowed(std::move(allowedValue)), disallowed(std::move(disallowedValue)) {}

   private:
    friend struct coding::Access;
    explicit GeoRestriction(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("allowed", &GeoRestriction::allowed),
                        coding::optionalKey("disallowed", &GeoRestriction::disallowed)};
    }
  };

  /// One rating of the content by one source; the value is text ("7.9/10", "88%").
  struct Rating : coding::Record<Rating> {
    std::string source;  ///< who rated
    std::string value;   ///< the rating as text

    /// A rating by `sourceValue`.
    Rating(std::string sourceValue, std::string ratingValue)
        : source(std::move(sourceValue)), value(std::move(ratingValue)) {}

   private:
    friend struct coding::Access;
    explicit Rating(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::requiredKey("source", &Rating::source),
                        coding::requiredKey("value", &Rating::value)};
    }
  };

  /// Catalogue metadata of the content; the rating and the year are text.
  struct Meta : coding::Record<Meta> {
    std::optional<std::string> imdbId;           ///< the IMDb identifier
    std::optional<std::string> imdbRating;       ///< the IMDb rating, as text
    std::optional<std::vector<Rating>> ratings;  ///< other sources' ratings
    std::optional<std::string> audience;         ///< the intended audience
    std::optional<std::string> year;             ///< the year, as text

    /// Metadata with every field.
    Meta(std::optional<std::string> imdbIdValue, std::optional<std::string> imdbRatingValue,
         std::optional<std::vector<Rating>> ratingsValue, std::optional<std::string> audienceValue,
         std::optional<std::string> yearValue)
        : imdbId(std::move(imdbIdValue)),
          imdbRating(std::move(imdbRatingValue)),
          ratings(std::move(ratingsValue)),
          audience(std::move(audienceValue)),
          year(std::move(yearValue)) {}

   private:
    friend struct coding::Access;
    explicit Meta(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("imdbId", &Meta::imdbId),
                        coding::optionalKey("imdbRating", &Meta::imdbRating),
                        coding::optionalKey("ratings", &Meta::ratings),
                        coding::optionalKey("audience", &Meta::audience),
                        coding::optionalKey("year", &Meta::year)};
    }
  };

  /// The public key set, in the order the keys are read and written (not the field order);
  /// `bodyDescription` travels as "description" and `geoRestriction` as "geoRestricted".
  enum class CodingKeys : std::uint8_t {
    bodyDescription,
    type,
    provider,
    originalUrl,
    url,
    image,
    title,
    duration,
    tags,
    meta,
    trailers,
    streamUrls,
    geoRestriction,
  };

  std::optional<std::string> type;                   ///< the content's type
  std::optional<std::string> provider;               ///< who provides the stream
  std::optional<std::string> originalUrl;            ///< the link as shared
  std::optional<std::string> url;                    ///< the stream's page
  std::optional<Image> image;                        ///< a picture of the content
  std::optional<std::string> title;                  ///< the content's title
  std::optional<std::vector<StreamURL>> streamUrls;  ///< the stream's links
  std::optional<std::string> bodyDescription;        ///< "description"
  std::optional<double> duration;                    ///< in whatever unit the service sends
  std::optional<std::vector<std::string>> tags;      ///< free-form tags
  std::optional<GeoRestriction> geoRestriction;      ///< "geoRestricted"
  std::optional<Meta> meta;                          ///< catalogue metadata
  std::optional<std::vector<Video>> trailers;        ///< trailer clips

  /// A body with every field, in declaration order.
  HLSBody(std::optional<std::string> typeValue, std::optional<std::string> providerValue,
          std::optional<std::string> originalUrlValue, std::optional<std::string> urlValue,
          std::optional<Image> imageValue, std::optional<std::string> titleValue,
          std::optional<std::vector<StreamURL>> streamUrlsValue,
          std::optional<std::string> bodyDescriptionValue, std::optional<double> durationValue,
          std::optional<std::vector<std::string>> tagsValue,
          std::optional<GeoRestriction> geoRestrictionValue, std::optional<Meta> metaValue,
          std::optional<std::vector<Video>> trailersValue)
      : type(std::move(typeValue)),
        provider(std::move(providerValue)),
        originalUrl(std::move(originalUrlValue)),
        url(std::move(urlValue)),
        image(std::move(imageValue)),
        title(std::move(titleValue)),
        streamUrls(std::move(streamUrlsValue)),
        bodyDescription(std::move(bodyDescriptionValue)),
        duration(durationValue),
        tags(std::move(tagsValue)),
        geoRestriction(std::move(geoRestrictionValue)),
        meta(std::move(metaValue)),
        trailers(std::move(trailersValue)) {}

 private:
  friend struct coding::Access;
  explicit HLSBody(coding::detail::Unfilled) {}
  // The hash follows the declaration, the coding follows the keys.
  static constexpr auto hashOrder() {
    return std::tuple{&HLSBody::type,       &HLSBody::provider,        &HLSBody::originalUrl,
                      &HLSBody::url,        &HLSBody::image,           &HLSBody::title,
                      &HLSBody::streamUrls, &HLSBody::bodyDescription, &HLSBody::duration,
                      &HLSBody::tags,       &HLSBody::geoRestriction,  &HLSBody::meta,
                      &HLSBody::trailers};
  }
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("description", &HLSBody::bodyDescription),
                      coding::optionalKey("type", &HLSBody::type),
                      coding::optionalKey("provider", &HLSBody::provider),
                      coding::optionalKey("originalUrl", &HLSBody::originalUrl),
                      coding::optionalKey("url", &HLSBody::url),
                      coding::optionalKey("image", &HLSBody::image),
                      coding::optionalKey("title", &HLSBody::title),
                      coding::optionalKey("duration", &HLSBody::duration),
                      coding::optionalKey("tags", &HLSBody::tags),
                      coding::optionalKey("meta", &HLSBody::meta),
                      coding::optionalKey("trailers", &HLSBody::trailers),
                      coding::optionalKey("streamUrls", &HLSBody::streamUrls),
                      coding::optionalKey("geoRestricted", &HLSBody::geoRestriction)};
  }
};

/// The JSON keys of HLSBody, from its field table.
template <>
struct RawValues<HLSBody::CodingKeys> {
  static constexpr std::string_view typeName = "HLSBody.CodingKeys";  ///< as errors name it
  static constexpr auto values = coding::keysOf<HLSBody>();           ///< in key order
};

}  // namespace tovanel::chat
