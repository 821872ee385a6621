#include "tovanel/chat/base/Date.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "base/DateText.hpp"

namespace tovanel::chat {

namespace {

// The decimal digits of 0 to 99, two by two.
constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

/// Writes `value` as exactly `width` decimal digits, leading zeros included: two at a time.
[[gnu::always_inline]] inline char* putDigits(char* out, unsigned value, int width) noexcept {
  int at = width;
  for (; at >= 2; at -= 2, value /= 100)
    std::memcpy(out + at - 2, kDigitPairs + 2 * (value % 100), 2);
  if (at == 1) out[0] = static_cast<char>('0' + value % 10);
  return out + width;
}

// Days since 1970-01-01 of a proleptic Gregorian date, and back (Howard Hinnant's algorithms).
[[gnu::always_inline]] constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m,
                                                            unsigned d) noexcept {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

constexpr Civil civilFromDays(std::int64_t z) noexcept {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

constexpr unsigned daysInMonth(std::int64_t year, unsigned month) noexcept {
  constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : days[month - 1];
}

// A cursor over the text that reads fixed-width digit fields and single characters.
struct Cursor {
  std::string_view text;
  std::size_t at = 0;

  bool digits(std::size_t width, unsigned& out) {
    if (text.size() - at < width) return false;
    unsigned value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      const char c = text[at + i];
      if (c < '0' || c > '9') return false;
      value = value * 10 + static_cast<unsigned>(c - '0');
    }
    at += width;
    out = value;
    return true;
  }
  bool literal(char c) {
    if (at >= text.size() || text[at] != c) return false;
    ++at;
    return true;
  }
  bool atEnd() const { return at == text.size(); }
};

// The forms the encoder writes, "YYYY-MM-DDTHH:MM:SSZ" and "YYYY-MM-DDTHH:MM:SS.mmmZ", read
// with fixed offsets. Nothing for anything else, which the general reading then decides; what it
// reads, it computes as the general reading does, operation for operation, to the same bits.
std::optional<Date> fromFixedISO8601(std::string_view text) noexcept {
  const std::size_t size = text.size();
  if (size != 20 && size != 24) return std::nullopt;
  const char* const p = text.data();
  if (p[4] != '-' || p[7] != '-' || p[10] != 'T' || p[13] != ':' || p[16] != ':' ||
      p[size - 1] != 'Z' || (size == 24 && p[19] != '.')) {
    return std::nullopt;
  }
  unsigned notDigit = 0;
  // Two digits at p + at, with any byte that is not a digit noted.
  const auto twoDigits = [p, &notDigit](int at) {
    const unsigned tens = static_cast<unsigned char>(p[at]) - unsigned{'0'};
    const unsigned ones = static_cast<unsigned char>(p[at + 1]) - unsigned{'0'};
    notDigit |= static_cast<unsigned>(tens > 9) | static_cast<unsigned>(ones > 9);
    return tens * 10 + ones;
  };
  const unsigned year = twoDigits(0) * 100 + twoDigits(2);
  const unsigned month = twoDigits(5), day = twoDigits(8);
  const unsigned hour = twoDigits(11), minute = twoDigits(14), second = twoDigits(17);
  unsigned millis[3] = {0, 0, 0};
  if (size == 24) {
    for (int i = 0; i < 3; ++i) {
      millis[i] = static_cast<unsigned char>(p[20 + i]) - unsigned{'0'};
      notDigit |= static_cast<unsigned>(millis[i] > 9);
    }
  }
  if (notDigit != 0) return std::nullopt;
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 59) {
    return std::nullopt;
  }
  double fraction = 0;
  if (size == 24) {
    // The general reading's scales, divided by ten in turn.
    constexpr double kScale[3] = {0.1, 0.1 / 10, 0.1 / 10 / 10};
    for (int i = 0; i < 3; ++i) fraction += millis[i] * kScale[i];
  }
  const std::int64_t seconds =
      daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
  return Date::since1970(static_cast<double>(seconds) + fraction);
}

}  // namespace

// Whole seconds and the fraction travel apart: the clock's count of nanoseconds since 1970
// exceeds a double's 53 bits, so converting it in one piece would be off by up to 256 ns.
Date::Date(std::chrono::system_clock::time_point timePoint) noexcept {
  using namespace std::chrono;
  const auto whole = floor<seconds>(timePoint);
  const duration<double> fraction = timePoint - whole;
  seconds_ = (static_cast<double>(whole.time_since_epoch().count()) - kReferenceDateSince1970) +
             fraction.count();
}

