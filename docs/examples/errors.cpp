// Errors: what a failed decode throws, where it says the failure is, and the two other errors
// of the library.

#include <iostream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

int main() {
  // [decoding-error]
  chat::JSONDecoder decoder;
  try {
    decoder.decode<chat::TextBody>(R"({"text": "hi", "mentions": [{"rangeStart": 2.5}]})");
  } catch (const chat::DecodingError& error) {
    // error.kind()                        DecodingError::Kind::dataCorrupted
    // chat::describe(error.codingPath())  "mentions[0].rangeStart"
    // error.debugDescription()            "the number 2.5 is not a whole number"
    std::cerr << error.what() << '\n';  // all three in one line
  }
  // [decoding-error]

  // [kinds]
  struct Case {
    std::string_view json;
    chat::DecodingError::Kind kind;
    std::string_view path;         // where it failed, as describe() writes it
    std::string_view description;  // the error's debugDescription(), or how it starts
  };
  const Case cases[] = {
      {R"({"mentions": []})", chat::DecodingError::Kind::keyNotFound, "text",
       R"(no value for the key "text")"},
      {R"({"text": null})", chat::DecodingError::Kind::valueNotFound, "text",
       "expected a string, found null"},
      {R"({"text": 42})", chat::DecodingError::Kind::typeMismatch, "text",
       "expected a string, found an integer"},
      {R"({"text": "hi", "mentions": [{"userId": 7}]})", chat::DecodingError::Kind::typeMismatch,
       "mentions[0].userId", "expected a string, found an integer"},
      {R"({"text": "hi", "mentions": [{"rangeStart": 2.5}]})",
       chat::DecodingError::Kind::dataCorrupted, "mentions[0].rangeStart",
       "the number 2.5 is not a whole number"},
      {R"({"text": "hi",)", chat::DecodingError::Kind::dataCorrupted, "",
       "the data is not valid JSON: "},  // then the parser's reason
  };
  // [kinds]
  for (const Case& row : cases) {
    try {
      decoder.decode<chat::TextBody>(row.json);
      guide::expect(false, row.json);
    } catch (const chat::DecodingError& error) {
      guide::expectEqual(chat::DecodingError::kindName(error.kind()),
                         chat::DecodingError::kindName(row.kind), row.json);
      guide::expectEqual(chat::describe(error.codingPath()), std::string(row.path), row.json);
      guide::expectEqual(error.debugDescription().substr(0, row.description.size()),
                         std::string(row.description), row.json);
    }
  }

  // [body-type-missing]
  chat::JSONDecoder unprepared;  // prepareForBodyDecoding was never called
  bool missing = false;
  try {
    unprepared.decode<chat::Body>(R"({"text": "hi"})");
  } catch (const chat::Body::BodyDecodingError& error) {
    missing = error.code == chat::Body::BodyDecodingError::Code::bodyTypeMissing;
  }
  // [body-type-missing]
  guide::expect(missing, "bodyTypeMissing from an unprepared decoder");

  // [diagnostic-sink]
  chat::JSONDecoder logging;
  chat::prepareForBodyDecoding(logging).value = chat::BodyType::text;
  std::vector<std::string> lines;  // where the lines go instead of standard output
  logging.diagnosticSink = [&lines](std::string_view line) { lines.emplace_back(line); };
  try {
    logging.decode<chat::Body>(R"({"text": 42})");
  } catch (const chat::DecodingError&) {
    // lines: {"[Body] Can't decode due to error: typeMismatch at text: expected a string, ...\n"}
  }
  // [diagnostic-sink]
  guide::expect(lines.size() == 1 && lines[0].starts_with("[Body] Can't decode due to error: "),
                "the body's line in the sink");

  // [encoding-error]
  const chat::Video clip(640, 360, "https://video.example/1.mp4",
                         std::numeric_limits<double>::quiet_NaN());
  std::string where;
  try {
    chat::JSONEncoder().encode(clip);
  } catch (const chat::EncodingError& error) {
    where = chat::describe(error.codingPath());  // "duration": JSON has no NaN
  }
  // [encoding-error]
  guide::expectEqual(where, std::string("duration"), "the path of a NaN");
  return 0;
}
