#pragma once
// A user is present with a piece of media: the media's type as text and a media item holding a
// complete message body. The media item is the one record inside the library that hands a body's
// kind to Body's decoding through the body-type box, and it reads its parts tolerantly.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/CodingKeys.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "user_present".
struct UserPresentInfoBody : coding::Record<UserPresentInfoBody> {
  static constexpr InfoType kind = InfoType::userPresent;  ///< the event's kind

  /// An identifier, a body kind and a body of that kind. A part that cannot be read is left
  /// empty instead of failing the event; only a media value that is no object fails.
  struct TOVANEL_CHAT_API Media : coding::Record<Media> {
    /// The public key set.
    enum class CodingKeys : std::uint8_t { id, type, body };

    std::optional<std::string> id;  ///< the item's identifier
    std::optional<BodyType> type;   ///< the body's kind
    /// Written without its kind: the kind travels only in `type`.
    std::optional<Body> body;

    /// A media item with every field.
    Media(std::optional<std::string> idValue, std::optional<BodyType> typeValue,
          std::optional<Body> bodyValue)
        : id(std::move(idValue)), type(typeValue), body(std::move(bodyValue)) {}

    /// Reads "id" and "type", writes the kind read (or its absence) into the decoder's body-type
    /// box, then reads "body" by that kind. The box keeps that kind afterwards. Without a box the
    /// body cannot be decoded and is left empty.
    static coding::Status tryDecode(const Decoder& decoder, Media& out);

   private:
    friend struct coding::Access;
    explicit Media(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::tolerantKey("id", &Media::id),
                        coding::tolerantKey("type", &Media::type),
                        coding::tolerantKey("body", &Media::body)};
    }
  };

  std::optional<InfoType> type;          ///< the event's "type"
  std::optional<std::string> mediaType;  ///< free text, not compared with the media's kind
  std::optional<Media> media;            ///< the media item

  /// An event with every field.
  UserPresentInfoBody(std::optional<InfoType> typeValue, std::optional<std::string> mediaTypeValue,
                      std::optional<Media> mediaValue)
      : type(typeValue), mediaType(std::move(mediaTypeValue)), media(std::move(mediaValue)) {}

 private:
  friend struct coding::Access;
  explicit UserPresentInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &UserPresentInfoBody::type),
                      coding::optionalKey("mediaType", &UserPresentInfoBody::mediaType),
                      coding::optionalKey("media", &UserPresentInfoBody::media)};
  }
};

/// The JSON keys of the media item, from its field table.
template <>
struct RawValues<UserPresentInfoBody::Media::CodingKeys> {
  /// As errors name it.
  static constexpr std::string_view typeName = "UserPresentInfoBody.Media.CodingKeys";
  static constexpr auto values = coding::keysOf<UserPresentInfoBody::Media>();  ///< in key order
};

}  // namespace tovanel::chat
