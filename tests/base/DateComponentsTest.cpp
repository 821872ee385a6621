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

TEST_P(DateComponentsField, SetValueWritesOnlyTheNamedComponent) {
  const auto& row = GetParam();
  DateComponents components;
  components.setValue(-42, row.component);
  DateComponents expected;
  expected.*row.field = -42;
  EXPECT_EQ(components, expected) << row.name;
}

TEST_P(DateComponentsField, ValueReadsTheNamedComponent) {
  const auto& row = GetParam();
  DateComponents components;
  components.*row.field = 7;
  EXPECT_EQ(components.value(row.component), 7) << row.name;
}

TEST_P(DateComponentsField, SettingNothingMakesTheComponentAbsent) {
  const auto& row = GetParam();
  DateComponents components;
  components.*row.field = 7;
  components.setValue(std::nullopt, row.component);
  EXPECT_EQ(components, DateComponents{}) << row.name;
}

TEST_P(DateComponentsField, EqualityComparesTheComponent) {
  const auto& row = GetParam();
  DateComponents zero;
  zero.*row.field = 0;
  EXPECT_NE(zero, DateComponents{}) << row.name << ": present 0 against absent";
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
