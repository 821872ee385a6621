// The YouTube body reads tolerantly: a field that fails is left empty and nothing is reported.
// Its duration is a number of seconds or ISO 8601 text.

#include "tovanel/chat/body/content/YoutubeBody.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <optional>
#include <string>
#include <string_view>

#include "support/Capture.hpp"
#include "support/CodingOutcome.hpp"
#include "support/RecordingHasher.hpp"

namespace tovanel::chat {

void PrintTo(const YoutubeBody& body, std::ostream* out) { *out << test::encodeJson(body); }

namespace {

using test::decodeJson;
using test::encodeJson;
using Y = YoutubeBody;

YoutubeBody full() {
  return Y("https://youtu.be/x", "x", "Title", Image(640, 360, "https://i.example/x.jpg", {}),
           253.0, "video", "About", Video(1280, 720, "https://v.example/x.mp4", 253.0), "Channel",
           "https://www.youtube.com/watch?v=x", "YouTube", "https://www.youtube.com/favicon.ico",
           "1200");
}

// Every key of the full body, its JSON value and how to empty its field, in key order.
struct Member {
  std::string_view key;
  std::string_view json;
  void (*clear)(Y&);
};
const std::array<Member, 13> kMembers{{
    {"url", R"("https://youtu.be/x")", [](Y& b) { b.url.reset(); }},
    {"id", R"("x")", [](Y& b) { b.id.reset(); }},
    {"title", R"("Title")", [](Y& b) { b.title.reset(); }},
    {"image", R"({"width":640,"height":360,"url":"https://i.example/x.jpg"})",
     [](Y& b) { b.image.reset(); }},
    {"duration", "253", [](Y& b) { b.duration.reset(); }},
    {"type", R"("video")", [](Y& b) { b.type.reset(); }},
    {"description", R"("About")", [](Y& b) { b.bodyDescription.reset(); }},
    {"video", R"({"width":1280,"height":720,"url":"https://v.example/x.mp4","duration":253})",
     [](Y& b) { b.video.reset(); }},
    {"channelTitle", R"("Channel")", [](Y& b) { b.channelTitle.reset(); }},
    {"originalUrl", R"("https://www.youtube.com/watch?v=x")", [](Y& b) { b.originalUrl.reset(); }},
    {"site_name", R"("YouTube")", [](Y& b) { b.siteName.reset(); }},
    {"favicon", R"("https://www.youtube.com/favicon.ico")", [](Y& b) { b.favicon.reset(); }},
    {"viewCount", R"("1200")", [](Y& b) { b.viewCount.reset(); }},
}};

/// The full body's JSON with `key` holding `value` instead (no value: the key is left out).
std::string fullJsonWith(std::string_view key, std::optional<std::string_view> value) {
  test::Members members;
  for (const auto& m : kMembers) members.emplace_back(m.key, m.json);
  return test::objectWith(members, {{key, value}});
}

TEST(YoutubeBody, WritesEveryFieldOfAFullBodyInKeyOrder) {
  EXPECT_EQ(decodeJson<Y>(fullJsonWith("", std::nullopt)), full());
  EXPECT_EQ(encodeJson(full()), fullJsonWith("", std::nullopt));
}

TEST(YoutubeBody, EachFieldTakesPartInEqualityAndHash) {
  for (const auto& member : kMembers) {
    Y changed = full();
    member.clear(changed);
    EXPECT_FALSE(changed == full()) << member.key;
    EXPECT_NE(changed.hashValue(), full().hashValue()) << member.key;
  }
}

struct BadField {
  std::string_view key;
  std::optional<std::string_view> value;  // nothing: the key is absent
};
void PrintTo(const BadField& row, std::ostream* out) {
  *out << row.key << ": " << row.value.value_or("(absent)");
}

class YoutubeBodyBadField : public testing::TestWithParam<BadField> {};

TEST_P(YoutubeBodyBadField, LeavesOnlyThatFieldEmptyAndWritesNoLine) {
  Y expected = full();
  for (const auto& member : kMembers) {
    if (member.key == GetParam().key) member.clear(expected);
  }
  std::optional<Y> decoded;
  const auto captured = test::captureStdout(
      [&] { decoded = decodeJson<Y>(fullJsonWith(GetParam().key, GetParam().value)); });
  ASSERT_TRUE(decoded);
  EXPECT_EQ(*decoded, expected);
  EXPECT_EQ(captured.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    WrongTypesNullsAndAbsentKeys, YoutubeBodyBadField,
    testing::Values(BadField{"url", "5"}, BadField{"url", "null"}, BadField{"url", std::nullopt},
                    BadField{"id", "true"}, BadField{"title", "12"}, BadField{"image", "[]"},
                    BadField{"image", R"("https://i.example/x.jpg")"},
                    BadField{"image", R"({"width":"wide"})"},  // fails as an Image: no image
                    BadField{"duration", "true"}, BadField{"duration", R"("4:13")"},
                    BadField{"duration", "{}"}, BadField{"type", "[]"},
                    BadField{"description", "{}"}, BadField{"video", R"({"duration":"long"})"},
                    BadField{"channelTitle", "1.5"}, BadField{"originalUrl", "false"},
                    BadField{"site_name", "[1]"}, BadField{"favicon", R"({"url":"x"})"},
                    BadField{"viewCount", "1200"}));  // the view count is text, not a number

struct DurationRow {
  std::string_view json;
  std::optional<double> seconds;
};
void PrintTo(const DurationRow& row, std::ostream* out) { *out << row.json; }

class YoutubeBodyDuration : public testing::TestWithParam<DurationRow> {};

TEST_P(YoutubeBodyDuration, IsANumberOrISO8601TextInSeconds) {
  const std::string json = R"({"duration":)" + std::string(GetParam().json) + "}";
  EXPECT_EQ(decodeJson<Y>(json).duration, GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(
    Values, YoutubeBodyDuration,
    testing::Values(
        // Numbers are stored unchanged.
        DurationRow{"253.5", 253.5}, DurationRow{"-1", -1.0}, DurationRow{"1e2", 100.0},
        DurationRow{"18446744073709551615", 18446744073709551615.0},
        // Text is an ISO 8601 duration converted to seconds.
        DurationRow{R"("PT4M13S")", 253.0}, DurationRow{R"("P1DT2H")", 93600.0},
        DurationRow{R"("P1M")", 2592000.0}, DurationRow{R"("P1W")", 604800.0},
        DurationRow{R"("PT-5M")", -300.0}, DurationRow{R"("P2D1Y")", 31708800.0},
        // Text naming no unit is no seconds, not an empty duration; huge values saturate.
        DurationRow{R"("P")", 0.0}, DurationRow{R"("PT")", 0.0},
        DurationRow{R"("PT99999999999999999999S")", 9223372036854775807.0},
        // Anything else leaves it empty.
        DurationRow{R"("253")", std::nullopt}, DurationRow{R"("")", std::nullopt},
        DurationRow{R"("pt1h")", std::nullopt}, DurationRow{R"("P1YM")", std::nullopt},
        DurationRow{R"(" PT1H")", std::nullopt}, DurationRow{"null", std::nullopt},
        DurationRow{"[253]", std::nullopt}));

struct WrittenRow {
  std::string_view json;
  std::string_view written;
};
void PrintTo(const WrittenRow& row, std::ostream* out) { *out << row.json; }

class YoutubeBodyWritten : public testing::TestWithParam<WrittenRow> {};

TEST_P(YoutubeBodyWritten, HasOnlyTheFieldsReadUnderTheirJSONNames) {
  EXPECT_EQ(test::reencode<Y>(GetParam().json), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeBodyWritten,
    testing::Values(WrittenRow{R"({"description":"A","site_name":"Y"})",
                               R"({"description":"A","site_name":"Y"})"},
                    WrittenRow{R"({"bodyDescription":"A","siteName":"Y","Title":"T"})", "{}"},
                    WrittenRow{R"({"duration":"P1DT2H"})", R"({"duration":93600})"},
                    WrittenRow{R"({"title":5,"id":"x","url":null,"duration":"4:13"})",
                               R"({"id":"x"})"}));

struct SameRow {
  std::string_view first;
  std::string_view second;
};
void PrintTo(const SameRow& row, std::ostream* out) { *out << row.first << " / " << row.second; }

class YoutubeBodySameValue : public testing::TestWithParam<SameRow> {};

TEST_P(YoutubeBodySameValue, IsEqualWithEqualHashes) {
  const Y a = decodeJson<Y>(GetParam().first), b = decodeJson<Y>(GetParam().second);
  EXPECT_TRUE(a == b && a.hashValue() == b.hashValue());
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, YoutubeBodySameValue,
    testing::Values(SameRow{R"({"duration":253})", R"({"duration":"PT4M13S"})"},
                    SameRow{R"({"duration":0})", R"({"duration":-0.0})"},
                    SameRow{R"({"title":"caf\u00e9"})", R"({"title":"cafe\u0301"})"},
                    SameRow{R"({"title":5,"viewCount":1200})", "{}"}));

TEST(YoutubeBody, FeedsTheHashItsFieldsInDeclarationOrder) {
  Y body = decodeJson<Y>(R"({"duration":253,"site_name":"YouTube"})");
  using test::byte;
  const auto absent = byte(0);
  EXPECT_EQ(test::hashInputOf(body),
            (std::vector{absent, absent, absent, absent,  // url, id, title, image
                         byte(1), test::word64(std::bit_cast<std::uint64_t>(253.0)), absent, absent,
                         absent, absent, absent,  // type to originalUrl
                         byte(1), test::text("YouTube"), absent, absent}));
}

}  // namespace
}  // namespace tovanel::chat
