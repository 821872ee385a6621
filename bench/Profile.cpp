// One pass of one benchmark's work, for profilers: the corpus is made and a first pass warms the
// buffers before the measured pass, which runs inside `measuredPass` alone. Under callgrind:
//   valgrind --tool=callgrind --toggle-collect='*measuredPass*' tovanel-chat-bench-profile ours
// counts the instructions of that pass only. `floor` parses and walks every value, `parse` only
// parses; `fresh` decodes each envelope into a message dropped at once, `ours` decodes as
// applications do (the direct reader first) into a kept history, `parser` with the direct reader
// off, `reused` into one reused message, `check` as the check command reads an export (in memory).

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Corpus.hpp"
#include "Passes.hpp"

namespace tovanel::chat::bench {
namespace {

template <class Pass>
[[gnu::noinline]] void measuredPass(Pass& pass) {
  pass();
}
// Runs `pass` once to warm up, `reset` (unmeasured, as the benchmarks pause for it), then `pass`
// measured.
template <class Pass, class Reset>
void warmThenMeasure(Pass pass, Reset reset) {
  pass();
  reset();
  measuredPass(pass);
}
void nothing() {}

// The corpus's mix: TOVANEL_BENCH_MIX=ascii or nonascii for the text-only corpora, else the room.
Mix mixOfRun() {
  const char* name = std::getenv("TOVANEL_BENCH_MIX");
  if (name != nullptr && std::strcmp(name, "ascii") == 0) return Mix::asciiText;
  if (name != nullptr && std::strcmp(name, "nonascii") == 0) return Mix::nonAsciiText;
  return roomMix();
}

int run(const std::string& what) {
  const Corpus& input = corpus(mixOfRun());
  if (what == "floor") {
    simdjson::dom::parser parser;
    std::uint64_t sum = 0;
    warmThenMeasure([&] { sum += floorPass(parser, input); }, nothing);
    std::printf("walk sum %llx\n", static_cast<unsigned long long>(sum));
  } else if (what == "parse") {
    simdjson::dom::parser parser;
    warmThenMeasure([&] { parseOnlyPass(parser, input); }, nothing);
  } else if (what == "fresh") {
    JSONDecoder decoder = makeDecoder();
    std::int64_t views = 0;
    warmThenMeasure([&] { views += freshPass(decoder, input); }, nothing);
    std::printf("views %lld\n", static_cast<long long>(views));
  } else if (what == "ours" || what == "parser" || what == "encode" || what == "hash") {
    JSONDecoder decoder = makeDecoder();
    decoder.directReading = what != "parser";
    std::vector<ChatMessage> history;
    history.reserve(input.lines.size());
    const auto decode = [&] { decodePass(decoder, input, history); };
    if (what == "ours" || what == "parser") {
      warmThenMeasure(decode, [&] { history.clear(); });
    } else if (what == "hash") {
      decode();
      std::uint64_t sum = 0;
      warmThenMeasure([&] { sum += hashPass(history); }, nothing);
      std::printf("hash sum %llx\n", static_cast<unsigned long long>(sum));
    } else {
      decode();
      const JSONEncoder encoder = makeEncoder();
      std::string out;
      warmThenMeasure([&] { encodePass(encoder, history, out); }, [&] { out.clear(); });
    }
  } else if (what == "reused") {
    JSONDecoder decoder = makeDecoder();
    std::int64_t views = 0;
    warmThenMeasure([&] { views += reusePass(decoder, input); }, nothing);
    std::printf("views %lld\n", static_cast<long long>(views));
  } else if (what == "check") {
    std::size_t decoded = 0;
    warmThenMeasure([&] { decoded += checkPass(input); }, nothing);
    std::printf("decoded %zu\n", decoded);
  } else if (what == "peer") {
    std::vector<peer::Envelope> history;
    history.reserve(input.lines.size());
    warmThenMeasure([&] { peerDecodePass(input, history); }, [&] { history.clear(); });
  } else {
    std::fprintf(stderr,
                 "usage: tovanel-chat-bench-profile "
                 "floor|parse|fresh|ours|parser|reused|check|peer|encode|hash\n");
    return 2;
  }
  std::printf("%s: one measured pass over %zu messages (%zu bytes)\n", what.c_str(),
              input.lines.size(), input.text.size());
  return 0;
}

}  // namespace
}  // namespace tovanel::chat::bench

int main(int argc, char** argv) { return tovanel::chat::bench::run(argc == 2 ? argv[1] : ""); }
