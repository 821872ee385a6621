#include "tovanel/chat/base/DateComponents.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace tovanel::chat {
namespace {

using Component = Calendar::Component;

struct ComponentCase {
  Component component;
  std::optional<std::int64_t> DateComponents::*field;
  const char* name;
};
void PrintTo(const ComponentCase& row, std::ostream* out) { *out << row.name; }

class DateComponentsField : public testing::TestWithParam<ComponentCase> {};

// setValue and value reach the named component only; nothing makes it absent, and a present 0
// differs from an absent one.
TEST_P(DateComponentsField, IsSetReadAndClearedByName) {
  const auto& row = GetParam();
  DateComponents components;
  components.setValue(0, row.component);
  DateComponents expected;
  expected.*row.field = 0;
  EXPECT_EQ(components, expected);
  EXPECT_NE(components, DateComponents{});
  components.*row.field = 7;
  EXPECT_EQ(components.value(row.component), 7);
  components.setValue(std::nullopt, row.component);
  EXPECT_EQ(components, DateComponents{});
}

INSTANTIATE_TEST_SUITE_P(
    Components, DateComponentsField,
    testing::Values(
        ComponentCase{Component::era, &DateComponents::era, "era"},
        ComponentCase{Component::year, &DateComponents::year, "year"},
        ComponentCase{Component::month, &DateComponents::month, "month"},
        ComponentCase{Component::day, &DateComponents::day, "day"},
        ComponentCase{Component::hour, &DateComponents::hour, "hour"},
        ComponentCase{Component::minute, &DateComponents::minute, "minute"},
        ComponentCase{Component::second, &DateComponents::second, "second"},
        ComponentCase{Component::nanosecond, &DateComponents::nanosecond, "nanosecond"},
        ComponentCase{Component::weekday, &DateComponents::weekday, "weekday"},
        ComponentCase{Component::weekdayOrdinal, &DateComponents::weekdayOrdinal, "weekdayOrdinal"},
        ComponentCase{Component::quarter, &DateComponents::quarter, "quarter"},
        ComponentCase{Component::weekOfMonth, &DateComponents::weekOfMonth, "weekOfMonth"},
        ComponentCase{Component::weekOfYear, &DateComponents::weekOfYear, "weekOfYear"},
        ComponentCase{Component::yearForWeekOfYear, &DateComponents::yearForWeekOfYear,
                      "yearForWeekOfYear"}));

}  // namespace
}  // namespace tovanel::chat
