#pragma once
// A room's history was cleared. The event has no fields: it reads nothing (not even an object,
// so it decodes from any JSON value) and writes an empty object, without a "type".

#include <cstdint>

#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat {

struct RoomHistoryClearedInfoBody {
  RoomHistoryClearedInfoBody() noexcept = default;

  static RoomHistoryClearedInfoBody decode(const Decoder&) noexcept { return {}; }
  static bool decodeInto(const Decoder&, RoomHistoryClearedInfoBody&) noexcept { return true; }
  void encode(Encoder& encoder) const { auto container = encoder.container(); }

  friend bool operator==(const RoomHistoryClearedInfoBody&,
                         const RoomHistoryClearedInfoBody&) noexcept {
    return true;
  }
  /// Feeds nothing.
  template <class H>
  void hashInto(H&) const noexcept {}
  std::uint64_t hashValue() const noexcept { return hashValueOf(*this); }
};

}  // namespace tovanel::chat
