// The presence event and its media item: tolerant parts, and the hand-off of the media's kind to
// its body through the body-type box.

#include "tovanel/chat/body/info/UserPresentInfoBody.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using Media = UserPresentInfoBody::Media;

// What the box holds before a media item is decoded: no box at all, or a box with or without a
// kind.
struct BoxBefore {
  bool prepared;
  std::optional<BodyType> kind;
};
constexpr BoxBefore kUnprepared{false, std::nullopt};
constexpr BoxBefore kEmptyBox{true, std::nullopt};
constexpr BoxBefore kInfoLeftInBox{true, BodyType::info};

enum class Line { none, prepare, bodyFailed, infoThenBodyFailed };

struct MediaRow {
  std::string_view name;
  BoxBefore before;
  std::string_view media;
  std::string_view expected;  // the media item written back
  Line line;                  // what is written to standard output
  std::string_view boxAfter;  // "no box", "empty" or the kind left in the box
};

void PrintTo(const MediaRow& row, std::ostream* out) { *out << row.name; }

JSONDecoder decoderFor(const BoxBefore& before) {
  JSONDecoder decoder;
  if (before.prepared) {
    prepareForBodyDecoding(decoder);
    bodyType(decoder.userInfo)->value = before.kind;
  }
  return decoder;
}

std::vector<std::string> expectedLines(Line line) {
  const std::string body(test::kBodyLine);
  switch (line) {
    case Line::none:
      return {};
    case Line::prepare:
      return {std::string(test::kPrepareLine)};
    case Line::bodyFailed:
      return {body};
    case Line::infoThenBodyFailed:
      return {std::string(test::kInfoLine), body};
  }
  return {};
}

// The lines cut to the length of the expected ones: the appended error descriptions are the
// decoder's own wording.
std::vector<std::string> cutLike(std::vector<std::string> lines,
                                 const std::vector<std::string>& expected) {
  for (std::size_t i = 0; i < lines.size() && i < expected.size(); ++i) {
    if (expected[i] != test::kPrepareLine) lines[i] = lines[i].substr(0, expected[i].size());
  }
  return lines;
}

class MediaItems : public testing::TestWithParam<MediaRow> {};

std::string_view describeBox(const JSONDecoder& decoder) {
  const BodyTypeBox* box = bodyType(decoder.userInfo);
  if (box == nullptr) return "no box";
  return box->value ? rawValue(*box->value) : "empty";
}

// What is kept, the lines the body lets through, and the kind left in the box.
TEST_P(MediaItems, KeepWhatCanBeReadLetTheBodysLinesThroughAndLeaveTheirKindInTheBox) {
  JSONDecoder decoder = decoderFor(GetParam().before);
  const auto outcome = test::decodeCapturing<Media>(decoder, GetParam().media);
  EXPECT_EQ(outcome.summary(), GetParam().expected);
  const auto expected = expectedLines(GetParam().line);
  EXPECT_EQ(cutLike(outcome.captured.lines(), expected), expected);
  EXPECT_EQ(describeBox(decoder), GetParam().boxAfter);
}

