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

class TOVANEL_CHAT_API Date {
 public:
  /// Seconds from 1970-01-01T00:00:00Z to the reference date.
  static constexpr double kReferenceDateSince1970 = 978307200.0;

  /// The reference date.
  constexpr Date() noexcept = default;
  explicit Date(std::chrono::system_clock::time_point timePoint) noexcept;

  static constexpr Date sinceReferenceDate(double seconds) noexcept { return Date(seconds); }
  static constexpr Date since1970(double seconds) noexcept {
    return Date(seconds - kReferenceDateSince1970);
  }
  static Date now() noexcept { return Date(std::chrono::system_clock::now()); }

  constexpr double timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
  constexpr double timeIntervalSince1970() const noexcept {
    return seconds_ + kReferenceDateSince1970;
  }
  std::chrono::system_clock::time_point timePoint() const noexcept;

  /// Reads `2026-11-22T10:00:00Z`, `2026-11-22T10:00:00.250+02:00` (offsets ±HH:MM, ±HHMM or
  /// ±HH; any number of fraction digits). Nothing for any other text or an impossible date.
  static std::optional<Date> fromISO8601(std::string_view text);
  /// `2026-11-22T10:00:00Z` in UTC, with `.250` milliseconds when they are not zero. Meant for
  /// dates of the years 0000 to 9999, the ones that the text can hold.
  std::string iso8601() const;

  friend constexpr bool operator==(Date a, Date b) noexcept { return a.seconds_ == b.seconds_; }
  friend constexpr std::partial_ordering operator<=>(Date a, Date b) noexcept {
    return a.seconds_ <=> b.seconds_;
  }
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
