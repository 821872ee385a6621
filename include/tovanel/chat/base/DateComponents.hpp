#pragma once
// A plain record of calendar units, each an optional signed 64-bit integer: what duration text
// parses into. No calendar and no time zone; nothing is normalised or validated.

#include <cstdint>
#include <optional>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Calendar.hpp"

namespace tovanel::chat {

/// Calendar units, each absent or a signed 64-bit value.
struct TOVANEL_CHAT_API DateComponents {
  std::optional<std::int64_t> era;
  std::optional<std::int64_t> year;
  std::optional<std::int64_t> month;
  std::optional<std::int64_t> day;
  std::optional<std::int64_t> hour;
  std::optional<std::int64_t> minute;
  std::optional<std::int64_t> second;
  std::optional<std::int64_t> nanosecond;
  std::optional<std::int64_t> weekday;         ///< day of the week
  std::optional<std::int64_t> weekdayOrdinal;  ///< which occurrence of the weekday in the month
  std::optional<std::int64_t> quarter;
  std::optional<std::int64_t> weekOfMonth;        ///< week of the month
  std::optional<std::int64_t> weekOfYear;         ///< weeks (ISO 8601 duration text's W)
  std::optional<std::int64_t> yearForWeekOfYear;  ///< the year that weekOfYear counts in

  /// Sets one unit; an empty value makes it absent.
  void setValue(std::optional<std::int64_t> value, Calendar::Component component) noexcept;
  /// One unit's value, or nothing when it is absent.
  std::optional<std::int64_t> value(Calendar::Component component) const noexcept;

  friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

}  // namespace tovanel::chat
