// Decoding, encoding, equality and hashing over the generated room export: the floor (simdjson's
// parse and a walk of every value), ours and the peer (nlohmann::json), each reporting bytes and
// messages per second. Decoders keep what they decode in a history, as a room does; the decode
// benchmarks also report the allocations per message, and those into a history the heap bytes each
// kept message holds.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "AllocationCounter.hpp"
#include "Corpus.hpp"
#include "Passes.hpp"

namespace tovanel::chat::bench {
namespace {

using benchmark::Counter;

void reportRates(benchmark::State& state, std::size_t bytesPerPass, std::size_t messagesPerPass) {
  const auto passes = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(passes * static_cast<double>(bytesPerPass)));
  state.counters["msgs/s"] =
      Counter(passes * static_cast<double>(messagesPerPass), Counter::kIsRate);
}

// Allocations per message over the timed passes, from the count taken before them.
void reportAllocations(benchmark::State& state, std::uint64_t allocationsBefore,
                       std::size_t messagesPerPass) {
  if (!countsAllocations()) return;
  const std::uint64_t allocations = allocationCount() - allocationsBefore;
  state.counters["allocs/msg"] =
      Counter(static_cast<double>(allocations) /
              (static_cast<double>(state.iterations()) * static_cast<double>(messagesPerPass)));
}

// The floor: a simdjson DOM parse and a walk of every value.
void BM_DecodeFloor(benchmark::State& state) {
  const Corpus& input = corpus(roomMix());
  simdjson::dom::parser parser;
  for (auto _ : state) benchmark::DoNotOptimize(floorPass(parser, input));
  reportRates(state, input.text.size(), input.lines.size());
}

// The parse alone, without the walk.
void BM_ParseOnly(benchmark::State& state) {
  const Corpus& input = corpus(roomMix());
  simdjson::dom::parser parser;
  for (auto _ : state) parseOnlyPass(parser, input);
  reportRates(state, input.text.size(), input.lines.size());
}

// A decode into a history of Message by `pass`; between passes the history is emptied (not
// timed) and keeps its capacity.
template <class Message, class Pass>
void decodeIntoHistory(benchmark::State& state, Pass pass) {
  const Corpus& input = corpus(roomMix());
  const std::size_t messages = input.lines.size();
  std::vector<Message> history;
  history.reserve(messages);
  const std::uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) {
    state.PauseTiming();
    history.clear();
    state.ResumeTiming();
    pass(input, history);
  }
  reportAllocations(state, allocationsBefore, messages);
  reportRates(state, input.text.size(), messages);

  // What the last pass's history holds: its heap bytes and its slots in the vector.
  const std::size_t withHistory = heapBytesInUse();
  history.clear();
  const std::size_t withoutHistory = heapBytesInUse();
  const std::size_t heldOnHeap = withHistory > withoutHistory ? withHistory - withoutHistory : 0;
  const double keptBytes =
      static_cast<double>(heldOnHeap) + static_cast<double>(messages * sizeof(Message));
  state.counters["B/msg"] = Counter(keptBytes / static_cast<double>(messages));
}

// `direct` off: the parser-based decoding alone. The share of the corpus that the direct reader
// accepts is reported as direct_pct.
void BM_DecodeOurs(benchmark::State& state, bool direct) {
  JSONDecoder decoder = makeDecoder();
  decoder.directReading = direct;
  decodeIntoHistory<ChatMessage>(
      state, [&decoder](const Corpus& input, std::vector<ChatMessage>& history) {
        decodePass(decoder, input, history);
      });
  const Corpus& input = corpus(roomMix());
  state.counters["direct_pct"] = Counter(100.0 * static_cast<double>(directlyRead(decoder, input)) /
                                         static_cast<double>(input.lines.size()));
}

