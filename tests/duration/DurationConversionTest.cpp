#include "tovanel/chat/duration/DurationConversion.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

DateComponents make(void (*fill)(DateComponents&)) {
  DateComponents components;
  fill(components);
  return components;
}

struct ConversionCase {
  const char* name;
  DateComponents components;
  double seconds;
  std::string text;
};
void PrintTo(const ConversionCase& row, std::ostream* out) { *out << row.name; }

class DurationConversion : public testing::TestWithParam<ConversionCase> {};

TEST_P(DurationConversion, GivesTheSecondsAndTheText) {
  const auto& row = GetParam();
  EXPECT_EQ(toTimeInterval(row.components), row.seconds) << row.name;
  EXPECT_EQ(toISO8601Duration(row.components), row.text) << row.name;
}

const std::string kAllZero = "P0Y0M0W0DT0H0M0S";

INSTANTIATE_TEST_SUITE_P(
    Components, DurationConversion,
    testing::Values(
        ConversionCase{"nothing", {}, 0.0, kAllZero},
        ConversionCase{"an hour and a half",
                       make([](DateComponents& c) { c.hour = 1, c.minute = 30; }), 5400.0,
                       "P0Y0M0W0DT1H30M0S"},
        ConversionCase{"a week and a day",
                       make([](DateComponents& c) { c.weekOfYear = 1, c.day = 1; }), 691200.0,
                       "P0Y0M1W1DT0H0M0S"},
        ConversionCase{"a year of 365 days", make([](DateComponents& c) { c.year = 1; }),
                       31536000.0, "P1Y0M0W0DT0H0M0S"},
        ConversionCase{"negative and positive terms",
                       make([](DateComponents& c) { c.day = 1, c.hour = -1, c.second = -1; }),
                       82799.0, "P0Y0M0W1DT-1H0M-1S"},
        ConversionCase{"every unit", make([](DateComponents& c) {
                         c.year = 1, c.month = 2, c.weekOfYear = 3, c.day = 4, c.hour = 5,
                         c.minute = 6, c.second = 7;
                       }),
                       38898367.0, "P1Y2M3W4DT5H6M7S"},
        ConversionCase{"present zeros", make([](DateComponents& c) { c.year = 0, c.second = 0; }),
                       0.0, kAllZero},
        // Only the seven duration units count; the other components are ignored.
        ConversionCase{"units outside the duration", make([](DateComponents& c) {
                         c.era = 1, c.nanosecond = 500, c.weekday = 3, c.weekdayOrdinal = 2,
                         c.quarter = 4, c.weekOfMonth = 2, c.yearForWeekOfYear = 2024;
                       }),
                       0.0, kAllZero},
        ConversionCase{"the 64-bit limits", make([](DateComponents& c) {
                         c.minute = std::numeric_limits<std::int64_t>::max();
                         c.second = std::numeric_limits<std::int64_t>::min();
                       }),
                       5.441789501744318e+20,
                       "P0Y0M0W0DT0H9223372036854775807M-9223372036854775808S"},
        // Each term is the value as a double multiplied by its factors one after another,
        // smallest first; the expected values were computed that way independently, and differ
        // from multiplying by the unit's seconds at once and from the factors in reverse order.
        ConversionCase{"year factors in order",
                       make([](DateComponents& c) { c.year = 4364700730545789091; }),
                       1.3764520223849198e+26, "P4364700730545789091Y0M0W0DT0H0M0S"},
        ConversionCase{"month factors in order",
                       make([](DateComponents& c) { c.month = 1945498512052045334; }),
                       5.042732143238901e+24, "P0Y1945498512052045334M0W0DT0H0M0S"},
        ConversionCase{"week factors in order",
                       make([](DateComponents& c) { c.weekOfYear = 6426932625873175974; }),
                       3.887008852128096e+24, "P0Y0M6426932625873175974W0DT0H0M0S"},
        ConversionCase{"day factors in order",
                       make([](DateComponents& c) { c.day = 5461435197160433969; }),
                       4.718680010346614e+23, "P0Y0M0W5461435197160433969DT0H0M0S"},
        // Terms are added from second up to year; from year down the sum is 3.1682707817371255e19.
        ConversionCase{"terms summed from second up", make([](DateComponents& c) {
                         c.second = 2313144686868563960, c.minute = 868086694523,
                         c.hour = -802188618081, c.day = -209361495075,
                         c.weekOfYear = -627044372188, c.month = 781277427576,
                         c.year = 879777178511;
                       }),
                       3.1682707817371247e+19,
                       "P879777178511Y781277427576M-627044372188W-209361495075DT-802188618081H"
                       "868086694523M2313144686868563960S"}),
    test::kRowName);

}  // namespace
}  // namespace tovanel::chat
