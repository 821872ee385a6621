#include "tovanel/chat/export/EnvelopeReader.hpp"

#include <string>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat::exports {

namespace {

// The messageId of an envelope that failed, when it has a readable one.
std::string readableMessageId(const Decoder& decoder) {
  const auto envelope = decoder.tryContainer();
  if (!envelope) return "?";
  return envelope->tryDecodeTolerantly<std::string>("messageId").value_or("?");
}

}  // namespace

EnvelopeReader::EnvelopeReader(Input& input, ReadingOptions options)
    : reader_(input, options), decoder_(makeEnvelopeDecoder()) {
  decoder_.maximumDocumentSize = options.maximumMessageSize;
}

std::optional<EnvelopeResult> EnvelopeReader::next() {
  ChatMessage message = emptyMessage();
  EnvelopeResult result;
  if (!nextInto(message, result)) return std::nullopt;
  if (!result.failure) {
    result.messageId = message.messageID;
    result.message.emplace(std::move(message));
  }
  return result;
}

bool EnvelopeReader::nextInto(ChatMessage& message, EnvelopeResult& result) {
  const auto item = reader_.next();
  if (!item) return false;
  result.number = item->number;
  result.format = reader_.format();
  result.place = item->place;
  result.messageId = "?";
  result.message.reset();
  result.failure = nullptr;
  if (item->oversized) {
    result.failure = std::make_exception_ptr(DecodingError(
        DecodingError::Kind::dataCorrupted, {},
        "the message is " + std::to_string(item->size) + " bytes long, more than the limit of " +
            std::to_string(reader_.options().maximumMessageSize) + " bytes"));
    return true;
  }
  if (decoder_.directReading && readEnvelopeDirectly(decoder_, item->text, message)) return true;
  try {
    // The item's text is padded: the parser reads it where it lies.
    decoder_.decode(PaddedText{item->text}, [&](const Decoder& root) {
      try {
        message = decodeEnvelope(root);
      } catch (const DecodingError&) {
        result.failure = std::current_exception();
        result.messageId = readableMessageId(root);
      } catch (const Body::BodyDecodingError&) {
        result.failure = std::current_exception();
        result.messageId = readableMessageId(root);
      }
      return 0;
    });
  } catch (const DecodingError&) {
    // The text is not JSON: it fails as a whole and is never partly read.
    result.failure = std::current_exception();
  }
  return true;
}

void forEachEnvelope(Input& input, const std::function<void(const EnvelopeResult&)>& visit,
                     ReadingOptions options) {
  EnvelopeReader reader(input, options);
  while (const auto result = reader.next()) visit(*result);
}

}  // namespace tovanel::chat::exports
