#pragma once
// The events that carry nothing but their kind: a message was deleted (the message is not named)
// and a user asked to join a room. One shape, two distinct types.

#include <optional>
#include <tuple>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

namespace info_event {
struct MessageDeleted;
struct RoomRequest;
}  // namespace info_event

/// An event of one kind that carries nothing else; `Event` only tells the kinds apart.
template <class Event>
struct KindOnlyInfoBody : coding::Record<KindOnlyInfoBody<Event>> {
  std::optional<InfoType> type;  ///< the event's "type"

  /// An event with its type.
  explicit KindOnlyInfoBody(std::optional<InfoType> type) : type(type) {}

 private:
  friend struct coding::Access;
  KindOnlyInfoBody() = default;
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &KindOnlyInfoBody::type)};
  }
};

/// A message was deleted ("message_delete").
using MessageDeletedInfoBody = KindOnlyInfoBody<info_event::MessageDeleted>;
/// A user asked to join the room ("room_request").
using RoomRequestInfoBody = KindOnlyInfoBody<info_event::RoomRequest>;

}  // namespace tovanel::chat
