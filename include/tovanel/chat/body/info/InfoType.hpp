#pragma once
// The seventeen kinds of system event. An event names its own kind in the "type" key of its JSON
// object; the kind selects the event record that InfoBody holds.

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

/// Positions matter: they are fed to the hash of InfoBody, whose cases are these kinds.
enum class InfoType : std::uint8_t {
  added,
  banned,
  invited,
  joined,
  messageDeleted,
  roomAccessibility,
  roomCallSummary,
  roomCreated,
  roomHistoryCleared,
  roomRequestedToJoin,
  roomRequestToJoinAccepted,
  roomRequestCreated,
  roomTags,
  roomTitle,
  roomTopic,
  roomVisibility,
  userPresent,
  /// The name of InfoBody's case for the kind roomRequestCreated: the same kind.
  roomRequestToGoLive = roomRequestCreated,
};

/// The raw values of InfoType: the "type" words of the events' JSON.
template <>
struct RawValues<InfoType> {
  static constexpr std::string_view typeName = "InfoType";  ///< as errors name it
  /// In case order.
  static constexpr auto values = std::to_array<std::string_view>({
      "added",
      "banned",
      "invited",
      "joined",
      "message_delete",
      "room_accessibility",
      "room_call_summary",
      "room_created",
      "room_history_cleared",
      "room_request",
      "room_request_accepted",
      "room_request_created",
      "room_tags",
      "room_title",
      "room_topic",
      "room_visibility",
      "user_present",
  });
};

}  // namespace tovanel::chat
