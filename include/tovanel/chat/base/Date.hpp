#pragma once
// A point in time: seconds since the reference date 2001-01-01T00:00:00Z, as a double. Dates
// compare by instant; their JSON form is chosen by the decoder's and encoder's date strategies.

#include <chrono>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/ValueSemantics.hpp"

namespace tovanel::chat {

/// An instant, as seconds since 2001-01-01T00:00:00Z; compares and hashes by that number.
class TOVANEL_CHAT_API Date {
 public:
  /// Seconds from 1970-01-01T00:00:00Z to the reference date.
  static constexpr double kReferenceDateSince1970 = 978307200.0;

  /// The reference date.
  constexpr Date() noexcept = default;
  /// The instant of a system-clock time point.
  explicit Date(std::chrono::system_clock::time_point timePoint) noexcept;

  /// The instant `seconds` after 2001-01-01T00:00:00Z (before it when negative).
  static constexpr Date sinceReferenceDate(double seconds) noexcept { return Date(seconds); }
  /// The instant `seconds` after 1970-01-01T00:00:00Z (Unix time).
  static constexpr Date since1970(double seconds) noexcept {
    return Date(seconds - kReferenceDateSince1970);
  }
  /// The current instant, from the system clock.
  static Date now() noexcept { return Date(std::chrono::system_clock::now()); }

  /// Seconds since 2001-01-01T00:00:00Z.
  constexpr double timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
  /// Seconds since 1970-01-01T00:00:00Z (Unix time).
  constexpr double timeIntervalSince1970() const noexcept {
    return seconds_ + kReferenceDateSince1970;
  }
  /// The instant as a system-clock time point.
  std::chrono::system_clock::time_point timePoint() const noexcept;

  /// Reads `2026-11-22T10:00:00Z`, `2026-11-22T10:00:00.250+02:00` (offsets ±HH:MM, ±HHMM or
  /// ±HH; any number of fraction digits). Nothing for any other text or an impossible date.
  static std::optional<Date> fromISO8601(std::string_view text);
  /// `2026-11-22T10:00:00Z` in UTC, with `.250` milliseconds when they are not zero. The text
  /// holds the years 0000 to 9999 only: for a date outside them (one that rounds to 10000-01-01
  /// included), and for NaN, it is empty.
  std::string iso8601() const;

  friend constexpr bool operator==(Date a, Date b) noexcept { return a.seconds_ == b.seconds_; }
  friend constexpr std::partial_ordering operator<=>(Date a, Date b) noexcept {
    return a.seconds_ <=> b.seconds_;
  }
  /// Feeds the seconds since the reference date as a double.
  template <class H>
  void hashInto(H& hasher) const {
    value::feed(hasher, seconds_);
  }

 private:
  constexpr explicit Date(double secondsSinceReferenceDate) noexcept
      : seconds_(secondsSinceReferenceDate) {}
  double seconds_ = 0;
};

}  // namespace tovanel::chat
