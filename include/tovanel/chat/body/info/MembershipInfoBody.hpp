#pragma once
// The five events that name the users a change of membership concerns: added, banned, invited,
// joined, and a request to join accepted. They share one shape and one JSON form and differ only
// in their kind, so the shape is written once and each event is an instance of it.

#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

namespace tovanel::chat {

/// A change of membership of the kind `Kind` and the users it concerns.
template <InfoType Kind>
struct MembershipInfoBody : coding::Record<MembershipInfoBody<Kind>> {
  static constexpr InfoType kind = Kind;  ///< the event's kind

  std::optional<InfoType> type;  ///< the event's "type"
  /// The users concerned, in the order received. Absent and empty are different values.
  std::optional<std::vector<ChatMessageUser>> recipients;

  /// An event with its type and users.
  MembershipInfoBody(std::optional<InfoType> typeValue,
                     std::optional<std::vector<ChatMessageUser>> recipientsValue)
      : type(typeValue), recipients(std::move(recipientsValue)) {}

 private:
  friend struct coding::Access;
  explicit MembershipInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &MembershipInfoBody::type),
                      coding::optionalKey("recipients", &MembershipInfoBody::recipients)};
  }
};

/// Users were added to the room ("added").
using AddedInfoBody = MembershipInfoBody<InfoType::added>;
/// Users were banned from the room ("banned").
using BannedInfoBody = MembershipInfoBody<InfoType::banned>;
/// Users were invited to the room ("invited").
using InvitedInfoBody = MembershipInfoBody<InfoType::invited>;
/// Users joined the room ("joined").
using JoinedInfoBody = MembershipInfoBody<InfoType::joined>;
/// A request to join was accepted ("room_request_accepted").
using RoomRequestAcceptedInfoBody = MembershipInfoBody<InfoType::roomRequestToJoinAccepted>;

}  // namespace tovanel::chat