std::chrono::system_clock::time_point Date::timePoint() const noexcept {
  using namespace std::chrono;
  using TimePoint = system_clock::time_point;
  const double since1970 = timeIntervalSince1970();
  // Beyond the clock's range, the nearest end of it; NaN gives the earliest.
  constexpr double kLimit =
      duration_cast<duration<double>>(TimePoint::duration::max()).count() * 0.999;
  if (!(since1970 > -kLimit)) return since1970 > 0 ? TimePoint::max() : TimePoint::min();
  if (!(since1970 < kLimit)) return TimePoint::max();
  const double whole = std::floor(since1970);
  return TimePoint(seconds(static_cast<std::int64_t>(whole))) +
         round<TimePoint::duration>(duration<double>(since1970 - whole));
}

std::optional<Date> Date::fromISO8601(std::string_view text) {
  if (const auto date = fromFixedISO8601(text)) return date;
  Cursor c{text};
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!(c.digits(4, year) && c.literal('-') && c.digits(2, month) && c.literal('-') &&
        c.digits(2, day) && c.literal('T') && c.digits(2, hour) && c.literal(':') &&
        c.digits(2, minute) && c.literal(':') && c.digits(2, second))) {
    return std::nullopt;
  }
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 59) {
    return std::nullopt;
  }
  double fraction = 0;
  if (c.literal('.')) {
    const std::size_t start = c.at;
    double scale = 0.1;
    unsigned digit = 0;
    while (c.digits(1, digit)) {
      fraction += digit * scale;
      scale /= 10;
    }
    if (c.at == start) return std::nullopt;
  }
  std::int64_t offsetSeconds = 0;
  if (!c.literal('Z')) {
    int sign = 0;
    if (c.literal('+')) {
      sign = 1;
    } else if (c.literal('-')) {
      sign = -1;
    } else {
      return std::nullopt;
    }
    unsigned offsetHours = 0, offsetMinutes = 0;
    if (!c.digits(2, offsetHours)) return std::nullopt;
    if (!c.atEnd()) {
      c.literal(':');
      if (!c.digits(2, offsetMinutes)) return std::nullopt;
    }
    if (offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
    offsetSeconds = sign * static_cast<std::int64_t>(offsetHours * 3600 + offsetMinutes * 60);
  }
  if (!c.atEnd()) return std::nullopt;
  const std::int64_t seconds =
      daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds;
  return Date::since1970(static_cast<double>(seconds) + fraction);
}

std::size_t detail::iso8601Text(double since1970, char* buffer) noexcept {
  // The text holds four-digit years, 0000 to 9999 (a date that rounds up to the year 10000
  // excluded); outside them, and for NaN, there is no text that reads back.
  constexpr double kFirstSecond = -62167219200.0;  // 0000-01-01T00:00:00Z
  constexpr double kEndSecond = 253402300800.0;    // 10000-01-01T00:00:00Z
  if (!(since1970 >= kFirstSecond && since1970 < kEndSecond - 0.0005)) return 0;
  // Whole milliseconds, rounded, so that 0.2505 s does not print as .250 after a binary drift.
  const auto totalMilliseconds = static_cast<std::int64_t>(std::llround(since1970 * 1000.0));
  std::int64_t seconds = totalMilliseconds / 1000;
  std::int64_t milliseconds = totalMilliseconds % 1000;
  if (milliseconds < 0) {
    milliseconds += 1000;
    seconds -= 1;
  }
  std::int64_t days = seconds / 86400;
  std::int64_t secondOfDay = seconds % 86400;
  if (secondOfDay < 0) {
    secondOfDay += 86400;
    days -= 1;
  }
  const Civil civil = civilFromDays(days);
  char* out = buffer;
  out = putDigits(out, static_cast<unsigned>(civil.year), 4);
  *out++ = '-';
  out = putDigits(out, civil.month, 2);
  *out++ = '-';
  out = putDigits(out, civil.day, 2);
  *out++ = 'T';
  out = putDigits(out, static_cast<unsigned>(secondOfDay / 3600), 2);
  *out++ = ':';
  out = putDigits(out, static_cast<unsigned>(secondOfDay / 60 % 60), 2);
  *out++ = ':';
  out = putDigits(out, static_cast<unsigned>(secondOfDay % 60), 2);
  if (milliseconds != 0) {
    *out++ = '.';
    out = putDigits(out, static_cast<unsigned>(milliseconds), 3);
  }
  *out++ = 'Z';
  return static_cast<std::size_t>(out - buffer);
}

std::string Date::iso8601() const {
  char buffer[detail::kISO8601TextMax];
  return std::string(buffer, detail::iso8601Text(timeIntervalSince1970(), buffer));
}

}  // namespace tovanel::chat
