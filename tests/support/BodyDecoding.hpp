#pragma once
// Decodes a body the way an envelope does: through a prepared decoder whose box holds the kind.

#include <string_view>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat::testing {

inline Body decodeBody(BodyType kind, std::string_view json) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  bodyType(decoder.userInfo)->value = kind;
  return decoder.decode<Body>(json);
}

}  // namespace tovanel::chat::testing
