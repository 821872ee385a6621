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

TEST(BodyType, EveryKindRoundTripsThroughJson) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  for (const BodyType kind : allCases<BodyType>()) {
    const std::string json = JSONEncoder().encode(kind);
    EXPECT_EQ(json, "\"" + std::string(rawValue(kind)) + "\"");
    EXPECT_EQ(decoder.decode<BodyType>(json), kind) << json;
  }
  // Decoding a kind is not handing it over: the box stays empty.
  EXPECT_EQ(bodyType(decoder.userInfo)->value, std::nullopt);
}

TEST(BodyType, OnlyExactRawValuesNameAKind) {
  for (const char* text : {"Text", "YOUTUBE", "YouTube", " text", "text ", "", "soundCloud"}) {
    EXPECT_EQ(fromRawValue<BodyType>(text), std::nullopt) << '"' << text << '"';
  }
  EXPECT_EQ(fromRawValue<BodyType>("soundcloud"), BodyType::soundcloud);
}

TEST(BodyType, DecodingFailuresHaveTheirKindsAndWriteNothing) {
  const std::array<std::pair<const char*, DecodingError::Kind>, 4> rows{{
      {"\"Text\"", DecodingError::Kind::dataCorrupted},
      {"\"\"", DecodingError::Kind::dataCorrupted},
      {"9", DecodingError::Kind::typeMismatch},
      {"null", DecodingError::Kind::valueNotFound},
  }};
  for (const auto& [json, kind] : rows) {
    const auto captured = test::captureStdout([&] { JSONDecoder().decode<BodyType>(json); });
    const auto error = test::errorAs<DecodingError>(captured.error);
    ASSERT_TRUE(error.has_value()) << json;
    EXPECT_EQ(error->kind(), kind) << json;
    EXPECT_EQ(captured.out, "") << json;
  }
}

}  // namespace
}  // namespace tovanel::chat
