#pragma once
// A set of Unicode code points, for scanning text: the characters a Scanner skips, or those a
// run of characters may consist of.

#include <string_view>
#include <vector>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// A set of Unicode code points.
class TOVANEL_CHAT_API CharacterSet {
 public:
  /// The Unicode White_Space characters: tab, line feed, vertical tab, form feed, carriage
  /// return, space, next line, no-break space and the other spaces and separators of Unicode.
  static CharacterSet whitespacesAndNewlines();
  /// The characters of UTF-8 text. Bytes that are not UTF-8 add nothing.
  static CharacterSet charactersIn(std::string_view utf8);

  /// True when the code point is in the set.
  bool contains(char32_t codePoint) const noexcept;

 private:
  struct Range {
    char32_t first;
    char32_t last;  // inclusive
  };
  explicit CharacterSet(std::vector<Range> ranges) noexcept : ranges_(std::move(ranges)) {}
  std::vector<Range> ranges_;
};

}  // namespace tovanel::chat
