// Parses duration text. Whatever parses sets only the seven duration units, and the text written
// for its components parses back to them (absent units written as 0), to the same seconds.

#include <any>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "FuzzSupport.hpp"
#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

using namespace tovanel::chat;

namespace {
constexpr std::array kDurationUnits{Calendar::Component::year,       Calendar::Component::month,
                                    Calendar::Component::weekOfYear, Calendar::Component::day,
                                    Calendar::Component::hour,       Calendar::Component::minute,
                                    Calendar::Component::second};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ISO8601DurationFormatter formatter;
  const auto components = formatter.dateComponents(text);
  std::any object;
  const bool parsed = formatter.getObjectValue(&object, text, nullptr);
  TOVANEL_FUZZ_CHECK(parsed == components.has_value());
  TOVANEL_FUZZ_CHECK(formatter.getObjectValue(nullptr, text, nullptr) == parsed);
  if (!components) {
    TOVANEL_FUZZ_CHECK(!object.has_value());  // a failed parse leaves the object as it was
    return 0;
  }
  TOVANEL_FUZZ_CHECK(text.starts_with('P'));

  DateComponents others = *components;
  for (const auto unit : kDurationUnits) others.setValue(std::nullopt, unit);
  TOVANEL_FUZZ_CHECK(others == DateComponents{});

  const std::string written = toISO8601Duration(*components);
  const auto reread = formatter.dateComponents(written);
  TOVANEL_FUZZ_CHECK(reread.has_value(), written);
  for (const auto unit : kDurationUnits) {
    TOVANEL_FUZZ_CHECK(reread->value(unit) == components->value(unit).value_or(0), written);
  }
  TOVANEL_FUZZ_CHECK(toISO8601Duration(*reread) == written, written);
  TOVANEL_FUZZ_CHECK(toTimeInterval(*reread) == toTimeInterval(*components), written);
  return 0;
}
