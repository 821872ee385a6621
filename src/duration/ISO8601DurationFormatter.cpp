#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

#include <typeinfo>

#include "base/TextScanning.hpp"
#include "duration/DurationUnits.hpp"

namespace tovanel::chat {

namespace {
constexpr auto kDateUnits = detail::designatorsOf<detail::DurationPart::date>();
constexpr auto kTimeUnits = detail::designatorsOf<detail::DurationPart::time>();

// Reads one part of the text (before or after the "T") into `out`: integer-and-designator pairs,
// white space allowed before each item and at the end. Reads the text in place, allocating
// nothing.
template <std::size_t N>
bool scanPart(std::string_view part, const std::array<detail::Designator, N>& units,
              DateComponents& out) {
  const auto designatorAt = [&](std::size_t at) -> const detail::Designator* {
    if (at >= part.size()) return nullptr;
    for (const auto& unit : units) {
      if (unit.first == part[at]) return &unit;
    }
    return nullptr;
  };
  std::size_t at = detail::skipWhiteSpace(part, 0);
  while (at < part.size()) {
    const auto value = detail::scanInteger(part, at);
    if (!value) return false;
    at = detail::skipWhiteSpace(part, at);
    const detail::Designator* unit = designatorAt(at);
    // A run of two or more letters ("YM") names no single component.
    if (unit == nullptr || designatorAt(at + 1) != nullptr) return false;
    out.setValue(*value, unit->second);
    at = detail::skipWhiteSpace(part, at + 1);
  }
  return true;
}

std::optional<DateComponents> parse(std::string_view text) {
  if (text.empty() || text.front() != 'P') return std::nullopt;
  const std::string_view body = text.substr(1);
  const auto t = body.find('T');
  DateComponents components;
  if (!scanPart(body.substr(0, t), kDateUnits, components)) return std::nullopt;
  if (t != std::string_view::npos && !scanPart(body.substr(t + 1), kTimeUnits, components)) {
    return std::nullopt;
  }
  return components;
}
}  // namespace

ISO8601DurationFormatter::ISO8601DurationFormatter() noexcept = default;

std::optional<DateComponents> ISO8601DurationFormatter::dateComponents(
    std::string_view text) const {
  // The typed entry goes through getObjectValue, which a subclass may override; the formatter
  // itself parses in place, without the std::any.
  if (typeid(*this) == typeid(ISO8601DurationFormatter)) return parse(text);
  std::any object;
  if (!getObjectValue(&object, text, nullptr)) return std::nullopt;
  const auto* components = std::any_cast<DateComponents>(&object);
  if (components == nullptr) return std::nullopt;
  return *components;
}

std::optional<std::string> ISO8601DurationFormatter::string(const std::any& /*object*/) const {
  return std::nullopt;
}

bool ISO8601DurationFormatter::getObjectValue(std::any* object, std::string_view text,
                                              std::string* /*errorDescription*/) const {
  const auto components = parse(text);
  if (!components) return false;
  if (object != nullptr) *object = *components;
  return true;
}

}  // namespace tovanel::chat
