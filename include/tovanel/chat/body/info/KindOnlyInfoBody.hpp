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

template <class Event>
struct KindOnlyInfoBody : coding::Record<KindOnlyInfoBody<Event>> {
  std::optional<InfoType> type;

  explicit KindOnlyInfoBody(std::optional<InfoType> type) : type(type) {}

 private:
  friend struct coding::Access;
  KindOnlyInfoBody() = default;
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &KindOnlyInfoBody::type)};
  }
};

using MessageDeletedInfoBody = KindOnlyInfoBody<info_event::MessageDeleted>;
using RoomRequestInfoBody = KindOnlyInfoBody<info_event::RoomRequest>;

}  // namespace tovanel::chat
