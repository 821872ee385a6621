#pragma once
// The payload of a message that shares a place: a text, a link, the place's name and description,
// its coordinates and a picture. Every key is required. A location body is made by decoding; its
// fields can then be read and replaced one by one.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind location: a place and what the message says of it.
struct LocationBody : coding::Record<LocationBody> {
  static constexpr BodyType kind = BodyType::location;  ///< the body kind of this payload

  /// The public key set; `originalURL` travels as "originalUrl" and `locationDescription` as
  /// "description".
  enum class CodingKeys : std::uint8_t {
    text,
    originalURL,
    name,
    locationDescription,
    location,
    image,
  };

  /// A place's coordinates, longitude first ("long", then "lat"), both required. Outside the
  /// library a location is decoded, encoded, compared and hashed only as a whole: it has no
  /// public constructor and its coordinates have no public accessors.
  class Location : public coding::Record<Location> {
   private:
    friend struct coding::Access;
    friend struct LocationBody;  // which holds one, made with it by decoding
    explicit Location(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::requiredKey("long", &Location::longitude),
                        coding::requiredKey("lat", &Location::lat)};
    }

    double longitude = 0;  // "long" on the wire, which is a keyword here
    double lat = 0;
  };

  std::string text;                                           ///< the message's text
  std::string originalURL;                                    ///< "originalUrl": the link as shared
  std::string name;                                           ///< the place's name
  std::string locationDescription;                            ///< "description"
  Location location;  ///< the coordinates
  Image image;        ///< a picture of the place

 private:
  friend struct coding::Access;
  explicit LocationBody(coding::detail::Unfilled unfilled)
      : location(unfilled), image(std::nullopt, std::nullopt, std::nullopt, std::nullopt) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::requiredKey("text", &LocationBody::text),
                      coding::requiredKey("originalUrl", &LocationBody::originalURL),
                      coding::requiredKey("name", &LocationBody::name),
                      coding::requiredKey("description", &LocationBody::locationDescription),
                      coding::requiredKey("location", &LocationBody::location),
                      coding::requiredKey("image", &LocationBody::image)};
  }
};

/// The JSON keys of LocationBody, from its field table.
template <>
struct RawValues<LocationBody::CodingKeys> {
  static constexpr std::string_view typeName = "LocationBody.CodingKeys";  ///< as errors name it
  static constexpr auto values = coding::keysOf<LocationBody>();           ///< in key order
};

}  // namespace tovanel::chat
