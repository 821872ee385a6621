#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

// The hash of the message 00..n-1 written in two pieces, for every cut (whole at either end).
template <int C, int D>
std::vector<std::uint64_t> hashesOfEveryCut(std::size_t n, std::uint64_t k0, std::uint64_t k1) {
  std::vector<unsigned char> bytes;
  for (std::size_t i = 0; i < n; ++i) bytes.push_back(static_cast<unsigned char>(i));
  std::vector<std::uint64_t> hashes;
  for (std::size_t cut = 0; cut <= n; ++cut) {
    SipHash<C, D> hash(k0, k1);
    hash.write(bytes.data(), cut);
    hash.write(bytes.data() + cut, n - cut);
    hashes.push_back(hash.finish());
  }
  return hashes;
}

// The reference vectors of SipHash-2-4 (key 00..0f), as published with the algorithm, check the
// rounds and the length byte that SipHash-1-3 shares; SipHash-1-3 with a zero key is checked
// against an independent implementation (CPython's string hash with hash randomisation off).
TEST(SipHash, MatchesTheReferenceValuesWrittenWholeOrInPieces) {
  const std::uint64_t vectors24[] = {
      0x726fdb47dd0e0e31ULL, 0x74f839c593dc67fdULL, 0x0d6c8009d9a94f5aULL, 0x85676696d7fb7e2dULL,
      0xcf2794e0277187b7ULL, 0x18765564cd99a68dULL, 0xcbc9466e58fee3ceULL, 0xab0200f58b01d137ULL};
  for (std::size_t n = 0; n < std::size(vectors24); ++n) {
    EXPECT_EQ((hashesOfEveryCut<2, 4>(n, 0x0706050403020100ULL, 0x0f0e0d0c0b0a0908ULL)),
              std::vector(n + 1, vectors24[n]))
        << "message length " << n;
  }
  const std::pair<std::size_t, std::uint64_t> vectors13[] = {
      {1, 0x68a914128e01e473ULL},  {2, 0x010bac45c41e3669ULL},  {3, 0x4d4c9a4a8ef6e0adULL},
      {7, 0x2f098ab0c751325aULL},  {8, 0xead411e67ebe2eeaULL},  {9, 0x75927f9d95124362ULL},
      {15, 0xf30eb725bb91c9eaULL}, {16, 0x8972188433a5c5b7ULL}, {17, 0x4883c49a2c009c1dULL},
      {63, 0x385d3e39e5f37359ULL}};
  for (const auto& [n, value] : vectors13) {
    EXPECT_EQ((hashesOfEveryCut<1, 3>(n, 0, 0)), std::vector(n + 1, value))
        << "message length " << n;
  }
}

// Words are fed as little-endian bytes whatever the alignment, and strings are delimited, so that
// splits differ. Against hash flooding, what a record feeds is only half of its hash; the other
// half is the seed, so a crafted set of colliding records for one seed is no such set for another.
TEST(Hasher, FeedsWordsAsBytesDelimitsStringsAndDependsOnTheSeed) {
  const auto hash = [](Hasher::Seed seed, const std::function<void(Hasher&)>& feed) {
    Hasher hasher(seed);
    feed(hasher);
    return hasher.finalize();
  };
  EXPECT_EQ(hash({3, 4},
                 [](Hasher& h) {
                   h.combine(std::uint8_t{7});
                   h.combine(std::uint64_t{0x0102030405060708ULL});
                   h.combine(std::uint32_t{0x0a0b0c0dU});
                 }),
            hash({3, 4}, [](Hasher& h) {
              for (const int b : {7, 8, 7, 6, 5, 4, 3, 2, 1, 0x0d, 0x0c, 0x0b, 0x0a}) {
                h.combine(static_cast<std::uint8_t>(b));
              }
            }));
  EXPECT_NE(hash({5, 6},
                 [](Hasher& h) {
                   h.combineString("ab");
                   h.combineString("c");
                 }),
            hash({5, 6}, [](Hasher& h) {
              h.combineString("a");
              h.combineString("bc");
            }));
  const auto record = [](Hasher& h) {
    TextBody("the same text", std::vector<TextBody::Mention>{}).hashInto(h);
  };
  EXPECT_NE(hash({1, 2}, record), hash({3, 4}, record));
  EXPECT_EQ(hash({1, 2}, record), hash({1, 2}, record));
  // The process's own seed (the same in every hasher of the process, as the tests that compare
  // hash values across threads and decodes show) is not the zero key.
  const auto seed = Hasher::processSeed();
  EXPECT_FALSE(seed.k0 == 0 && seed.k1 == 0);
}

}  // namespace
}  // namespace tovanel::chat
