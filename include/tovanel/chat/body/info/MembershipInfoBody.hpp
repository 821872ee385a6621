#pragma once
// The five events that name the users a change of membership concerns: added, banned, invited,
// joined, and a request to join accepted. They share one shape and one JSON form and differ only
// in their type, so the shape is written once and each event is an instance of it.

#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

namespace tovanel::chat {

/// The tags that make the membership events distinct types.
namespace info_event {
struct Added;
struct Banned;
struct Invited;
struct Joined;
struct RoomRequestAccepted;
}  // namespace info_event

template <class Event>
struct MembershipInfoBody : coding::Record<MembershipInfoBody<Event>> {
  std::optional<InfoType> type;
  /// The users concerned, in the order received. Absent and empty are different values.
  std::optional<std::vector<ChatMessageUser>> recipients;

  MembershipInfoBody(std::optional<InfoType> type,
                     std::optional<std::vector<ChatMessageUser>> recipients)
      : type(type), recipients(std::move(recipients)) {}

 private:
  friend struct coding::Access;
  MembershipInfoBody() = default;
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &MembershipInfoBody::type),
                      coding::optionalKey("recipients", &MembershipInfoBody::recipients)};
  }
};

using AddedInfoBody = MembershipInfoBody<info_event::Added>;
using BannedInfoBody = MembershipInfoBody<info_event::Banned>;
using InvitedInfoBody = MembershipInfoBody<info_event::Invited>;
using JoinedInfoBody = MembershipInfoBody<info_event::Joined>;
using RoomRequestAcceptedInfoBody = MembershipInfoBody<info_event::RoomRequestAccepted>;

}  // namespace tovanel::chat
