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

struct RoomAccessibilityInfoBody : coding::Record<RoomAccessibilityInfoBody> {
  std::optional<InfoType> type;
  std::optional<std::string> accessibility;

  RoomAccessibilityInfoBody(std::optional<InfoType> type, std::optional<std::string> accessibility)
      : type(type), accessibility(std::move(accessibility)) {}

 private:
  friend struct coding::Access;
  RoomAccessibilityInfoBody() = default;
  static constexpr auto codingFields() {
    return std::tuple{
        coding::optionalKey("type", &RoomAccessibilityInfoBody::type),
        coding::optionalKey("accessibility", &RoomAccessibilityInfoBody::accessibility)};
  }
};

}  // namespace tovanel::chat
