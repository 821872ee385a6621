#pragma once
// A room was created: its first members, the users invited to it and its initial settings.

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/body/info/RoomAccessibility.hpp"
#include "tovanel/chat/body/info/RoomVisibility.hpp"
#include "tovanel/chat/coding/Record.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

namespace tovanel::chat {

/// The event "room_created".
struct RoomCreatedInfoBody : coding::Record<RoomCreatedInfoBody> {
  static constexpr InfoType kind = InfoType::roomCreated;  ///< the event's kind

  std::optional<InfoType> type;                         ///< the event's "type"
  std::optional<std::vector<ChatMessageUser>> added;    ///< the first members
  std::optional<std::vector<ChatMessageUser>> invited;  ///< the users invited
  std::optional<RoomVisibility> visibility;             ///< who may see the room
  std::optional<RoomAccessibility> accessibility;       ///< who may enter it
  std::optional<std::string> title;                     ///< the room's title

  /// An event with every field.
  RoomCreatedInfoBody(std::optional<InfoType> typeValue,
                      std::optional<std::vector<ChatMessageUser>> addedValue,
                      std::optional<std::vector<ChatMessageUser>> invitedValue,
                      std::optional<RoomVisibility> visibilityValue,
                      std::optional<RoomAccessibility> accessibilityValue,
                      std::optional<std::string> titleValue)
      : type(typeValue),
        added(std::move(addedValue)),
        invited(std::move(invitedValue)),
        visibility(visibilityValue),
        accessibility(accessibilityValue),
        title(std::move(titleValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomCreatedInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomCreatedInfoBody::type),
                      coding::optionalKey("added", &RoomCreatedInfoBody::added),
                      coding::optionalKey("invited", &RoomCreatedInfoBody::invited),
                      coding::optionalKey("visibility", &RoomCreatedInfoBody::visibility),
                      coding::optionalKey("accessibility", &RoomCreatedInfoBody::accessibility),
                      coding::optionalKey("title", &RoomCreatedInfoBody::title)};
  }
};

}  // namespace tovanel::chat
