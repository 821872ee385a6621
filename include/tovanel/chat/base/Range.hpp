#pragma once
// A span of positions: where it starts and how many positions it covers.

#include <cstdint>

namespace tovanel::chat {

struct Range {
  std::int64_t location;
  std::int64_t length;

  friend bool operator==(const Range&, const Range&) = default;
};

}  // namespace tovanel::chat
