#include "tovanel/chat/export/Envelope.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/DirectReader.hpp"

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

namespace {

// The envelope as the direct reader reads it: decodeEnvelope's keys, with the kind handed to the
// body once read.
struct EnvelopeTable {
  static constexpr auto fields() {
    return std::tuple{coding::requiredKey("messageId", &ChatMessage::messageID),
                      coding::requiredKey("roomId", &ChatMessage::roomID),
                      coding::optionalKey("clientId", &ChatMessage::clientID),
                      coding::direct::kindKey("type", &ChatMessage::type),
                      coding::requiredKey("body", &ChatMessage::body),
                      coding::requiredKey("user", &ChatMessage::user),
                      coding::optionalKey("createdAt", &ChatMessage::createdAt),
                      coding::optionalKey("updatedAt", &ChatMessage::updatedAt),
                      coding::optionalKey("viewCount", &ChatMessage::viewCount),
                      coding::direct::defaultedKey("sentStatus", &ChatMessage::sentStatus)};
  }
};

}  // namespace

bool readEnvelopeDirectly(const JSONDecoder& decoder, std::string_view text, ChatMessage& out) {
  coding::direct::Cursor cursor(decoder, text);
  if (coding::direct::readObject<EnvelopeTable>(cursor, out) && cursor.atEnd()) return true;
  cursor.undoHandOff();
  return false;
}

ChatMessage emptyMessage() {
  return ChatMessage(Body::action(), std::nullopt, std::nullopt, {}, {}, BodyType::action,
                     std::nullopt,
                     ChatMessageUser({}, std::nullopt, {}, {}, std::nullopt, std::nullopt, 0, 0),
                     std::nullopt, MessageSentStatus::sent);
}

ChatMessage decodeEnvelopeFrom(JSONDecoder& decoder, std::string_view text) {
  if (decoder.directReading) {
    ChatMessage message = emptyMessage();
    if (readEnvelopeDirectly(decoder, text, message)) return message;
  }
  return decoder.decode(text, [](const Decoder& root) { return decodeEnvelope(root); });
}

void decodeEnvelopeInto(JSONDecoder& decoder, std::string_view text, ChatMessage& out) {
  if (decoder.directReading && readEnvelopeDirectly(decoder, text, out)) return;
  out = decoder.decode(text, [](const Decoder& root) { return decodeEnvelope(root); });
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
