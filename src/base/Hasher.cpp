#include "tovanel/chat/base/Hasher.hpp"

#include <random>

namespace tovanel::chat {

Hasher::Seed Hasher::processSeed() noexcept {
  static const Seed seed = [] {
    std::random_device device;
    auto word = [&] {
      return (static_cast<std::uint64_t>(device()) << 32) | static_cast<std::uint64_t>(device());
    };
    return Seed{word(), word()};
  }();
  return seed;
}

}  // namespace tovanel::chat
