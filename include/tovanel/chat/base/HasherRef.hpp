#pragma once
// A reference to any hasher, for code that cannot be a template over the hasher (the payload
// dispatch of Body). It forwards each call unchanged, so a recording hasher still sees the exact
// input.

#include <cstdint>
#include <string_view>

namespace tovanel::chat {

/// Forwards the four feeding calls to a hasher of any type.
class HasherRef {
 public:
  /// Forwards to `hasher`, which must outlive this reference.
  template <class H>
  explicit HasherRef(H& hasher) noexcept : target_(&hasher), calls_(&callsFor<H>) {}

  void combine(std::uint8_t byte) { calls_->byte(target_, byte); }
  void combine(std::uint32_t word) { calls_->word32(target_, word); }
  void combine(std::uint64_t word) { calls_->word64(target_, word); }
  void combineString(std::string_view canonicalText) { calls_->text(target_, canonicalText); }

 private:
  struct Calls {
    void (*byte)(void*, std::uint8_t);
    void (*word32)(void*, std::uint32_t);
    void (*word64)(void*, std::uint64_t);
    void (*text)(void*, std::string_view);
  };
  template <class H>
  static constexpr Calls callsFor{
      [](void* h, std::uint8_t v) { static_cast<H*>(h)->combine(v); },
      [](void* h, std::uint32_t v) { static_cast<H*>(h)->combine(v); },
      [](void* h, std::uint64_t v) { static_cast<H*>(h)->combine(v); },
      [](void* h, std::string_view v) { static_cast<H*>(h)->combineString(v); },
  };

  void* target_;
  const Calls* calls_;
};

}  // namespace tovanel::chat
