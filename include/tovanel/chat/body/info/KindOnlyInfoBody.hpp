#pragma once
// The events that carry nothing but their kind: a message was deleted (the message is not named)
// and a user asked to join a room. One shape, two kinds.

#include <optional>
#include <tuple>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// An event of the kind `Kind` that carries nothing else.
template <InfoType Kind>
struct KindOnlyInfoBody : coding::Record<KindOnlyInfoBody<Kind>> {
  static constexpr InfoType kind = Kind;  ///< the event's kind

  std::optional<InfoType> type;  ///< the event's "type"

  /// An event with its type.
  explicit KindOnlyInfoBody(std::optional<InfoType> typeValue) : type(typeValue) {}

 private:
  friend struct coding::Access;
  explicit KindOnlyInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &KindOnlyInfoBody::type)};
  }
};

/// A message was deleted ("message_delete").
using MessageDeletedInfoBody = KindOnlyInfoBody<InfoType::messageDeleted>;
/// A user asked to join the room ("room_request").
using RoomRequestInfoBody = KindOnlyInfoBody<InfoType::roomRequestedToJoin>;

}  // namespace tovanel::chat
