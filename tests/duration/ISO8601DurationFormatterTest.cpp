#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>

namespace tovanel::chat {

// Failure messages name the components that are present.
void PrintTo(const DateComponents& c, std::ostream* out) {
  const auto put = [&](const char* name, const std::optional<std::int64_t>& value) {
    if (value) *out << name << '=' << *value << ' ';
  };
  *out << "{ ";
  put("era", c.era), put("year", c.year), put("month", c.month), put("day", c.day);
  put("hour", c.hour), put("minute", c.minute), put("second", c.second);
  put("nanosecond", c.nanosecond), put("weekday", c.weekday);
  put("weekdayOrdinal", c.weekdayOrdinal), put("quarter", c.quarter);
  put("weekOfMonth", c.weekOfMonth), put("weekOfYear", c.weekOfYear);
  put("yearForWeekOfYear", c.yearForWeekOfYear);
  *out << '}';
}

namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

DateComponents make(void (*fill)(DateComponents&)) {
  DateComponents components;
  fill(components);
  return components;
}

struct AcceptedCase {
  std::string text;
  DateComponents components;
};
void PrintTo(const AcceptedCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class AcceptedDuration : public testing::TestWithParam<AcceptedCase> {};

TEST_P(AcceptedDuration, ParsesIntoTheNamedComponents) {
  const auto& row = GetParam();
  EXPECT_EQ(ISO8601DurationFormatter().dateComponents(row.text), row.components)
      << "text \"" << row.text << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, AcceptedDuration,
    testing::Values(
        AcceptedCase{"PT4M13S", make([](DateComponents& c) { c.minute = 4, c.second = 13; })},
        AcceptedCase{"P1Y2M3W4DT5H6M7S", make([](DateComponents& c) {
                       c.year = 1, c.month = 2, c.weekOfYear = 3, c.day = 4, c.hour = 5,
                       c.minute = 6, c.second = 7;
                     })},
        AcceptedCase{"P0Y0M0W0DT0H0M0S", make([](DateComponents& c) {
                       c.year = 0, c.month = 0, c.weekOfYear = 0, c.day = 0, c.hour = 0,
                       c.minute = 0, c.second = 0;
                     })},
        AcceptedCase{"P1DT2H", make([](DateComponents& c) { c.day = 1, c.hour = 2; })},
        // Empty parts name nothing.
        AcceptedCase{"P", {}}, AcceptedCase{"PT", {}}, AcceptedCase{"P ", {}},
        AcceptedCase{"P\t\n", {}}, AcceptedCase{"P T ", {}},
        AcceptedCase{"P1DT", make([](DateComponents& c) { c.day = 1; })},
        // "M" is a month before the "T" and a minute after it.
        AcceptedCase{"P1M", make([](DateComponents& c) { c.month = 1; })},
        AcceptedCase{"PT1M", make([](DateComponents& c) { c.minute = 1; })},
        AcceptedCase{"P1W", make([](DateComponents& c) { c.weekOfYear = 1; })},
        AcceptedCase{"P1W2D", make([](DateComponents& c) { c.weekOfYear = 1, c.day = 2; })},
        // Any order; a repeat overwrites.
        AcceptedCase{"P1Y2Y", make([](DateComponents& c) { c.year = 2; })},
        AcceptedCase{"P2D1Y", make([](DateComponents& c) { c.year = 1, c.day = 2; })},
        AcceptedCase{"PT1S2H", make([](DateComponents& c) { c.hour = 2, c.second = 1; })},
        AcceptedCase{"PT1H2H", make([](DateComponents& c) { c.hour = 2; })},
        // Signs and leading zeros.
        AcceptedCase{"P-1D", make([](DateComponents& c) { c.day = -1; })},
        AcceptedCase{"P+3D", make([](DateComponents& c) { c.day = 3; })},
        AcceptedCase{"P-0D", make([](DateComponents& c) { c.day = 0; })},
        AcceptedCase{"P007D", make([](DateComponents& c) { c.day = 7; })},
        // White space before any integer or designator and at the end of either part.
        AcceptedCase{"P 1 D", make([](DateComponents& c) { c.day = 1; })},
        AcceptedCase{"P1D ", make([](DateComponents& c) { c.day = 1; })},
        AcceptedCase{"P1D T1H", make([](DateComponents& c) { c.day = 1, c.hour = 1; })},
        AcceptedCase{"PT 1H ", make([](DateComponents& c) { c.hour = 1; })},
        AcceptedCase{"P\n1D\nT\n1H\n", make([](DateComponents& c) { c.day = 1, c.hour = 1; })},
        AcceptedCase{"P\xC2\xA0"
                     "1D",
                     make([](DateComponents& c) { c.day = 1; })},
        AcceptedCase{"PT1\xE3\x80\x80"
                     "S",
                     make([](DateComponents& c) { c.second = 1; })},
        // Integers beyond 64 bits stop at the nearest limit.
        AcceptedCase{"P9223372036854775807Y", make([](DateComponents& c) { c.year = kMax; })},
        AcceptedCase{"PT99999999999999999999S", make([](DateComponents& c) { c.second = kMax; })},
        AcceptedCase{"PT-99999999999999999999S", make([](DateComponents& c) { c.second = kMin; })},
        AcceptedCase{"P99999999999999999999Y1D",
                     make([](DateComponents& c) { c.year = kMax, c.day = 1; })}));

class RejectedDuration : public testing::TestWithParam<std::string> {};

TEST_P(RejectedDuration, GivesNothing) {
  EXPECT_EQ(ISO8601DurationFormatter().dateComponents(GetParam()), std::nullopt)
      << "text \"" << GetParam() << "\"";
}

INSTANTIATE_TEST_SUITE_P(Texts, RejectedDuration,
                         testing::Values(
                             // The "P" comes first, in upper case.
                             "", " P1D", "\nP1D", "p1d", "P1d", "1D", "T1H", "PP1D",
                             // Missing numbers or designators, fractions, signs without digits.
                             "PD", "PTH", "P1", "PT1", "P1D1", "P1.5D", "PT0.5S", "P1,5D", "P-D",
                             "P- 1D", "P+-1D", "P--1D", "P1 2D", "P1e2D",
                             // Designators from the wrong part, lower case, unknown letters.
                             "PT1D", "P1H", "P1S", "PT1Y", "PT1W", "P1y", "Pt1H", "PT1h", "P1X",
                             // A run of designator letters names no single unit.
                             "P1YM", "PT1HS", "P1DD", "PT1MS", "P1Y M",
                             // A second "T" stands in the time part, where it is no designator.
                             "PT1H2T", "PTT", "P1DT1HT", "PT1H T",
                             // Characters that look like digits, spaces or letters but are none.
                             "P\xEF\xBC\x91"
                             "D",
                             "P1\xEF\xBC\xB9",
                             "P\xE2\x80\x8B"
                             "1D",
                             std::string("P1D\0", 4),
                             "P\xFF"
                             "1D"));

TEST(ISO8601DurationFormatter, WritesNoTextForAnyValue) {
  const ISO8601DurationFormatter formatter;
  const auto components = make([](DateComponents& c) { c.minute = 4, c.second = 13; });
  for (const std::any& value :
       {std::any(components), std::any(), std::any(std::string("PT4M13S")), std::any(253.0)}) {
    EXPECT_EQ(formatter.string(value), std::nullopt) << value.type().name();
  }
}

TEST(ISO8601DurationFormatter, StoresComponentsOnlyOnSuccessAndNeverWritesAnErrorDescription) {
  const ISO8601DurationFormatter formatter;
  for (const char* text : {"", "PT1D", "P1YM", "PT4M13"}) {
    std::any slot = std::string("untouched");
    std::string error = "untouched";
    EXPECT_FALSE(formatter.getObjectValue(&slot, text, &error)) << text;
    EXPECT_EQ(std::any_cast<std::string>(slot) + error, "untoucheduntouched") << text;
  }
  std::any slot = std::string("before");
  std::string error = "untouched";
  ASSERT_TRUE(formatter.getObjectValue(&slot, "PT4M13S", &error));
  EXPECT_EQ(std::any_cast<DateComponents>(slot),
            make([](DateComponents& c) { c.minute = 4, c.second = 13; }));
  EXPECT_EQ(error, "untouched");
}

// A subclass whose object is no DateComponents: the typed entry then gives nothing.
class OtherObjectFormatter : public ISO8601DurationFormatter {
 public:
  bool getObjectValue(std::any* object, std::string_view, std::string*) const override {
    if (object != nullptr) *object = 253;
    return true;
  }
};

TEST(ISO8601DurationFormatter, TypedEntryGivesOnlyDateComponents) {
  EXPECT_EQ(OtherObjectFormatter().dateComponents("PT4M13S"), std::nullopt);
}

TEST(ISO8601DurationFormatter, IsRestoredFromAnArchiveUnlessTheArchiveFailed) {
  Coder archive;
  const auto formatter = ISO8601DurationFormatter::make(archive);
  ASSERT_NE(formatter, nullptr);
  EXPECT_EQ(formatter->dateComponents("P1M"), make([](DateComponents& c) { c.month = 1; }));
  archive.failWithError("truncated archive");
  EXPECT_EQ(ISO8601DurationFormatter::make(archive), nullptr);
}

}  // namespace
}  // namespace tovanel::chat
