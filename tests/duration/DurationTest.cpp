// Durations: ISO 8601 duration text read into components, and components turned into seconds
// and written back as text.

#include <any>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using C = Calendar::Component;

// The seven units of a duration (years, months, weeks, days, hours, minutes and seconds) give the
// seconds and the text, which writes every unit, zero or absent; the other components are
// ignored.
TEST(DurationConversion, GivesTheSecondsAndTheText) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  const std::pair<std::array<std::int64_t, 7>, double> rows[] = {
      {{0, 0, 0, 0, 0, 0, 0}, 0.0},
      {{0, 0, 0, 0, 1, 30, 0}, 5400.0},
      {{0, 0, 1, 1, 0, 0, 0}, 691200.0},
      {{1, 0, 0, 0, 0, 0, 0}, 31536000.0},  // a year of 365 days
      {{0, 0, 0, 1, -1, 0, -1}, 82799.0},
      {{1, 2, 3, 4, 5, 6, 7}, 38898367.0},
      {{0, 0, 0, 0, 0, kMax, -kMax - 1}, 5.441789501744318e+20},
      // Each term is the value as a double multiplied by its factors one after another,
      // smallest first; the expected values were computed that way independently, and differ
      // from multiplying by the unit's seconds at once and from the factors in reverse order.
      {{4364700730545789091, 0, 0, 0, 0, 0, 0}, 1.3764520223849198e+26},
      {{0, 1945498512052045334, 0, 0, 0, 0, 0}, 5.042732143238901e+24},
      {{0, 0, 6426932625873175974, 0, 0, 0, 0}, 3.887008852128096e+24},
      {{0, 0, 0, 5461435197160433969, 0, 0, 0}, 4.718680010346614e+23},
      // Terms are added from second up to year; from year down the sum is 3.1682707817371255e19.
      {{879777178511, 781277427576, -627044372188, -209361495075, -802188618081, 868086694523,
        2313144686868563960},
       3.1682707817371247e+19}};
  const C units[] = {C::year, C::month, C::weekOfYear, C::day, C::hour, C::minute, C::second};
  for (const auto& [values, seconds] : rows) {
    DateComponents components;
    for (const C unit : {C::era, C::nanosecond, C::weekday, C::weekdayOrdinal, C::quarter,
                         C::weekOfMonth, C::yearForWeekOfYear}) {
      components.setValue(7, unit);
    }
    std::string text = "P";
    for (std::size_t i = 0; i < 7; ++i) {
      components.setValue(values[i], units[i]);
      text += std::to_string(values[i]) + "YMWDHMS"[i] + (i == 3 ? "T" : "");
    }
    EXPECT_EQ(toTimeInterval(components), seconds) << text;
    EXPECT_EQ(toISO8601Duration(components), text);
  }
  EXPECT_EQ(std::pair(toTimeInterval({}), toISO8601Duration({})),
            std::pair(0.0, std::string("P0Y0M0W0DT0H0M0S")));
}

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

/// What the formatter reads from `text`, as describe gives it. getObjectValue must read the same,
/// store the components only on success, and never write an error description.
std::string parsed(const std::string& text) {
  const ISO8601DurationFormatter formatter;
  const auto components = formatter.dateComponents(text);
  std::any slot = std::string("untouched");
  std::string error = "untouched";
  const bool read = formatter.getObjectValue(&slot, text, &error);
  EXPECT_EQ(read ? describe(std::any_cast<DateComponents>(slot)) : std::any_cast<std::string>(slot),
            components ? describe(components) : "untouched")
      << text;
  EXPECT_EQ(error, "untouched") << text;
  return describe(components);
}

TEST(ISO8601DurationFormatter, ParsesIntoTheNamedComponents) {
  const std::pair<std::string, std::string_view> rows[] = {
      {"P1Y2M3W4DT5H6M7S", "year=1 month=2 week=3 day=4 hour=5 minute=6 second=7"},
      {"P0Y0M0W0DT0H0M0S", "year=0 month=0 week=0 day=0 hour=0 minute=0 second=0"},
      // Empty parts name nothing.
      {"P", "none"},
      {"P T ", "none"},
      {"P1DT", "day=1"},
      // "M" is a month before the "T" and a minute after it.
      {"P1M", "month=1"},
      {"PT1M", "minute=1"},
      // Any order; a repeat overwrites.
      {"P2D1Y", "year=1 day=2"},
      {"PT1H2H", "hour=2"},
      // Signs and leading zeros.
      {"P-1D", "day=-1"},
      {"P+3D", "day=3"},
      {"P007D", "day=7"},
      // White space before any integer or designator and at the end of either part.
      {"P\n1D\nT\n1H\n", "day=1 hour=1"},
      {"PT 1H ", "hour=1"},
      {"P\u00A01D", "day=1"},
      // Integers beyond 64 bits stop at the nearest limit.
      {"PT99999999999999999999S", "second=9223372036854775807"},
      {"PT-99999999999999999999S", "second=-9223372036854775808"},
      {"P99999999999999999999Y1D", "year=9223372036854775807 day=1"}};
  for (const auto& [text, components] : rows) {
    EXPECT_EQ(parsed(text), components) << text;
  }
}

// The "P" first, in upper case; then numbers each with its designator, no fractions, no sign
// without digits; designators of their own part only (a second "T" is none in the time part),
// one letter each; and no characters that look like digits or spaces but are none.
TEST(ISO8601DurationFormatter, RefusesEveryOtherText) {
  const std::string rejected[] = {"",          " P1D",
                                  "p1d",       "P1d",
                                  "1D",        "PP1D",
                                  "PD",        "P1",
                                  "P1D1",      "P1.5D",
                                  "P-D",       "P- 1D",
                                  "P+-1D",     "P1 2D",
                                  "PT1D",      "P1H",
                                  "PT1Y",      "P1X",
                                  "P1YM",      "PT1HS",
                                  "P1Y M",     "PT1H2T",
                                  "PTT",       "P\uFF11D",
                                  "P\u200B1D", std::string("P1D\0", 4),
                                  "P\3771D"};
  for (const auto& text : rejected) {
    EXPECT_EQ(parsed(text), "nothing") << text;
  }
}

}  // namespace
}  // namespace tovanel::chat
