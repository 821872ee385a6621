#include "tovanel/chat/body/content/TwitchBody.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::decodingOutcome;
using test::kDecodes;
using test::reencode;

const test::Members kChannel{
    {"gameId", R"("509658")"},       {"game", R"("Just Chatting")"},
    {"channelId", R"("141981764")"}, {"image", R"({"width":320,"height":180})"},
    {"type", R"("live")"},           {"views", "15000"},
    {"name", R"("somechannel")"},
};

TEST(TwitchBody, EachFieldIsWrittenOnlyWhenPresent) {
  const std::vector<std::pair<std::string_view, std::string_view>> rows{
      {"{}", "{}"},
      {R"({"image":null,"views":null})", "{}"},
      {R"({"image":{}})", R"({"image":{}})"},
      {R"({"name":"n","views":0,"gameId":""})", R"({"gameId":"","views":0,"name":"n"})"},
      {R"({"gameID":"1","channelID":"2","view":3})", "{}"},
  };
  for (const auto& [input, written] : rows) {
    EXPECT_EQ(reencode<TwitchBody>(input), written) << input;
  }
}

TEST(TwitchBody, AnyPresentValueOfTheWrongTypeFailsTheBody) {
  const std::vector<test::EditCase> rows{
      {"views as text", {{"views", R"("15000")"}}, "typeMismatch at views"},
      {"views not a whole number", {{"views", "2.5"}}, "dataCorrupted at views"},
      {"views beyond 64 bits", {{"views", "18446744073709551615"}}, "dataCorrupted at views"},
      {"channelId a number", {{"channelId", "141981764"}}, "typeMismatch at channelId"},
      {"gameId a number", {{"gameId", "509658"}}, "typeMismatch at gameId"},
      {"image not an object", {{"image", "[]"}}, "typeMismatch at image"},
      {"image with a fractional height",
       {{"image", R"({"height":180.5})"}},
       "dataCorrupted at image.height"},
      {"a bad channelId before a bad name",
       {{"name", "1"}, {"channelId", "1"}},
       "typeMismatch at channelId"},
      {"image null", {{"image", "null"}}, kDecodes},
      {"views written with an exponent", {{"views", "1.5e4"}}, kDecodes},
  };
  for (const auto& row : rows) test::expectOutcome<TwitchBody>(kChannel, row);
  EXPECT_EQ(decodingOutcome<TwitchBody>("null"), "valueNotFound");
}

TEST(TwitchBody, ViewCountsKeepAll64Bits) {
  const std::vector<std::pair<std::string_view, std::int64_t>> rows{
      {"2147483648", 2147483648},              // one past signed 32 bits
      {"9007199254740993", 9007199254740993},  // not exactly a double
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
      {"15000", 15000},
  };
  for (const auto& [text, views] : rows) {
    EXPECT_EQ(decodeJson<TwitchBody>(test::objectWith({{"views", text}})).views,
              std::optional(views))
        << text;
  }
}

TEST(TwitchBody, EqualityAndHashAgree) {
  const std::vector<test::EqualityCase> rows{
      {"empty bodies", "{}", "{}", true},
      {"no image and an image with no fields", "{}", R"({"image":{}})", false},
      {"the same text as game and as name", R"({"game":"x"})", R"({"name":"x"})", false},
      {"absent views and zero views", "{}", R"({"views":0})", false},
      {"views written with and without a fraction", R"({"views":3})", R"({"views":3.0})", true},
  };
  for (const auto& row : rows) test::expectEquality<TwitchBody>(row);
}

}  // namespace
}  // namespace tovanel::chat
