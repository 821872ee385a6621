// Dates through the decoder's and the encoder's date strategies.

#include "base/DateText.hpp"
#include "tovanel/chat/coding/Codec.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat::coding {

namespace {
// What the strategies that read numbers expect, naming the strategy: text is a sign that the
// caller meant another one.
constexpr std::string_view kExpectedNumber[] = {
    "a number of seconds since 2001-01-01T00:00:00Z (the dateDecodingStrategy deferredToDate; "
    "ISO 8601 text needs iso8601)",
    "a number of seconds since 1970-01-01T00:00:00Z (the dateDecodingStrategy "
    "secondsSince1970; ISO 8601 text needs iso8601)",
    "a number of milliseconds since 1970-01-01T00:00:00Z (the dateDecodingStrategy "
    "millisecondsSince1970; ISO 8601 text needs iso8601)",
};
}  // namespace

Status Codec<Date>::tryDecode(const Decoder& decoder, Date& out) {
  const DateDecodingStrategy& strategy = decoder.owner().dateDecodingStrategy;
  switch (strategy.kind) {
    case DateStrategyKind::deferredToDate:
    case DateStrategyKind::secondsSince1970:
    case DateStrategyKind::millisecondsSince1970: {
      double number = 0;
      if (!decoder.tryRead(number)) {
        return decoder.expecting(kExpectedNumber[static_cast<std::size_t>(strategy.kind)]);
      }
      out = strategy.kind == DateStrategyKind::deferredToDate ? Date::sinceReferenceDate(number)
            : strategy.kind == DateStrategyKind::secondsSince1970
                ? Date::since1970(number)
                : Date::since1970(number / 1000.0);
      return {};
    }
    case DateStrategyKind::iso8601: {
      std::string_view text;
      if (Status status = decoder.tryRead(text); !status) return status;
      if (const auto date = Date::fromISO8601(text)) {
        out = *date;
        return {};
      }
      std::string message = "expected an ISO 8601 date-time such as 2026-11-22T10:00:00Z, found \"";
      message.append(text).append("\"");
      return decoder.failure(DecodingError::Kind::dataCorrupted, std::move(message));
    }
    case DateStrategyKind::custom:
      if (!strategy.read) {
        return decoder.failure(DecodingError::Kind::dataCorrupted,
                               "the custom date strategy has no function");
      }
      try {
        out = strategy.read(decoder);
        return {};
      } catch (const DecodingError&) {
        return decoder.failure(std::current_exception());
      } catch (const std::exception& error) {
        return decoder.failure(DecodingError::Kind::dataCorrupted, error.what());
      }
  }
  return decoder.failure(DecodingError::Kind::dataCorrupted, "an unknown date strategy");
}

void Codec<Date>::encode(Encoder& encoder, const Date& value) {
  const DateEncodingStrategy& strategy = encoder.owner().dateEncodingStrategy;
  switch (strategy.kind) {
    case DateStrategyKind::deferredToDate:
      encoder.writeNumber(value.timeIntervalSinceReferenceDate());
      return;
    case DateStrategyKind::secondsSince1970:
      encoder.writeNumber(value.timeIntervalSince1970());
      return;
    case DateStrategyKind::millisecondsSince1970:
      encoder.writeNumber(value.timeIntervalSince1970() * 1000.0);
      return;
    case DateStrategyKind::iso8601: {
      char text[chat::detail::kISO8601TextMax];
      const std::size_t size = chat::detail::iso8601Text(value.timeIntervalSince1970(), text);
      if (size == 0) {
        encoder.fail("the date is outside the years 0000 to 9999 that ISO 8601 text holds");
      }
      encoder.writeISO8601(text, size);
      return;
    }
    case DateStrategyKind::custom:
      if (!strategy.write) encoder.fail("the custom date strategy has no function");
      strategy.write(value, encoder);
      return;
  }
}

}  // namespace tovanel::chat::coding
