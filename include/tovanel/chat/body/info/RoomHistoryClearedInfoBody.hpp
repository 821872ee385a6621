#pragma once
// A room's history was cleared. The event has no fields: it reads nothing (not even an object,
// so it decodes from any JSON value) and writes an empty object, without a "type".

#include "tovanel/chat/body/EmptyBody.hpp"
#include "tovanel/chat/body/info/InfoType.hpp"

namespace tovanel::chat {

/// The event "room_history_cleared": every one equals every other.
using RoomHistoryClearedInfoBody = EmptyRecord<InfoType::roomHistoryCleared>;

}  // namespace tovanel::chat
