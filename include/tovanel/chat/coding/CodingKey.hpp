#pragma once
// One step of a coding path: a key of an object or an index of an array.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// One step of a coding path: a key of an object or an index of an array.
struct CodingKey {
  std::string stringValue;      ///< the key, or "Index N" for an index
  std::optional<int> intValue;  ///< the index; nothing for a key

  /// The step into an object's member `name`.
  static CodingKey key(std::string name) { return CodingKey{std::move(name), std::nullopt}; }
  /// The step into an array's element at `position` (from 0).
  static CodingKey index(int position) {
    return CodingKey{"Index " + std::to_string(position), position};
  }
  friend bool operator==(const CodingKey&, const CodingKey&) = default;
};

/// The steps from the top-level value to a value; empty for the top-level value itself.
using CodingPath = std::vector<CodingKey>;

namespace coding::detail {
/// One step of the path from the root to a value, kept on the stack of the decoders and encoders
/// and turned into a CodingPath only when an error is built.
struct PathStep {
  const char* key = nullptr;       ///< the member's key; null for an array element or the root
  std::size_t keySizeOrIndex = 0;  ///< the key's length, or the element's index
};

/// A link of the path from a value back to the root (the root's link has no parent).
struct PathLink {
  const PathLink* parent = nullptr;  ///< the link of the enclosing value
  PathStep step{};                   ///< the step from the parent to this value
};

/// The coding path from the root to the value of `link`.
TOVANEL_CHAT_API CodingPath pathOf(const PathLink& link);
}  // namespace coding::detail

/// A path as people read it: `body.mentions[1].rangeStart`; empty for the top-level value.
TOVANEL_CHAT_API std::string describe(const CodingPath& path);

}  // namespace tovanel::chat
