#pragma once
// A call in a room ended: its status as the service words it, who called and who took part.

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

namespace tovanel::chat {

/// The event "room_call_summary".
struct RoomCallSummaryInfoBody : coding::Record<RoomCallSummaryInfoBody> {
  static constexpr InfoType kind = InfoType::roomCallSummary;  ///< the event's kind

  std::optional<InfoType> type;           ///< the event's "type"
  std::optional<std::string> status;      ///< as received; no set of words is enforced
  std::optional<ChatMessageUser> caller;  ///< who called
  std::optional<std::vector<ChatMessageUser>> participants;  ///< who took part

  /// An event with every field.
  RoomCallSummaryInfoBody(std::optional<InfoType> typeValue, std::optional<std::string> statusValue,
                          std::optional<ChatMessageUser> callerValue,
                          std::optional<std::vector<ChatMessageUser>> participantsValue)
      : type(typeValue),
        status(std::move(statusValue)),
        caller(std::move(callerValue)),
        participants(std::move(participantsValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomCallSummaryInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomCallSummaryInfoBody::type),
                      coding::optionalKey("status", &RoomCallSummaryInfoBody::status),
                      coding::optionalKey("caller", &RoomCallSummaryInfoBody::caller),
                      coding::optionalKey("participants", &RoomCallSummaryInfoBody::participants)};
  }
};

}  // namespace tovanel::chat
