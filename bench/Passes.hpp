#pragma once
// The measured work, one pass over a whole corpus each, shared by the benchmarks and by the
// profiling driver (so that callgrind counts exactly what the benchmarks time).

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Corpus.hpp"
#include "Peer.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::bench {

/// The floor: simdjson parses each envelope into its DOM and every value is walked (FloorWalk),
/// nothing built from it; returns what the walk folded together.
std::uint64_t floorPass(simdjson::dom::parser& parser, const Corpus& corpus);

/// The parse alone, without the walk: simdjson's own share of the floor.
void parseOnlyPass(simdjson::dom::parser& parser, const Corpus& corpus);

/// Ours: each envelope decoded into a ChatMessage appended to the history, through the public API
/// as an application calls it (the export library's decodeEnvelopeFrom on a decoder made by
/// makeEnvelopeDecoder: the direct reader, unless the decoder's directReading is off).
void decodePass(JSONDecoder& decoder, const Corpus& corpus, std::vector<ChatMessage>& history);

/// Ours into a fresh message per envelope, dropped at once (kept nowhere); returns the sum of
/// the messages' view counts.
std::int64_t freshPass(JSONDecoder& decoder, const Corpus& corpus);

/// Ours into one reused message (decodeEnvelopeInto), as a reader that checks and drops each
/// message does; returns the sum of the messages' view counts, so that no read can be skipped.
std::int64_t reusePass(JSONDecoder& decoder, const Corpus& corpus);

/// What `tovanel-chat check` does, in memory: the corpus read as an export in blocks
/// (EnvelopeReader), each envelope decoded into one reused message; returns how many decoded.
std::size_t checkPass(const Corpus& corpus);

/// How many envelopes of the corpus the direct reader accepts.
std::size_t directlyRead(const JSONDecoder& decoder, const Corpus& corpus);

/// The peer: nlohmann::json parses each envelope and from_json maps it into the peer's structs.
void peerDecodePass(const Corpus& corpus, std::vector<peer::Envelope>& history);

/// Ours: each message written back as its envelope, one per line, into `out`.
void encodePass(const JSONEncoder& encoder, const std::vector<ChatMessage>& history,
                std::string& out);

/// The peer: each message built as a nlohmann::json and dumped, one per line, into `out`.
void peerEncodePass(const std::vector<peer::Envelope>& history, std::string& out);

/// How many messages of `a` equal the message at the same place in `b`.
std::size_t equalPass(const std::vector<ChatMessage>& a, const std::vector<ChatMessage>& b);

/// The hash values of every message, combined so that none can be skipped.
std::uint64_t hashPass(const std::vector<ChatMessage>& history);

/// A decoder for envelopes and an encoder that writes them the same way (ISO 8601 dates).
JSONDecoder makeDecoder();
JSONEncoder makeEncoder();

}  // namespace tovanel::chat::bench
