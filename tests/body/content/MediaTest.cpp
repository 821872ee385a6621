// Image and Video, the media records that the content bodies share.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/CodingCases.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/Video.hpp"

namespace tovanel::chat {
namespace {

using testing::decode;
using testing::decodingOutcome;
using testing::encode;

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

/// The object holding the members whose bit is set in `subset`, in key order.
std::string objectOf(const Members& members, unsigned subset) {
  std::string json = "{";
  for (int i = 0; i < 4; ++i) {
    if (!has(subset, i)) continue;
    if (json.size() > 1) json += ',';
    json += '"' + std::string(members[i].first) + "\":" + std::string(members[i].second);
  }
  return json + "}";
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

TEST(MediaDecoding, AnySubsetOfTheKeysGivesExactlyThoseFields) {
  for (unsigned subset = 0; subset < 16; ++subset) {
    const std::string image = objectOf(kImageMembers, subset);
    const std::string video = objectOf(kVideoMembers, subset);
    EXPECT_EQ(decode<Image>(image), imageOf(subset)) << image;
    EXPECT_EQ(decode<Video>(video), videoOf(subset)) << video;
  }
}

TEST(MediaDecoding, NullIsReadAsAnAbsentKey) {
  for (int field = 0; field < 4; ++field) {
    Members imageMembers = kImageMembers;
    Members videoMembers = kVideoMembers;
    imageMembers[field].second = "null";
    videoMembers[field].second = "null";
    const unsigned others = 15U & ~(1U << field);
    EXPECT_EQ(decode<Image>(objectOf(imageMembers, 15)), imageOf(others)) << field;
    EXPECT_EQ(decode<Video>(objectOf(videoMembers, 15)), videoOf(others)) << field;
  }
}

TEST(MediaEncoding, WritesExactlyThePresentFieldsInKeyOrder) {
  for (unsigned subset = 0; subset < 16; ++subset) {
    EXPECT_EQ(encode(imageOf(subset)), objectOf(kImageMembers, subset)) << subset;
    EXPECT_EQ(encode(videoOf(subset)), objectOf(kVideoMembers, subset)) << subset;
  }
}

TEST(MediaDecoding, AValueOfTheWrongTypeFailsWithItsKey) {
  const std::pair<std::string_view, std::string_view> imageCases[] = {
      {R"({"width":"200"})", "typeMismatch at width"},
      {R"({"width":200.5})", "dataCorrupted at width"},
      {R"({"height":[100]})", "typeMismatch at height"},
      {R"({"url":5})", "typeMismatch at url"},
      {R"({"optimizedUrl":{}})", "typeMismatch at optimizedUrl"},
      {R"({"width":"a","url":5})", "typeMismatch at width"},
      {R"({"width":1,"height":true,"url":false})", "typeMismatch at height"},
      {R"({"width":2.0,"height":1e2})", "decoded"},
      {R"({"other":"ignored","width":-5})", "decoded"},
      {R"("https://cdn.example/p.png")", "typeMismatch at "},
      {"[]", "typeMismatch at "},
      {"7", "typeMismatch at "},
      {"null", "valueNotFound at "},
  };
  for (const auto& [json, expected] : imageCases) {
    EXPECT_EQ(decodingOutcome<Image>(json), expected) << json;
  }
  const std::pair<std::string_view, std::string_view> videoCases[] = {
      {R"({"duration":"PT1M30S"})", "typeMismatch at duration"},
      {R"({"duration":"12.5"})", "typeMismatch at duration"},
      {R"({"duration":true})", "typeMismatch at duration"},
      {R"({"width":"1920","duration":"PT1M"})", "typeMismatch at width"},
      {R"({"url":[],"duration":"PT1M"})", "typeMismatch at url"},
      {R"({"duration":-3})", "decoded"},
      {"[{}]", "typeMismatch at "},
  };
  for (const auto& [json, expected] : videoCases) {
    EXPECT_EQ(decodingOutcome<Video>(json), expected) << json;
  }
}

TEST(VideoDecoding, TheDurationIsTheNumberAsSent) {
  const std::pair<std::string_view, double> cases[] = {
      {R"({"duration":12.5})", 12.5},   {R"({"duration":60})", 60.0},
      {R"({"duration":0})", 0.0},       {R"({"duration":-1.25})", -1.25},
      {R"({"duration":1e300})", 1e300}, {R"({"duration":9007199254740993})", 9007199254740992.0},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decode<Video>(json).duration, expected) << json;
  }
}

TEST(Image, AspectRatioIsHeightOverWidthWhenBothArePositive) {
  using Size = std::optional<std::int64_t>;
  const std::tuple<Size, Size, std::optional<double>> cases[] = {
      {200, 100, 0.5},
      {100, 200, 2.0},
      {3, 1, 1.0 / 3.0},
      {1, 1, 1.0},
      {INT64_MAX, 1, 1.0 / 9223372036854775807.0},
      {0, 100, std::nullopt},
      {100, 0, std::nullopt},
      {100, -1, std::nullopt},
      {-100, 200, std::nullopt},
      {-100, -200, std::nullopt},
      {std::nullopt, 100, std::nullopt},
      {100, std::nullopt, std::nullopt},
      {std::nullopt, std::nullopt, std::nullopt},
  };
  for (const auto& [width, height, expected] : cases) {
    EXPECT_EQ(Image(width, height, std::nullopt, std::nullopt).aspectRatio(), expected)
        << width.value_or(-999) << " x " << height.value_or(-999);
  }
}

TEST(MediaEquality, PresenceAndEveryFieldTakePart) {
  const Image image = imageOf(15);
  const std::pair<std::string_view, Image> imageCases[] = {
      {"optimizedUrl differs", Image(200, 100, "https://cdn.example/p.png", "other")},
      {"height absent",
       Image(200, std::nullopt, "https://cdn.example/p.png", "https://cdn.example/p-small.png")},
      {"width differs",
       Image(201, 100, "https://cdn.example/p.png", "https://cdn.example/p-small.png")},
      {"url absent", imageOf(0b1011)},
  };
  for (const auto& [what, other] : imageCases) {
    EXPECT_EQ(std::pair(other == image, other.hashValue() == image.hashValue()),
              std::pair(false, false))
        << what;
  }
  const Video video = videoOf(15);
  const std::pair<std::string_view, Video> videoCases[] = {
      {"duration differs", Video(1920, 1080, "https://cdn.example/v.mp4", 12.25)},
      {"duration absent", videoOf(0b0111)},
      {"duration zero against absent", Video(1920, 1080, "https://cdn.example/v.mp4", 0.0)},
      {"url differs", Video(1920, 1080, "https://cdn.example/w.mp4", 12.5)},
  };
  for (const auto& [what, other] : videoCases) {
    EXPECT_EQ(std::pair(other == video, other.hashValue() == video.hashValue()),
              std::pair(false, false))
        << what;
  }
}

TEST(VideoEquality, BothZerosAreEqualAndHashAlikeButNaNEqualsNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Video plus(std::nullopt, std::nullopt, std::nullopt, 0.0);
  const Video minus(std::nullopt, std::nullopt, std::nullopt, -0.0);
  const Video notANumber(std::nullopt, std::nullopt, std::nullopt, nan);
  EXPECT_EQ(std::pair(plus == minus, plus.hashValue() == minus.hashValue()), std::pair(true, true));
  EXPECT_FALSE(notANumber == notANumber);
  // Decoded minus zero keeps its sign and still equals plus zero.
  EXPECT_EQ(decode<Video>(R"({"duration":-0.0})"), plus);
}

TEST(MediaEquality, CanonicallyEquivalentLinksAreEqualAndHashAlike) {
  const Image precomposed(1, 1, "https://cdn.example/caf\u00e9.png", std::nullopt);
  const Image decomposed(1, 1, "https://cdn.example/cafe\u0301.png", std::nullopt);
  EXPECT_EQ(std::pair(precomposed == decomposed, precomposed.hashValue() == decomposed.hashValue()),
            std::pair(true, true));
}

TEST(MediaEncoding, DecodingWhatWasWrittenGivesAnEqualValue) {
  const Image images[] = {
      imageOf(0),
      imageOf(15),
      Image(INT64_MIN, INT64_MAX, "a\"b\\c/\u00e9\U0001F600", ""),
      Image(0, -1, "line\nbreak\ttab", std::nullopt),
  };
  for (const auto& image : images) {
    EXPECT_EQ(decode<Image>(encode(image)), image) << encode(image);
  }
  const Video videos[] = {
      videoOf(0),
      videoOf(15),
      Video(std::nullopt, std::nullopt, std::nullopt, -0.0),
      Video(-1, 0, "", 1e-300),
      Video(1, 1, "x", 0.1),
      Video(1, 1, "x", 1.7976931348623157e308),
      Video(1, 1, "x", 123456789.123456789),
  };
  for (const auto& video : videos) {
    EXPECT_EQ(decode<Video>(encode(video)), video) << encode(video);
  }
}

}  // namespace
}  // namespace tovanel::chat
