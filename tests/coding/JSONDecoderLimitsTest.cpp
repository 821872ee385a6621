// Hostile text: documents beyond the decoder's limits, numbers that do not fit, broken Unicode,
// control characters, byte-order marks and duplicate keys. Each gives a dataCorrupted error that
// says what was wrong, or a value the decoder's header documents.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/Capture.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

namespace tovanel::chat {
namespace {

using ::testing::HasSubstr;

// `inner` enclosed by `depth` arrays.
std::string nestedAround(std::size_t depth, const std::string& inner = "1") {
  return std::string(depth, '[') + inner + std::string(depth, ']');
}

// What decoding the text gives: `string "<value>"` for a string, `a <type>` for another value,
// or `<kind>: <description>` for an error.
std::string outcomeOf(const std::string& text, std::size_t maximumDocumentSize,
                      std::size_t maximumDepth) {
  JSONDecoder decoder;
  decoder.maximumDocumentSize = maximumDocumentSize;
  decoder.maximumDepth = maximumDepth;
  std::string outcome;
  const auto error = test::decodingErrorOf([&] {
    outcome = decoder.decode(text, [](const Decoder& root) {
      return root.type() == JsonType::string ? "string \"" + root.decode<std::string>() + "\""
                                             : std::string(describe(root.type()));
    });
  });
  if (error) {
    return std::string(DecodingError::kindName(error->kind())) + ": " + error->debugDescription();
  }
  return outcome;
}

constexpr std::size_t kSize = JSONDecoder::kDefaultMaximumDocumentSize;
constexpr std::size_t kDepth = JSONDecoder::kDefaultMaximumDepth;
const std::string kNotJSON = "dataCorrupted: the data is not valid JSON: ";

struct LimitRow {
  const char* name;
  std::string text;
  std::string expected;  // a part of the outcome
  std::size_t maximumDocumentSize = kSize;
  std::size_t maximumDepth = kDepth;
};

const std::vector<LimitRow> kLimitRows{
    // size
    {"TextOverTheSizeLimit", R"("0123456789abcdef")",
     kNotJSON + "the text is 18 bytes long, more than the 16 bytes of the decoder's "
                "maximumDocumentSize",
     16},
    {"TextAtTheSizeLimit", R"("0123456789abcdef")", R"(string "0123456789abcdef")", 18},
    {"ByteOrderMarkCountsTowardsTheSize", "\xEF\xBB\xBF\"0123456789abcdef\"",
     "bytes of the decoder's maximumDocumentSize", 18},
    // depth
    {"ValueDeeperThanTheDefaultDepth", nestedAround(kDepth + 1),
     kNotJSON + "arrays and objects nest deeper than the decoder's maximumDepth of 1024"},
    // the innermost empty array is a value enclosed by one array fewer than there are
    {"EmptyArrayDeeperThanTheDefaultDepth", nestedAround(kDepth + 2, ""), "maximumDepth of 1024"},
    {"ObjectsCountTowardsTheDepth", R"({"a":{"b":[1]}})", "maximumDepth of 2", kSize, 2},
    {"ADepthOfOneAllowsAnEmptyArrayInAnArray", "[1,[]]", "an array", kSize, 1},
    {"ADepthOfZeroAllowsAScalar", "7", "an integer", kSize, 0},
    {"ADepthOfZeroRefusesAValueInAnArray", "[1]", "maximumDepth of 0", kSize, 0},
    // numbers
    {"IntegerBeyondUnsigned64Bits", "18446744073709551616",
     kNotJSON + "a number is malformed or out of range (an integer must fit in 64 bits"},
    {"HugeIntegerInsideAnIgnoredKey", R"({"ignored":123456789012345678901234567890})",
     "a number is malformed or out of range"},
    {"NumberBeyondADouble", "1e400", "a number is malformed or out of range"},
    {"LargestUnsignedIntegerIsRead", "18446744073709551615", "an integer"},
    // \u escapes
    {"LoneHighSurrogate", R"("\ud800")",
     kNotJSON + "a string holds an invalid escape sequence, "
                "or a \\u escape of a lone surrogate"},
    {"PairedSurrogates", R"("\ud83d\ude00")", "string \"\xF0\x9F\x98\x80\""},
    {"UnknownEscape", R"("\x41")", "an invalid escape sequence"},
    // UTF-8
    {"TruncatedSequence", "\"ab\xC3\"",
     kNotJSON + "the text is not valid UTF-8 (first malformed byte at byte offset 3)"},
    {"BeyondTheLastCodePoint", "[\"\xF4\x90\x80\x80\"]", "(first malformed byte at byte offset 2)"},
    {"StrayContinuationByteOutsideAString", "[1,\x80]", "(first malformed byte at byte offset 3)"},
    // control characters
    {"RawNulInAString", std::string("\"a\0b\"", 5),
     kNotJSON + "a string holds the control character U+0000 (a NUL byte) unescaped at byte "
                "offset 2; control characters inside strings must be written as escapes"},
    {"RawTabInAString", "[\"\\\"\t\"]", "the control character U+0009 unescaped at byte offset 4"},
    {"EscapedNulIsACharacter", R"("a\u0000b")", std::string("string \"a\0b\"", 12)},
    // byte-order marks
    {"Utf8ByteOrderMarkIsSkipped", "\xEF\xBB\xBF\"x\"", "string \"x\""},
    {"Utf8ByteOrderMarkAlone", "\xEF\xBB\xBF", kNotJSON + "the text is empty or only white space"},
    {"OnlyOneByteOrderMarkIsSkipped", "\xEF\xBB\xBF\xEF\xBB\xBF[]",
     kNotJSON + "the structure is malformed"},
    {"Utf16BigEndianByteOrderMark", std::string("\xFE\xFF\0\"\0x\0\"", 8),
     kNotJSON + "the text starts with a UTF-16 or UTF-32 byte-order mark; only UTF-8 is read"},
};

class JSONDecoderLimitTest : public ::testing::TestWithParam<LimitRow> {};

TEST_P(JSONDecoderLimitTest, RefusesWithADescriptionOrGivesTheDocumentedValue) {
  const LimitRow& row = GetParam();
  EXPECT_THAT(outcomeOf(row.text, row.maximumDocumentSize, row.maximumDepth),
              HasSubstr(row.expected));
}

INSTANTIATE_TEST_SUITE_P(HostileText, JSONDecoderLimitTest, ::testing::ValuesIn(kLimitRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(JSONDecoderLimits, TheDefaultSizeLimitIs64MiB) {
  EXPECT_THAT(outcomeOf(std::string(kSize + 1, ' '), kSize, kDepth),
              HasSubstr(kNotJSON + "the text is 67108865 bytes long"));
}

// ---- duplicate keys: the last occurrence wins (the lookups are in KeyedDecodingContainerTest)
// ----

TEST(JSONDecoderDuplicateKeys, ARecordReadsTheLastOccurrenceOfEachKey) {
  const auto user = JSONDecoder().decode<ChatMessageUser>(
      R"({"id":"first","firstName":"A","lastName":"B","followerCount":1,"followingCount":2,)"
      R"("id":"second","username":null,"username":"u"})");
  EXPECT_EQ(user, ChatMessageUser("second", "u", "A", "B", std::nullopt, std::nullopt, 1, 2));
}

TEST(JSONDecoderDuplicateKeys, AllKeysListsEveryOccurrence) {
  JSONDecoder decoder;
  const auto keys = decoder.decode(R"({"k":1,"j":2,"k":3})",
                                   [](const Decoder& root) { return root.container().allKeys(); });
  EXPECT_EQ(keys, (std::vector<std::string>{"k", "j", "k"}));
}

}  // namespace
}  // namespace tovanel::chat
