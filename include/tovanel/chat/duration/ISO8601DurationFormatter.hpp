#pragma once
// Reads ISO 8601 duration text ("PT4M13S", "P1DT2H") into DateComponents. It only reads: it
// writes no text (toISO8601Duration does, in a form this formatter reads back).
//
// The text is "P", then integer-and-designator pairs from Y, M (month), W, D in any order and
// with repeats, then optionally "T" and pairs from H, M (minute), S. White space and newlines
// may stand before any integer or designator and at the end of either part. A later pair for a
// component overwrites an earlier one; components the text does not name stay absent. Anything
// else fails the whole text, and no reason is given.

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/DateComponents.hpp"
#include "tovanel/chat/base/Formatter.hpp"

namespace tovanel::chat {

/// Reads ISO 8601 duration text into DateComponents.
class TOVANEL_CHAT_API ISO8601DurationFormatter : public Formatter {
 public:
  ISO8601DurationFormatter() noexcept;
  /// Restores a formatter from an archive; nothing when the archive refuses. The formatter keeps
  /// nothing of its own in an archive.
  static std::unique_ptr<ISO8601DurationFormatter> make(const Coder& coder) {
    return restore<ISO8601DurationFormatter>(coder);
  }

  /// The components of duration text; nothing when it does not parse. Allocates nothing.
  std::optional<DateComponents> dateComponents(std::string_view text) const;

  /// Writes no text, whatever the value.
  std::optional<std::string> string(const std::any& object) const override;
  /// True when `text` parses, and then the DateComponents are stored in `object` when given.
  /// False otherwise, and `object` is left as it was. `errorDescription` is never written.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::string* errorDescription) const override;
};

}  // namespace tovanel::chat
