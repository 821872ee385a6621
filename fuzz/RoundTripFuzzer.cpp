// Whatever decodes must encode, and decoding that text must give an equal value with an equal
// hash. The first input byte picks what is decoded: a body of one of the fifteen kinds, a system
// event or a user; the rest is its JSON.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "FuzzSupport.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

using namespace tovanel::chat;

namespace {

constexpr std::size_t kBodyKinds = RawValues<BodyType>::values.size();
constexpr std::size_t kInfoSelector = kBodyKinds;
constexpr std::size_t kUserSelector = kBodyKinds + 1;
constexpr std::size_t kSelectors = kBodyKinds + 2;

// Decodes a T from the input with `decoder`, then checks its round trip through the same decoder
// (reused, as an application reuses one), with the same preparation before each decode.
template <class T, class Prepare>
void roundTrip(JSONDecoder& decoder, std::string_view json, Prepare prepare) {
  const auto decode = [&](std::string_view text) {
    prepare();
    return decoder.decode<T>(text);
  };
  const auto value = fuzz::decodeOrNothing([&] { return decode(json); });
  if (value) fuzz::checkRoundTrip(*value, decode);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t selector = data[0] % kSelectors;
  const std::string_view json = fuzz::textAfterFirstByte(data, size);
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  if (selector == kUserSelector) {
    roundTrip<ChatMessageUser>(decoder, json, [] {});
  } else if (selector == kInfoSelector) {
    roundTrip<InfoBody>(decoder, json, [] {});
  } else {
    // A user-present event leaves its media's kind in the box: write the body's kind each time,
    // as an envelope does.
    const auto kind = static_cast<BodyType>(selector);
    roundTrip<Body>(decoder, json, [&] { bodyType(decoder.userInfo)->value = kind; });
  }
  return 0;
}
