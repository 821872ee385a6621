#pragma once
// The record with no fields, shared by the kinds that carry nothing beyond their kind: the vimeo
// body and the history-cleared event. It reads nothing, not even an object, so it decodes from any
// JSON value; it writes an empty object; every one equals every other and feeds the hash nothing.

#include <tuple>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The record of `Kind` (a BodyType or an InfoType) that has no fields.
template <auto Kind>
struct EmptyRecord : coding::Record<EmptyRecord<Kind>> {
  static constexpr auto kind = Kind;  ///< the kind whose record it is

 private:
  friend struct coding::Access;
  static constexpr auto codingFields() { return std::tuple{}; }
};

/// The payload of the kind vimeo.
using EmptyBody = EmptyRecord<BodyType::vimeo>;

}  // namespace tovanel::chat
