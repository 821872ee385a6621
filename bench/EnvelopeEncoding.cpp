#include "EnvelopeEncoding.hpp"

namespace tovanel::chat::bench {

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

}  // namespace tovanel::chat::bench
