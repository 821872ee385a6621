#pragma once
// Who may see a room, as the room-created and visibility-change events state it. Its
// `mutualBasic` shares its word with RoomAccessibility's, but the two types never mix.

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"

namespace tovanel::chat {

enum class RoomVisibility : std::uint8_t {
  everyone,
  secret,
  mutualBasic,
};

template <>
struct RawValues<RoomVisibility> {
  static constexpr std::string_view typeName = "RoomVisibility";
  static constexpr std::array<std::string_view, 3> values{"everyone", "secret", "mutual_basic"};
};

}  // namespace tovanel::chat
