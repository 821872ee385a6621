#pragma once
// Who may enter a room, as the room-created event states it.

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

enum class RoomAccessibility : std::uint8_t {
  request,
  open,
  mutualBasic,
};

template <>
struct RawValues<RoomAccessibility> {
  static constexpr std::string_view typeName = "RoomAccessibility";
  static constexpr std::array<std::string_view, 3> values{"request", "open", "mutual_basic"};
};

}  // namespace tovanel::chat
