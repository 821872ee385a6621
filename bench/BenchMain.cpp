// The benchmark binary's entry point. `--verify` instead checks, on the corpus of this run, that
// ours and the peer decode every envelope and agree on every field: each message is written back
// by both, and the two texts must parse to the same JSON value.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "AllocationCounter.hpp"
#include "Corpus.hpp"
#include "Passes.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat::bench {
namespace {

int verify() {
  const Corpus& input = corpus(roomMix());
  JSONDecoder decoder = makeDecoder();
  std::vector<ChatMessage> ours;
  decodePass(decoder, input, ours);
  std::vector<peer::Envelope> theirs;
  peerDecodePass(input, theirs);
  if (ours.size() != input.lines.size() || theirs.size() != input.lines.size()) {
    std::fprintf(stderr, "verify: a decoder lost messages\n");
    return 1;
  }
  const JSONEncoder encoder = makeEncoder();
  for (std::size_t i = 0; i < ours.size(); ++i) {
    const auto written = nlohmann::json::parse(encoder.encode(exports::EnvelopeOut{ours[i]}));
    if (written != nlohmann::json(theirs[i])) {
      std::fprintf(stderr, "verify: message %zu differs\n  ours: %s\n  peer: %s\n", i + 1,
                   written.dump().c_str(), nlohmann::json(theirs[i]).dump().c_str());
      return 1;
    }
  }
  std::printf("verified %zu messages: ours and the peer agree on every field\n", ours.size());
  return 0;
}

}  // namespace
}  // namespace tovanel::chat::bench

int main(int argc, char** argv) {
  namespace bench = tovanel::chat::bench;
  if (argc == 2 && std::strcmp(argv[1], "--verify") == 0) return bench::verify();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const bench::Corpus& room = bench::corpus(bench::roomMix());
  benchmark::AddCustomContext("corpus_messages", std::to_string(room.lines.size()));
  benchmark::AddCustomContext("corpus_bytes", std::to_string(room.text.size()));
  benchmark::AddCustomContext("counts_allocations", bench::countsAllocations() ? "yes" : "no");
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
