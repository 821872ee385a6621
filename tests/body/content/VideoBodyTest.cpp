#include "tovanel/chat/body/content/VideoBody.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "support/BodyDecoding.hpp"
#include "support/CodingCases.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/content/ImagesBody.hpp"

namespace tovanel::chat {
namespace {

using testing::decode;
using testing::decodeBody;
using testing::decodingOutcome;
using testing::encode;

const Video kClip(1280, 720, "https://cdn.example/v.mp4", 30.0);
const Video kEmptyClip(std::nullopt, std::nullopt, std::nullopt, std::nullopt);
const Image kThumbnail(1280, 720, "https://cdn.example/t.png", std::nullopt);
const Image kEmptyPicture(std::nullopt, std::nullopt, std::nullopt, std::nullopt);

TEST(VideoBodyDecoding, ReadsBothPartsAsOptionalNestedObjects) {
  const std::pair<std::string_view, VideoBody> cases[] = {
      {"{}", VideoBody(std::nullopt, std::nullopt)},
      {R"({"video":null,"thumbnail":null})", VideoBody(std::nullopt, std::nullopt)},
      {R"({"video":{"url":"https://cdn.example/v.mp4","width":1280,"height":720,)"
       R"("duration":30}})",
       VideoBody(kClip, std::nullopt)},
      {R"({"thumbnail":{"width":1280,"height":720,"url":"https://cdn.example/t.png"}})",
       VideoBody(std::nullopt, kThumbnail)},
      {R"({"video":{},"thumbnail":{}})", VideoBody(kEmptyClip, kEmptyPicture)},
      {R"({"thumbnail":{},"video":{"duration":30,"width":1280,"height":720,)"
       R"("url":"https://cdn.example/v.mp4"},"extra":[1]})",
       VideoBody(kClip, kEmptyPicture)},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decode<VideoBody>(json), expected) << json;
  }
}

TEST(VideoBodyDecoding, APartThatFailsFailsTheWholeBody) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {R"({"video":{"duration":"PT30S"}})", "typeMismatch at video.duration"},
      {R"({"video":{"duration":"30"},"thumbnail":[]})", "typeMismatch at video.duration"},
      {R"({"thumbnail":[]})", "typeMismatch at thumbnail"},
      {R"({"video":"https://cdn.example/v.mp4"})", "typeMismatch at video"},
      {R"({"video":5})", "typeMismatch at video"},
      {R"({"video":{},"thumbnail":{"width":"1"}})", "typeMismatch at thumbnail.width"},
      {"null", "valueNotFound at "},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decodingOutcome<VideoBody>(json), expected) << json;
  }
}

TEST(VideoBodyEncoding, WritesThePresentPartsOnly) {
  const std::pair<VideoBody, std::string_view> cases[] = {
      {VideoBody(std::nullopt, std::nullopt), "{}"},
      {VideoBody(kClip, std::nullopt),
       R"({"video":{"width":1280,"height":720,"url":"https://cdn.example/v.mp4","duration":30}})"},
      {VideoBody(std::nullopt, kEmptyPicture), R"({"thumbnail":{}})"},
      {VideoBody(kEmptyClip, kThumbnail),
       R"({"video":{},"thumbnail":{"width":1280,"height":720,"url":"https://cdn.example/t.png"}})"},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(encode(body), expected);
}

TEST(VideoBodyEncoding, DecodingWhatWasWrittenGivesAnEqualBody) {
  const VideoBody bodies[] = {
      VideoBody(std::nullopt, std::nullopt),
      VideoBody(kClip, kThumbnail),
      VideoBody(kEmptyClip, std::nullopt),
      VideoBody(Video(std::nullopt, std::nullopt, std::nullopt, -0.0), kEmptyPicture),
  };
  for (const auto& body : bodies) {
    EXPECT_EQ(decode<VideoBody>(encode(body)), body) << encode(body);
  }
}

TEST(VideoBodyEquality, PresenceOfEachPartTakesPart) {
  const std::tuple<std::string_view, VideoBody, VideoBody, bool> cases[] = {
      {"empty clip against no clip", VideoBody(kEmptyClip, std::nullopt),
       VideoBody(std::nullopt, std::nullopt), false},
      {"empty picture against no picture", VideoBody(kClip, kEmptyPicture),
       VideoBody(kClip, std::nullopt), false},
      {"clips differ", VideoBody(kClip, kThumbnail),
       VideoBody(Video(1280, 720, "https://cdn.example/v.mp4", 31.0), kThumbnail), false},
      {"durations of both zeros",
       VideoBody(Video(std::nullopt, std::nullopt, std::nullopt, 0.0), std::nullopt),
       VideoBody(Video(std::nullopt, std::nullopt, std::nullopt, -0.0), std::nullopt), true},
      {"same parts", VideoBody(kClip, kThumbnail), VideoBody(kClip, kThumbnail), true},
  };
  for (const auto& [what, a, b, equal] : cases) {
    EXPECT_EQ(std::pair(a == b, a.hashValue() == b.hashValue()), std::pair(equal, equal)) << what;
  }
}

TEST(VideoBodyInABody, DecodesEncodesAndComparesThroughBody) {
  const std::string_view json = R"({"video":{"duration":12.5},"thumbnail":{}})";
  const Body body = decodeBody(BodyType::video, json);
  ASSERT_NE(body.get<VideoBody>(), nullptr);
  EXPECT_EQ(*body.get<VideoBody>(),
            VideoBody(Video(std::nullopt, std::nullopt, std::nullopt, 12.5), kEmptyPicture));
  EXPECT_EQ(body.get<ImagesBody>(), nullptr);
  EXPECT_EQ(encode(body), json);
  // The same payload under two kinds is not the same body.
  EXPECT_NE(Body(VideoBody(std::nullopt, std::nullopt)), Body(ImagesBody(std::vector<Image>{})));
}

}  // namespace
}  // namespace tovanel::chat
