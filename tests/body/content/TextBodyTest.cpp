#include "tovanel/chat/body/content/TextBody.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "support/Capture.hpp"
#include "support/RecordingHasher.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {

void PrintTo(const TextBody& body, std::ostream* out) { *out << JSONEncoder().encode(body); }

namespace {

using Kind = DecodingError::Kind;
using Mention = TextBody::Mention;
using Mentions = std::vector<Mention>;
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax = std::numeric_limits<std::int64_t>::max();

// ---- decoding failures ----

struct ErrorRow {
  const char* name;
  const char* json;
  Kind kind;
  const char* path;
};

class TextBodyErrorTest : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(TextBodyErrorTest, FailsWithTheKindAndPathOfTheFirstBadKey) {
  const auto& row = GetParam();
  const auto error = test::decodingErrorOf([&] { JSONDecoder().decode<TextBody>(row.json); });
  ASSERT_TRUE(error.has_value()) << row.json;
  EXPECT_EQ(error->kind(), row.kind) << error->what();
  EXPECT_EQ(describe(error->codingPath()), row.path) << error->what();
}

INSTANTIATE_TEST_SUITE_P(
    Strict, TextBodyErrorTest,
    ::testing::Values(
        ErrorRow{"NoTextEvenWithValidMentions", R"({"mentions":[{"userId":"u"}]})",
                 Kind::keyNotFound, "text"},
        ErrorRow{"TextKeyIsCaseSensitive", R"({"Text":"hi"})", Kind::keyNotFound, "text"},
        ErrorRow{"TextIsCheckedBeforeMentions", R"({"mentions":5})", Kind::keyNotFound, "text"},
        ErrorRow{"NullText", R"({"text":null})", Kind::valueNotFound, "text"},
        ErrorRow{"NumberText", R"({"text":5})", Kind::typeMismatch, "text"},
        ErrorRow{"MentionsAnObject", R"({"text":"a","mentions":{}})", Kind::typeMismatch,
                 "mentions"},
        ErrorRow{"MentionsAString", R"({"text":"a","mentions":"u"})", Kind::typeMismatch,
                 "mentions"},
        ErrorRow{"NullMention", R"({"text":"a","mentions":[{},null]})", Kind::valueNotFound,
                 "mentions[1]"},
        ErrorRow{"NumberMention", R"({"text":"a","mentions":[3]})", Kind::typeMismatch,
                 "mentions[0]"},
        ErrorRow{"RangeStartAsString", R"({"text":"a","mentions":[{},{"rangeStart":"3"}]})",
                 Kind::typeMismatch, "mentions[1].rangeStart"},
        ErrorRow{"RangeEndNotWhole", R"({"text":"a","mentions":[{"rangeEnd":8.5}]})",
                 Kind::dataCorrupted, "mentions[0].rangeEnd"},
        ErrorRow{"UserIdNotAString", R"({"text":"a","mentions":[{"userId":7}]})",
                 Kind::typeMismatch, "mentions[0].userId"},
        ErrorRow{"NotAnObject", R"("hi")", Kind::typeMismatch, ""},
        ErrorRow{"Null", "null", Kind::valueNotFound, ""}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- decoding, encoding and round trips ----

struct RoundTripRow {
  const char* name;
  const char* json;
  TextBody expected;
  const char* encoded;
};

class TextBodyRoundTripTest : public ::testing::TestWithParam<RoundTripRow> {};

TEST_P(TextBodyRoundTripTest, DecodesEncodesAndDecodesBackEqual) {
  const auto& row = GetParam();
  const auto decoded = JSONDecoder().decode<TextBody>(row.json);
  EXPECT_EQ(decoded, row.expected);
  const std::string encoded = JSONEncoder().encode(decoded);
  EXPECT_EQ(encoded, row.encoded);
  EXPECT_EQ(JSONDecoder().decode<TextBody>(encoded), decoded);
}

INSTANTIATE_TEST_SUITE_P(
    Values, TextBodyRoundTripTest,
    ::testing::Values(
        RoundTripRow{"OnlyText", R"({"text":"hi"})", {"hi", std::nullopt}, R"({"text":"hi"})"},
        RoundTripRow{"NullMentionsAreAbsent",
                     R"({"text":"hi","mentions":null})",
                     {"hi", std::nullopt},
                     R"({"text":"hi"})"},
        RoundTripRow{"EmptyMentionsArePresent",
                     R"({"text":"hi","mentions":[]})",
                     {"hi", Mentions{}},
                     R"({"text":"hi","mentions":[]})"},
        RoundTripRow{"KeysWrittenInRecordOrder",
                     R"({"mentions":[{"rangeEnd":8,"rangeStart":3,"userId":"u1"}],"text":"a"})",
                     {"a", Mentions{{"u1", 3, 8}}},
                     R"({"text":"a","mentions":[{"userId":"u1","rangeStart":3,"rangeEnd":8}]})"},
        RoundTripRow{"EmptyMention",
                     R"({"text":"","mentions":[{}]})",
                     {"", Mentions{{std::nullopt, std::nullopt, std::nullopt}}},
                     R"({"text":"","mentions":[{}]})"},
        RoundTripRow{"CapitalDUserIdIsNotRead",
                     R"({"text":"x","mentions":[{"userID":"u","rangeStart":null}]})",
                     {"x", Mentions{{std::nullopt, std::nullopt, std::nullopt}}},
                     R"({"text":"x","mentions":[{}]})"},
        RoundTripRow{"UnknownKeysIgnored",
                     R"({"text":"x","type":"text","extra":[1]})",
                     {"x", std::nullopt},
                     R"({"text":"x"})"},
        RoundTripRow{
            "ExtremeBounds",
            R"({"text":"x","mentions":[{"rangeStart":-9223372036854775808,"rangeEnd":9223372036854775807}]})",
            {"x", Mentions{{std::nullopt, kMin, kMax}}},
            R"({"text":"x","mentions":[{"rangeStart":-9223372036854775808,"rangeEnd":9223372036854775807}]})"},
        RoundTripRow{"EscapedText",
                     R"({"text":"a\"b\\c\n\u00e9/\ud83d\ude00"})",
                     {"a\"b\\c\n\xC3\xA9/\xF0\x9F\x98\x80", std::nullopt},
                     "{\"text\":\"a\\\"b\\\\c\\n\xC3\xA9/\xF0\x9F\x98\x80\"}"}),
    [](const auto& info) { return std::string(info.param.name); });

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
