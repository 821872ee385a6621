// Dates: a Date is an instant; its JSON form is whatever strategy the decoder and the encoder are
// given. The library sets none of its own.

#include <optional>
#include <stdexcept>
#include <string>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;
using Request = chat::RoomRequestCreatedInfoBody::Request;

int main() {
  // [values]
  const chat::Date landing = *chat::Date::fromISO8601("2026-11-20T10:40:00+01:00");
  const std::string utc = landing.iso8601();                      // "2026-11-20T09:40:00Z"
  const double unixTime = landing.timeIntervalSince1970();        // 1795167600
  const chat::Date later = chat::Date::since1970(unixTime + 60);  // a minute later
  const bool ordered = landing < later;                           // dates compare by instant
  // [values]
  guide::expectEqual(utc, std::string("2026-11-20T09:40:00Z"), "the UTC text");
  guide::expectEqual(unixTime, 1795167600.0, "seconds since 1970");
  guide::expect(ordered, "an earlier date to be less");

  // [strategies]
  chat::JSONDecoder decoder;
  decoder.dateDecodingStrategy = chat::DateDecodingStrategy::iso8601();
  const Request request =
      decoder.decode<Request>(R"({"_id": "q1", "createdAt": "2026-11-20T09:40:00Z"})");

  chat::JSONEncoder encoder;
  encoder.dateEncodingStrategy = chat::DateEncodingStrategy::millisecondsSince1970();
  const std::string json = encoder.encode(request);  // {"_id":"q1","createdAt":1795167600000}
  // [strategies]
  guide::expect(request.createdAt() == landing, "the decoded date");
  guide::expectEqual(json, std::string(R"({"_id":"q1","createdAt":1795167600000})"),
                     "milliseconds since 1970");

  chat::JSONDecoder byDefault;
  const Request deferred = byDefault.decode<Request>(R"({"createdAt": 0})");
  guide::expect(deferred.createdAt() == chat::Date::sinceReferenceDate(0),
                "the default strategy to count from 2001");

  // [custom]
  // Days as "2026-11-20", read at midnight UTC and written back as the day.
  decoder.dateDecodingStrategy = chat::DateDecodingStrategy::custom([](const chat::Decoder& at) {
    const auto date = chat::Date::fromISO8601(at.decode<std::string>() + "T00:00:00Z");
    if (!date) throw std::invalid_argument("expected a day such as 2026-11-20");
    return *date;
  });
  encoder.dateEncodingStrategy =
      chat::DateEncodingStrategy::custom([](const chat::Date& date, chat::Encoder& at) {
        at.singleValueContainer().encode(date.iso8601().substr(0, 10));
      });
  // [custom]
  const Request byDay = decoder.decode<Request>(R"({"createdAt": "2026-11-20"})");
  guide::expectEqual(encoder.encode(byDay), std::string(R"({"createdAt":"2026-11-20"})"),
                     "a day written back");
  try {
    decoder.decode<Request>(R"({"createdAt": "Friday"})");
    guide::expect(false, "a word to fail a custom date");
  } catch (const chat::DecodingError& error) {
    guide::expect(error.kind() == chat::DecodingError::Kind::dataCorrupted,
                  "what a custom strategy throws to arrive as dataCorrupted");
    guide::expectEqual(chat::describe(error.codingPath()), std::string("createdAt"),
                       "the path of a custom date");
  }
  return 0;
}
