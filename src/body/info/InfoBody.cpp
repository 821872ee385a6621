// InfoBody's dispatch: the kind read from "type" picks the record of that kind.

#include "tovanel/chat/body/info/InfoBody.hpp"

#include <array>
#include <string_view>

#include "body/DiagnosticLine.hpp"
#include "tovanel/chat/coding/Codec.hpp"

namespace tovanel::chat {

namespace {

using Records = InfoBody::Records;
using DecodeRecord = bool (*)(const Decoder&, Records&);

// Decoded in place, in the alternative the event will keep.
template <std::size_t I>
bool decodeRecord(const Decoder& decoder, Records& out) {
  using T = std::variant_alternative_t<I, Records>;
  auto& record = out.template emplace<I>(coding::Access::construct<T>());
  return coding::Codec<T>::decode(decoder, record);
}

template <std::size_t... I>
constexpr std::array<DecodeRecord, sizeof...(I)> decoders(std::index_sequence<I...>) {
  return {&decodeRecord<I>...};
}
constexpr auto kDecoders = decoders(std::make_index_sequence<std::variant_size_v<Records>>{});

constexpr std::string_view kRecordFailedLine = "[Body][InfoBody] Can't decode: ";

}  // namespace

bool InfoBody::decodeInto(const Decoder& decoder, InfoBody& out) {
  GenericInfoBody generic;
  if (!GenericInfoBody::decodeInto(decoder, generic)) return false;  // no line for the kind
  return decodeInto(decoder, generic.type, out);
}

bool InfoBody::decodeInto(const Decoder& decoder, InfoType kind, InfoBody& out) {
  DecodingRun::LoudScope loud(decoder.run());  // the line needs the error's description
  if (kDecoders[position(kind)](decoder, out.records_)) return true;
  detail::writeDiagnosticLine(decoder, kRecordFailedLine, decoder.run().errorDescription());
  return false;
}

InfoBody InfoBody::decode(const Decoder& decoder, InfoType kind) {
  InfoBody out;
  if (!decodeInto(decoder, kind, out)) decoder.run().rethrow();
  return out;
}

void InfoBody::encode(Encoder& encoder) const {
  std::visit([&encoder](const auto& record) { record.encode(encoder); }, records_);
}

}  // namespace tovanel::chat
