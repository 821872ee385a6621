#pragma once
// The calendar units that a DateComponents value can hold. The library does no calendar
// arithmetic; it only names the units that duration text designates.

#include <cstdint>

namespace tovanel::chat {

/// The calendar's units, by name.
struct Calendar {
  /// One unit of a DateComponents value, in the order DateComponents declares them.
  enum class Component : std::uint8_t {
    era,
    year,
    month,
    day,
    hour,
    minute,
    second,
    nanosecond,
    weekday,
    weekdayOrdinal,
    quarter,
    weekOfMonth,
    weekOfYear,
    yearForWeekOfYear,
  };
};

}  // namespace tovanel::chat
