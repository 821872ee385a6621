#include "tovanel/chat/base/Scanner.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>

#include "tovanel/chat/base/CharacterSet.hpp"

namespace tovanel::chat {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

struct MembershipCase {
  char32_t codePoint;
  bool isWhiteSpace;
};
void PrintTo(const MembershipCase& row, std::ostream* out) {
  *out << "U+" << std::hex << static_cast<std::uint32_t>(row.codePoint);
}

class WhiteSpaceSet : public testing::TestWithParam<MembershipCase> {};

TEST_P(WhiteSpaceSet, HoldsExactlyTheUnicodeWhiteSpaceCharacters) {
  const auto& row = GetParam();
  EXPECT_EQ(CharacterSet::whitespacesAndNewlines().contains(row.codePoint), row.isWhiteSpace)
      << "U+" << std::hex << static_cast<std::uint32_t>(row.codePoint);
}

// Both ends of the ranges of the property, and neighbours just outside them.
INSTANTIATE_TEST_SUITE_P(
    CodePoints, WhiteSpaceSet,
    testing::Values(
        MembershipCase{0x0008, false}, MembershipCase{0x0009, true}, MembershipCase{0x000D, true},
        MembershipCase{0x000E, false}, MembershipCase{0x0020, true}, MembershipCase{0x0085, true},
        MembershipCase{0x00A0, true}, MembershipCase{0x1680, true}, MembershipCase{0x180E, false},
        MembershipCase{0x2000, true}, MembershipCase{0x200A, true}, MembershipCase{0x200B, false},
        MembershipCase{0x2028, true}, MembershipCase{0x2029, true}, MembershipCase{0x202F, true},
        MembershipCase{0x205F, true}, MembershipCase{0x3000, true}, MembershipCase{0xFEFF, false}));

struct CharactersInCase {
  std::string text;
  char32_t codePoint;
  bool contained;
};
void PrintTo(const CharactersInCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class CharactersIn : public testing::TestWithParam<CharactersInCase> {};

TEST_P(CharactersIn, HoldsTheCodePointsOfTheText) {
  const auto& row = GetParam();
  EXPECT_EQ(CharacterSet::charactersIn(row.text).contains(row.codePoint), row.contained)
      << "text \"" << row.text << "\", U+" << std::hex << static_cast<std::uint32_t>(row.codePoint);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CharactersIn,
    testing::Values(CharactersInCase{"YMWD", U'W', true}, CharactersInCase{"YMWD", U'y', false},
                    // A two-byte character is one member, not its bytes.
                    CharactersInCase{"\xC3\xA9", U'\u00E9', true},
                    CharactersInCase{"\xC3\xA9", U'\u00C3', false},
                    // Bytes that are not UTF-8 add nothing, and the text around them still counts.
                    CharactersInCase{"A\xFF"
                                     "B",
                                     U'B', true}));

struct IntegerCase {
  std::string text;
  std::optional<std::int64_t> value;
  std::size_t indexAfter;  // where the scanner stands afterwards
};
void PrintTo(const IntegerCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class ScanInteger : public testing::TestWithParam<IntegerCase> {};

TEST_P(ScanInteger, ReadsASignedDecimalIntegerAfterWhiteSpace) {
  const auto& row = GetParam();
  Scanner scanner(row.text);
  const auto value = scanner.scanInteger();
  EXPECT_EQ(std::make_pair(value, scanner.currentIndex()),
            std::make_pair(row.value, row.indexAfter))
      << "text \"" << row.text << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ScanInteger,
    testing::Values(
        IntegerCase{"-7", -7, 2}, IntegerCase{"1.5", 1, 1}, IntegerCase{" \t\n 12x", 12, 6},
        // Beyond the limits the value saturates and every digit is still consumed (the duration
        // tests read the limits themselves).
        IntegerCase{"-9223372036854775809", kMin, 20},
        // Without a digit nothing is read and nothing is consumed, not even the white space.
        IntegerCase{"+x", std::nullopt, 0}, IntegerCase{"  - 1", std::nullopt, 0}));

struct CharactersCase {
  std::string text;
  std::string set;
  std::optional<std::string> run;
  std::size_t indexAfter;
};
void PrintTo(const CharactersCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class ScanCharacters : public testing::TestWithParam<CharactersCase> {};

TEST_P(ScanCharacters, ReadsTheLongestRunFromTheSet) {
  const auto& row = GetParam();
  Scanner scanner(row.text);
  const auto run = scanner.scanCharacters(CharacterSet::charactersIn(row.set));
  EXPECT_EQ(std::make_pair(run, scanner.currentIndex()), std::make_pair(row.run, row.indexAfter))
      << "text \"" << row.text << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ScanCharacters,
    testing::Values(CharactersCase{"YMD1", "YMWD", "YMD", 3}, CharactersCase{"  Y", "YMWD", "Y", 3},
                    // The run stops at white space: it is skipped only before an item.
                    CharactersCase{"Y M", "YMWD", "Y", 1},
                    CharactersCase{"\xC3\xA9\xC3\xA9"
                                   "1",
                                   "\xC3\xA9", "\xC3\xA9\xC3\xA9", 4},
                    CharactersCase{"", "YMWD", std::nullopt, 0},
                    CharactersCase{"  1Y", "YMWD", std::nullopt, 0},
                    CharactersCase{"\xFF"
                                   "Y",
                                   "YMWD", std::nullopt, 0}));

// At the end once only characters to be skipped remain (white space beyond ASCII too).
TEST(Scanner, ReadsItemsOneAfterAnotherToItsEnd) {
  Scanner scanner(" 12 Y -3\tMD \xE3\x80\x80\xC2\x85");
  const auto designators = CharacterSet::charactersIn("YMWD");
  EXPECT_EQ(scanner.scanInteger(), 12);
  EXPECT_EQ(scanner.scanCharacters(designators), "Y");
  EXPECT_EQ(scanner.scanInteger(), -3);
  EXPECT_EQ(scanner.scanCharacters(designators), "MD");
  EXPECT_TRUE(scanner.isAtEnd());
  EXPECT_FALSE(Scanner("\xE2\x80\x8B").isAtEnd());  // a zero-width space is no white space
}

TEST(Scanner, WithoutCharactersToBeSkippedReadsNothingBehindWhiteSpace) {
  Scanner scanner(" 1");
  scanner.charactersToBeSkipped.reset();
  EXPECT_FALSE(scanner.isAtEnd());
  EXPECT_EQ(scanner.scanInteger(), std::nullopt);
  Scanner empty("");
  empty.charactersToBeSkipped.reset();
  EXPECT_TRUE(empty.isAtEnd());
}

}  // namespace
}  // namespace tovanel::chat
