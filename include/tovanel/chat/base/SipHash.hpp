#pragma once
// Streaming SipHash-c-d over little-endian 64-bit words; Hasher uses the 1-3 variant.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovanel::chat {

/// SipHash with `CompressionRounds` rounds per word and `FinalizationRounds` at the end.
template <int CompressionRounds, int FinalizationRounds>
class SipHash {
 public:
  /// The state keyed with the two halves of a 128-bit key.
  SipHash(std::uint64_t k0, std::uint64_t k1) noexcept
      : v0_(k0 ^ 0x736f6d6570736575ULL),
        v1_(k1 ^ 0x646f72616e646f6dULL),
        v2_(k0 ^ 0x6c7967656e657261ULL),
        v3_(k1 ^ 0x7465646279746573ULL) {}

  void write(const void* data, std::size_t size) noexcept {
    const auto* p = static_cast<const unsigned char*>(data);
    if (tailSize_ != 0 && size != 0) {  // first complete the pending word
      const std::size_t n = size < 8 - tailSize_ ? size : 8 - tailSize_;
      writeLittleEndian(loadLittleEndian(p, n), static_cast<unsigned>(n));
      p += n;
      size -= n;
    }
    for (; size >= 8; size -= 8, p += 8) writeWord(loadLittleEndian(p, 8));
    if (size != 0) writeLittleEndian(loadLittleEndian(p, size), static_cast<unsigned>(size));
  }

  /// Feeds a 64-bit word as eight little-endian bytes.
  void writeWord(std::uint64_t word) noexcept { writeLittleEndian(word, 8); }

  /// Feeds the low `count` bytes of `value` (1 to 8) as little-endian bytes. Whatever the
  /// alignment of the stream, the bytes are merged into the pending word with shifts, never one
  /// at a time.
  void writeLittleEndian(std::uint64_t value, unsigned count) noexcept {
    if (count < 8) value &= (std::uint64_t{1} << (8 * count)) - 1;
    length_ += count;
    const unsigned room = 8 - tailSize_;
    tail_ |= value << (8 * tailSize_);
    if (count < room) {
      tailSize_ += count;
      return;
    }
    compress(tail_);
    tailSize_ = count - room;
    tail_ = tailSize_ == 0 ? 0 : value >> (8 * room);
  }

  /// The hash of everything fed so far; the state is left as it was.
  [[nodiscard]] std::uint64_t finish() const noexcept {
    SipHash s = *this;
    const std::uint64_t last = (static_cast<std::uint64_t>(length_) << 56) | tail_;
    s.v3_ ^= last;
    for (int i = 0; i < CompressionRounds; ++i) s.round();
    s.v0_ ^= last;
    s.v2_ ^= 0xff;
    for (int i = 0; i < FinalizationRounds; ++i) s.round();
    return s.v0_ ^ s.v1_ ^ s.v2_ ^ s.v3_;
  }

 private:
  // The `count` (0 to 8) bytes at `p` as a little-endian number, with fixed-size loads only: a
  // short text costs no call to memcpy. Two four-byte loads may overlap; the bytes they share
  // are the same, so ORing them is harmless.
  static std::uint64_t loadLittleEndian(const unsigned char* p, std::size_t count) noexcept {
    if (count == 8) return load<std::uint64_t>(p);
    if (count >= 4) {
      return load<std::uint32_t>(p) | std::uint64_t{load<std::uint32_t>(p + count - 4)}
                                          << (8 * (count - 4));
    }
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < count; ++i) word |= std::uint64_t{p[i]} << (8 * i);
    return word;
  }
  template <class U>
  static U load(const unsigned char* p) noexcept {
    U value;
    std::memcpy(&value, p, sizeof value);
    if constexpr (std::endian::native == std::endian::big) {
      if constexpr (sizeof value == 8) {
        value = __builtin_bswap64(value);
      } else {
        value = __builtin_bswap32(value);
      }
    }
    return value;
  }

  void compress(std::uint64_t m) noexcept {
    v3_ ^= m;
    for (int i = 0; i < CompressionRounds; ++i) round();
    v0_ ^= m;
  }

  void round() noexcept {
    v0_ += v1_;
    v1_ = std::rotl(v1_, 13);
    v1_ ^= v0_;
    v0_ = std::rotl(v0_, 32);
    v2_ += v3_;
    v3_ = std::rotl(v3_, 16);
    v3_ ^= v2_;
    v0_ += v3_;
    v3_ = std::rotl(v3_, 21);
    v3_ ^= v0_;
    v2_ += v1_;
    v1_ = std::rotl(v1_, 17);
    v1_ ^= v2_;
    v2_ = std::rotl(v2_, 32);
  }

  std::uint64_t v0_, v1_, v2_, v3_;
  std::uint64_t tail_ = 0;
  unsigned tailSize_ = 0;
  std::size_t length_ = 0;
};

}  // namespace tovanel::chat
