#pragma once
// The hasher that records feed: SipHash-1-3 keyed with a random seed chosen once per process,
// so hash values differ between runs and crafted keys cannot flood a hash table.
//
// Every record's `hashInto(H&)` is a template over any type with the four `combine` calls below,
// so tests can pass a recording hasher and assert the exact input.

#include <cstdint>
#include <string_view>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/SipHash.hpp"

namespace tovanel::chat {

/// SipHash-1-3 over the bytes, words and texts fed in order.
class TOVANEL_CHAT_API Hasher {
 public:
  /// The 128-bit key of a hasher.
  struct Seed {
    std::uint64_t k0;  ///< first half
    std::uint64_t k1;  ///< second half
  };

  /// A hasher keyed with the process's seed.
  Hasher() noexcept : Hasher(processSeed()) {}
  /// A hasher with a fixed key (tests and reproducible tools).
  explicit Hasher(Seed seed) noexcept : state_(seed.k0, seed.k1) {}

  void combine(std::uint8_t byte) noexcept { state_.writeLittleEndian(byte, 1); }
  /// Feeds a 32-bit word as four little-endian bytes.
  void combine(std::uint32_t word) noexcept { state_.writeLittleEndian(word, 4); }
  /// Feeds a 64-bit word as eight little-endian bytes.
  void combine(std::uint64_t word) noexcept { state_.writeWord(word); }
  /// Feeds text already in its canonical form: its bytes, then 0xFF, a byte that UTF-8 never
  /// holds, so that ("ab", "c") and ("a", "bc") hash differently.
  void combineString(std::string_view canonicalText) noexcept {
    state_.write(canonicalText.data(), canonicalText.size());
    combine(std::uint8_t{0xFF});
  }

  /// The hash of everything fed so far; feeding may go on afterwards.
  [[nodiscard]] std::uint64_t finalize() const noexcept { return state_.finish(); }

  /// The random seed of this process, drawn once on first use.
  static Seed processSeed() noexcept;

 private:
  SipHash<1, 3> state_;
};

/// The hash of a value whose type has `hashInto`, finalised with the process's seed.
template <class T>
std::uint64_t hashValueOf(const T& value) noexcept {
  Hasher hasher;
  value.hashInto(hasher);
  return hasher.finalize();
}

}  // namespace tovanel::chat
