#include "tovanel/chat/body/content/SoundCloudBody.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::decodingOutcome;
using test::kDecodes;
using test::reencode;
using test::without;

// Made only by decoding.
static_assert(!std::is_default_constructible_v<SoundCloudBody>);
static_assert(!std::is_constructible_v<SoundCloudBody, double>);

const test::Members kTrack{
    {"favorites", "12"},
    {"title", R"("Night Drive")"},
    {"image", R"({"url":"cover.jpg"})"},
    {"duration", "215.5"},
    {"streamUrl", R"("https://stream.example/1")"},
    {"username", R"("dj")"},
    {"plays", "4096"},
    {"type", R"("track")"},
    {"url", R"("https://sc.example/1")"},
    {"originalUrl", R"("https://sc.example/orig/1")"},
};

TEST(SoundCloudBody, OnlyTheDurationIsAlwaysWritten) {
  const std::vector<std::pair<std::string_view, std::string_view>> rows{
      {R"({"duration":0})", R"({"duration":0})"},
      {R"({"duration":180})", R"({"duration":180})"},
      {R"({"duration":12.5,"title":null,"image":null})", R"({"duration":12.5})"},
      {R"({"image":{},"duration":1})", R"({"image":{},"duration":1})"},
      {R"({"originalUrl":"o","type":"t","duration":1,"favorites":0})",
       R"({"favorites":0,"duration":1,"type":"t","originalUrl":"o"})"},
  };
  for (const auto& [input, written] : rows) {
    EXPECT_EQ(reencode<SoundCloudBody>(input), written) << input;
  }
}

TEST(SoundCloudBody, DecodesStrictlyAndTheFirstFailureInKeyOrderWins) {
  const std::vector<test::EditCase> rows{
      {"duration absent", {without("duration")}, "keyNotFound at duration"},
      {"duration null", {{"duration", "null"}}, "valueNotFound at duration"},
      {"duration as duration text", {{"duration", R"("PT3M")"}}, "typeMismatch at duration"},
      {"duration as a numeric string", {{"duration", R"("180")"}}, "typeMismatch at duration"},
      {"plays as text", {{"plays", R"("12")"}}, "typeMismatch at plays"},
      {"plays not a whole number", {{"plays", "2.5"}}, "dataCorrupted at plays"},
      {"favorites not a whole number", {{"favorites", "2.5"}}, "dataCorrupted at favorites"},
      {"favorites beyond 64 bits",
       {{"favorites", "9223372036854775808"}},
       "dataCorrupted at favorites"},
      {"image not an object", {{"image", R"("cover.jpg")"}}, "typeMismatch at image"},
      {"image with a bad width", {{"image", R"({"width":"1"})"}}, "typeMismatch at image.width"},
      {"a bad favorites count before a missing duration",
       {without("duration"), {"favorites", "true"}},
       "typeMismatch at favorites"},
      {"a bad image before a missing duration",
       {without("duration"), {"image", "[]"}},
       "typeMismatch at image"},
      {"a missing duration before a bad url",
       {without("duration"), {"url", "1"}},
       "keyNotFound at duration"},
      {"username a number", {{"username", "7"}}, "typeMismatch at username"},
      {"originalURL spelt with capitals is not the key",
       {without("originalUrl"), {"originalURL", "1"}},
       kDecodes},
  };
  for (const auto& row : rows) test::expectOutcome<SoundCloudBody>(kTrack, row);
  EXPECT_EQ(decodingOutcome<SoundCloudBody>("{}"), "keyNotFound at duration");
  EXPECT_EQ(decodingOutcome<SoundCloudBody>("[]"), "typeMismatch");
}

TEST(SoundCloudBody, CountsKeepAll64Bits) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  const std::vector<std::pair<std::string_view, std::int64_t>> rows{
      {"4294967296", 4294967296},              // one past 32 bits
      {"9007199254740993", 9007199254740993},  // not exactly a double
      {"9223372036854775807", kMax},
      {"-9223372036854775808", kMin},
      {"1e2", 100},  // a whole number with an exponent
      {"5.0", 5},
  };
  for (const auto& [text, count] : rows) {
    const auto body = decodeJson<SoundCloudBody>(
        test::objectWith({{"duration", "1"}, {"plays", text}, {"favorites", text}}));
    EXPECT_EQ(std::pair(body.plays, body.favorites),
              std::pair(std::optional(count), std::optional(count)))
        << text;
  }
}

TEST(SoundCloudBody, EqualityAndHashAgree) {
  const std::vector<test::EqualityCase> rows{
      {"durations of plus and minus zero", R"({"duration":0})", R"({"duration":-0.0})", true},
      {"an integer duration and the same with a fraction", R"({"duration":180})",
       R"({"duration":180.0})", true},
      {"counts differing beyond 53 bits", R"({"duration":1,"plays":9007199254740992})",
       R"({"duration":1,"plays":9007199254740993})", false},
      {"an absent title and an empty one", R"({"duration":1})", R"({"duration":1,"title":""})",
       false},
      {"no image and an image with no fields", R"({"duration":1})", R"({"duration":1,"image":{}})",
       false},
      {"the same text in url and in originalUrl", R"({"duration":1,"url":"u"})",
       R"({"duration":1,"originalUrl":"u"})", false},
  };
  for (const auto& row : rows) test::expectEquality<SoundCloudBody>(row);
}

}  // namespace
}  // namespace tovanel::chat
