#include "Subject.hpp"

#include "Errors.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat::tool {

Subject bodySubject(const std::string& kindWord) {
  const auto kind = fromRawValue<BodyType>(kindWord);
  if (!kind) {
    std::string kinds;
    for (const std::string_view word : RawValues<BodyType>::values) {
      kinds.append(kinds.empty() ? "" : ", ").append(word);
    }
    throw UsageError("unknown body kind \"" + kindWord + "\" (the kinds: " + kinds + ")");
  }
  return [kind = *kind](JSONDecoder& decoder, std::string_view json) {
    prepareForBodyDecoding(decoder).value = kind;  // as an envelope hands its kind over
    return DecodedValue(decoder.decode<Body>(json));
  };
}

Subject userSubject() {
  return [](JSONDecoder& decoder, std::string_view json) {
    return DecodedValue(decoder.decode<ChatMessageUser>(json));
  };
}

Subject infoSubject() {
  return [](JSONDecoder& decoder, std::string_view json) {
    prepareForBodyDecoding(decoder);  // a presence event's media body is decoded through the box
    return DecodedValue(decoder.decode<InfoBody>(json));
  };
}

}  // namespace tovanel::chat::tool
