#pragma once
// Body payloads a decoder keeps for the next body of their kind. A message read again and again
// into one record changes its body's kind on most messages; the payload it gives up waits here,
// one per kind, and the next body of that kind is read into it instead of a new allocation. The
// decoder owns what it keeps and destroys it with itself. Only the direct reader touches this.

#include <array>
#include <cstddef>
#include <utility>

namespace tovanel::chat::coding::direct {

class SparePayloads {
 public:
  /// Destroys a payload kept here, given the address it was kept under.
  using Destroy = void (*)(void* payload) noexcept;
  /// Slots, one per body kind: more than there are kinds.
  static constexpr std::size_t kSlots = 16;

  SparePayloads() = default;
  SparePayloads(const SparePayloads&) = delete;
  SparePayloads& operator=(const SparePayloads&) = delete;
  ~SparePayloads() {
    for (Slot& slot : slots_) {
      if (slot.payload != nullptr) slot.destroy(slot.payload);
    }
  }

  /// The payload kept in `slot`, handed over to the caller; null when there is none.
  void* take(std::size_t slot) noexcept { return std::exchange(slots_[slot].payload, nullptr); }

  /// Keeps `payload` in `slot`, destroying the one kept there before.
  void keep(std::size_t slot, void* payload, Destroy destroy) noexcept {
    Slot& kept = slots_[slot];
    if (kept.payload != nullptr) kept.destroy(kept.payload);
    kept = {payload, destroy};
  }

 private:
  struct Slot {
    void* payload = nullptr;
    Destroy destroy = nullptr;
  };
  std::array<Slot, kSlots> slots_{};
};

}  // namespace tovanel::chat::coding::direct
