#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

#include "duration/DurationUnits.hpp"
#include "tovanel/chat/base/CharacterSet.hpp"
#include "tovanel/chat/base/Scanner.hpp"

namespace tovanel::chat {

namespace {
constexpr auto kDateUnits = detail::designatorsOf<detail::DurationPart::date>();
constexpr auto kTimeUnits = detail::designatorsOf<detail::DurationPart::time>();
}  // namespace

ISO8601DurationFormatter::ISO8601DurationFormatter() noexcept
    : dateUnitMapping_(kDateUnits), timeUnitMapping_(kTimeUnits) {}

std::optional<DateComponents> ISO8601DurationFormatter::dateComponents(
    std::string_view text) const {
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
  if (text.empty() || text.front() != 'P') return false;
  const std::string_view body = text.substr(1);

  DateComponents components;
  const auto t = body.find('T');
  if (t == std::string_view::npos) {
    if (!scanPart(body, dateUnitMapping_, components)) return false;
  } else if (!scanPart(body.substr(0, t), dateUnitMapping_, components) ||
             !scanPart(body.substr(t + 1), timeUnitMapping_, components)) {
    return false;
  }
  if (object != nullptr) *object = components;
  return true;
}

bool ISO8601DurationFormatter::scanPart(std::string_view part, UnitMapping mapping,
                                        DateComponents& out) {
  if (part.empty()) return true;
  std::string designators;
  for (const auto& [letter, component] : mapping) designators += letter;
  const CharacterSet designatorSet = CharacterSet::charactersIn(designators);

  Scanner scanner{std::string(part)};
  while (!scanner.isAtEnd()) {
    const auto value = scanner.scanInteger();
    if (!value) return false;
    const auto run = scanner.scanCharacters(designatorSet);
    // A run of two or more letters ("YM") names no single component.
    if (!run || run->size() != 1) return false;
    for (const auto& [letter, component] : mapping) {
      if (letter == run->front()) out.setValue(*value, component);
    }
  }
  return true;
}

}  // namespace tovanel::chat
