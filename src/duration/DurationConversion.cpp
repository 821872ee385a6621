#include "tovanel/chat/duration/DurationConversion.hpp"

#include "duration/DurationUnits.hpp"

namespace tovanel::chat {

double toTimeInterval(const DateComponents& components) {
  double seconds = 0.0;
  for (auto unit = detail::kDurationUnits.rbegin(); unit != detail::kDurationUnits.rend(); ++unit) {
    const auto value = components.value(unit->component);
    if (!value) continue;
    auto term = static_cast<double>(*value);
    for (std::size_t i = 0; i < unit->factorCount; ++i) term *= unit->factors[i];
    seconds += term;
  }
  return seconds;
}

std::string toISO8601Duration(const DateComponents& components) {
  std::string text = "P";
  auto part = detail::DurationPart::date;
  for (const auto& unit : detail::kDurationUnits) {
    if (unit.part != part) {
      text += 'T';
      part = unit.part;
    }
    text += std::to_string(components.value(unit.component).value_or(0));
    text += unit.designator;
  }
  return text;
}

}  // namespace tovanel::chat
