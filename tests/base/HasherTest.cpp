#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

std::vector<unsigned char> countingBytes(std::size_t n) {
  std::vector<unsigned char> bytes(n);
  for (std::size_t i = 0; i < n; ++i) bytes[i] = static_cast<unsigned char>(i);
  return bytes;
}

// The reference vectors of SipHash-2-4 (key 00..0f, message 00..n-1), as published with the
// algorithm; they check the rounds and the length byte that SipHash-1-3 shares.
TEST(SipHash24, MatchesTheReferenceVectors) {
  const std::array<std::uint64_t, 8> expected{
      0x726fdb47dd0e0e31ULL, 0x74f839c593dc67fdULL, 0x0d6c8009d9a94f5aULL, 0x85676696d7fb7e2dULL,
      0xcf2794e0277187b7ULL, 0x18765564cd99a68dULL, 0xcbc9466e58fee3ceULL, 0xab0200f58b01d137ULL};
  for (std::size_t n = 0; n < expected.size(); ++n) {
    SipHash<2, 4> hash(0x0706050403020100ULL, 0x0f0e0d0c0b0a0908ULL);
    const auto bytes = countingBytes(n);
    hash.write(bytes.data(), bytes.size());
    EXPECT_EQ(hash.finish(), expected[n]) << "message length " << n;
  }
}

// SipHash-1-3 with a zero key, as computed by an independent implementation (CPython's string
// hash with hash randomisation off) over messages 00..n-1.
TEST(SipHash13, MatchesAnIndependentImplementation) {
  const std::array<std::pair<std::size_t, std::uint64_t>, 10> expected{{
      {1, 0x68a914128e01e473ULL},
      {2, 0x010bac45c41e3669ULL},
      {3, 0x4d4c9a4a8ef6e0adULL},
      {7, 0x2f098ab0c751325aULL},
      {8, 0xead411e67ebe2eeaULL},
      {9, 0x75927f9d95124362ULL},
      {15, 0xf30eb725bb91c9eaULL},
      {16, 0x8972188433a5c5b7ULL},
      {17, 0x4883c49a2c009c1dULL},
      {63, 0x385d3e39e5f37359ULL},
  }};
  for (const auto& [n, value] : expected) {
    SipHash<1, 3> hash(0, 0);
    const auto bytes = countingBytes(n);
    hash.write(bytes.data(), bytes.size());
    EXPECT_EQ(hash.finish(), value) << "message length " << n;
  }
}

TEST(SipHash13, StreamingInPiecesEqualsOneWrite) {
  const auto bytes = countingBytes(37);
  SipHash<1, 3> whole(1, 2);
  whole.write(bytes.data(), bytes.size());
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    SipHash<1, 3> pieces(1, 2);
    pieces.write(bytes.data(), cut);
    pieces.write(bytes.data() + cut, bytes.size() - cut);
    EXPECT_EQ(pieces.finish(), whole.finish()) << "cut at " << cut;
  }
}

TEST(Hasher, WordsAreFedAsLittleEndianBytesWhateverTheAlignment) {
  const Hasher::Seed seed{3, 4};
  Hasher words(seed);
  words.combine(std::uint8_t{7});
  words.combine(std::uint64_t{0x0102030405060708ULL});
  words.combine(std::uint32_t{0x0a0b0c0dU});
  Hasher bytes(seed);
  const unsigned char raw[] = {7, 8, 7, 6, 5, 4, 3, 2, 1, 0x0d, 0x0c, 0x0b, 0x0a};
  for (unsigned char b : raw) bytes.combine(std::uint8_t{b});
  EXPECT_EQ(words.finalize(), bytes.finalize());
}

TEST(Hasher, StringsAreDelimitedSoSplitsDiffer) {
  const Hasher::Seed seed{5, 6};
  Hasher a(seed);
  a.combineString("ab");
  a.combineString("c");
  Hasher b(seed);
  b.combineString("a");
  b.combineString("bc");
  EXPECT_NE(a.finalize(), b.finalize());
}

// Against hash flooding: what a record feeds is only half of its hash; the other half is the seed,
// so a crafted set of colliding records for one seed is no such set for another.
TEST(Hasher, TheSameRecordHashesDifferentlyUnderDifferentSeeds) {
  const TextBody body("the same text", std::vector<TextBody::Mention>{});
  Hasher first(Hasher::Seed{1, 2});
  body.hashInto(first);
  Hasher second(Hasher::Seed{3, 4});
  body.hashInto(second);
  Hasher again(Hasher::Seed{1, 2});
  body.hashInto(again);
  EXPECT_NE(first.finalize(), second.finalize());
  EXPECT_EQ(first.finalize(), again.finalize());
  // The process's own seed (the same in every hasher of the process, as the tests that compare
  // hash values across threads and decodes show) is not the zero key.
  const auto seed = Hasher::processSeed();
  EXPECT_FALSE(seed.k0 == 0 && seed.k1 == 0);
}

}  // namespace
}  // namespace tovanel::chat
