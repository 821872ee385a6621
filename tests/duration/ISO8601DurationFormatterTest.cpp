#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>

namespace tovanel::chat {
namespace {

/// The duration components that are present, as "day=1 hour=2"; "none" when none is.
std::string describe(const std::optional<DateComponents>& c) {
  if (!c) return "nothing";
  std::string text;
  const auto put = [&](const char* name, const std::optional<std::int64_t>& value) {
    if (value) text += (text.empty() ? "" : " ") + std::string(name) + "=" + std::to_string(*value);
  };
  put("year", c->year), put("month", c->month), put("week", c->weekOfYear), put("day", c->day);
  put("hour", c->hour), put("minute", c->minute), put("second", c->second);
  return text.empty() ? "none" : text;
}

struct AcceptedCase {
  std::string text;
  std::string components;
};
void PrintTo(const AcceptedCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class AcceptedDuration : public testing::TestWithParam<AcceptedCase> {};

TEST_P(AcceptedDuration, ParsesIntoTheNamedComponents) {
  EXPECT_EQ(describe(ISO8601DurationFormatter().dateComponents(GetParam().text)),
            GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, AcceptedDuration,
    testing::Values(
        AcceptedCase{"P1Y2M3W4DT5H6M7S", "year=1 month=2 week=3 day=4 hour=5 minute=6 second=7"},
        AcceptedCase{"P0Y0M0W0DT0H0M0S", "year=0 month=0 week=0 day=0 hour=0 minute=0 second=0"},
        // Empty parts name nothing.
        AcceptedCase{"P", "none"}, AcceptedCase{"P T ", "none"}, AcceptedCase{"P1DT", "day=1"},
        // "M" is a month before the "T" and a minute after it.
        AcceptedCase{"P1M", "month=1"}, AcceptedCase{"PT1M", "minute=1"},
        // Any order; a repeat overwrites.
        AcceptedCase{"P2D1Y", "year=1 day=2"}, AcceptedCase{"PT1H2H", "hour=2"},
        // Signs and leading zeros.
        AcceptedCase{"P-1D", "day=-1"}, AcceptedCase{"P+3D", "day=3"},
        AcceptedCase{"P007D", "day=7"},
        // White space before any integer or designator and at the end of either part.
        AcceptedCase{"P\n1D\nT\n1H\n", "day=1 hour=1"}, AcceptedCase{"PT 1H ", "hour=1"},
        AcceptedCase{"P\xC2\xA0"
                     "1D",
                     "day=1"},
        // Integers beyond 64 bits stop at the nearest limit.
        AcceptedCase{"PT99999999999999999999S", "second=9223372036854775807"},
        AcceptedCase{"PT-99999999999999999999S", "second=-9223372036854775808"},
        AcceptedCase{"P99999999999999999999Y1D", "year=9223372036854775807 day=1"}));

class RejectedDuration : public testing::TestWithParam<std::string> {};

TEST_P(RejectedDuration, GivesNothing) {
  EXPECT_EQ(ISO8601DurationFormatter().dateComponents(GetParam()), std::nullopt)
      << "text \"" << GetParam() << "\"";
}

INSTANTIATE_TEST_SUITE_P(Texts, RejectedDuration,
                         testing::Values(
                             // The "P" comes first, in upper case.
                             "", " P1D", "p1d", "P1d", "1D", "PP1D",
                             // Missing numbers or designators, fractions, signs without digits.
                             "PD", "P1", "P1D1", "P1.5D", "P-D", "P- 1D", "P+-1D", "P1 2D",
                             // Designators from the wrong part, unknown letters.
                             "PT1D", "P1H", "PT1Y", "P1X",
                             // A run of designator letters names no single unit.
                             "P1YM", "PT1HS", "P1Y M",
                             // A second "T" stands in the time part, where it is no designator.
                             "PT1H2T", "PTT",
                             // Characters that look like digits or spaces but are none.
                             "P\xEF\xBC\x91"
                             "D",
                             "P\xE2\x80\x8B"
                             "1D",
                             std::string("P1D\0", 4),
                             "P\xFF"
                             "1D"));

TEST(ISO8601DurationFormatter, StoresComponentsOnlyOnSuccessAndNeverWritesAnErrorDescription) {
  const ISO8601DurationFormatter formatter;
  for (const char* text : {"", "PT4M13"}) {
    std::any slot = std::string("untouched");
    std::string error = "untouched";
    EXPECT_FALSE(formatter.getObjectValue(&slot, text, &error)) << text;
    EXPECT_EQ(std::any_cast<std::string>(slot) + error, "untoucheduntouched") << text;
  }
  std::any slot = std::string("before");
  std::string error = "untouched";
  ASSERT_TRUE(formatter.getObjectValue(&slot, "PT4M13S", &error));
  EXPECT_EQ(describe(std::any_cast<DateComponents>(slot)), "minute=4 second=13");
  EXPECT_EQ(error, "untouched");
}

}  // namespace
}  // namespace tovanel::chat
