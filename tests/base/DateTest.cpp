// Dates: seconds from the reference date, the system clock, ISO 8601 text, and the decoder's and
// encoder's date strategies.

#include <bit>
#include <chrono>
#include <random>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

// Seconds from the reference date and from 1970, and the system clock's time point: beyond the
// clock's range, its nearest end.
TEST(Date, CountsSecondsFromTheReferenceDateAndConvertsToTheSystemClock) {
  using std::chrono::milliseconds;
  using std::chrono::seconds;
  using TimePoint = std::chrono::system_clock::time_point;
  const std::tuple<Date, double, TimePoint> cases[] = {
      {Date(), 978307200.0, TimePoint(seconds(978307200))},
      {Date::sinceReferenceDate(-978307200), 0.0, TimePoint()},
      {Date(TimePoint(milliseconds(1795341600250))), 1795341600.25,
       TimePoint(milliseconds(1795341600250))},
      {Date(TimePoint(seconds(-86400))), -86400.0, TimePoint(seconds(-86400))},
      {Date::since1970(1e12), 1e12, TimePoint::max()},
      {Date::since1970(-std::numeric_limits<double>::infinity()),
       -std::numeric_limits<double>::infinity(), TimePoint::min()},
  };
  for (const auto& [date, since1970, timePoint] : cases) {
    EXPECT_EQ(std::pair(date.timeIntervalSince1970(), date.timePoint()),
              std::pair(since1970, timePoint))
        << since1970;
  }
  EXPECT_EQ(Date::since1970(std::numeric_limits<double>::quiet_NaN()).timePoint(),
            TimePoint::min());
  // Dates compare by instant.
  EXPECT_EQ(Date::since1970(978307200), Date());
  EXPECT_LT(Date::since1970(-1), Date::since1970(0));
  EXPECT_NE(Date::since1970(0.001), Date::since1970(0));
}

// Seconds from 1970 of a date and time, by counting days from the year 0 (independently of the
// library's arithmetic); nothing when no such date or time exists.
std::optional<double> counted(const int (&field)[6]) {
  const auto [year, month, day, hour, minute, second] = field;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  const int lengths[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1 || day > lengths[month - 1] || hour > 23 || minute > 59 ||
      second > 59) {
    return std::nullopt;
  }
  const auto daysBefore = [](std::int64_t y) {  // in the years 0 to y - 1, leap years counted
    return 365 * y + (y + 3) / 4 - (y + 99) / 100 + (y + 399) / 400;
  };
  std::int64_t days = daysBefore(year) - daysBefore(1970) + day - 1;
  for (int m = 1; m < month; ++m) days += lengths[m - 1];
  return static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second);
}

// Random digits in every field (impossible dates and times included, centuries often), with a
// fraction of 0 to 6 digits, read as counted: with "Z", to the same bits with "+00:00", and with
// any offset (out of range included). A valid time with "Z" and 0 or 3 digits is also exactly
// what the date writes.
TEST(DateISO8601, ReadsEveryFieldAsCountedAndWritesWhatItReads) {
  std::mt19937_64 random(20261124);
  const auto bits = [](const std::optional<Date>& date) {
    return date ? std::bit_cast<std::uint64_t>(date->timeIntervalSinceReferenceDate()) : 0;
  };
  for (int i = 0; i < 100000; ++i) {
    int field[6];  // year, month, day, hour, minute, second
    const int below[] = {10000, 14, 33, 25, 61, 61};
    for (int k = 0; k < 6; ++k) field[k] = static_cast<int>(random() % below[k]);
    if (i % 8 == 0) field[0] = field[0] / 100 * 100;
    const auto digits = static_cast<std::size_t>(random() % 7);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06d", field[0], field[1],
                  field[2], field[3], field[4], field[5], static_cast<int>(random() % 1000000));
    const std::string base(text, digits == 0 ? 19 : 20 + digits);
    std::optional<double> expected = counted(field);
    if (expected && digits > 0) *expected += std::stod("0" + base.substr(19));
    const auto read = Date::fromISO8601(base + "Z");
    ASSERT_EQ(read.has_value(), expected.has_value()) << base;
    ASSERT_EQ(bits(read), bits(Date::fromISO8601(base + "+00:00"))) << base;
    if (expected) {
      ASSERT_NEAR(read->timeIntervalSince1970(), *expected, 1e-4) << base;
      if (digits == 0 || (digits == 3 && base.substr(20) != "000")) {
        ASSERT_EQ(read->iso8601(), base + "Z");
      }
    }
    const int offsetHours = static_cast<int>(random() % 25),
              offsetMinutes = static_cast<int>(random() % 61);
    const int sign = i % 2 == 0 ? 1 : -1;
    std::snprintf(text, sizeof text, i % 3 == 0 ? "%c%02d" : "%c%02d:%02d", sign > 0 ? '+' : '-',
                  offsetHours, offsetMinutes);
    const bool offsetValid = offsetHours < 24 && (i % 3 == 0 || offsetMinutes < 60);
    const int offset = offsetHours * 3600 + (i % 3 == 0 ? 0 : offsetMinutes * 60);
    const auto shifted = Date::fromISO8601(base + text);
    ASSERT_EQ(shifted.has_value(), expected.has_value() && offsetValid) << base + text;
    if (shifted) {
      ASSERT_NEAR(shifted->timeIntervalSince1970(), *expected - sign * offset, 1e-4);
    }
  }
}

