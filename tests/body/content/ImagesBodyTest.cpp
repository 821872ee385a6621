#include "tovanel/chat/body/content/ImagesBody.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/BodyDecoding.hpp"
#include "support/CodingCases.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/content/VideoBody.hpp"

namespace tovanel::chat {
namespace {

using testing::decode;
using testing::decodeBody;
using testing::decodingOutcome;
using testing::encode;

static_assert(sizeof(Body) == sizeof(void*));

const Image kWide(200, 100, "https://cdn.example/wide.png", std::nullopt);
const Image kTall(100, 200, "https://cdn.example/tall.png", "https://cdn.example/tall-s.png");
const Image kEmpty(std::nullopt, std::nullopt, std::nullopt, std::nullopt);
const std::vector<Image> kNoImages;

TEST(ImagesBodyDecoding, ReadsTheListInOrderOrFailsAsAWhole) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {R"({"images":[]})", "decoded"},
      {R"({"images":[{},{}],"caption":"ignored"})", "decoded"},
      {"{}", "keyNotFound at images"},
      {R"({"Images":[]})", "keyNotFound at images"},
      {R"({"images":null})", "valueNotFound at images"},
      {R"({"images":{"width":1}})", "typeMismatch at images"},
      {R"({"images":"https://cdn.example/p.png"})", "typeMismatch at images"},
      {R"({"images":[{"width":1},{"width":"2"}]})", "typeMismatch at images[1].width"},
      {R"({"images":[{},null]})", "valueNotFound at images[1]"},
      {R"({"images":[{},5]})", "typeMismatch at images[1]"},
      {"[]", "typeMismatch at "},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decodingOutcome<ImagesBody>(json), expected) << json;
  }
}

TEST(ImagesBodyDecoding, KeepsTheOrderAndTheCountOfTheArray) {
  const std::pair<std::string_view, ImagesBody> cases[] = {
      {R"({"images":[]})", ImagesBody(kNoImages)},
      {R"({"images":[{},{}]})", ImagesBody({kEmpty, kEmpty})},
      {R"({"images":[{"width":100,"height":200,"url":"https://cdn.example/tall.png",)"
       R"("optimizedUrl":"https://cdn.example/tall-s.png"},)"
       R"({"width":200,"height":100,"url":"https://cdn.example/wide.png"}]})",
       ImagesBody({kTall, kWide})},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decode<ImagesBody>(json), expected) << json;
  }
}

TEST(ImagesBodyEncoding, AlwaysWritesTheArray) {
  const std::pair<ImagesBody, std::string_view> cases[] = {
      {ImagesBody(kNoImages), R"({"images":[]})"},
      {ImagesBody({kEmpty}), R"({"images":[{}]})"},
      {ImagesBody({kWide, kEmpty}),
       R"({"images":[{"width":200,"height":100,"url":"https://cdn.example/wide.png"},{}]})"},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(encode(body), expected);
}

TEST(ImagesBodyEncoding, DecodingWhatWasWrittenGivesAnEqualBody) {
  const ImagesBody bodies[] = {ImagesBody(kNoImages), ImagesBody({kTall, kWide, kEmpty, kTall})};
  for (const auto& body : bodies) {
    EXPECT_EQ(decode<ImagesBody>(encode(body)), body) << encode(body);
  }
}

TEST(ImagesBodyEquality, ComparesTheListsInOrder) {
  const std::tuple<std::string_view, ImagesBody, ImagesBody, bool> cases[] = {
      {"same images, same order", ImagesBody({kWide, kTall}), ImagesBody({kWide, kTall}), true},
      {"both empty", ImagesBody(kNoImages), ImagesBody(kNoImages), true},
      {"same images, other order", ImagesBody({kWide, kTall}), ImagesBody({kTall, kWide}), false},
      {"one image against the same twice", ImagesBody({kWide}), ImagesBody({kWide, kWide}), false},
      {"empty list against one empty image", ImagesBody(kNoImages), ImagesBody({kEmpty}), false},
      {"one field differs", ImagesBody({kWide}),
       ImagesBody({Image(200, 100, "https://cdn.example/wide.png", "")}), false},
  };
  for (const auto& [what, a, b, equal] : cases) {
    EXPECT_EQ(std::pair(a == b, a.hashValue() == b.hashValue()), std::pair(equal, equal)) << what;
  }
}

TEST(ImagesBodyInABody, DecodesEncodesAndComparesThroughBody) {
  const std::string_view json = R"({"images":[{"width":200,"height":100,)"
                                R"("url":"https://cdn.example/wide.png"},{}]})";
  const Body body = decodeBody(BodyType::images, json);
  ASSERT_NE(body.get<ImagesBody>(), nullptr);
  EXPECT_EQ(body.bodyType(), BodyType::images);
  EXPECT_EQ(*body.get<ImagesBody>(), ImagesBody({kWide, kEmpty}));
  EXPECT_EQ(body.get<VideoBody>(), nullptr);
  EXPECT_EQ(encode(body), json);
  EXPECT_EQ(body, Body(ImagesBody({kWide, kEmpty})));
  EXPECT_NE(body, Body(ImagesBody({kEmpty, kWide})));
}

TEST(ImagesBodyInABody, CopiesShareThePayloadInsteadOfAllocating) {
  const Body original(ImagesBody({kWide, kTall}));
  const Body copy = original;
  Body assigned{ImagesBody(kNoImages)};
  assigned = copy;
  ASSERT_NE(original.get<ImagesBody>(), nullptr);
  EXPECT_EQ(copy.get<ImagesBody>(), original.get<ImagesBody>());
  EXPECT_EQ(assigned.get<ImagesBody>(), original.get<ImagesBody>());
  EXPECT_EQ(copy.get<ImagesBody>()->images().data(), original.get<ImagesBody>()->images().data());
}

}  // namespace
}  // namespace tovanel::chat