INSTANTIATE_TEST_SUITE_P(
    BoxAndTolerance, MediaItems,
    testing::Values(
        MediaRow{"a text body by the media's kind", kEmptyBox,
                 R"({"id":"m1","type":"text","body":{"text":"hi"}})",
                 R"({"id":"m1","type":"text","body":{"text":"hi"}})", Line::none, "text"},
        MediaRow{"the media's kind replaces the enclosing one", kInfoLeftInBox,
                 R"({"type":"text","body":{"text":"hi"}})",
                 R"({"type":"text","body":{"text":"hi"}})", Line::none, "text"},
        MediaRow{"a kind with a capital letter", kInfoLeftInBox,
                 R"({"type":"Text","body":{"text":"hi"}})", "{}", Line::prepare, "empty"},
        MediaRow{"no kind clears the enclosing one", kInfoLeftInBox, R"({"body":{"text":"hi"}})",
                 "{}", Line::prepare, "empty"},
        MediaRow{"a null kind clears the enclosing one", kInfoLeftInBox,
                 R"({"type":null,"body":{"text":"hi"}})", "{}", Line::prepare, "empty"},
        MediaRow{"a kind of a wrong type clears the box", kInfoLeftInBox,
                 R"({"type":9,"body":{"text":"hi"}})", "{}", Line::prepare, "empty"},
        MediaRow{"no kind and no body", kInfoLeftInBox, R"({"id":"m"})", R"({"id":"m"})",
                 Line::none, "empty"},
        MediaRow{"an identifier that is a number", kEmptyBox,
                 R"({"id":5,"type":"text","body":{"text":"hi"}})",
                 R"({"type":"text","body":{"text":"hi"}})", Line::none, "text"},
        MediaRow{"a body lacking its text", kEmptyBox, R"({"id":"m","type":"text","body":{}})",
                 R"({"id":"m","type":"text"})", Line::bodyFailed, "text"},
        MediaRow{"a body that is a string", kEmptyBox, R"({"type":"text","body":"hi"})",
                 R"({"type":"text"})", Line::bodyFailed, "text"},
        MediaRow{"a null body", kEmptyBox, R"({"type":"text","body":null})", R"({"type":"text"})",
                 Line::none, "text"},
        MediaRow{"a body of a payload-less kind", kEmptyBox, R"({"type":"hint","body":42})",
                 R"({"type":"hint","body":{}})", Line::none, "hint"},
        MediaRow{"an event as the body", kEmptyBox, R"({"type":"info","body":{"type":"joined"}})",
                 R"({"type":"info","body":{"type":"joined"}})", Line::none, "info"},
        MediaRow{"an event that fails as the body", kEmptyBox,
                 R"({"type":"info","body":{"type":"joined","recipients":1}})", R"({"type":"info"})",
                 Line::infoThenBodyFailed, "info"},
        MediaRow{"an unprepared decoder keeps the kind but not the body", kUnprepared,
                 R"({"id":"m","type":"text","body":{"text":"hi"}})", R"({"id":"m","type":"text"})",
                 Line::prepare, "no box"},
        MediaRow{"not an object", kEmptyBox, R"(["m"])", "typeMismatch", Line::none, "empty"}));

TEST(MediaItems, AfterAFailingBodyStillDecodeTheEvent) {
  const auto outcome = test::decodeInfoAsBody(
      R"({"type":"user_present","mediaType":"text","media":{"type":"text","body":{}}})");
  ASSERT_TRUE(outcome.value) << outcome.summary();
  EXPECT_EQ(outcome.summary(),
            R"({"type":"user_present","mediaType":"text","media":{"type":"text"}})");
  const auto lines = outcome.captured.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind(test::kBodyLine, 0), 0u) << lines[0];
}

TEST(MediaItems, OfAnEventInsideAMessageBodyLeaveTheMediasKind) {
  JSONDecoder decoder = test::preparedDecoder();
  bodyType(decoder.userInfo)->value = BodyType::info;
  const auto outcome = test::decodeCapturing<Body>(
      decoder, R"({"type":"user_present","media":{"type":"video","body":{}}})");
  ASSERT_TRUE(outcome.value) << outcome.summary();
  EXPECT_EQ(bodyType(decoder.userInfo)->value, BodyType::video);
}

TEST(MediaItems, WithABodyButNoKindWriteTheBodyAlone) {
  const Media media(std::nullopt, std::nullopt, Body(TextBody("hi", std::nullopt)));
  EXPECT_EQ(JSONEncoder().encode(media), R"({"body":{"text":"hi"}})");
}

// ---- the event around the media item is strict ----

struct EventRow {
  std::string_view name;
  std::string_view input;
  std::string_view expected;
};

void PrintTo(const EventRow& row, std::ostream* out) { *out << row.name; }

class PresenceEvents : public testing::TestWithParam<EventRow> {};

TEST_P(PresenceEvents, DecodeStrictlyAroundTheMedia) {
  EXPECT_EQ(test::writtenBack<UserPresentInfoBody>(GetParam().input), GetParam().expected)
      << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    Keys, PresenceEvents,
    testing::Values(
        EventRow{"keys written in order",
                 R"({"media":{},"mediaType":"image","type":"user_present"})",
                 R"({"type":"user_present","mediaType":"image","media":{}})"},
        EventRow{"a null media", R"({"media":null})", "{}"},
        EventRow{"a media that is a string", R"({"media":"photo"})", "typeMismatch at media"},
        EventRow{"a media type that is a number", R"({"mediaType":1})",
                 "typeMismatch at mediaType"},
        EventRow{"a media type unlike the media's kind",
                 R"({"mediaType":"audio","media":{"type":"hint"}})",
                 R"({"mediaType":"audio","media":{"type":"hint"}})"},
        EventRow{"a kind that is no word", R"({"type":"userPresent"})", "dataCorrupted at type"}));

}  // namespace
}  // namespace tovanel::chat