// What no random digits make: malformed fields and separators.
TEST(DateISO8601, RejectsMalformedText) {
  const std::string_view cases[] = {
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
      "2026-11-22T10:00:00.1:3Z",
      "2026-11-22T10:00:00.123z",
      "2026-11-22T10:0:000.123Z",
      "2026-11-2x10:00:00Z",
  };
  for (const std::string_view text : cases) {
    EXPECT_EQ(Date::fromISO8601(text), std::nullopt) << '"' << text << '"';
  }
}

// Dates through the decoder's and the encoder's date strategies.

// A record holding a date, so that failures carry a coding path.
struct Stamp : coding::Record<Stamp> {
  std::optional<Date> at;

 private:
  friend struct coding::Access;
  Stamp() = default;
  static constexpr auto codingFields() { return std::tuple{coding::optionalKey("at", &Stamp::at)}; }
};

// A caller's own form: "@" followed by seconds since 1970.
Date readAtSign(const Decoder& decoder) {
  const auto text = decoder.decode<std::string>();
  if (text.empty() || text[0] != '@') throw std::runtime_error("a stamp starts with @");
  return Date::since1970(std::stod(text.substr(1)));
}

void writeAtSign(const Date& date, Encoder& encoder) {
  encoder.writeString("@" + std::to_string(static_cast<long long>(date.timeIntervalSince1970())));
}

struct DecodeCase {
  DateDecodingStrategy strategy;
  std::string_view value;           // the JSON value under "at"
  std::optional<double> since1970;  // the date read, or nothing when it fails
  std::string_view failure;         // the outcome when it fails
  std::string_view why = "";        // a part of its description
};

