#include "Subject.hpp"

#include "Input.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat::tool {

Subject bodySubject(const std::string& kindWord) {
  const auto kind = fromRawValue<BodyType>(kindWord);
  if (!kind) throw UsageError("unknown body kind \"" + kindWord + "\"");
  return [kind = *kind](std::string_view json) {
    JSONDecoder decoder;
    prepareForBodyDecoding(decoder);
    bodyType(decoder.userInfo)->value = kind;  // as an envelope hands its kind over
    return DecodedValue(decoder.decode<Body>(json));
  };
}

Subject userSubject() {
  return [](std::string_view json) {
    return DecodedValue(JSONDecoder().decode<ChatMessageUser>(json));
  };
}

Subject infoSubject() {
  return [](std::string_view json) {
    JSONDecoder decoder;
    prepareForBodyDecoding(decoder);  // a presence event's media body is decoded through the box
    return DecodedValue(decoder.decode<InfoBody>(json));
  };
}

}  // namespace tovanel::chat::tool
