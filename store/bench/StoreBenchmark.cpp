// The message store under load: importing the generated 200,000-message export (one transaction
// per batch), and fetching one page of 50 from the middle of a 200,000-message room.
//
//   build/release/store/bench/tovanel-chat-store-bench
//
// TOVANEL_BENCH_MESSAGES sets another corpus size. The files live in the system's temporary
// folder and are removed at the end.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CorpusGenerator.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"
#include "tovanel/chat/store/Wait.hpp"

namespace tovanel::chat::store::bench {
namespace {

namespace fs = std::filesystem;
using Messages = std::vector<ChatMessage>;

std::size_t corpusSize() {
  const char* text = std::getenv("TOVANEL_BENCH_MESSAGES");
  return text != nullptr ? std::stoul(text) : 200000;
}

/// The export as newline-delimited envelopes.
const std::string& corpusText() {
  static const std::string text = chat::bench::generateCorpus(corpusSize());
  return text;
}

/// The export's messages, decoded once.
const Messages& corpus() {
  static const Messages messages = [] {
    Messages decoded;
    auto input = exports::Input::fromText(corpusText());
    exports::forEachEnvelope(input, [&](const exports::EnvelopeResult& result) {
      if (!result.message) throw std::runtime_error("the corpus does not decode");
      decoded.push_back(*result.message);
    });
    return decoded;
  }();
  return messages;
}

/// A folder for the benchmarks' files, removed at exit.
class Scratch {
 public:
  Scratch()
      : path_(fs::temp_directory_path() / ("tovanel-store-bench-" + std::to_string(::getpid()))) {
    fs::create_directories(path_);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  /// A path where no file is, removing what an earlier run left there.
  fs::path fresh(const std::string& name) const {
    for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(path_ / (name + suffix));
    return path_ / name;
  }

 private:
  fs::path path_;
};

Scratch& scratch() {
  static Scratch folder;
  return folder;
}

const ChatMessageUser kMe("u-bench", "bench", "Bench", "Mark", std::nullopt, std::nullopt, 0, 0);

std::unique_ptr<SqliteChatMessageRepository> openStore(const fs::path& path) {
  return SqliteChatMessageRepository::open(path, kMe,
                                           [](const ChatMessage&) -> Future<std::string> {
                                             throw std::logic_error("the benchmarks send nothing");
                                           });
}

/// Stores the messages in batches, each one receive and so one transaction, and waits for the
/// last: the store runs them in order.
void receiveInBatches(SqliteChatMessageRepository& repository, const Messages& messages,
                      std::size_t batchSize) {
  std::optional<Future<ReceiveCounts>> last;
  for (std::size_t start = 0; start < messages.size(); start += batchSize) {
    const auto end = std::min(messages.size(), start + batchSize);
    last = repository.receive(Messages(messages.begin() + static_cast<std::ptrdiff_t>(start),
                                       messages.begin() + static_cast<std::ptrdiff_t>(end)));
  }
  if (last) waitFor(*last);
}

// The store's side of an import: decoded messages into a new file.
void BM_ImportDecodedMessages(benchmark::State& state) {
  const Messages& messages = corpus();
  const auto batchSize = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto repository = openStore(scratch().fresh("import.db"));
    state.ResumeTiming();
    receiveInBatches(*repository, messages, batchSize);
    state.PauseTiming();
    repository.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(messages.size()));
  state.counters["messages"] = static_cast<double>(messages.size());
}
BENCHMARK(BM_ImportDecodedMessages)
    ->ArgName("batch")
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// The whole import as `tovanel-chat import` runs it: envelopes decoded on this thread while the
// store writes the previous batch of 1000.
void BM_ImportExport(benchmark::State& state) {
  const std::string& text = corpusText();
  std::size_t count = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto repository = openStore(scratch().fresh("export.db"));
    auto input = exports::Input::fromText(text);
    state.ResumeTiming();
    Messages batch;
    std::optional<Future<ReceiveCounts>> writing;
    count = 0;
    exports::forEachEnvelope(input, [&](const exports::EnvelopeResult& result) {
      batch.push_back(*result.message);
      ++count;
      if (batch.size() == 1000) {
        if (writing) waitFor(*writing);
        writing = repository->receive(std::exchange(batch, {}));
      }
    });
    if (writing) waitFor(*writing);
    if (!batch.empty()) waitFor(repository->receive(std::move(batch)));
    state.PauseTiming();
    repository.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}
BENCHMARK(BM_ImportExport)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// One page of 50 from the middle of the room, through the worker thread and the decoder.
void BM_PageFromTheMiddle(benchmark::State& state) {
  static const fs::path path = [] {
    const auto file = scratch().fresh("room.db");
    receiveInBatches(*openStore(file), corpus(), 1000);
    return file;
  }();
  const Messages& messages = corpus();
  const std::string roomID = messages.front().roomID;
  // The corpus is one room whose dates cycle through four weeks: the date of its middle message
  // falls near the middle of the room's order.
  const Date from = *messages[messages.size() / 2].createdAt;
  auto repository = openStore(path);
  std::size_t pageSize = 0;
  for (auto _ : state) {
    const Messages page = waitFor(repository->retrieveChatMessages(roomID, from, std::nullopt, 50));
    pageSize = page.size();
    benchmark::DoNotOptimize(page.data());
  }
  state.counters["page"] = static_cast<double>(pageSize);
  state.counters["room"] = static_cast<double>(messages.size());
}
BENCHMARK(BM_PageFromTheMiddle)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace tovanel::chat::store::bench
