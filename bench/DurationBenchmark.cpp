// ISO 8601 duration text as the YouTube body reads it: parsed into components and converted to
// seconds, with the heap allocations one parse of each common form makes (none is the goal).

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "AllocationCounter.hpp"
#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

namespace tovanel::chat::bench {
namespace {

constexpr std::array<std::string_view, 5> kTexts{"PT4M13S", "P1DT2H", "PT1H30M5S", "P2W",
                                                 "P1Y2M3W4DT5H6M7S"};

double parseAll() {
  double seconds = 0;
  for (const auto text : kTexts) {
    if (const auto components = ISO8601DurationFormatter().dateComponents(text)) {
      seconds += toTimeInterval(*components);
    }
  }
  return seconds;
}

void BM_DurationParse(benchmark::State& state) {
  const std::uint64_t before = allocationCount();
  benchmark::DoNotOptimize(parseAll());
  const auto allocations = allocationCount() - before;
  for (auto _ : state) benchmark::DoNotOptimize(parseAll());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTexts.size()));
  state.counters["allocs/parse"] =
      countsAllocations() ? static_cast<double>(allocations) / kTexts.size() : std::nan("");
}

BENCHMARK(BM_DurationParse);

}  // namespace
}  // namespace tovanel::chat::bench
