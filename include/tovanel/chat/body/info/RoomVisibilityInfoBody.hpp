#pragma once
// A room's visibility changed. Unlike the accessibility change, the new setting must be a
// RoomVisibility word; any other word fails the event.

#include <optional>
#include <tuple>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/body/info/RoomVisibility.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_visibility".
struct RoomVisibilityInfoBody : coding::Record<RoomVisibilityInfoBody> {
  static constexpr InfoType kind = InfoType::roomVisibility;  ///< the event's kind

  std::optional<InfoType> type;              ///< the event's "type"
  std::optional<RoomVisibility> visibility;  ///< the new setting

  /// An event with every field.
  RoomVisibilityInfoBody(std::optional<InfoType> typeValue,
                         std::optional<RoomVisibility> visibilityValue)
      : type(typeValue), visibility(visibilityValue) {}

 private:
  friend struct coding::Access;
  explicit RoomVisibilityInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomVisibilityInfoBody::type),
                      coding::optionalKey("visibility", &RoomVisibilityInfoBody::visibility)};
  }
};

}  // namespace tovanel::chat
