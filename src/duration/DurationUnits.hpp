#pragma once
// The units of duration text, shared by the conversions and the formatter: which component each
// designator names, in which part of the text, and the factors that turn one unit into seconds.

#include <array>
#include <cstddef>
#include <utility>

#include "tovanel/chat/base/Calendar.hpp"

namespace tovanel::chat::detail {

enum class DurationPart : unsigned char { date, time };

struct DurationUnit {
  Calendar::Component component;
  DurationPart part;
  char designator;
  std::array<double, 4> factors;  // applied in this order
  std::size_t factorCount;
};

/// In the order the text writes them; seconds are summed in the reverse order.
inline constexpr std::array<DurationUnit, 7> kDurationUnits{{
    {Calendar::Component::year, DurationPart::date, 'Y', {60, 60, 24, 365}, 4},
    {Calendar::Component::month, DurationPart::date, 'M', {60, 60, 24, 30}, 4},
    {Calendar::Component::weekOfYear, DurationPart::date, 'W', {60, 60, 24, 7}, 4},
    {Calendar::Component::day, DurationPart::date, 'D', {60, 60, 24}, 3},
    {Calendar::Component::hour, DurationPart::time, 'H', {60, 60}, 2},
    {Calendar::Component::minute, DurationPart::time, 'M', {60}, 1},
    {Calendar::Component::second, DurationPart::time, 'S', {}, 0},
}};

using Designator = std::pair<char, Calendar::Component>;

/// The designators of one part and the components they name.
template <DurationPart Part>
constexpr auto designatorsOf() {
  constexpr std::size_t count = [] {
    std::size_t n = 0;
    for (const auto& unit : kDurationUnits) n += unit.part == Part ? 1 : 0;
    return n;
  }();
  std::array<Designator, count> mapping{};
  std::size_t i = 0;
  for (const auto& unit : kDurationUnits) {
    if (unit.part == Part) mapping[i++] = {unit.designator, unit.component};
  }
  return mapping;
}

}  // namespace tovanel::chat::detail
