#include "tovanel/chat/base/CanonicalString.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/RecordingHasher.hpp"

namespace tovanel::chat {
namespace {

struct TextPair {
  const char* name;
  std::string a;
  std::string b;
  bool equal;
};

// Hangul syllable 한 (U+D55C) and its conjoining jamo ᄒ ᅡ ᆫ.
const std::vector<TextPair> kTextPairs{
    {"PrecomposedEqualsDecomposedEAcute", "caf\xC3\xA9", "cafe\xCC\x81", true},
    {"KelvinSignEqualsLatinK", "\xE2\x84\xAA", "K", true},
    {"HangulSyllableEqualsItsJamo", "\xED\x95\x9C", "\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB", true},
    {"CombiningMarksInCanonicalOrderEqual", "a\xCC\x81\xCC\xA3", "a\xCC\xA3\xCC\x81", true},
    {"AsciiIsCaseSensitive", "Hello", "hello", false},
    {"DifferentAccentsDiffer", "\xC3\xA9", "\xC3\xA8", false},
    {"CompatibilityFormsAreNotCanonical", "\xEF\xAC\x81", "fi", false},  // the ligature ﬁ
    {"InvalidUtf8ComparesByBytesDiffer", "a\xFF", "a\xFE", false},
    {"InvalidUtf8IsNotNormalised", "e\xCC\x81\xFF", "\xC3\xA9\xFF", false},
};

class CanonicalStringTest : public ::testing::TestWithParam<TextPair> {};

TEST_P(CanonicalStringTest, EqualityIsCanonicalEquivalence) {
  const auto& row = GetParam();
  EXPECT_EQ(canonicallyEqual(row.a, row.b), row.equal);
  EXPECT_EQ(canonicallyEqual(row.b, row.a), row.equal) << "equality must be symmetric";
}

TEST_P(CanonicalStringTest, EqualTextFeedsEqualHashInput) {
  const auto& row = GetParam();
  test::RecordingHasher a;
  test::RecordingHasher b;
  hashCanonical(a, row.a);
  hashCanonical(b, row.b);
  EXPECT_EQ(a.line == b.line, row.equal) << a.line;
}

INSTANTIATE_TEST_SUITE_P(Pairs, CanonicalStringTest, ::testing::ValuesIn(kTextPairs),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CanonicalString, IsAsciiLooksAtEveryByte) {
  EXPECT_TRUE(isAscii(""));
  EXPECT_TRUE(isAscii("sixteen bytes ok"));
  // A high byte in the word-at-a-time part and in the tail.
  EXPECT_FALSE(isAscii("\xC3\xA9 and more text"));
  EXPECT_FALSE(isAscii("sixteen bytes ok\xC3\xA9"));
}

}  // namespace
}  // namespace tovanel::chat
