#include "tovanel/chat/base/Date.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace tovanel::chat {
namespace {

TEST(Date, CountsSecondsFromTheReferenceDate) {
  const std::pair<Date, double> cases[] = {
      {Date(), 978307200.0},
      {Date::sinceReferenceDate(-978307200), 0.0},
      {Date::since1970(1795341600.5), 1795341600.5},
  };
  for (const auto& [date, since1970] : cases) {
    EXPECT_EQ(date.timeIntervalSince1970(), since1970) << date.timeIntervalSinceReferenceDate();
  }
}

TEST(Date, ConvertsToAndFromTheSystemClock) {
  using std::chrono::milliseconds;
  using std::chrono::seconds;
  using TimePoint = std::chrono::system_clock::time_point;
  const std::pair<TimePoint, double> cases[] = {
      {TimePoint(seconds(1795341600)), 1795341600.0},
      {TimePoint(milliseconds(1795341600250)), 1795341600.25},
      {TimePoint(seconds(-86400)), -86400.0},
  };
  for (const auto& [timePoint, since1970] : cases) {
    const Date date(timePoint);
    EXPECT_EQ(std::pair(date.timeIntervalSince1970(), date.timePoint()),
              std::pair(since1970, timePoint))
        << since1970;
  }
}

TEST(Date, BeyondTheSystemClocksRangeGivesItsNearestEnd) {
  using TimePoint = std::chrono::system_clock::time_point;
  const std::pair<double, TimePoint> cases[] = {
      {1e12, TimePoint::max()},
      {-std::numeric_limits<double>::infinity(), TimePoint::min()},
      {std::numeric_limits<double>::quiet_NaN(), TimePoint::min()},
  };
  for (const auto& [since1970, expected] : cases) {
    EXPECT_EQ(Date::since1970(since1970).timePoint(), expected) << since1970;
  }
}

TEST(Date, ComparesByInstant) {
  EXPECT_EQ(Date::since1970(978307200), Date());
  EXPECT_LT(Date::since1970(-1), Date::since1970(0));
  EXPECT_NE(Date::since1970(0.001), Date::since1970(0));
}

struct ReadCase {
  std::string_view text;
  double since1970;
};

TEST(DateISO8601, ReadsUTCOffsetsAndFractions) {
  const ReadCase cases[] = {
      {"2026-11-22T10:00:00Z", 1795341600},      {"2026-11-22T12:00:00+02:00", 1795341600},
      {"2026-11-22T12:00:00+02", 1795341600},    {"2026-11-22T04:30:00-05:30", 1795341600},
      {"2026-11-23T09:59:00+23:59", 1795341600}, {"2026-11-22T10:00:00.123456Z", 1795341600.123456},
      {"2024-02-29T23:59:59Z", 1709251199},      {"0001-01-01T00:00:00Z", -62135596800},
  };
  for (const auto& [text, since1970] : cases) {
    const auto date = Date::fromISO8601(text);
    ASSERT_TRUE(date.has_value()) << text;
    EXPECT_NEAR(date->timeIntervalSince1970(), since1970, 1e-6) << text;
  }
}

TEST(DateISO8601, RejectsImpossibleDatesAndOtherText) {
  const std::string_view cases[] = {
      // impossible dates and times
      "2023-02-29T00:00:00Z",
      "1900-02-29T00:00:00Z",
      "2026-13-01T00:00:00Z",
      "2026-11-22T24:00:00Z",
      "2026-11-22T10:00:00+24:00",
      // incomplete or malformed
      "",
      "2026-11-22T10:00Z",
      "2026-11-22 10:00:00Z",
      "2026-1-22T10:00:00Z",
      "2026-11-22T10:00:00.Z",
      "2026-11-22T10:00:00,5Z",
      "2026-11-22T10:00:00+2:00",
      "2026-11-22T10:00:00Z ",
      // the two fixed lengths, broken in each field
      "2026-11-22T10:00:00.1a3Z",
      "2026-11-22T10:00:00.123z",
      "2026-11-22T10:0:000.123Z",
      "2026-11-2x10:00:00Z",
      "2026-11-31T10:00:00.123Z",
      "2026-00-10T10:00:00Z",
      "2026-11-22T10:60:00.000Z",
      "2026-11-22T10:00:60Z",
  };
  for (const std::string_view text : cases) {
    EXPECT_EQ(Date::fromISO8601(text), std::nullopt) << '"' << text << '"';
  }
}

// The two forms the encoder writes are read by a shortcut; written with "+00:00" in place of the
// "Z", the same instant goes the general way. Both must agree to the bit, on text made of random
// digits in every field (impossible dates included, which both refuse) and on written dates.
TEST(DateISO8601, FixedFormsReadToTheSameBitsAsTheGeneralReading) {
  std::mt19937_64 random(20261124);
  const auto general = [](std::string text) {
    text.replace(text.size() - 1, 1, "+00:00");
    return Date::fromISO8601(text);
  };
  const auto bits = [](const std::optional<Date>& date) {
    return date ? std::bit_cast<std::uint64_t>(date->timeIntervalSinceReferenceDate()) : 0;
  };
  int disagreements = 0, read = 0;
  for (int i = 0; i < 200000; ++i) {
    std::string text;
    if (i % 2 == 0) {
      // Any digits in the fixed shape: months 00-99 and days 00-99 included.
      text = "0000-00-00T00:00:00.000Z";
      for (char& c : text) {
        if (c == '0') c = static_cast<char>('0' + random() % 10);
      }
      if (i % 4 == 0) text = text.substr(0, 19) + "Z";
    } else {
      // A written date, milliseconds and all, anywhere in the years 0000 to 9999.
      const double since1970 =
          -62167219200.0 + static_cast<double>(random() % 315537897600000) / 1000.0;
      text = Date::since1970(since1970).iso8601();
    }
    const auto fast = Date::fromISO8601(text);
    read += fast ? 1 : 0;
    if (fast.has_value() != general(text).has_value() || bits(fast) != bits(general(text))) {
      if (++disagreements <= 5) ADD_FAILURE() << text;
    }
  }
  EXPECT_EQ(disagreements, 0);
  EXPECT_GT(read, 100000);  // the written half at least
}

TEST(DateISO8601, WritesUTCWithMillisecondsOnlyWhenNotZeroAndNothingOutsideFourDigitYears) {
  const std::pair<double, std::string_view> cases[] = {
      {1795341600, "2026-11-22T10:00:00Z"},
      {1795341600.25, "2026-11-22T10:00:00.250Z"},
      {1795341600.0004, "2026-11-22T10:00:00Z"},
      {1795341601.9996, "2026-11-22T10:00:02Z"},
      {253402300799, "9999-12-31T23:59:59Z"},
      {-62167219200, "0000-01-01T00:00:00Z"},
      {253402300799.9996, ""},
      {253402300800, ""},
      {-62167219200.5, ""},
      {1e300, ""},
      {std::nan(""), ""},
  };
  for (const auto& [since1970, text] : cases) {
    EXPECT_EQ(Date::since1970(since1970).iso8601(), text) << since1970;
  }
}

}  // namespace
}  // namespace tovanel::chat
