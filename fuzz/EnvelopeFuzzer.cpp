// Reads an input of message envelopes as the tool's check command does: a JSON array or
// newline-delimited envelopes. Each envelope gives a message or a DecodingError, numbered from 1
// in order; a message's body is of the kind its envelope names.

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "Envelope.hpp"
#include "FuzzSupport.hpp"

using namespace tovanel::chat;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
  std::size_t expectedNumber = 0;
  const auto visit = [&](const tool::EnvelopeResult& result) {
    TOVANEL_FUZZ_CHECK(result.number == ++expectedNumber);
    TOVANEL_FUZZ_CHECK(result.message.has_value() != (result.failure != nullptr));
    if (!result.message) {
      fuzz::checkDecodingFailure(result.failure);
      return;
    }
    const ChatMessage& message = *result.message;
    TOVANEL_FUZZ_CHECK(result.messageId == message.messageID);
    TOVANEL_FUZZ_CHECK(message.body.bodyType() == message.type);
    fuzz::checkValue(message);
  };
  try {
    tool::forEachEnvelope(input, visit);
  } catch (...) {
    fuzz::checkDecodingFailure(std::current_exception());  // a malformed array, as a whole
  }
  return 0;
}
