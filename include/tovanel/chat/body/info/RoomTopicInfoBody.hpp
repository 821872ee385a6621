#pragma once
// A room's topic changed: the new topic.

#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_topic".
struct RoomTopicInfoBody : coding::Record<RoomTopicInfoBody> {
  static constexpr InfoType kind = InfoType::roomTopic;  ///< the event's kind

  std::optional<InfoType> type;      ///< the event's "type"
  std::optional<std::string> topic;  ///< the new topic

  /// An event with every field.
  RoomTopicInfoBody(std::optional<InfoType> typeValue, std::optional<std::string> topicValue)
      : type(typeValue), topic(std::move(topicValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomTopicInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomTopicInfoBody::type),
                      coding::optionalKey("topic", &RoomTopicInfoBody::topic)};
  }
};

}  // namespace tovanel::chat
