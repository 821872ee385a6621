#pragma once
// The payload of a twitch message: the channel or stream it refers to. Every field is optional;
// the identifiers are text, the view count a number.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind twitch: a channel or stream.
struct TwitchBody : coding::Record<TwitchBody> {
  static constexpr BodyType kind = BodyType::twitch;  ///< the body kind of this payload

  std::optional<std::string> gameId;     ///< the game's identifier, text
  std::optional<std::string> game;       ///< the game's name
  std::optional<std::string> channelId;  ///< the channel's identifier, text
  std::optional<Image> image;            ///< a preview picture
  std::optional<std::string> type;       ///< as the service names it
  std::optional<std::int64_t> views;     ///< the view count
  std::optional<std::string> name;       ///< the channel's name

  /// A body with every field, in declaration order.
  TwitchBody(std::optional<std::string> gameIdValue, std::optional<std::string> gameValue,
             std::optional<std::string> channelIdValue, std::optional<Image> imageValue,
             std::optional<std::string> typeValue, std::optional<std::int64_t> viewsValue,
             std::optional<std::string> nameValue)
      : gameId(std::move(gameIdValue)),
        game(std::move(gameValue)),
        channelId(std::move(channelIdValue)),
        image(std::move(imageValue)),
        type(std::move(typeValue)),
        views(viewsValue),
        name(std::move(nameValue)) {}

 private:
  friend struct coding::Access;
  explicit TwitchBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("gameId", &TwitchBody::gameId),
                      coding::optionalKey("game", &TwitchBody::game),
                      coding::optionalKey("channelId", &TwitchBody::channelId),
                      coding::optionalKey("image", &TwitchBody::image),
                      coding::optionalKey("type", &TwitchBody::type),
                      coding::optionalKey("views", &TwitchBody::views),
                      coding::optionalKey("name", &TwitchBody::name)};
  }
};

}  // namespace tovanel::chat
