#pragma once
// The seventeen kinds of system event. An event names its own kind in the "type" key of its JSON
// object; the kind selects the event record that InfoBody holds.
//
// This file is the one list of event kinds: a new kind is its enumerator, its raw value, its
// record's declaration and list entry here, and its record's header included at the end.

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/base/TypeList.hpp"

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

template <InfoType Kind>
struct MembershipInfoBody;
template <InfoType Kind>
struct KindOnlyInfoBody;
template <auto Kind>
struct EmptyRecord;
struct RoomAccessibilityInfoBody;
struct RoomCallSummaryInfoBody;
struct RoomCreatedInfoBody;
struct RoomRequestCreatedInfoBody;
struct RoomTagsInfoBody;
struct RoomTitleInfoBody;
struct RoomTopicInfoBody;
struct RoomVisibilityInfoBody;
struct UserPresentInfoBody;

/// The event records, in any order; each names its kind as `T::kind`, and every kind has one.
/// InfoBody's cases and dispatch are generated from this list. (The shared shapes are named by
/// their template here; their headers give each kind's alias, such as AddedInfoBody.)
using InfoRecords =
    TypeList<MembershipInfoBody<InfoType::added>, MembershipInfoBody<InfoType::banned>,
             MembershipInfoBody<InfoType::invited>, MembershipInfoBody<InfoType::joined>,
             KindOnlyInfoBody<InfoType::messageDeleted>, RoomAccessibilityInfoBody,
             RoomCallSummaryInfoBody, RoomCreatedInfoBody,
             EmptyRecord<InfoType::roomHistoryCleared>,
             KindOnlyInfoBody<InfoType::roomRequestedToJoin>,
             MembershipInfoBody<InfoType::roomRequestToJoinAccepted>, RoomRequestCreatedInfoBody,
             RoomTagsInfoBody, RoomTitleInfoBody, RoomTopicInfoBody, RoomVisibilityInfoBody,
             UserPresentInfoBody>;

}  // namespace tovanel::chat

// The event records themselves, after the list: each of their headers includes this one for its
// kind, so they come last, and any header that includes InfoType.hpp sees them all.
#include "tovanel/chat/body/info/KindOnlyInfoBody.hpp"
#include "tovanel/chat/body/info/MembershipInfoBody.hpp"
#include "tovanel/chat/body/info/RoomAccessibilityInfoBody.hpp"
#include "tovanel/chat/body/info/RoomCallSummaryInfoBody.hpp"
#include "tovanel/chat/body/info/RoomCreatedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomHistoryClearedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomRequestCreatedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTagsInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTitleInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTopicInfoBody.hpp"
#include "tovanel/chat/body/info/RoomVisibilityInfoBody.hpp"
#include "tovanel/chat/body/info/UserPresentInfoBody.hpp"
