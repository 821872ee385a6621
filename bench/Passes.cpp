#include "Passes.hpp"

#include <stdexcept>

#include "FloorWalk.hpp"
#include "tovanel/chat/export/Envelope.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"

namespace tovanel::chat::bench {

std::uint64_t floorPass(simdjson::dom::parser& parser, const Corpus& corpus) {
  std::uint64_t sum = 0;
  for (const std::string_view line : corpus.lines) {
    if (!parseAndWalk(parser, line, sum)) throw std::runtime_error("the corpus is not JSON");
  }
  return sum;
}

void parseOnlyPass(simdjson::dom::parser& parser, const Corpus& corpus) {
  for (const std::string_view line : corpus.lines) {
    simdjson::dom::element root;
    // Like the decoder, the parser copies the text into its padded buffer.
    if (parser.parse(line.data(), line.size(), true).get(root) != simdjson::SUCCESS) {
      throw std::runtime_error("the corpus is not JSON");
    }
  }
}

void decodePass(JSONDecoder& decoder, const Corpus& corpus, std::vector<ChatMessage>& history) {
  for (const std::string_view line : corpus.lines) {
    history.push_back(exports::decodeEnvelopeFrom(decoder, line));
  }
}

std::int64_t freshPass(JSONDecoder& decoder, const Corpus& corpus) {
  std::int64_t views = 0;
  for (const std::string_view line : corpus.lines) {
    views += exports::decodeEnvelopeFrom(decoder, line).viewCount.value_or(0);
  }
  return views;
}

std::int64_t reusePass(JSONDecoder& decoder, const Corpus& corpus) {
  ChatMessage message = exports::emptyMessage();
  std::int64_t views = 0;
  for (const std::string_view line : corpus.lines) {
    exports::decodeEnvelopeInto(decoder, line, message);
    views += message.viewCount.value_or(0);
  }
  return views;
}

std::size_t checkPass(const Corpus& corpus) {
  auto input = exports::Input::fromText(corpus.text);
  exports::EnvelopeReader reader(input);
  ChatMessage message = exports::emptyMessage();
  exports::EnvelopeResult result;
  std::size_t decoded = 0;
  while (reader.nextInto(message, result)) decoded += result.failure ? 0 : 1;
  return decoded;
}

std::size_t directlyRead(const JSONDecoder& decoder, const Corpus& corpus) {
  ChatMessage message = exports::emptyMessage();
  std::size_t accepted = 0;
  for (const std::string_view line : corpus.lines) {
    accepted += exports::readEnvelopeDirectly(decoder, line, message) ? 1 : 0;
  }
  return accepted;
}

void peerDecodePass(const Corpus& corpus, std::vector<peer::Envelope>& history) {
  for (const std::string_view line : corpus.lines) {
    history.push_back(nlohmann::json::parse(line).get<peer::Envelope>());
  }
}

void encodePass(const JSONEncoder& encoder, const std::vector<ChatMessage>& history,
                std::string& out) {
  for (const ChatMessage& message : history) {
    encoder.encode(exports::EnvelopeOut{message}, out);
    out += '\n';
  }
}

void peerEncodePass(const std::vector<peer::Envelope>& history, std::string& out) {
  for (const peer::Envelope& envelope : history) {
    out += nlohmann::json(envelope).dump();
    out += '\n';
  }
}

std::size_t equalPass(const std::vector<ChatMessage>& a, const std::vector<ChatMessage>& b) {
  std::size_t equal = 0;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) equal += a[i] == b[i] ? 1 : 0;
  return equal;
}

std::uint64_t hashPass(const std::vector<ChatMessage>& history) {
  std::uint64_t combined = 0;
  for (const ChatMessage& message : history) combined ^= message.hashValue();
  return combined;
}

JSONDecoder makeDecoder() { return exports::makeEnvelopeDecoder(); }

JSONEncoder makeEncoder() { return exports::makeEnvelopeEncoder(); }

}  // namespace tovanel::chat::bench
