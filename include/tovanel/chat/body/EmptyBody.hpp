#pragma once
// The payload of the vimeo kind: a record with no fields.

#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat {

/// A payload with no fields: every EmptyBody equals every other.
struct EmptyBody {
  /// Reads nothing and never fails, whatever the value holds.
  static EmptyBody decode(const Decoder&) noexcept { return EmptyBody{}; }
  /// The checking form: reads nothing, never fails.
  static bool decodeInto(const Decoder&, EmptyBody&) noexcept { return true; }
  /// Writes an empty object.
  void encode(Encoder& encoder) const { auto container = encoder.container(); }

  friend bool operator==(const EmptyBody&, const EmptyBody&) noexcept { return true; }
  /// Feeds nothing.
  template <class H>
  void hashInto(H&) const noexcept {}
};

}  // namespace tovanel::chat
