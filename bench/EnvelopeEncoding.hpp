#pragma once
// The envelope written back, as an application writes it: the mirror of the tool's
// decodeEnvelope, through the keyed container of the public API.

#include "tovanel/chat/coding/Encoder.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::bench {

/// A message to encode as its envelope (dates by the encoder's strategy; the sent status only
/// when it is not `sent`).
struct EnvelopeOut {
  const ChatMessage& message;
  void encode(Encoder& encoder) const;
};

}  // namespace tovanel::chat::bench
