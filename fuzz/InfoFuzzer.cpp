// Decodes a system event from JSON, with a decoder prepared for bodies or not (the first input
// byte says which; the event's media holds a body of its own). An event decodes or fails with a
// DecodingError, never with the body-type hand-off's error: the media reads its body tolerantly.

#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"

using namespace tovanel::chat;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  JSONDecoder decoder;
  if ((data[0] & 1) != 0) prepareForBodyDecoding(decoder);
  const auto info = fuzz::decodeOrNothing(
      [&] { return decoder.decode<InfoBody>(fuzz::textAfterFirstByte(data, size)); });
  if (!info) return 0;
  fuzz::checkValue(*info);
  // Held by a body, the event is the same value.
  const Body body(*info);
  TOVANEL_FUZZ_CHECK(body.get<InfoBody>() != nullptr && *body.get<InfoBody>() == *info);
  fuzz::checkValue(body);
  return 0;
}
