#include "tovanel/chat/base/DateComponents.hpp"

#include <array>
#include <cstddef>

namespace tovanel::chat {

namespace {
using Slot = std::optional<std::int64_t> DateComponents::*;

// Indexed by Calendar::Component, whose cases follow the fields' order.
constexpr std::array<Slot, 14> kSlots{
    &DateComponents::era,        &DateComponents::year,
    &DateComponents::month,      &DateComponents::day,
    &DateComponents::hour,       &DateComponents::minute,
    &DateComponents::second,     &DateComponents::nanosecond,
    &DateComponents::weekday,    &DateComponents::weekdayOrdinal,
    &DateComponents::quarter,    &DateComponents::weekOfMonth,
    &DateComponents::weekOfYear, &DateComponents::yearForWeekOfYear,
};
static_assert(static_cast<std::size_t>(Calendar::Component::yearForWeekOfYear) + 1 ==
              kSlots.size());

Slot slotOf(Calendar::Component component) noexcept {
  return kSlots[static_cast<std::size_t>(component)];
}
}  // namespace

void DateComponents::setValue(std::optional<std::int64_t> value,
                              Calendar::Component component) noexcept {
  this->*slotOf(component) = value;
}

std::optional<std::int64_t> DateComponents::value(Calendar::Component component) const noexcept {
  return this->*slotOf(component);
}

}  // namespace tovanel::chat
