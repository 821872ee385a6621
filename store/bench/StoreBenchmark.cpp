// The message store under load: importing the generated 200,000-message export (one transaction
// per batch), with and without the search index; fetching one page of 50 from the middle of a
// 200,000-message room; and the first page of 50 hits of common searches, on the export and on a
// store of 1,000,000 messages that the run builds first (a minute or two).
//
//   build/release/store/bench/tovanel-chat-store-bench
//
// TOVANEL_BENCH_MESSAGES sets another corpus size, TOVANEL_BENCH_LARGE_STORE the size of the large
// store. The files live in the system's temporary folder and are removed at the end.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CorpusGenerator.hpp"
#include "Envelope.hpp"
#include "Store.hpp"
#include "Worker.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"
#include "tovanel/chat/store/Wait.hpp"

namespace tovanel::chat::store::bench {
namespace {

namespace fs = std::filesystem;
using Messages = std::vector<ChatMessage>;

std::size_t sizeFrom(const char* variable, std::size_t otherwise) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::stoul(text) : otherwise;
}

std::size_t corpusSize() { return sizeFrom("TOVANEL_BENCH_MESSAGES", 200000); }

/// The export as newline-delimited envelopes.
const std::string& corpusText() {
  static const std::string text = chat::bench::generateCorpus(corpusSize());
  return text;
}

Messages decode(const std::string& text) {
  Messages decoded;
  std::istringstream input(text);
  tool::forEachEnvelope(input, [&](const tool::EnvelopeResult& result) {
    if (!result.message) throw std::runtime_error("the corpus does not decode");
    decoded.push_back(*result.message);
  });
  return decoded;
}

/// The export's messages, decoded once.
const Messages& corpus() {
  static const Messages messages = decode(corpusText());
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

// The same on the store's own thread, with the search index kept and without it (arg 0): what the
// index costs an import, in time and in the file's size.
void BM_ImportSearchIndex(benchmark::State& state) {
  const Messages& messages = corpus();
  const bool indexed = state.range(0) != 0;
  std::uintmax_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const auto path = scratch().fresh(indexed ? "indexed.db" : "unindexed.db");
    auto worker = std::make_unique<detail::Worker>();
    auto store = std::make_unique<detail::Store>(*worker, kMe, Transport());
    store->open(path, detail::Database::Access::readWrite);
    store->indexForSearch(indexed);
    state.ResumeTiming();
    for (std::size_t start = 0; start < messages.size(); start += 1000) {
      const auto end = std::min(messages.size(), start + 1000);
      store->receive(Messages(messages.begin() + static_cast<std::ptrdiff_t>(start),
                              messages.begin() + static_cast<std::ptrdiff_t>(end)));
    }
    state.PauseTiming();
    store->close();
    store.reset();
    worker->stop();
    bytes = fs::file_size(path);
    if (indexed) fs::copy_file(path, "/tmp/ftsx/indexed.db", fs::copy_options::overwrite_existing);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(messages.size()));
  state.counters["MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_ImportSearchIndex)
    ->ArgName("indexed")
    ->Arg(0)
    ->Arg(1)
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
    std::istringstream input(text);
    state.ResumeTiming();
    Messages batch;
    std::optional<Future<ReceiveCounts>> writing;
    count = 0;
    tool::forEachEnvelope(input, [&](const tool::EnvelopeResult& result) {
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

/// The export imported into a store, once.
const fs::path& exportStore() {
  static const fs::path path = [] {
    const auto file = scratch().fresh("room.db");
    receiveInBatches(*openStore(file), corpus(), 1000);
    return file;
  }();
  return path;
}

/// A store of TOVANEL_BENCH_LARGE_STORE (1,000,000) generated messages, built once, in batches of
/// 10,000 decoded as they are stored: the decoded messages of the whole store would not fit in
/// the memory of a small machine.
const fs::path& largeStore() {
  static const fs::path path = [] {
    const auto file = scratch().fresh("large.db");
    auto repository = openStore(file);
    const std::size_t size = sizeFrom("TOVANEL_BENCH_LARGE_STORE", 1000000);
    for (std::size_t first = 0; first < size; first += 10000) {
      std::string text;
      for (std::size_t i = first; i < std::min(size, first + 10000); ++i) {
        text += chat::bench::generateEnvelope(2026, i);
        text += '\n';
      }
      waitFor(repository->receive(decode(text)));
    }
    return file;
  }();
  return path;
}

// One page of 50 from the middle of the room, through the worker thread and the decoder.
void BM_PageFromTheMiddle(benchmark::State& state) {
  const fs::path& path = exportStore();
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

// Searches as people type them, against the generated texts (a vocabulary of two dozen words, so
// every word of it is common): a username, which about one message in 500 has; a word that most
// texts hold; two words in a row; the beginning of a word; a common word in one room.
struct Query {
  const char* name;
  const char* text;
  bool inRoom;
};
constexpr std::array<Query, 5> kQueries{{
    {"rare", "user137", false},
    {"common", "coffee", false},
    {"phrase", "\"train was\"", false},
    {"prefix", "tomor*", false},
    {"commonInRoom", "coffee", true},
}};

// The first page of 50 hits, through the worker thread, the decoder and the highlighting.
void search(benchmark::State& state, const fs::path& path) {
  const Query& query = kQueries[static_cast<std::size_t>(state.range(0))];
  state.SetLabel(query.name);
  auto repository = SqliteChatMessageRepository::openReadOnly(path);
  SearchOptions options;
  options.limit = 50;
  if (query.inRoom) options.roomID = corpus().front().roomID;
  std::size_t hits = 0;
  for (auto _ : state) {
    const SearchResults results = waitFor(repository->search(query.text, options));
    hits = results.hits.size();
    benchmark::DoNotOptimize(results.hits.data());
  }
  state.counters["hits"] = static_cast<double>(hits);
  state.counters["MB"] = static_cast<double>(fs::file_size(path)) / 1e6;
}

void BM_SearchExport(benchmark::State& state) { search(state, exportStore()); }
BENCHMARK(BM_SearchExport)->DenseRange(0, kQueries.size() - 1)->Unit(benchmark::kMillisecond);

void BM_SearchLargeStore(benchmark::State& state) { search(state, largeStore()); }
BENCHMARK(BM_SearchLargeStore)->DenseRange(0, kQueries.size() - 1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovanel::chat::store::bench
