// Hash flooding: a peer that sends many keys built to collide fills one bucket of a hash table
// and turns every insertion into a walk of that bucket. The keys below all collide under the
// polynomial string hash (h = 31 h + c) that many programs use, which is what an attacker who knows
// the hash would send. Our records hash with a seeded SipHash, so the same keys spread out and
// insertion stays linear; the polynomial set shows what the attack costs when the hash is known.
// Each run reports the largest bucket it saw and the fitted complexity.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "tovanel/chat/body/content/TextBody.hpp"

namespace tovanel::chat::bench {
namespace {

/// The polynomial hash of the body's text, as an attacker expects the receiver to use.
struct PolynomialHash {
  std::size_t operator()(const TextBody& body) const noexcept {
    std::size_t hash = 0;
    for (const unsigned char c : body.text) hash = hash * 31 + c;
    return hash;
  }
};

/// `count` distinct text bodies with the same polynomial hash: "Aa" and "BB" hash alike, so every
/// string of n such blocks does too.
std::vector<TextBody> collidingBodies(std::size_t count) {
  std::size_t blocks = 0;
  while ((std::size_t{1} << blocks) < count) ++blocks;
  std::vector<TextBody> bodies;
  bodies.reserve(count);
  for (std::size_t n = 0; n < count; ++n) {
    std::string text;
    for (std::size_t block = 0; block < blocks; ++block) text += (n >> block) & 1 ? "BB" : "Aa";
    bodies.emplace_back(std::move(text), std::nullopt);
  }
  return bodies;
}

template <class Set>
std::size_t largestBucket(const Set& set) {
  std::size_t largest = 0;
  for (std::size_t bucket = 0; bucket < set.bucket_count(); ++bucket) {
    largest = std::max(largest, set.bucket_size(bucket));
  }
  return largest;
}

template <class Hash>
void BM_InsertColliding(benchmark::State& state) {
  const auto bodies = collidingBodies(static_cast<std::size_t>(state.range(0)));
  std::size_t largest = 0;
  for (auto _ : state) {
    std::unordered_set<TextBody, Hash> set;
    for (const TextBody& body : bodies) set.insert(body);
    if (set.size() != bodies.size()) state.SkipWithError("distinct keys were merged");
    state.PauseTiming();
    largest = largestBucket(set);
    state.ResumeTiming();
  }
  state.SetComplexityN(state.range(0));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
  state.counters["largest bucket"] = static_cast<double>(largest);
}

BENCHMARK_TEMPLATE(BM_InsertColliding, std::hash<TextBody>)
    ->Name("BM_HashFlooding/ours")
    ->RangeMultiplier(4)
    ->Range(256, 16384)
    ->Complexity();
BENCHMARK_TEMPLATE(BM_InsertColliding, PolynomialHash)
    ->Name("BM_HashFlooding/polynomial")
    ->RangeMultiplier(4)
    ->Range(256, 4096)
    ->Complexity();

}  // namespace
}  // namespace tovanel::chat::bench
