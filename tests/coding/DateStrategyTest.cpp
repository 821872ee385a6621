// Dates through the decoder's and the encoder's date strategies.

#include "tovanel/chat/coding/DateStrategy.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

#include "support/Capture.hpp"
#include "support/RecordTables.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {
namespace {

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
};

std::string describeCase(const DecodeCase& row) {
  return std::to_string(static_cast<int>(row.strategy.kind)) + ": " + std::string(row.value);
}

TEST(DateDecodingStrategy, ReadsEachFormAndRejectsWhatItCannotRead) {
  using S = DateDecodingStrategy;
  const DecodeCase cases[] = {
      {S::deferredToDate(), "0", 978307200, ""},
      {S::deferredToDate(), "12.5", 978307212.5, ""},
      {S::deferredToDate(), R"("2026-11-22T10:00:00Z")", std::nullopt, "typeMismatch at at"},
      {S::secondsSince1970(), "1795341600.25", 1795341600.25, ""},
      {S::secondsSince1970(), R"("1795341600")", std::nullopt, "typeMismatch at at"},
      {S::millisecondsSince1970(), "-1500", -1.5, ""},
      {S::millisecondsSince1970(), "[1500]", std::nullopt, "typeMismatch at at"},
      {S::iso8601(), R"("2026-11-22T12:00:00+02:00")", 1795341600, ""},
      {S::iso8601(), R"("2026-11-22T04:30:00.5-0530")", 1795341600.5, ""},
      {S::iso8601(), "1795341600", std::nullopt, "typeMismatch at at"},
      {S::iso8601(), R"("2026-02-30T00:00:00Z")", std::nullopt, "dataCorrupted at at"},
      {S::iso8601(), R"("2026-11-22T10:00:00")", std::nullopt, "dataCorrupted at at"},
      {S::custom(readAtSign), R"("@1795341600")", 1795341600, ""},
      // The decoder's own errors pass through a custom strategy unchanged...
      {S::custom(readAtSign), "1795341600", std::nullopt, "typeMismatch at at"},
      // ...and anything else it throws is dataCorrupted.
      {S::custom(readAtSign), R"("1795341600")", std::nullopt, "dataCorrupted at at"},
      {S::custom(nullptr), R"("@0")", std::nullopt, "dataCorrupted at at"},
  };
  for (const auto& row : cases) {
    JSONDecoder decoder;
    decoder.dateDecodingStrategy = row.strategy;
    const std::string json = R"({"at":)" + std::string(row.value) + "}";
    try {
      const Stamp stamp = decoder.decode<Stamp>(json);
      ASSERT_TRUE(row.since1970.has_value()) << describeCase(row) << " decoded";
      ASSERT_TRUE(stamp.at.has_value()) << describeCase(row);
      EXPECT_NEAR(stamp.at->timeIntervalSince1970(), *row.since1970, 1e-6) << describeCase(row);
    } catch (const DecodingError& error) {
      EXPECT_EQ(test::describeFailure(error), row.failure) << describeCase(row);
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

// The description says what could not be read: the text and the form it lacks, the strategy that
// expected a number and the one ISO 8601 text needs, or what a custom strategy threw.
TEST(DateDecodingStrategy, ADescriptionSaysWhyTheDateWasNotRead) {
  const std::tuple<DateDecodingStrategy, std::string_view, std::string_view> cases[] = {
      {DateDecodingStrategy::deferredToDate(), R"("2026-11-22T10:00:00Z")",
       "since 2001-01-01T00:00:00Z (the dateDecodingStrategy deferredToDate; ISO 8601 text needs "
       "iso8601), found a string"},
      {DateDecodingStrategy::millisecondsSince1970(), R"("1795341600")",
       "(the dateDecodingStrategy millisecondsSince1970; ISO 8601 text needs iso8601)"},
      {DateDecodingStrategy::iso8601(), R"("2026-02-30T00:00:00Z")", "ISO 8601"},
      {DateDecodingStrategy::iso8601(), R"("2026-02-30T00:00:00Z")", R"("2026-02-30T00:00:00Z")"},
      {DateDecodingStrategy::custom(readAtSign), R"("1795341600")", "a stamp starts with @"},
  };
  for (const auto& [strategy, value, part] : cases) {
    JSONDecoder decoder;
    decoder.dateDecodingStrategy = strategy;
    const auto error = test::decodingErrorOf(
        [&] { decoder.decode<Stamp>(R"({"at":)" + std::string(value) + "}"); });
    ASSERT_TRUE(error) << value;
    EXPECT_NE(error->debugDescription().find(part), std::string::npos) << error->debugDescription();
  }
}

struct EncodeCase {
  DateEncodingStrategy strategy;
  double since1970;
  std::string_view json;
};

TEST(DateEncodingStrategy, WritesEachForm) {
  using S = DateEncodingStrategy;
  const EncodeCase cases[] = {
      {S::deferredToDate(), 978307212.5, "12.5"},
      {S::secondsSince1970(), 1500.25, "1500.25"},
      {S::millisecondsSince1970(), -0.25, "-250"},
      {S::iso8601(), 1795341600.25, R"("2026-11-22T10:00:00.250Z")"},
      {S::iso8601(), -0.5, R"("1969-12-31T23:59:59.500Z")"},
      {S::iso8601(), -62167219200, R"("0000-01-01T00:00:00Z")"},
      {S::iso8601(), 253402300799.999, R"("9999-12-31T23:59:59.999Z")"},
      {S::custom(writeAtSign), 1795341600, R"("@1795341600")"},
  };
  for (const auto& row : cases) {
    JSONEncoder encoder;
    encoder.dateEncodingStrategy = row.strategy;
    EXPECT_EQ(encoder.encode(Date::since1970(row.since1970)), row.json) << row.since1970;
  }
}

TEST(DateEncodingStrategy, FailsForWhatItCannotWrite) {
  using S = DateEncodingStrategy;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<DateEncodingStrategy, double> cases[] = {
      {S::secondsSince1970(), infinity}, {S::iso8601(), nan},     {S::iso8601(), 253402300800},
      {S::iso8601(), -62167219201},      {S::custom(nullptr), 0},
  };
  for (const auto& [strategy, since1970] : cases) {
    JSONEncoder encoder;
    encoder.dateEncodingStrategy = strategy;
    EXPECT_THROW(encoder.encode(Date::since1970(since1970)), EncodingError)
        << static_cast<int>(strategy.kind) << " " << since1970;
  }
}

}  // namespace
}  // namespace tovanel::chat
