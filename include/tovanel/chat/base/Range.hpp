#pragma once
// A span of positions: where it starts and how many positions it covers.

#include <cstdint>

namespace tovanel::chat {

/// A span of positions.
struct Range {
  std::int64_t location;  ///< the first position
  std::int64_t length;    ///< how many positions; negative for a span whose bounds are reversed

  friend bool operator==(const Range&, const Range&) = default;
};

}  // namespace tovanel::chat
