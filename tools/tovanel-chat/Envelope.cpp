#include "Envelope.hpp"

#include <iterator>

#include "tovanel/chat/body/BodyTypeBox.hpp"

namespace tovanel::chat::tool {

JSONDecoder makeEnvelopeDecoder() {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  decoder.dateDecodingStrategy = DateDecodingStrategy::iso8601();
  return decoder;
}

ChatMessage decodeEnvelope(const Decoder& decoder) {
  const auto envelope = decoder.container();
  auto messageID = envelope.decode<std::string>("messageId");
  auto roomID = envelope.decode<std::string>("roomId");
  auto clientID = envelope.decodeIfPresent<std::string>("clientId");
  const auto type = envelope.decode<BodyType>("type");
  // Hand the kind to the body's decoding, then decode the body.
  if (BodyTypeBox* box = bodyType(decoder.userInfo())) box->value = type;
  auto body = envelope.decode<Body>("body");
  auto user = envelope.decode<ChatMessageUser>("user");
  const auto createdAt = envelope.decodeIfPresent<Date>("createdAt");
  const auto updatedAt = envelope.decodeIfPresent<Date>("updatedAt");
  const auto viewCount = envelope.decodeIfPresent<std::int64_t>("viewCount");
  auto sentStatus = MessageSentStatus::sent;
  if (const auto raw = envelope.decodeIfPresent<std::int64_t>("sentStatus")) {
    const auto status = fromRawValue<MessageSentStatus>(*raw);
    if (!status) {
      throw DecodingError(DecodingError::Kind::dataCorrupted,
                          {CodingKey::key("sentStatus")},
                          "cannot initialize MessageSentStatus from invalid raw value " +
                              std::to_string(*raw));
    }
    sentStatus = *status;
  }
  return ChatMessage(std::move(body), createdAt, std::move(clientID), std::move(messageID),
                     std::move(roomID), type, updatedAt, std::move(user), viewCount, sentStatus);
}

namespace {

// The messageId of an envelope that failed, when it has a readable one.
std::string readableMessageId(const Decoder& decoder) {
  const auto envelope = decoder.keyedContainer();
  if (!envelope) {
    decoder.run().clearError();
    return "?";
  }
  return envelope->decodeTolerantly<std::string>("messageId").value_or("?");
}

EnvelopeResult decodeOne(const Decoder& decoder, std::size_t number) {
  EnvelopeResult result;
  result.number = number;
  try {
    result.message.emplace(decodeEnvelope(decoder));
    result.messageId = result.message->messageID;
  } catch (...) {
    result.failure = std::current_exception();
    result.messageId = readableMessageId(decoder);
  }
  return result;
}

bool isBlank(const std::string& line) {
  return line.find_first_not_of(" \t\r\n") == std::string::npos;
}

}  // namespace

void forEachEnvelope(std::istream& input,
                     const std::function<void(const EnvelopeResult&)>& visit) {
  JSONDecoder decoder = makeEnvelopeDecoder();
  input >> std::ws;
  if (input.peek() == '[') {
    const std::string text((std::istreambuf_iterator<char>(input)),
                           std::istreambuf_iterator<char>());
    decoder.decode(text, [&](const Decoder& root) {
      auto envelopes = root.unkeyedContainer();
      std::size_t number = 0;
      while (!envelopes.isAtEnd()) visit(decodeOne(envelopes.next(), ++number));
      return 0;
    });
    return;
  }
  std::string line;
  std::size_t number = 0;
  while (std::getline(input, line)) {
    if (isBlank(line)) continue;
    ++number;
    try {
      decoder.decode(line, [&](const Decoder& root) {
        visit(decodeOne(root, number));
        return 0;
      });
    } catch (const DecodingError&) {
      // The line is not JSON: it fails as a whole and is never partly read.
      EnvelopeResult result;
      result.number = number;
      result.failure = std::current_exception();
      visit(result);
    }
  }
}

}  // namespace tovanel::chat::tool
