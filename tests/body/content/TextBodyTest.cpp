#include "tovanel/chat/body/content/TextBody.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "support/CodingOutcome.hpp"
#include "support/RecordingHasher.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {

void PrintTo(const TextBody& body, std::ostream* out) { *out << JSONEncoder().encode(body); }

namespace {

using Mention = TextBody::Mention;
using Mentions = std::vector<Mention>;
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax = std::numeric_limits<std::int64_t>::max();

// ---- decoding and writing back ----

struct Row {
  const char* json;
  const char* outcome;  // what is written back, or the failure
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.json; }

class TextBodyDecoding : public ::testing::TestWithParam<Row> {};

TEST_P(TextBodyDecoding, WritesBackWhatItReadOrFailsAtTheFirstBadKey) {
  std::string outcome;
  try {
    outcome = test::reencode<TextBody>(GetParam().json);
  } catch (const DecodingError& error) {
    outcome = test::describeFailure(error);
  }
  EXPECT_EQ(outcome, GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Strict, TextBodyDecoding,
    ::testing::Values(
        Row{R"({"mentions":[{"userId":"u"}]})", "keyNotFound at text"},
        Row{R"({"Text":"hi"})", "keyNotFound at text"},
        Row{R"({"mentions":5})", "keyNotFound at text"},  // text is read before mentions
        Row{R"({"text":null})", "valueNotFound at text"},
        Row{R"({"text":5})", "typeMismatch at text"},
        Row{R"({"text":"a","mentions":{}})", "typeMismatch at mentions"},
        Row{R"({"text":"a","mentions":[{},null]})", "valueNotFound at mentions[1]"},
        Row{R"({"text":"a","mentions":[{},{"rangeStart":"3"}]})",
            "typeMismatch at mentions[1].rangeStart"},
        Row{R"({"text":"a","mentions":[{"rangeEnd":8.5}]})",
            "dataCorrupted at mentions[0].rangeEnd"},
        Row{R"({"text":"a","mentions":[{"userId":7}]})", "typeMismatch at mentions[0].userId"},
        Row{R"("hi")", "typeMismatch"}));

INSTANTIATE_TEST_SUITE_P(
    Values, TextBodyDecoding,
    ::testing::Values(
        Row{R"({"text":"hi","mentions":null})", R"({"text":"hi"})"},
        Row{R"({"text":"hi","mentions":[]})", R"({"text":"hi","mentions":[]})"},
        Row{R"({"text":"","mentions":[{}]})", R"({"text":"","mentions":[{}]})"},
        Row{R"({"text":"x","mentions":[{"userID":"u","rangeStart":null}]})",
            R"({"text":"x","mentions":[{}]})"},
        Row{R"({"text":"x","type":"text","extra":[1]})", R"({"text":"x"})"},
        Row{R"({"text":"x","mentions":[{"rangeStart":-9223372036854775808,"rangeEnd":9223372036854775807}]})",
            R"({"text":"x","mentions":[{"rangeStart":-9223372036854775808,"rangeEnd":9223372036854775807}]})"},
        Row{R"({"text":"a\"b\\c\n\u00e9/\ud83d\ude00"})",
            "{\"text\":\"a\\\"b\\\\c\\n\xC3\xA9/\xF0\x9F\x98\x80\"}"}));

// ---- equality and hash ----

struct EqualityRow {
  const char* name;
  TextBody a;
  TextBody b;
  bool equal;
};

class TextBodyEqualityTest : public ::testing::TestWithParam<EqualityRow> {};

TEST_P(TextBodyEqualityTest, HashInputAgreesWithEquality) {
  const auto& row = GetParam();
  EXPECT_EQ(row.a == row.b, row.equal);
  EXPECT_EQ(test::hashInputOf(row.a) == test::hashInputOf(row.b), row.equal);
  if (row.equal) {
    EXPECT_EQ(row.a.hashValue(), row.b.hashValue());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, TextBodyEqualityTest,
    ::testing::Values(
        EqualityRow{"SameText", {"hi", std::nullopt}, {"hi", std::nullopt}, true},
        EqualityRow{"PrecomposedAndDecomposedText",
                    {"caf\xC3\xA9", std::nullopt},
                    {"cafe\xCC\x81", std::nullopt},
                    true},
        EqualityRow{
            "KelvinSignAndK", {"3 \xE2\x84\xAA", std::nullopt}, {"3 K", std::nullopt}, true},
        EqualityRow{"DifferentText", {"hi", std::nullopt}, {"Hi", std::nullopt}, false},
        EqualityRow{"AbsentAndEmptyMentions", {"hi", std::nullopt}, {"hi", Mentions{}}, false},
        EqualityRow{"MentionOrderMatters",
                    {"hi", Mentions{{"a", 0, 1}, {"b", 1, 2}}},
                    {"hi", Mentions{{"b", 1, 2}, {"a", 0, 1}}},
                    false},
        EqualityRow{"OneRangeEndDiffers",
                    {"hi", Mentions{{"a", 0, 1}}},
                    {"hi", Mentions{{"a", 0, 2}}},
                    false},
        EqualityRow{"AbsentAndPresentUserId",
                    {"hi", Mentions{{std::nullopt, 0, 1}}},
                    {"hi", Mentions{{"", 0, 1}}},
                    false},
        EqualityRow{"CanonicalUserId",
                    {"hi", Mentions{{"\xC3\xA9", 0, 1}}},
                    {"hi", Mentions{{"e\xCC\x81", 0, 1}}},
                    true}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- the derived span ----

struct RangeRow {
  const char* name;
  std::optional<std::int64_t> start;
  std::optional<std::int64_t> end;
  std::optional<Range> range;
};

class MentionRangeTest : public ::testing::TestWithParam<RangeRow> {};

TEST_P(MentionRangeTest, SpansFromStartToJustBeforeEnd) {
  const auto& row = GetParam();
  EXPECT_EQ(Mention("u", row.start, row.end).range(), row.range);
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, MentionRangeTest,
    ::testing::Values(RangeRow{"Forward", 3, 8, Range{3, 5}},
                      RangeRow{"Reversed", 8, 3, Range{8, -5}},
                      RangeRow{"Empty", 4, 4, Range{4, 0}},
                      RangeRow{"OnlyStart", 3, std::nullopt, std::nullopt},
                      RangeRow{"OnlyEnd", std::nullopt, 8, std::nullopt},
                      RangeRow{"Neither", std::nullopt, std::nullopt, std::nullopt},
                      RangeRow{"WidestThatFits", -1, kMax - 1, Range{-1, kMax}},
                      RangeRow{"LowestThatFits", kMin, -1, Range{kMin, kMax}},
                      RangeRow{"OverflowsUp", kMin, kMax, std::nullopt},
                      RangeRow{"OverflowsDown", kMax, kMin, std::nullopt},
                      RangeRow{"OverflowsByOne", -1, kMax, std::nullopt},
                      RangeRow{"DownToTheMinimum", 0, kMin, Range{0, kMin}},
                      RangeRow{"OverflowsNegatingMin", kMin, 0, std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