// Decoding into a fresh message per envelope, dropped at once: the decode without the history's
// memory.
void BM_DecodeFresh(benchmark::State& state) {
  JSONDecoder decoder = makeDecoder();
  const Corpus& input = corpus(roomMix());
  const std::uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) benchmark::DoNotOptimize(freshPass(decoder, input));
  reportAllocations(state, allocationsBefore, input.lines.size());
  reportRates(state, input.text.size(), input.lines.size());
}

// Decoding into one reused message, kept nowhere.
void BM_DecodeReused(benchmark::State& state) {
  JSONDecoder decoder = makeDecoder();
  const Corpus& input = corpus(roomMix());
  const std::uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) benchmark::DoNotOptimize(reusePass(decoder, input));
  reportAllocations(state, allocationsBefore, input.lines.size());
  reportRates(state, input.text.size(), input.lines.size());
}

// What the check command does, in memory: blocks read, each envelope decoded into one message.
void BM_CheckReader(benchmark::State& state) {
  const Corpus& input = corpus(roomMix());
  const std::uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) {
    if (checkPass(input) != input.lines.size()) {
      state.SkipWithError("an envelope of the corpus did not decode");
      return;
    }
  }
  reportAllocations(state, allocationsBefore, input.lines.size());
  reportRates(state, input.text.size(), input.lines.size());
}

void BM_DecodePeer(benchmark::State& state) {
  decodeIntoHistory<peer::Envelope>(state, &peerDecodePass);
}

// The room's history decoded once, for the benchmarks that read it.
const std::vector<ChatMessage>& history(Mix mix, int copy = 0) {
  static std::vector<ChatMessage> made[4][2];
  auto& slot = made[static_cast<std::size_t>(mix)][copy];
  if (slot.empty()) {
    JSONDecoder decoder = makeDecoder();
    decodePass(decoder, corpus(mix), slot);
  }
  return slot;
}

const std::vector<peer::Envelope>& peerHistory() {
  static std::vector<peer::Envelope> made;
  if (made.empty()) peerDecodePass(corpus(roomMix()), made);
  return made;
}

template <class Encode>
void encodeInto(benchmark::State& state, std::size_t messages, Encode encode) {
  std::string out;
  encode(out);  // sizes the buffer once, as a reused one is
  for (auto _ : state) {
    out.clear();
    encode(out);
  }
  reportRates(state, out.size(), messages);
}

void BM_EncodeOurs(benchmark::State& state) {
  const auto& messages = history(roomMix());
  const JSONEncoder encoder = makeEncoder();
  encodeInto(state, messages.size(), [&](std::string& out) { encodePass(encoder, messages, out); });
}

void BM_EncodePeer(benchmark::State& state) {
  const auto& messages = peerHistory();
  encodeInto(state, messages.size(), [&](std::string& out) { peerEncodePass(messages, out); });
}

// Equal messages that share nothing: two histories decoded apart.
void BM_Equal(benchmark::State& state, Mix mix) {
  const auto& a = history(mix, 0);
  const auto& b = history(mix, 1);
  for (auto _ : state) {
    const std::size_t equal = equalPass(a, b);
    if (equal != a.size()) state.SkipWithError("decoded twice, a message differs from itself");
    benchmark::DoNotOptimize(equal);
  }
  reportRates(state, corpus(mix).text.size(), a.size());
}

void BM_Hash(benchmark::State& state, Mix mix) {
  const auto& messages = history(mix);
  for (auto _ : state) benchmark::DoNotOptimize(hashPass(messages));
  reportRates(state, corpus(mix).text.size(), messages.size());
}

BENCHMARK(BM_DecodeFloor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParseOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeFresh)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DecodeOurs, direct, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DecodeOurs, parserOnly, false)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckReader)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodePeer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodeOurs)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodePeer)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Equal, room, roomMix())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Equal, asciiText, Mix::asciiText)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Equal, nonAsciiText, Mix::nonAsciiText)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Hash, room, roomMix())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Hash, asciiText, Mix::asciiText)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Hash, nonAsciiText, Mix::nonAsciiText)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovanel::chat::bench
