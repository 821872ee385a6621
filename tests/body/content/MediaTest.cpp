// Image and Video, the media records that the content bodies share.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/CodingOutcome.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/Video.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::decodingOutcome;
using test::encodeJson;

// A value for each of a record's four keys, in key order.
using Members = std::array<std::pair<std::string_view, std::string_view>, 4>;
constexpr Members kImageMembers{{{"width", "200"},
                                 {"height", "100"},
                                 {"url", R"("https://cdn.example/p.png")"},
                                 {"optimizedUrl", R"("https://cdn.example/p-small.png")"}}};
constexpr Members kVideoMembers{{{"width", "1920"},
                                 {"height", "1080"},
                                 {"url", R"("https://cdn.example/v.mp4")"},
                                 {"duration", "12.5"}}};

bool has(unsigned subset, int field) { return (subset >> field & 1U) != 0; }

/// The object holding the members whose bit is set in `subset` (the others null), in key order.
std::string objectOf(const Members& members, unsigned subset, bool nulls = false) {
  test::Members chosen;
  for (int i = 0; i < 4; ++i) {
    if (has(subset, i) || nulls)
      chosen.emplace_back(members[i].first, has(subset, i) ? members[i].second : "null");
  }
  return test::objectWith(chosen);
}

template <class T>
std::optional<T> when(bool present, T value) {
  return present ? std::optional<T>(std::move(value)) : std::nullopt;
}

Image imageOf(unsigned subset) {
  return Image(when<std::int64_t>(has(subset, 0), 200), when<std::int64_t>(has(subset, 1), 100),
               when<std::string>(has(subset, 2), "https://cdn.example/p.png"),
               when<std::string>(has(subset, 3), "https://cdn.example/p-small.png"));
}

Video videoOf(unsigned subset) {
  return Video(when<std::int64_t>(has(subset, 0), 1920), when<std::int64_t>(has(subset, 1), 1080),
               when<std::string>(has(subset, 2), "https://cdn.example/v.mp4"),
               when(has(subset, 3), 12.5));
}

// Any subset of the keys (the rest absent or null) gives exactly those fields, written back in
// key order.
TEST(Media, AnySubsetOfTheKeysGivesAndWritesExactlyThoseFields) {
  for (unsigned subset = 0; subset < 16; ++subset) {
    EXPECT_EQ(decodeJson<Image>(objectOf(kImageMembers, subset, true)), imageOf(subset)) << subset;
    EXPECT_EQ(decodeJson<Video>(objectOf(kVideoMembers, subset, true)), videoOf(subset)) << subset;
    EXPECT_EQ(encodeJson(imageOf(subset)), objectOf(kImageMembers, subset)) << subset;
    EXPECT_EQ(encodeJson(videoOf(subset)), objectOf(kVideoMembers, subset)) << subset;
  }
}

TEST(Media, AValueOfTheWrongTypeFailsWithItsKey) {
  const std::pair<std::string_view, std::string_view> imageRows[] = {
      {R"({"width":"200"})", "typeMismatch at width"},
      {R"({"width":200.5})", "dataCorrupted at width"},
      {R"({"optimizedUrl":{}})", "typeMismatch at optimizedUrl"},
      {R"({"width":1,"height":true,"url":false})", "typeMismatch at height"},
      {R"({"width":2.0,"height":1e2})", test::kDecodes},
      {"[]", "typeMismatch"},
      {"null", "valueNotFound"},
  };
  for (const auto& [json, expected] : imageRows)
    EXPECT_EQ(decodingOutcome<Image>(json), expected) << json;
  const std::pair<std::string_view, std::string_view> videoRows[] = {
      {R"({"duration":"PT1M30S"})", "typeMismatch at duration"},
      {R"({"width":"1920","duration":"PT1M"})", "typeMismatch at width"},
      {R"({"duration":-3})", test::kDecodes},
  };
  for (const auto& [json, expected] : videoRows)
    EXPECT_EQ(decodingOutcome<Video>(json), expected) << json;
}

TEST(Media, TheVideoDurationIsTheNumberAsSent) {
  const std::pair<std::string_view, double> rows[] = {
      {R"({"duration":-1.25})", -1.25},
      {R"({"duration":1e300})", 1e300},
      {R"({"duration":9007199254740993})", 9007199254740992.0}};
  for (const auto& [json, expected] : rows)
    EXPECT_EQ(decodeJson<Video>(json).duration, expected) << json;
}

TEST(Media, AspectRatioIsHeightOverWidthWhenBothArePositive) {
  using Size = std::optional<std::int64_t>;
  const std::tuple<Size, Size, std::optional<double>> rows[] = {
      {200, 100, 0.5},
      {100, 200, 2.0},
      {INT64_MAX, 1, 1.0 / 9223372036854775807.0},
      {0, 100, std::nullopt},
      {100, 0, std::nullopt},
      {100, -1, std::nullopt},
      {-100, -200, std::nullopt},
      {std::nullopt, 100, std::nullopt},
      {100, std::nullopt, std::nullopt}};
  for (const auto& [width, height, expected] : rows) {
    EXPECT_EQ(Image(width, height, std::nullopt, std::nullopt).aspectRatio(), expected)
        << width.value_or(-999) << " x " << height.value_or(-999);
  }
}

TEST(Media, EqualityFollowsPresenceAndCanonicalTextAndHashesAgree) {
  const test::EqualityCase imageRows[] = {
      {"width differs", R"({"width":1})", R"({"width":2})", false},
      {"url absent", R"({"url":"u"})", "{}", false},
      {"optimizedUrl empty against absent", R"({"optimizedUrl":""})", "{}", false},
      {"equivalent links", R"({"url":"caf\u00e9"})", R"({"url":"cafe\u0301"})", true}};
  for (const auto& row : imageRows) test::expectEquality<Image>(row);
  const test::EqualityCase videoRows[] = {
      {"duration zero against absent", R"({"duration":0})", "{}", false},
      {"duration differs", R"({"duration":12.5})", R"({"duration":12.25})", false},
      {"durations of both zeros", R"({"duration":0})", R"({"duration":-0.0})", true}};
  for (const auto& row : videoRows) test::expectEquality<Video>(row);
  const Video notANumber(std::nullopt, std::nullopt, std::nullopt, std::nan(""));
  EXPECT_FALSE(notANumber == notANumber);
}

}  // namespace
}  // namespace tovanel::chat
