#pragma once
// A room's title changed: the new title and, nested, the title before the change.

#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_title".
struct RoomTitleInfoBody : coding::Record<RoomTitleInfoBody> {
  static constexpr InfoType kind = InfoType::roomTitle;  ///< the event's kind

  /// The title before the change. A Previously without a title differs from no Previously.
  struct Previously : coding::Record<Previously> {
    std::optional<std::string> title;  ///< the title before

    /// The former title.
    explicit Previously(std::optional<std::string> titleValue) : title(std::move(titleValue)) {}

   private:
    friend struct coding::Access;
    explicit Previously(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("title", &Previously::title)};
    }
  };

  std::optional<InfoType> type;          ///< the event's "type"
  std::optional<std::string> title;      ///< the new title
  std::optional<Previously> previously;  ///< the title before the change

  /// An event with every field.
  RoomTitleInfoBody(std::optional<InfoType> typeValue, std::optional<std::string> titleValue,
                    std::optional<Previously> previouslyValue)
      : type(typeValue), title(std::move(titleValue)), previously(std::move(previouslyValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomTitleInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomTitleInfoBody::type),
                      coding::optionalKey("title", &RoomTitleInfoBody::title),
                      coding::optionalKey("previously", &RoomTitleInfoBody::previously)};
  }
};

}  // namespace tovanel::chat
