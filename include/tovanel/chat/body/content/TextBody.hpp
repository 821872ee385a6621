#pragma once
// The payload of a text message: the text and, optionally, the users it mentions, each with the
// span of the text that names them.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Range.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind text.
struct TextBody : coding::Record<TextBody> {
  static constexpr BodyType kind = BodyType::text;  ///< the body kind of this payload

  /// A mentioned user and the span of the text that names them. The bounds count UTF-16 code
  /// units of `text`, as the service sends them; the library stores them unchanged and checks
  /// nothing of them.
  struct TOVANEL_CHAT_API Mention : coding::Record<Mention> {
    std::optional<std::string> userId;       ///< who is mentioned
    std::optional<std::int64_t> rangeStart;  ///< first position of the span
    std::optional<std::int64_t> rangeEnd;    ///< the position just past the span

    /// A mention with its bounds.
    Mention(std::optional<std::string> userIdValue, std::optional<std::int64_t> rangeStartValue,
            std::optional<std::int64_t> rangeEndValue)
        : userId(std::move(userIdValue)), rangeStart(rangeStartValue), rangeEnd(rangeEndValue) {}

    /// Location rangeStart, length rangeEnd - rangeStart (negative when the bounds are reversed);
    /// nothing when a bound is missing or the length does not fit 64 bits.
    std::optional<Range> range() const noexcept;

   private:
    friend struct coding::Access;
    explicit Mention(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("userId", &Mention::userId),
                        coding::optionalKey("rangeStart", &Mention::rangeStart),
                        coding::optionalKey("rangeEnd", &Mention::rangeEnd)};
    }
  };

  std::string text;  ///< the message's text
  /// Absent and empty are different values: they compare unequal and encode differently.
  std::optional<std::vector<Mention>> mentions;

  /// A text with its mentions, or with no list at all.
  TextBody(std::string textValue, std::optional<std::vector<Mention>> mentionsValue)
      : text(std::move(textValue)), mentions(std::move(mentionsValue)) {}

 private:
  friend struct coding::Access;
  explicit TextBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::requiredKey("text", &TextBody::text),
                      coding::optionalKey("mentions", &TextBody::mentions)};
  }
};

}  // namespace tovanel::chat
