#pragma once
// A duration held as calendar components, turned into seconds or into ISO 8601 duration text.
// No calendar is consulted: a day is always 24 hours, a week 7 days, a month 30 days and a year
// 365 days. Only year, month, weekOfYear, day, hour, minute and second are read; an absent one
// counts as 0 and every other component is ignored.

#include <string>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/DateComponents.hpp"

namespace tovanel::chat {

/// The duration in seconds. Each component is converted to a double and multiplied by its
/// factors one after another, smallest first (a month is value × 60 × 60 × 24 × 30); the terms
/// are added from second up to year. Nothing is rounded; negative components give negative terms.
TOVANEL_CHAT_API double toTimeInterval(const DateComponents& components);

/// The duration as "P<y>Y<m>M<w>W<d>DT<h>H<m>M<s>S", every designator present, absent components
/// written as 0, values as plain signed decimal integers.
TOVANEL_CHAT_API std::string toISO8601Duration(const DateComponents& components);

}  // namespace tovanel::chat
