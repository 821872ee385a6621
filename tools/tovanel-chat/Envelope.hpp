#pragma once
// The application's message envelope: the record the service wraps each message in. The library
// gives ChatMessage no JSON form; an application owns its envelope and decodes it like this:
//
//   {"messageId": "m1", "roomId": "r1", "clientId": "c1", "type": "text", "body": {...},
//    "user": {...}, "createdAt": "2026-11-22T10:00:00Z", "updatedAt": "...", "viewCount": 3,
//    "sentStatus": 0}
//
// Required: messageId, roomId, type, body, user. Optional (absent or null gives an empty value):
// clientId, createdAt, updatedAt (ISO 8601 text), viewCount, sentStatus (0 sent, 1 sending,
// 2 failed; absent is sent). The kind goes into the decoder's body-type box before the body is
// decoded: that is how the body learns its kind.

#include <cstddef>
#include <exception>
#include <functional>
#include <istream>
#include <optional>
#include <string>

#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::tool {

/// A decoder for envelopes: prepared for body decoding, dates as ISO 8601 text.
JSONDecoder makeEnvelopeDecoder();

/// Decodes one envelope at the decoder's value (throws DecodingError or BodyDecodingError).
ChatMessage decodeEnvelope(const Decoder& decoder);

/// One envelope of an input, decoded or not.
struct EnvelopeResult {
  std::size_t number = 0;          ///< from 1, in input order; blank lines are not counted
  std::string messageId = "?";     ///< "?" when the envelope has no readable messageId
  std::optional<ChatMessage> message;
  std::exception_ptr failure;      ///< set when message is empty
};

/// Calls `visit` for every envelope of the input, in order. The input is a JSON array of
/// envelopes or newline-delimited envelopes (blank lines skipped), told apart by its first
/// non-blank character; newline-delimited input is streamed, so memory does not grow with its
/// size. A malformed line fails that message only. A malformed array fails as a whole: the
/// DecodingError is thrown.
void forEachEnvelope(std::istream& input, const std::function<void(const EnvelopeResult&)>& visit);

}  // namespace tovanel::chat::tool
