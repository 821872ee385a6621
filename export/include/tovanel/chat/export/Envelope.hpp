#pragma once
// The room export's message envelope: the record the service wraps each message in. The library
// gives ChatMessage no JSON form; the envelope is this project's own, decoded and written like
// this:
//
//   {"messageId": "m1", "roomId": "r1", "clientId": "c1", "type": "text", "body": {...},
//    "user": {...}, "createdAt": "2026-11-22T10:00:00Z", "updatedAt": "...", "viewCount": 3,
//    "sentStatus": 0}
//
// Required: messageId, roomId, type, body, user. Optional (absent or null gives an empty value):
// clientId, createdAt, updatedAt (ISO 8601 text), viewCount, sentStatus (0 sent, 1 sending,
// 2 failed; absent is sent). The kind goes into the decoder's body-type box before the body is
// decoded: that is how the body learns its kind.

#include <string_view>

#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/export/Export.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::exports {

/// A decoder for envelopes: prepared for body decoding, dates as ISO 8601 text.
TOVANEL_CHAT_EXPORT_API JSONDecoder makeEnvelopeDecoder();

/// An encoder that writes envelopes as makeEnvelopeDecoder reads them (ISO 8601 dates).
TOVANEL_CHAT_EXPORT_API JSONEncoder makeEnvelopeEncoder();

/// Decodes one envelope at the decoder's value (throws DecodingError or BodyDecodingError).
TOVANEL_CHAT_EXPORT_API ChatMessage decodeEnvelope(const Decoder& decoder);

/// Decodes one envelope from JSON text with a decoder made by makeEnvelopeDecoder: by the direct
/// reader when the decoder's directReading is on and the reader accepts the text, else by
/// decodeEnvelope above, with the same result (throws what it throws).
TOVANEL_CHAT_EXPORT_API ChatMessage decodeEnvelopeFrom(JSONDecoder& decoder, std::string_view text);

/// The same into a message kept from an earlier call, whose strings, lists and body payload the
/// direct reader reuses. On failure `out` is left valid but unspecified.
TOVANEL_CHAT_EXPORT_API void decodeEnvelopeInto(JSONDecoder& decoder, std::string_view text,
                                                ChatMessage& out);

/// The direct reader alone: true when it read the envelope into `out`, false when it declined
/// (`out` is then unspecified, and the body-type box as it was).
TOVANEL_CHAT_EXPORT_API bool readEnvelopeDirectly(const JSONDecoder& decoder, std::string_view text,
                                                  ChatMessage& out);

/// An empty message to decode into (no body payload, empty strings, no user fields).
TOVANEL_CHAT_EXPORT_API ChatMessage emptyMessage();

/// A message to encode as its envelope: `JSONEncoder::encode(EnvelopeOut{message})`. Dates follow
/// the encoder's strategy; the sent status is written only when it is not `sent`.
struct TOVANEL_CHAT_EXPORT_API EnvelopeOut {
  const ChatMessage& message;
  void encode(Encoder& encoder) const;
};

}  // namespace tovanel::chat::exports
