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
  int read = 0;
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
    const auto fast = Date::fromISO8601(text), slow = general(text);
    read += fast ? 1 : 0;
    ASSERT_EQ(std::pair(fast.has_value(), bits(fast)), std::pair(slow.has_value(), bits(slow)))
        << text;
  }
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

TEST(DateDecodingStrategy, AbsentAndNullAreNoDateForEveryStrategy) {
  using S = DateDecodingStrategy;
  for (const auto& strategy : {S::deferredToDate(), S::secondsSince1970(),
                               S::millisecondsSince1970(), S::iso8601(), S::custom(readAtSign)}) {
    for (const std::string_view json : {"{}", R"({"at":null})"}) {
      JSONDecoder decoder;
      decoder.dateDecodingStrategy = strategy;
      EXPECT_EQ(decoder.decode<Stamp>(json).at, std::nullopt) << json;
    }
  }
}

// Each form, and an EncodingError ("") for what a strategy cannot write.
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
  }
}

}  // namespace
}  // namespace tovanel::chat
