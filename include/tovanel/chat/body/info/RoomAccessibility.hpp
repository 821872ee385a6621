#pragma once
// Who may enter a room, as the room-created event states it.

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

/// Who may enter a room.
enum class RoomAccessibility : std::uint8_t {
  request,
  open,
  mutualBasic,
};

/// The raw values of RoomAccessibility.
template <>
struct RawValues<RoomAccessibility> {
  static constexpr std::string_view typeName = "RoomAccessibility";  ///< as errors name it
  /// In case order.
  static constexpr std::array<std::string_view, 3> values{"request", "open", "mutual_basic"};
};

}  // namespace tovanel::chat
