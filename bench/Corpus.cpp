#include "Corpus.hpp"

#include <array>
#include <cstdlib>
#include <memory>

namespace tovanel::chat::bench {

Corpus::Corpus(std::string newlineDelimited) : text(std::move(newlineDelimited)) {
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos;
       start = end + 1, end = text.find('\n', start)) {
    lines.emplace_back(text.data() + start, end - start);
  }
}

std::size_t benchMessageCount() {
  static const std::size_t count = [] {
    const char* text = std::getenv("TOVANEL_BENCH_MESSAGES");
    const long long value = text != nullptr ? std::atoll(text) : 0;
    return value > 0 ? static_cast<std::size_t>(value) : std::size_t{200000};
  }();
  return count;
}

const Corpus& corpus(Mix mix) {
  static std::array<std::unique_ptr<Corpus>, 4> made;
  auto& slot = made[static_cast<std::size_t>(mix)];
  if (!slot) slot = std::make_unique<Corpus>(generateCorpus(benchMessageCount(), 2026, mix));
  return *slot;
}

Mix roomMix() { return Mix::room; }

}  // namespace tovanel::chat::bench
