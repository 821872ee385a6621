// Canonical equality and hashing of text, and the quick check that lets them skip
// normalisation.

#include <utf8proc.h>
#include <cstdlib>
#include <random>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

// Equal text is canonically equivalent text, both ways round, and feeds equal hash input.
TEST(CanonicalString, EqualityIsCanonicalEquivalenceAndTheHashInputFollows) {
  const std::tuple<std::string, std::string, bool> rows[] = {
      {"caf\xC3\xA9", "cafe\xCC\x81", true},
      {"\xE2\x84\xAA", "K", true},  // the Kelvin sign
      // Hangul syllable 한 (U+D55C) and its conjoining jamo ᄒ ᅡ ᆫ.
      {"\xED\x95\x9C", "\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB", true},
      {"a\xCC\x81\xCC\xA3", "a\xCC\xA3\xCC\x81", true},  // marks in canonical order
      {"Hello", "hello", false},
      {"\xC3\xA9", "\xC3\xA8", false},
      {"\xEF\xAC\x81", "fi", false},  // the ligature ﬁ is only compatible
      // Invalid UTF-8 compares by its bytes, and is not normalised.
      {"a\xFF", "a\xFE", false},
      {"e\xCC\x81\xFF", "\xC3\xA9\xFF", false}};
  for (const auto& [a, b, equal] : rows) {
    test::RecordingHasher hashA, hashB;
    hashCanonical(hashA, a);
    hashCanonical(hashB, b);
    EXPECT_EQ(
        (std::vector{canonicallyEqual(a, b), canonicallyEqual(b, a), hashA.line == hashB.line}),
        std::vector(3, equal))
        << a << " " << b;
  }
}

TEST(CanonicalString, IsAsciiLooksAtEveryByte) {
  EXPECT_TRUE(isAscii(""));
  EXPECT_TRUE(isAscii("sixteen bytes ok"));
  // A high byte in the word-at-a-time part and in the tail.
  EXPECT_FALSE(isAscii("\xC3\xA9 and more text"));
  EXPECT_FALSE(isAscii("sixteen bytes ok\xC3\xA9"));
}

// The quick check that lets canonical equality and hashing skip normalisation: it may say "not
// known" for text already in NFC, but it must never call text canonical that NFC would change.
// And the canonical form, which normalises only the stretches around code points that may change,
// must be the NFC of the whole text. utf8proc's own normalisation of the whole is the judge.

std::string utf8(const std::vector<char32_t>& codePoints) {
  std::string text;
  for (const char32_t c : codePoints) {
    utf8proc_uint8_t bytes[4];
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(c), bytes);
    text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  }
  return text;
}

/// NFC as utf8proc computes it, with no shortcut of ours.
std::string referenceNFC(const std::string& text) {
  utf8proc_uint8_t* form = utf8proc_NFC(reinterpret_cast<const utf8proc_uint8_t*>(text.c_str()));
  std::string result(reinterpret_cast<const char*>(form));
  std::free(form);
  return result;
}

/// The text when the quick check calls it canonical but NFC changes it, or when our canonical
/// form (normalised piece by piece) is not utf8proc's NFC of the whole; else "".
std::string misjudged(const std::string& text) {
  const std::string nfc = referenceNFC(text);
  return (isKnownCanonical(text) && nfc != text) || canonicalForm(text) != nfc ? text
                                                                               : std::string();
}

// Code points that compose, decompose for good, reorder or compose by rule (Hangul), with their
// usual neighbours.
const std::vector<char32_t> kTricky = {
    U'e',      U'A',      U'\u00E9', U'\u00F6', U'\u01D6',     U'\u0301',     U'\u0308',
    U'\u0307', U'\u0323', U'\u0316', U'\u0327', U'\u0345',     U'\u0344',     U'\u0340',
    U'\u212B', U'\u0958', U'\u0915', U'\u093C', U'\u1100',     U'\u1161',     U'\u11A8',
    U'\uAC00', U'\uAC01', U'\u09C7', U'\u09BE', U'\u0B47',     U'\u0B3E',     U'\u0CC6',
    U'\u0CC2', U'\u0CD5', U'\u0DD9', U'\u0DCF', U'\u1025',     U'\u102E',     U'\u0F73',
    U'\u0F71', U'\u05D9', U'\u05B4', U'\u05BC', U'\uFB1D',     U'\u304B',     U'\u3099',
    U'\u304C', U'\u03B1', U'\u1FB3', U'\u1E0A', U'\U0001D15E', U'\U0001F600', U'\U0001F3FD',
    U'\u200D'};

TEST(CanonicalQuickCheck, JudgesEveryCodePointAndSequencesOfTrickyOnesAsNFCDoes) {
  for (char32_t c = 1; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    ASSERT_EQ(misjudged(utf8({c})), "") << "U+" << std::hex << static_cast<unsigned>(c);
  }
  for (const char32_t a : kTricky) {
    for (const char32_t b : kTricky) {
      for (const char32_t c : kTricky) ASSERT_EQ(misjudged(utf8({a, b, c})), "");
    }
  }
  std::mt19937 random(20261123);
  std::uniform_int_distribution<std::size_t> pick(0, kTricky.size() - 1), length(4, 8);
  // Longer texts, with runs of ASCII long enough to be read eight bytes at a time.
  std::bernoulli_distribution asciiRun(0.2);
  for (int run = 0; run < 20000; ++run) {
    std::vector<char32_t> text;
    for (std::size_t n = length(random); n > 0; --n) {
      if (asciiRun(random)) text.insert(text.end(), {'s', 'o', 'm', 'e', ' ', 't', 'e', 'x', 't'});
      text.push_back(kTricky[pick(random)]);
    }
    ASSERT_EQ(misjudged(utf8(text)), "");
  }
}

// Everyday text must take the shortcut, or it saves nothing; what NFC rewrites must not (beyond
// the code points the properties above draw from, and broken UTF-8, which they never make).
TEST(CanonicalQuickCheck, KnowsEverydayTextAndDoubtsWhatMayChange) {
  const std::pair<std::string, bool> rows[] = {
      {"plain words", true},
      {"caf\u00E9 na\u00EFve \u01D6", true},
      {"\u041F\u0440\u0438\u0432\u0435\u0442 \u65E5\u672C", true},
      {"\U0001F44D\U0001F3FD\u200D\U0001F525", true},  // an emoji with modifier and joiner
      {"\uD55C\uAD6D\uC5B4", true},                    // Hangul syllables
      {"a\u0316\u0300", false},                        // U+0300 composes with a
      {"x\u0316\u0332", true},                         // marks in order that compose with nothing
      {"x\u0332\u0316\u0360", true},                   // marks of one class in any order
      {"x\u035D\u0316", false},                        // marks that need reordering
      {"caf\xC3", false}};
  for (const auto& [text, known] : rows) EXPECT_EQ(isKnownCanonical(text), known) << text;
}

}  // namespace
}  // namespace tovanel::chat
