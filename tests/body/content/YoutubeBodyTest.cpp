#include "tovanel/chat/body/content/YoutubeBody.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/CodingKeys.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {

// Failure messages show a body as its JSON.
void PrintTo(const YoutubeBody& body, std::ostream* out) { *out << JSONEncoder().encode(body); }

namespace {

YoutubeBody decode(std::string_view json) { return JSONDecoder().decode<YoutubeBody>(json); }
std::string encode(const YoutubeBody& body) { return JSONEncoder().encode(body); }

YoutubeBody empty() {
  return YoutubeBody(std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                     std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                     std::nullopt, std::nullopt, std::nullopt);
}

YoutubeBody full() {
  return YoutubeBody("https://youtu.be/x", "x", "Title",
                     Image(640, 360, "https://i.example/x.jpg", std::nullopt), 253.0, "video",
                     "About", Video(1280, 720, "https://v.example/x.mp4", 253.0), "Channel",
                     "https://www.youtube.com/watch?v=x", "YouTube",
                     "https://www.youtube.com/favicon.ico", "1200");
}

// Every key of a full body with its JSON value, and how to empty its field.
struct Member {
  std::string_view key;
  std::string_view json;
  void (*clear)(YoutubeBody&);
};
const std::array<Member, 13> kMembers{{
    {"url", R"("https://youtu.be/x")", [](YoutubeBody& b) { b.url.reset(); }},
    {"id", R"("x")", [](YoutubeBody& b) { b.id.reset(); }},
    {"title", R"("Title")", [](YoutubeBody& b) { b.title.reset(); }},
    {"image", R"({"width":640,"height":360,"url":"https://i.example/x.jpg"})",
     [](YoutubeBody& b) { b.image.reset(); }},
    {"duration", "253", [](YoutubeBody& b) { b.duration.reset(); }},
    {"type", R"("video")", [](YoutubeBody& b) { b.type.reset(); }},
    {"description", R"("About")", [](YoutubeBody& b) { b.bodyDescription.reset(); }},
    {"video", R"({"width":1280,"height":720,"url":"https://v.example/x.mp4","duration":253})",
     [](YoutubeBody& b) { b.video.reset(); }},
    {"channelTitle", R"("Channel")", [](YoutubeBody& b) { b.channelTitle.reset(); }},
    {"originalUrl", R"("https://www.youtube.com/watch?v=x")",
     [](YoutubeBody& b) { b.originalUrl.reset(); }},
    {"site_name", R"("YouTube")", [](YoutubeBody& b) { b.siteName.reset(); }},
    {"favicon", R"("https://www.youtube.com/favicon.ico")",
     [](YoutubeBody& b) { b.favicon.reset(); }},
    {"viewCount", R"("1200")", [](YoutubeBody& b) { b.viewCount.reset(); }},
}};

/// A full body's JSON whose `key` holds `value` instead (no value: the key is left out).
std::string fullJsonWith(std::string_view key, std::optional<std::string_view> value) {
  std::string json = "{";
  for (const auto& member : kMembers) {
    const bool replaced = member.key == key;
    if (replaced && !value) continue;
    if (json.size() > 1) json += ',';
    json.append("\"").append(member.key).append("\":").append(replaced ? *value : member.json);
  }
  return json + "}";
}

TEST(YoutubeBody, DecodesEveryFieldOfAFullBody) {
  EXPECT_EQ(decode(fullJsonWith("", std::nullopt)), full());
}

struct BadFieldCase {
  std::string_view key;
  std::optional<std::string_view> value;  // nothing: the key is absent
};
void PrintTo(const BadFieldCase& row, std::ostream* out) {
  *out << row.key << ": " << row.value.value_or("(absent)");
}

class YoutubeBodyBadField : public testing::TestWithParam<BadFieldCase> {};

TEST_P(YoutubeBodyBadField, LeavesOnlyThatFieldEmpty) {
  const auto& row = GetParam();
  YoutubeBody expected = full();
  for (const auto& member : kMembers) {
    if (member.key == row.key) member.clear(expected);
  }
  EXPECT_EQ(decode(fullJsonWith(row.key, row.value)), expected)
      << row.key << ": " << row.value.value_or("(absent)");
}

INSTANTIATE_TEST_SUITE_P(
    WrongTypesNullsAndAbsentKeys, YoutubeBodyBadField,
    testing::Values(
        BadFieldCase{"url", "5"}, BadFieldCase{"url", "null"}, BadFieldCase{"url", std::nullopt},
        BadFieldCase{"id", "true"}, BadFieldCase{"title", "12"}, BadFieldCase{"title", "null"},
        BadFieldCase{"image", R"("https://i.example/x.jpg")"}, BadFieldCase{"image", "[]"},
        // An object that fails as an Image is no image either.
        BadFieldCase{"image", R"({"width":"wide"})"}, BadFieldCase{"image", std::nullopt},
        BadFieldCase{"duration", "true"}, BadFieldCase{"duration", R"("4:13")"},
        BadFieldCase{"duration", "null"}, BadFieldCase{"duration", "{}"},
        BadFieldCase{"type", "[]"}, BadFieldCase{"description", "{}"},
        BadFieldCase{"video", R"("https://v.example/x.mp4")"},
        BadFieldCase{"video", R"({"duration":"long"})"}, BadFieldCase{"channelTitle", "1.5"},
        BadFieldCase{"originalUrl", "false"}, BadFieldCase{"site_name", "[1]"},
        BadFieldCase{"favicon", R"({"url":"https://x"})"},
        // The view count is text: a number is not read as one.
        BadFieldCase{"viewCount", "1200"}, BadFieldCase{"viewCount", "null"}));

TEST(YoutubeBody, EveryFieldWrongAtOnceGivesAnEmptyBody) {
  EXPECT_EQ(decode(R"({"url":1,"id":2,"title":3,"image":4,"duration":false,"type":6,)"
                   R"("description":7,"video":8,"channelTitle":9,"originalUrl":10,)"
                   R"("site_name":11,"favicon":12,"viewCount":13})"),
            empty());
}

struct DurationCase {
  std::optional<std::string> json;  // nothing: no "duration" key
  std::optional<double> seconds;
};
void PrintTo(const DurationCase& row, std::ostream* out) { *out << row.json.value_or("(absent)"); }

class YoutubeBodyDuration : public testing::TestWithParam<DurationCase> {};

TEST_P(YoutubeBodyDuration, IsANumberOrISO8601TextInSeconds) {
  const auto& row = GetParam();
  const std::string json =
      row.json ? R"({"title":"T","duration":)" + *row.json + "}" : R"({"title":"T"})";
  EXPECT_EQ(decode(json).duration, row.seconds) << json;
}

INSTANTIATE_TEST_SUITE_P(
    Values, YoutubeBodyDuration,
    testing::Values(
        // Numbers are stored unchanged.
        DurationCase{"253", 253.0}, DurationCase{"253.5", 253.5}, DurationCase{"-1", -1.0},
        DurationCase{"0", 0.0}, DurationCase{"1e2", 100.0},
        DurationCase{"18446744073709551615", 18446744073709551615.0},
        // Text is parsed as an ISO 8601 duration and converted to seconds.
        DurationCase{R"("PT4M13S")", 253.0}, DurationCase{R"("P1DT2H")", 93600.0},
        DurationCase{R"("PT1H")", 3600.0}, DurationCase{R"("P1M")", 2592000.0},
        DurationCase{R"("P1W")", 604800.0}, DurationCase{R"("PT-5M")", -300.0},
        DurationCase{R"("P2D1Y")", 31708800.0},
        // A text that names no unit is a duration of no seconds, not an empty one.
        DurationCase{R"("P")", 0.0}, DurationCase{R"("PT")", 0.0},
        DurationCase{R"("PT99999999999999999999S")", 9223372036854775807.0},
        // Anything else leaves the duration empty.
        DurationCase{R"("4:13")", std::nullopt}, DurationCase{R"("253")", std::nullopt},
        DurationCase{R"("")", std::nullopt}, DurationCase{R"("pt1h")", std::nullopt},
        DurationCase{R"("P1YM")", std::nullopt}, DurationCase{R"(" PT1H")", std::nullopt},
        DurationCase{"true", std::nullopt}, DurationCase{"null", std::nullopt},
        DurationCase{"[253]", std::nullopt}, DurationCase{R"({"seconds":253})", std::nullopt},
        DurationCase{std::nullopt, std::nullopt}));

struct KeyCase {
  std::string json;
  YoutubeBody expected;
};
void PrintTo(const KeyCase& row, std::ostream* out) { *out << row.json; }

class YoutubeBodyKeys : public testing::TestWithParam<KeyCase> {};

TEST_P(YoutubeBodyKeys, AreReadUnderTheirJSONNamesOnly) {
  const auto& row = GetParam();
  EXPECT_EQ(decode(row.json), row.expected) << row.json;
}

YoutubeBody with(void (*fill)(YoutubeBody&)) {
  YoutubeBody body = empty();
  fill(body);
  return body;
}

INSTANTIATE_TEST_SUITE_P(
    Keys, YoutubeBodyKeys,
    testing::Values(
        KeyCase{R"({})", empty()}, KeyCase{R"({"description":"About"})", with([](YoutubeBody& b) {
                                             b.bodyDescription = "About";
                                           })},
        KeyCase{R"({"bodyDescription":"About"})", empty()},
        KeyCase{R"({"site_name":"YouTube"})", with([](YoutubeBody& b) { b.siteName = "YouTube"; })},
        KeyCase{R"({"siteName":"YouTube"})", empty()},
        KeyCase{R"({"Title":"T","URL":"u","viewcount":"1"})", empty()},
        KeyCase{R"({"viewCount":"1200"})", with([](YoutubeBody& b) { b.viewCount = "1200"; })},
        KeyCase{R"({"favicon":"https://x/f.ico","unknown":[1,2]})",
                with([](YoutubeBody& b) { b.favicon = "https://x/f.ico"; })}));

struct NotAnObjectCase {
  std::string json;
  DecodingError::Kind kind;
};
void PrintTo(const NotAnObjectCase& row, std::ostream* out) { *out << row.json; }

class YoutubeBodyNotAnObject : public testing::TestWithParam<NotAnObjectCase> {};

TEST_P(YoutubeBodyNotAnObject, FailsWithTheDecodersError) {
  const auto& row = GetParam();
  try {
    decode(row.json);
    ADD_FAILURE() << row.json << " decoded";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), row.kind) << row.json << ": " << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, YoutubeBodyNotAnObject,
    testing::Values(NotAnObjectCase{"null", DecodingError::Kind::valueNotFound},
                    NotAnObjectCase{"[]", DecodingError::Kind::typeMismatch},
                    NotAnObjectCase{R"("PT4M13S")", DecodingError::Kind::typeMismatch},
                    NotAnObjectCase{"253", DecodingError::Kind::typeMismatch},
                    NotAnObjectCase{"true", DecodingError::Kind::typeMismatch}));

struct EncodingCase {
  std::string json;
  std::string encoded;
};
void PrintTo(const EncodingCase& row, std::ostream* out) { *out << row.json; }

class YoutubeBodyEncoding : public testing::TestWithParam<EncodingCase> {};

TEST_P(YoutubeBodyEncoding, WritesPresentFieldsInDeclarationOrder) {
  const auto& row = GetParam();
  EXPECT_EQ(encode(decode(row.json)), row.encoded) << row.json;
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeBodyEncoding,
    testing::Values(
        EncodingCase{"{}", "{}"},
        // A duration read from text is written as its seconds.
        EncodingCase{R"({"duration":"PT4M13S"})", R"({"duration":253})"},
        EncodingCase{R"({"duration":"P1DT2H"})", R"({"duration":93600})"},
        EncodingCase{R"({"duration":253.5})", R"({"duration":253.5})"},
        // Skipped and null fields are not written at all.
        EncodingCase{R"({"title":5,"id":"x","url":null,"duration":"4:13"})", R"({"id":"x"})"},
        EncodingCase{R"({"viewCount":"1200","site_name":"YouTube","description":"About",)"
                     R"("favicon":"f","originalUrl":"o","channelTitle":"c","video":{"width":1},)"
                     R"("type":"video","duration":"PT1M","image":{"height":2},"title":"t",)"
                     R"("id":"i","url":"u"})",
                     R"({"url":"u","id":"i","title":"t","image":{"height":2},"duration":60,)"
                     R"("type":"video","description":"About","video":{"width":1},)"
                     R"("channelTitle":"c","originalUrl":"o","site_name":"YouTube",)"
                     R"("favicon":"f","viewCount":"1200"})"}));

class YoutubeBodyRoundTrip : public testing::TestWithParam<YoutubeBody> {};

TEST_P(YoutubeBodyRoundTrip, DecodesWhatItEncodes) {
  EXPECT_EQ(decode(encode(GetParam())), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeBodyRoundTrip,
    testing::Values(full(), empty(), with([](YoutubeBody& b) { b.duration = 253.5; }),
                    with([](YoutubeBody& b) { b.duration = -300.0; }), with([](YoutubeBody& b) {
                      b.bodyDescription = "\xC3\xA9t\xC3\xA9";
                      b.siteName = "site";
                      b.image = Image(std::nullopt, std::nullopt, std::nullopt, "o");
                    })));

struct DifferentCase {
  const char* field;
  void (*change)(YoutubeBody&);
};
void PrintTo(const DifferentCase& row, std::ostream* out) { *out << row.field; }

class YoutubeBodyDifference : public testing::TestWithParam<DifferentCase> {};

TEST_P(YoutubeBodyDifference, MakesBodiesUnequal) {
  YoutubeBody changed = full();
  GetParam().change(changed);
  EXPECT_FALSE(changed == full()) << GetParam().field;
}

TEST_P(YoutubeBodyDifference, ChangesTheHash) {
  YoutubeBody changed = full();
  GetParam().change(changed);
  EXPECT_NE(changed.hashValue(), full().hashValue()) << GetParam().field;
}

INSTANTIATE_TEST_SUITE_P(
    OneField, YoutubeBodyDifference,
    testing::Values(DifferentCase{"url", [](YoutubeBody& b) { b.url = "https://youtu.be/y"; }},
                    DifferentCase{"id", [](YoutubeBody& b) { b.id.reset(); }},
                    DifferentCase{"title", [](YoutubeBody& b) { b.title = "title"; }},
                    DifferentCase{"image", [](YoutubeBody& b) { b.image->width = 641; }},
                    DifferentCase{"duration", [](YoutubeBody& b) { b.duration = 254.0; }},
                    DifferentCase{"type", [](YoutubeBody& b) { b.type = "channel"; }},
                    DifferentCase{"bodyDescription",
                                  [](YoutubeBody& b) { b.bodyDescription = ""; }},
                    DifferentCase{"video", [](YoutubeBody& b) { b.video->duration.reset(); }},
                    DifferentCase{"channelTitle", [](YoutubeBody& b) { b.channelTitle = "Other"; }},
                    DifferentCase{"originalUrl", [](YoutubeBody& b) { b.originalUrl.reset(); }},
                    DifferentCase{"siteName", [](YoutubeBody& b) { b.siteName = "Vimeo"; }},
                    DifferentCase{"favicon", [](YoutubeBody& b) { b.favicon = "f"; }},
                    DifferentCase{"viewCount", [](YoutubeBody& b) { b.viewCount = "1201"; }}));

struct SameCase {
  std::string first;
  std::string second;
};
void PrintTo(const SameCase& row, std::ostream* out) { *out << row.first << " / " << row.second; }

class YoutubeBodySameValue : public testing::TestWithParam<SameCase> {};

TEST_P(YoutubeBodySameValue, IsEqualWithEqualHashes) {
  const auto& row = GetParam();
  const YoutubeBody a = decode(row.first);
  const YoutubeBody b = decode(row.second);
  EXPECT_TRUE(a == b && a.hashValue() == b.hashValue()) << row.first << " / " << row.second;
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, YoutubeBodySameValue,
    testing::Values(SameCase{R"({"duration":253})", R"({"duration":"PT4M13S"})"},
                    SameCase{R"({"duration":0})", R"({"duration":-0.0})"},
                    SameCase{R"({"duration":"P"})", R"({"duration":0})"},
                    // Canonically equivalent text: a precomposed letter and letter plus mark.
                    SameCase{R"({"title":"caf\u00e9"})", R"({"title":"cafe\u0301"})"},
                    SameCase{R"({"title":5,"viewCount":1200})", "{}"}));

// Records the hash input step by step.
struct RecordingHasher {
  std::vector<std::string> steps;
  void combine(std::uint8_t byte) { steps.push_back("u8 " + std::to_string(byte)); }
  void combine(std::uint32_t word) { steps.push_back("u32 " + std::to_string(word)); }
  void combine(std::uint64_t word) { steps.push_back("u64 " + std::to_string(word)); }
  void combineString(std::string_view text) { steps.push_back("str " + std::string(text)); }
};

TEST(YoutubeBody, FeedsTheHashItsFieldsInDeclarationOrder) {
  YoutubeBody body = empty();
  body.duration = 253.0;
  body.siteName = "YouTube";
  RecordingHasher hasher;
  body.hashInto(hasher);
  const std::string absent = "u8 0";
  const std::vector<std::string> expected{
      absent, absent, absent, absent,  // url, id, title, image
      "u8 1", "u64 " + std::to_string(std::bit_cast<std::uint64_t>(253.0)), absent, absent, absent,
      absent, absent,         // type, bodyDescription, video, channelTitle,
                              // originalUrl
      "u8 1", "str YouTube",  // siteName
      absent, absent};        // favicon, viewCount
  EXPECT_EQ(hasher.steps, expected);
}

struct CodingKeyCase {
  YoutubeBody::CodingKeys key;
  std::string_view raw;
};
void PrintTo(const CodingKeyCase& row, std::ostream* out) { *out << row.raw; }

class YoutubeBodyCodingKeys : public testing::TestWithParam<CodingKeyCase> {};

TEST_P(YoutubeBodyCodingKeys, RawValueIsTheJSONKey) {
  EXPECT_EQ(stringValue(GetParam().key), GetParam().raw);
}

TEST_P(YoutubeBodyCodingKeys, IsMadeFromItsJSONKey) {
  EXPECT_EQ(fromRawValue<YoutubeBody::CodingKeys>(GetParam().raw), GetParam().key);
}

using Key = YoutubeBody::CodingKeys;
INSTANTIATE_TEST_SUITE_P(
    Keys, YoutubeBodyCodingKeys,
    testing::Values(
        CodingKeyCase{Key::url, "url"}, CodingKeyCase{Key::id, "id"},
        CodingKeyCase{Key::title, "title"}, CodingKeyCase{Key::image, "image"},
        CodingKeyCase{Key::duration, "duration"}, CodingKeyCase{Key::type, "type"},
        CodingKeyCase{Key::bodyDescription, "description"}, CodingKeyCase{Key::video, "video"},
        CodingKeyCase{Key::channelTitle, "channelTitle"},
        CodingKeyCase{Key::originalUrl, "originalUrl"}, CodingKeyCase{Key::siteName, "site_name"},
        CodingKeyCase{Key::favicon, "favicon"}, CodingKeyCase{Key::viewCount, "viewCount"}));

class YoutubeBodyCodingKeysRejected : public testing::TestWithParam<std::string_view> {};

TEST_P(YoutubeBodyCodingKeysRejected, MakeNoKey) {
  EXPECT_EQ(fromRawValue<YoutubeBody::CodingKeys>(GetParam()), std::nullopt) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, YoutubeBodyCodingKeysRejected,
                         testing::Values("bodyDescription", "siteName", "Description", "URL",
                                         "view_count", ""));

TEST(YoutubeBodyCodingKeys, HaveNoIntegerForm) {
  EXPECT_EQ(intValue(YoutubeBody::CodingKeys::url), std::nullopt);
}

// Through Body, the kind youtube decodes this record; skipped fields write no diagnostic line.
TEST(YoutubeBody, DecodesAsTheYoutubeBodyWithoutDiagnosticLinesForSkippedFields) {
  const std::string json = R"({"title":5,"duration":"PT4M13S","image":"x","viewCount":"7"})";
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  bodyType(decoder.userInfo)->value = BodyType::youtube;
  testing::internal::CaptureStdout();
  const Body body = decoder.decode<Body>(json);
  const std::string lines = testing::internal::GetCapturedStdout();
  ASSERT_NE(body.get<YoutubeBody>(), nullptr);
  EXPECT_EQ(*body.get<YoutubeBody>(), decode(json));
  EXPECT_EQ(lines, "");
}

TEST(YoutubeBody, EncodesThroughBodyAsItsOwnObject) {
  const Body body(decode(R"({"duration":"PT4M13S","id":"x"})"));
  EXPECT_EQ(JSONEncoder().encode(body), R"({"id":"x","duration":253})");
}

}  // namespace
}  // namespace tovanel::chat
