#include "tovanel/chat/body/BodyType.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

#include "support/Capture.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {
namespace {

TEST(BodyType, TheFifteenKindsHaveTheirPositionsAndRawValues) {
  constexpr std::array<std::string_view, 15> expected{
      "action",     "app",  "event",  "hint", "hls",   "images", "info",   "location",
      "soundcloud", "text", "twitch", "url",  "video", "vimeo",  "youtube"};
  const auto cases = allCases<BodyType>();
  ASSERT_EQ(cases.size(), expected.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(rawValue(cases[i]), expected[i]) << "position " << i;
  }
}

// Decoding a kind is not handing it over: the box stays empty, and a failure writes no line.
TEST(BodyType, DecodingAKindLeavesTheBoxAloneAndWritesNothing) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  EXPECT_EQ(decoder.decode<BodyType>(R"("text")"), BodyType::text);
  EXPECT_EQ(bodyType(decoder.userInfo)->value, std::nullopt);
  const auto captured = test::captureStdout([&] { decoder.decode<BodyType>(R"("Text")"); });
  EXPECT_TRUE(test::errorAs<DecodingError>(captured.error));
  EXPECT_EQ(captured.out, "");
}

}  // namespace
}  // namespace tovanel::chat
