// An application's first use of TovanelChatData: it decodes one message envelope, the record the
// chat service wraps each message in, and prints what it found.
//
//   consumer ENVELOPE.json
//
// Exit status 0 on success, 1 when the envelope does not decode (the error on stderr), 2 on a
// usage error.

#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

// [include]
#include <tovanel/chat.hpp>

namespace chat = tovanel::chat;
// [include]

namespace {

// [envelope]
// The application's envelope around a message body:
//   {"messageId": "m6", "roomId": "r1", "clientId": "c6", "type": "text", "body": {...},
//    "user": {...}, "createdAt": "2026-11-17T09:05:31Z", "viewCount": 4}
// The body's own JSON does not name its kind; the envelope's "type" does. The envelope hands the
// kind to the body's decoding by writing it into the decoder's body-type box first.
chat::ChatMessage decodeEnvelope(const chat::Decoder& decoder) {
  const chat::KeyedDecodingContainer envelope = decoder.container();
  std::string messageID = envelope.decode<std::string>("messageId");
  std::string roomID = envelope.decode<std::string>("roomId");
  std::optional<std::string> clientID = envelope.decodeIfPresent<std::string>("clientId");
  const chat::BodyType type = envelope.decode<chat::BodyType>("type");

  if (chat::BodyTypeBox* box = chat::bodyType(decoder)) box->value = type;
  chat::Body body = envelope.decode<chat::Body>("body");

  chat::ChatMessageUser user = envelope.decode<chat::ChatMessageUser>("user");
  const std::optional<chat::Date> createdAt = envelope.decodeIfPresent<chat::Date>("createdAt");
  const std::optional<chat::Date> updatedAt = envelope.decodeIfPresent<chat::Date>("updatedAt");
  const std::optional<std::int64_t> viewCount = envelope.decodeIfPresent<std::int64_t>("viewCount");
  return chat::ChatMessage(std::move(body), createdAt, std::move(clientID), std::move(messageID),
                           std::move(roomID), type, updatedAt, std::move(user), viewCount,
                           chat::MessageSentStatus::sent);
}
// [envelope]

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: consumer ENVELOPE.json\n";
    return 2;
  }
  std::ifstream file(argv[1]);
  if (!file) {
    std::cerr << "consumer: cannot read " << argv[1] << '\n';
    return 2;
  }
  std::stringstream json;
  json << file.rdbuf();

  // [decode]
  chat::JSONDecoder decoder;
  chat::prepareForBodyDecoding(decoder);  // installs the empty body-type box
  decoder.dateDecodingStrategy = chat::DateDecodingStrategy::iso8601();

  try {
    const chat::ChatMessage message = decoder.decode(json.str(), decodeEnvelope);

    std::cout << message.messageID << " in " << message.roomID << ": "
              << chat::rawValue(message.body.bodyType()) << " by "
              << message.user.atUsername().value_or("a deleted user");
    if (message.createdAt) std::cout << " at " << message.createdAt->iso8601();
    std::cout << '\n';
    if (const chat::TextBody* text = message.body.get<chat::TextBody>()) {
      std::cout << text->text << '\n';
    }
    std::cout << chat::JSONEncoder().encode(message.body) << '\n';
  } catch (const chat::Error& error) {  // DecodingError, or Body::BodyDecodingError
    std::cerr << "error: " << error.what() << '\n';
    return 1;
  }
  // [decode]
  return 0;
}
