#pragma once
// ISO 8601 text of dates, written into a caller's buffer (the encoder writes it in place).

#include <cstddef>

namespace tovanel::chat::detail {

/// The longest text iso8601Text writes: "YYYY-MM-DDTHH:MM:SS.mmmZ".
inline constexpr std::size_t kISO8601TextMax = 24;

/// Writes the UTC text of a date given in seconds since 1970 into `out` (room for
/// kISO8601TextMax bytes) and returns its length: whole milliseconds, the fraction only when not
/// zero. 0 for a date outside the years 0000 to 9999, and for NaN.
std::size_t iso8601Text(double since1970, char* out) noexcept;

}  // namespace tovanel::chat::detail
