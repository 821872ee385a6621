#pragma once
// A room's accessibility changed. The new setting travels as free text, not as a
// RoomAccessibility word: whatever the service sends is kept.

#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_accessibility".
struct RoomAccessibilityInfoBody : coding::Record<RoomAccessibilityInfoBody> {
  static constexpr InfoType kind = InfoType::roomAccessibility;  ///< the event's kind

  std::optional<InfoType> type;              ///< the event's "type"
  std::optional<std::string> accessibility;  ///< the new setting, as sent

  /// An event with every field.
  RoomAccessibilityInfoBody(std::optional<InfoType> typeValue,
                            std::optional<std::string> accessibilityValue)
      : type(typeValue), accessibility(std::move(accessibilityValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomAccessibilityInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{
        coding::optionalKey("type", &RoomAccessibilityInfoBody::type),
        coding::optionalKey("accessibility", &RoomAccessibilityInfoBody::accessibility)};
  }
};

}  // namespace tovanel::chat
