// Decodes a body of every kind: the first input byte picks the kind, the rest is the body's JSON.
// A body decodes or fails with a DecodingError; a decoded body is of the kind it was asked for,
// and its copies equal it and hash alike.

#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"

using namespace tovanel::chat;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto kind = static_cast<BodyType>(data[0] % RawValues<BodyType>::values.size());
  JSONDecoder decoder = fuzz::bodyDecoder(kind);
  const auto body = fuzz::decodeOrNothing(
      [&] { return decoder.decode<Body>(fuzz::textAfterFirstByte(data, size)); });
  if (!body) return 0;
  TOVANEL_FUZZ_CHECK(body->bodyType() == kind);
  fuzz::checkValue(*body);
  return 0;
}
