// The direct reader against the parser-based decoding of the same envelope: whatever the reader
// accepts, the parser must decode to the same message, the same bytes written back, the same date
// bits and the same body-type box, without a diagnostic line; what it declines must leave the box
// as it was. The first byte picks the kind left in the box beforehand, and which other envelope
// is read into the same message before an accepted one is read again: what a reused message and
// decoder hold from before must not show through.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "FuzzSupport.hpp"
#include "tovanel/chat/export/Envelope.hpp"

using namespace tovanel::chat;

namespace {

std::uint64_t bitsOf(const std::optional<Date>& date) {
  return date ? std::bit_cast<std::uint64_t>(date->timeIntervalSinceReferenceDate()) : 1;
}

// Envelopes with every optional field set, of two kinds of body.
constexpr std::string_view kBetween[] = {
    R"({"messageId":"b1","roomId":"r","clientId":"c","type":"text","body":{"text":"a longer )"
    R"(text than any inline string holds",)"
    R"("mentions":[{"userId":"u1","rangeStart":0,"rangeEnd":5}]},)"
    R"("user":{"id":"u1","username":"someone","firstName":"Some","lastName":"One",)"
    R"("bio":"a biography of more than fifteen bytes","avatarUrl":"https://a.example/a.jpg",)"
    R"("followerCount":12,"followingCount":34},"createdAt":"2026-11-17T09:04:00Z",)"
    R"("updatedAt":"2026-11-17T09:05:00.250Z","viewCount":4})",
    R"({"messageId":"b2","roomId":"r","clientId":"c","type":"images","body":{"images":[)"
    R"({"width":4032,"height":3024,"url":"https://cdn.example/i/one.jpg",)"
    R"("optimizedUrl":"https://cdn.example/i/one@1x.jpg"},)"
    R"({"width":3024,"height":4032,"url":"https://cdn.example/i/two.jpg"}]},)"
    R"("user":{"id":"u2","username":"other","firstName":"Other","lastName":"Person",)"
    R"("bio":"another biography","avatarUrl":"https://a.example/b.jpg","followerCount":1,)"
    R"("followingCount":2},"createdAt":"2026-11-18T18:20:03Z","viewCount":5})"};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto before = static_cast<BodyType>(data[0] % RawValues<BodyType>::values.size());
  const std::string_view text = fuzz::textAfterFirstByte(data, size);

  JSONDecoder direct = exports::makeEnvelopeDecoder();
  direct.diagnosticSink = {};
  prepareForBodyDecoding(direct).value = before;
  ChatMessage read = exports::emptyMessage();
  if (!exports::readEnvelopeDirectly(direct, text, read)) {
    TOVANEL_FUZZ_CHECK(bodyType(direct)->value == before);
    return 0;
  }
  JSONDecoder parser = exports::makeEnvelopeDecoder();
  parser.directReading = false;
  int lines = 0;
  parser.diagnosticSink = [&lines](std::string_view) { ++lines; };
  prepareForBodyDecoding(parser).value = before;
  std::optional<ChatMessage> decoded;
  try {
    decoded =
        parser.decode(text, [](const Decoder& root) { return exports::decodeEnvelope(root); });
  } catch (const std::exception& error) {
    fuzz::violated("the direct reader accepted what the parser refuses", __FILE__, __LINE__,
                   error.what());
  }
  const JSONEncoder encoder = exports::makeEnvelopeEncoder();
  TOVANEL_FUZZ_CHECK(read == *decoded);
  TOVANEL_FUZZ_CHECK(encoder.encode(exports::EnvelopeOut{read}) ==
                     encoder.encode(exports::EnvelopeOut{*decoded}));
  TOVANEL_FUZZ_CHECK(bitsOf(read.createdAt) == bitsOf(decoded->createdAt));
  TOVANEL_FUZZ_CHECK(bitsOf(read.updatedAt) == bitsOf(decoded->updatedAt));
  TOVANEL_FUZZ_CHECK(bodyType(direct)->value == bodyType(parser)->value);
  TOVANEL_FUZZ_CHECK(lines == 0);

  // Read again into the same message and decoder, after another envelope.
  TOVANEL_FUZZ_CHECK(exports::readEnvelopeDirectly(direct, kBetween[data[0] % 2], read));
  TOVANEL_FUZZ_CHECK(exports::readEnvelopeDirectly(direct, text, read));
  TOVANEL_FUZZ_CHECK(read == *decoded);
  TOVANEL_FUZZ_CHECK(encoder.encode(exports::EnvelopeOut{read}) ==
                     encoder.encode(exports::EnvelopeOut{*decoded}));
  return 0;
}
