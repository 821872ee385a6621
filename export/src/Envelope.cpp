#include "tovanel/chat/export/Envelope.hpp"

#include <cstdint>
#include <string>
#include <utility>

#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::exports {

JSONDecoder makeEnvelopeDecoder() {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  decoder.dateDecodingStrategy = DateDecodingStrategy::iso8601();
  return decoder;
}

JSONEncoder makeEnvelopeEncoder() {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = DateEncodingStrategy::iso8601();
  return encoder;
}

ChatMessage decodeEnvelope(const Decoder& decoder) {
  const auto envelope = decoder.container();
  auto messageID = envelope.decode<std::string>("messageId");
  auto roomID = envelope.decode<std::string>("roomId");
  auto clientID = envelope.decodeIfPresent<std::string>("clientId");
  const auto type = envelope.decode<BodyType>("type");
  // Hand the kind to the body's decoding, then decode the body.
  if (BodyTypeBox* box = bodyType(decoder)) box->value = type;
  auto body = envelope.decode<Body>("body");
  auto user = envelope.decode<ChatMessageUser>("user");
  const auto createdAt = envelope.decodeIfPresent<Date>("createdAt");
  const auto updatedAt = envelope.decodeIfPresent<Date>("updatedAt");
  const auto viewCount = envelope.decodeIfPresent<std::int64_t>("viewCount");
  auto sentStatus = MessageSentStatus::sent;
  if (const auto raw = envelope.decodeIfPresent<std::int64_t>("sentStatus")) {
    const auto status = fromRawValue<MessageSentStatus>(*raw);
    if (!status) {
      throw DecodingError::invalidRawValue({CodingKey::key("sentStatus")}, "MessageSentStatus",
                                           std::to_string(*raw));
    }
    sentStatus = *status;
  }
  return ChatMessage(std::move(body), createdAt, std::move(clientID), std::move(messageID),
                     std::move(roomID), type, updatedAt, std::move(user), viewCount, sentStatus);
}

void EnvelopeOut::encode(Encoder& encoder) const {
  auto envelope = encoder.container();
  envelope.encode("messageId", message.messageID);
  envelope.encode("roomId", message.roomID);
  envelope.encodeIfPresent("clientId", message.clientID);
  envelope.encode("type", message.type);
  envelope.encode("body", message.body);
  envelope.encode("user", message.user);
  envelope.encodeIfPresent("createdAt", message.createdAt);
  envelope.encodeIfPresent("updatedAt", message.updatedAt);
  envelope.encodeIfPresent("viewCount", message.viewCount);
  if (message.sentStatus != MessageSentStatus::sent) {
    envelope.encode("sentStatus", std::int64_t{rawValue(message.sentStatus)});
  }
}

}  // namespace tovanel::chat::exports
