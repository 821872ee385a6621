#pragma once
// A room's tags changed: the new list of tags.

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_tags".
struct RoomTagsInfoBody : coding::Record<RoomTagsInfoBody> {
  static constexpr InfoType kind = InfoType::roomTags;  ///< the event's kind

  std::optional<InfoType> type;  ///< the event's "type"
  /// Absent and empty are different values.
  std::optional<std::vector<std::string>> tags;

  /// An event with every field.
  RoomTagsInfoBody(std::optional<InfoType> typeValue,
                   std::optional<std::vector<std::string>> tagsValue)
      : type(typeValue), tags(std::move(tagsValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomTagsInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomTagsInfoBody::type),
                      coding::optionalKey("tags", &RoomTagsInfoBody::tags)};
  }
};

}  // namespace tovanel::chat
