// InfoBody's dispatch: the kind read from "type" picks the record of that kind.

#include "tovanel/chat/body/info/InfoBody.hpp"

#include <array>
#include <string_view>

#include "body/DiagnosticLine.hpp"
#include "tovanel/chat/coding/Codec.hpp"
#include "tovanel/chat/coding/DirectReader.hpp"

namespace tovanel::chat {

namespace {

using Records = InfoBody::Records;

constexpr std::string_view kRecordFailedLine = "[Body][InfoBody] Can't decode: ";

}  // namespace

coding::Status InfoBody::tryDecode(const Decoder& decoder, InfoBody& out) {
  GenericInfoBody generic;
  // A kind that cannot be read writes no line of its own.
  if (coding::Status status = GenericInfoBody::tryDecode(decoder, generic); !status) {
    return status;
  }
  return tryDecode(decoder, generic.type, out);
}

coding::Status InfoBody::tryDecode(const Decoder& decoder, InfoType kind, InfoBody& out) {
  using DecodeRecord = coding::Status (*)(const Decoder&, Records&);
  // One reader per case, each decoding its record in place, in the alternative the event keeps.
  static constexpr auto decoders = []<std::size_t... I>(std::index_sequence<I...>) {
    return std::array<DecodeRecord, sizeof...(I)>{[](const Decoder& value, Records& records) {
      return coding::Access::decodeAlternative<std::variant_alternative_t<I, Records>>(value,
                                                                                       records);
    }...};
  }
  (std::make_index_sequence<std::variant_size_v<Records>>{});
  coding::Status status = decoders[position(kind)](decoder, out.records_);
  if (!status) detail::writeDiagnosticLine(decoder, kRecordFailedLine, status);
  return status;
}

bool InfoBody::readDirect(coding::direct::Cursor& cursor, InfoBody& out) {
  // Two passes, as the parser-based decoding reads the object twice: the kind, then the record.
  const coding::direct::Mark start = cursor.mark();
  GenericInfoBody generic;
  if (!coding::direct::readObject<coding::direct::TableOf<GenericInfoBody>>(cursor, generic)) {
    return false;
  }
  cursor.rewind(start);
  using ReadRecord = bool (*)(coding::direct::Cursor&, Records&);
  // One reader per case: the record read in place when the event already holds that case.
  static constexpr auto readers = []<std::size_t... I>(std::index_sequence<I...>) {
    return std::array<ReadRecord, sizeof...(I)>{[](coding::direct::Cursor& at, Records& records) {
      using T = std::variant_alternative_t<I, Records>;
      if (records.index() != I) records.template emplace<I>(coding::Access::construct<T>());
      return coding::direct::readValue(at, std::get<I>(records));
    }...};
  }
  (std::make_index_sequence<std::variant_size_v<Records>>{});
  return readers[position(generic.type)](cursor, out.records_);
}

InfoBody InfoBody::decode(const Decoder& decoder, InfoType kind) {
  InfoBody out(coding::detail::Unfilled(0));
  if (coding::Status status = tryDecode(decoder, kind, out); !status) status.raise();
  return out;
}

void InfoBody::encode(Encoder& encoder) const {
  std::visit([&encoder](const auto& record) { record.encode(encoder); }, records_);
}

}  // namespace tovanel::chat
