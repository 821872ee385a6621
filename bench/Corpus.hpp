#pragma once
// The benchmarks' input: a generated room export, made once per process and split into its
// envelopes. Its size is TOVANEL_BENCH_MESSAGES messages (200,000 unless set), so that a smoke
// run can use a tiny one.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "CorpusGenerator.hpp"

namespace tovanel::chat::bench {

struct Corpus {
  explicit Corpus(std::string newlineDelimited);
  Corpus(const Corpus&) = delete;
  Corpus& operator=(const Corpus&) = delete;

  std::string text;                     ///< every envelope followed by a newline
  std::vector<std::string_view> lines;  ///< each envelope, without its newline
};

/// The number of messages of every corpus of this run.
std::size_t benchMessageCount();

/// The corpus of this mix, generated on first use.
const Corpus& corpus(Mix mix);

/// The mix of a busy room that this build can decode whole.
Mix roomMix();

}  // namespace tovanel::chat::bench
