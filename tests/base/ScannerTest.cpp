// The scanner and character sets behind duration text: Unicode white space, sets of code points,
// signed integers and runs of characters, each leaving the scanner where the next item starts.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

// Both ends of the ranges of the property, and neighbours just outside them.
TEST(CharacterSet, WhiteSpaceHoldsExactlyTheUnicodeWhiteSpaceCharacters) {
  const std::pair<char32_t, bool> rows[] = {
      {0x0008, false}, {0x0009, true},  {0x000D, true}, {0x000E, false}, {0x0020, true},
      {0x0085, true},  {0x00A0, true},  {0x1680, true}, {0x180E, false}, {0x2000, true},
      {0x200A, true},  {0x200B, false}, {0x2028, true}, {0x2029, true},  {0x202F, true},
      {0x205F, true},  {0x3000, true},  {0xFEFF, false}};
  for (const auto& [codePoint, white] : rows) {
    EXPECT_EQ(CharacterSet::whitespacesAndNewlines().contains(codePoint), white)
        << "U+" << std::hex << static_cast<unsigned>(codePoint);
  }
}

TEST(Scanner, ReadsASignedDecimalIntegerAfterWhiteSpace) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  const std::tuple<std::string, std::optional<std::int64_t>, std::size_t> rows[] = {
      {"-7", -7, 2},
      {"1.5", 1, 1},
      {" \t\n 12x", 12, 6},
      // Beyond the limits the value saturates and every digit is still consumed (the duration
      // tests read the limits themselves).
      {"-9223372036854775809", kMin, 20},
      // Without a digit nothing is read and nothing is consumed, not even the white space.
      {"+x", std::nullopt, 0},
      {"  - 1", std::nullopt, 0}};
  for (const auto& [text, value, indexAfter] : rows) {
    Scanner scanner(text);
    const auto read = scanner.scanInteger();
    EXPECT_EQ(std::pair(read, scanner.currentIndex()), std::pair(value, indexAfter)) << text;
  }
  // With no characters to be skipped, nothing is read behind white space.
  Scanner scanner(" 1");
  scanner.charactersToBeSkipped.reset();
  EXPECT_FALSE(scanner.isAtEnd());
  EXPECT_EQ(scanner.scanInteger(), std::nullopt);
  Scanner empty("");
  empty.charactersToBeSkipped.reset();
  EXPECT_TRUE(empty.isAtEnd());
}

// The set holds the code points of its text: a two-byte character is one member, not its bytes,
// and bytes that are not UTF-8 add nothing while the text around them still counts.
TEST(Scanner, ReadsTheLongestRunFromTheSet) {
  const std::tuple<std::string, std::string, std::optional<std::string>, std::size_t> rows[] = {
      {"YMD1", "YMWD", "YMD", 3},
      {"y", "YMWD", std::nullopt, 0},
      {"\u00C3", "\u00E9", std::nullopt, 0},
      {"BA", "A\377B", "BA", 2},
      {"  Y", "YMWD", "Y", 3},
      // The run stops at white space: it is skipped only before an item.
      {"Y M", "YMWD", "Y", 1},
      {"\u00E9\u00E91", "\u00E9", "\u00E9\u00E9", 4},
      {"", "YMWD", std::nullopt, 0},
      {"  1Y", "YMWD", std::nullopt, 0},
      {"\377Y", "YMWD", std::nullopt, 0}};
  for (const auto& [text, set, run, indexAfter] : rows) {
    Scanner scanner(text);
    const auto read = scanner.scanCharacters(CharacterSet::charactersIn(set));
    EXPECT_EQ(std::pair(read, scanner.currentIndex()), std::pair(run, indexAfter)) << text;
  }
}

}  // namespace
}  // namespace tovanel::chat