// A failure's description says what could not be read: the text and the form it lacks, the
// strategy that expected a number and the one ISO 8601 text needs, or what a custom strategy threw.
TEST(DateDecodingStrategy, ReadsEachFormAndRejectsWhatItCannotReadSayingWhy) {
  using S = DateDecodingStrategy;
  const DecodeCase cases[] = {
      {S::deferredToDate(), "0", 978307200, ""},
      {S::deferredToDate(), "12.5", 978307212.5, ""},
      {S::deferredToDate(), R"("2026-11-22T10:00:00Z")", std::nullopt, "typeMismatch at at",
       "since 2001-01-01T00:00:00Z (the dateDecodingStrategy deferredToDate; ISO 8601 text needs "
       "iso8601), found a string"},
      {S::secondsSince1970(), "1795341600.25", 1795341600.25, ""},
      {S::millisecondsSince1970(), "-1500", -1.5, ""},
      {S::millisecondsSince1970(), "[1500]", std::nullopt, "typeMismatch at at"},
      {S::millisecondsSince1970(), R"("1795341600")", std::nullopt, "typeMismatch at at",
       "(the dateDecodingStrategy millisecondsSince1970; ISO 8601 text needs iso8601)"},
      {S::iso8601(), R"("2026-11-22T04:30:00.5-0530")", 1795341600.5, ""},
      {S::iso8601(), "1795341600", std::nullopt, "typeMismatch at at"},
      {S::iso8601(), R"("2026-02-30T00:00:00Z")", std::nullopt, "dataCorrupted at at",
       R"("2026-02-30T00:00:00Z")"},
      {S::iso8601(), R"("2026-11-22T10:00:00")", std::nullopt, "dataCorrupted at at", "ISO 8601"},
      {S::custom(readAtSign), R"("@1795341600")", 1795341600, ""},
      // The decoder's own errors pass through a custom strategy unchanged...
      {S::custom(readAtSign), "1795341600", std::nullopt, "typeMismatch at at"},
      // ...and anything else it throws is dataCorrupted.
      {S::custom(readAtSign), R"("1795341600")", std::nullopt, "dataCorrupted at at",
       "a stamp starts with @"},
      {S::custom(nullptr), R"("@0")", std::nullopt, "dataCorrupted at at"},
  };
  for (const auto& row : cases) {
    JSONDecoder decoder;
    decoder.dateDecodingStrategy = row.strategy;
    const std::string json = R"({"at":)" + std::string(row.value) + "}";
    const std::string where = std::to_string(static_cast<int>(row.strategy.kind)) + " " + json;
    // Absent and null are no date, whatever the strategy.
    EXPECT_EQ(decoder.decode<Stamp>("{}").at, std::nullopt) << where;
    EXPECT_EQ(decoder.decode<Stamp>(R"({"at":null})").at, std::nullopt) << where;
    try {
      const Stamp stamp = decoder.decode<Stamp>(json);
      ASSERT_TRUE(row.since1970.has_value()) << where << " decoded";
      ASSERT_TRUE(stamp.at.has_value()) << where;
      EXPECT_NEAR(stamp.at->timeIntervalSince1970(), *row.since1970, 1e-6) << where;
    } catch (const DecodingError& error) {
      EXPECT_EQ(test::describeFailure(error), row.failure) << where;
      EXPECT_NE(error.debugDescription().find(row.why), std::string::npos)
          << error.debugDescription();
    }
  }
}

// Each form, and an EncodingError ("") for what a strategy cannot write. ISO 8601 text has
// milliseconds only when they are not zero, and four-digit years only; the date's own text is the
// same, unquoted.
TEST(DateEncodingStrategy, WritesEachFormOrFails) {
  using S = DateEncodingStrategy;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::tuple<DateEncodingStrategy, double, std::string_view> cases[] = {
      {S::deferredToDate(), 978307212.5, "12.5"},
      {S::secondsSince1970(), 1500.25, "1500.25"},
      {S::millisecondsSince1970(), -0.25, "-250"},
      {S::iso8601(), 1795341600.25, R"("2026-11-22T10:00:00.250Z")"},
      {S::iso8601(), -0.5, R"("1969-12-31T23:59:59.500Z")"},
      {S::iso8601(), -62167219200, R"("0000-01-01T00:00:00Z")"},
      {S::iso8601(), 253402300799.999, R"("9999-12-31T23:59:59.999Z")"},
      {S::iso8601(), 1795341600.0004, R"("2026-11-22T10:00:00Z")"},
      {S::iso8601(), 1795341601.9996, R"("2026-11-22T10:00:02Z")"},
      {S::iso8601(), 253402300799.9996, ""},
      {S::iso8601(), -62167219200.5, ""},
      {S::iso8601(), 1e300, ""},
      {S::custom(writeAtSign), 1795341600, R"("@1795341600")"},
      {S::secondsSince1970(), std::numeric_limits<double>::infinity(), ""},
      {S::iso8601(), nan, ""},
      {S::iso8601(), 253402300800, ""},
      {S::iso8601(), -62167219201, ""},
      {S::custom(nullptr), 0, ""},
  };
  for (const auto& [strategy, since1970, json] : cases) {
    JSONEncoder encoder;
    encoder.dateEncodingStrategy = strategy;
    std::string written;
    try {
      written = encoder.encode(Date::since1970(since1970));
    } catch (const EncodingError&) {
    }
    EXPECT_EQ(written, json) << static_cast<int>(strategy.kind) << " " << since1970;
    if (strategy.kind == S::iso8601().kind) {
      const std::string text = Date::since1970(since1970).iso8601();
      EXPECT_EQ(text.empty() ? text : '"' + text + '"', json) << since1970;
    }
  }
}

}  // namespace
}  // namespace tovanel::chat
