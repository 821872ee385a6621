// The message store under load:
//  - importing the generated 200,000-message export (one transaction per batch), against the
//    floor: the same rows written into the same schema by SQLite alone (ImportFloor.cpp), with
//    the search index's rows and without them; and
//    with the search index kept against without it, in time and in the file's size;
//  - fetching one page of 50 from the middle of a 200,000-message room;
//  - observing rooms of 1,000, 10,000, 100,000 and 1,000,000 messages: the first list, and the
//    time a change takes to reach the observer (one received message, a receive of 1,000, a
//    deletion, a send that fails, a send that the service confirms);
//  - the first page of 50 hits of searches as people type them, on the 200,000-message export
//    and on the million-message room.
//
//   build/release/store/bench/tovanel-chat-store-bench
//
// TOVANEL_BENCH_MESSAGES sets another corpus size. The files live in the system's temporary
// folder and are removed at the end; the rooms to observe are written once per run (the
// million-message room takes a while).

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CorpusGenerator.hpp"
#include "ImportFloor.hpp"
#include "Store.hpp"
#include "Worker.hpp"
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

Messages decode(const std::string& text) {
  Messages decoded;
  auto input = exports::Input::fromText(text);
  exports::forEachEnvelope(input, [&](const exports::EnvelopeResult& result) {
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

/// What the service does with a send: fails it at once, or confirms it at once.
std::atomic<bool> acknowledging{false};

std::unique_ptr<SqliteChatMessageRepository> openStore(const fs::path& path) {
  return SqliteChatMessageRepository::open(path, kMe,
                                           [](const ChatMessage& message) -> Future<std::string> {
                                             if (!acknowledging)
                                               throw std::runtime_error("offline");
                                             Promise<std::string> serviceID;
                                             serviceID.resolve("srv-" + *message.clientID);
                                             return serviceID.future();
                                           });
}

/// The messages in batches of `size`.
std::vector<Messages> inBatches(const Messages& messages, std::size_t size) {
  std::vector<Messages> batches;
  for (std::size_t start = 0; start < messages.size(); start += size) {
    const auto end = std::min(messages.size(), start + size);
    batches.emplace_back(messages.begin() + static_cast<std::ptrdiff_t>(start),
                         messages.begin() + static_cast<std::ptrdiff_t>(end));
  }
  return batches;
}

/// Stores the batches, each one receive and so one transaction, and waits for the last: the
/// store runs them in order.
void receiveAll(SqliteChatMessageRepository& repository, std::vector<Messages> batches) {
  std::optional<Future<ReceiveCounts>> last;
  for (Messages& batch : batches) last = repository.receive(std::move(batch));
  if (last) waitFor(*last);
}

/// The CPU time the process has used, every thread counted, in seconds.
double processCPU() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Times `run(made)` alone in each iteration: `prepare()` makes what it needs, and `finish(made)`
/// and the destruction of `made` follow, untimed. The timed part is also measured as the CPU time
/// of the whole process (the work an import does, wherever it runs and whatever else the machine
/// is running), reported per iteration as `cpu`, in seconds.
template <class Prepare, class Run, class Finish>
void timeRuns(benchmark::State& state, Prepare prepare, Run run, Finish finish) {
  double cpu = 0;
  for (auto _ : state) {
    state.PauseTiming();
    {
      auto made = prepare();
      const double started = processCPU();
      state.ResumeTiming();
      run(made);
      state.PauseTiming();
      cpu += processCPU() - started;
      finish(made);
    }
    state.ResumeTiming();
  }
  state.counters["cpu"] = cpu / static_cast<double>(state.iterations());
}
template <class Prepare, class Run>
void timeRuns(benchmark::State& state, Prepare prepare, Run run) {
  timeRuns(state, prepare, run, [](auto&) {});
}

// The store's side of an import: decoded messages into a new file.
void BM_ImportDecodedMessages(benchmark::State& state) {
  const Messages& messages = corpus();
  const auto batchSize = static_cast<std::size_t>(state.range(0));
  timeRuns(
      state,
      [&] {
        return std::pair(openStore(scratch().fresh("import.db")), inBatches(messages, batchSize));
      },
      [](auto& made) { receiveAll(*made.first, std::move(made.second)); });
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
  timeRuns(
      state,
      [&] {
        return std::pair(openStore(scratch().fresh("export.db")), exports::Input::fromText(text));
      },
      [&](auto& made) {
        auto& repository = made.first;
        Messages batch;
        std::optional<Future<ReceiveCounts>> writing;
        count = 0;
        exports::forEachEnvelope(made.second, [&](const exports::EnvelopeResult& result) {
          batch.push_back(*result.message);
          ++count;
          if (batch.size() == 1000) {
            if (writing) waitFor(*writing);
            writing = repository->receive(std::exchange(batch, {}));
          }
        });
        if (writing) waitFor(*writing);
        if (!batch.empty()) waitFor(repository->receive(std::move(batch)));
      });
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}
BENCHMARK(BM_ImportExport)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// What the search index costs an import: the store's side of BM_ImportDecodedMessages/batch:1000
// with the index kept (indexed:1) and without it (indexed:0), run by the store's own code on this
// thread, and the size of the file each leaves.
void BM_ImportSearchIndex(benchmark::State& state) {
  const Messages& messages = corpus();
  const bool indexed = state.range(0) != 0;
  std::uintmax_t bytes = 0;
  struct Made {
    fs::path path;
    std::unique_ptr<detail::Worker> worker;
    std::unique_ptr<detail::Store> store;
    std::vector<Messages> batches;
  };
  timeRuns(
      state,
      [&] {
        Made made{scratch().fresh(indexed ? "indexed.db" : "unindexed.db"),
                  std::make_unique<detail::Worker>(), nullptr, inBatches(messages, 1000)};
        made.store = std::make_unique<detail::Store>(*made.worker, kMe, Transport());
        made.store->open(made.path, detail::Database::Access::readWrite);
        made.store->indexForSearch(indexed);
        return made;
      },
      [](Made& made) {
        for (const Messages& batch : made.batches) made.store->receive(batch);
      },
      [&](Made& made) {
        made.store->close();
        made.store.reset();
        made.worker->stop();
        bytes = fs::file_size(made.path);
      });
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

/// The corpus imported in batches of 1000, once.
const fs::path& importedCorpus() {
  static const fs::path path = [] {
    const auto file = scratch().fresh("room.db");
    receiveAll(*openStore(file), inBatches(corpus(), 1000));
    return file;
  }();
  return path;
}

// The floor of BM_ImportDecodedMessages/batch:1000: the rows it writes, written by SQLite alone.
// indexed:1 writes every row the store writes, the search index's included (the honest floor);
// indexed:0 the messages rows alone, without their search keys.
void BM_ImportFloor(benchmark::State& state) {
  static const FloorRows rows = readFloorRows(importedCorpus());
  const bool indexed = state.range(0) != 0;
  timeRuns(
      state,
      [] {
        const auto file = scratch().fresh("floor.db");
        openStore(file).reset();  // the store's schema, no rows
        return std::make_unique<FloorImport>(file);
      },
      [&](auto& floor) { floor->write(rows, 1000, indexed); },
      [&](auto& floor) {
        const auto entries =
            std::count_if(rows.rows.begin(), rows.rows.end(),
                          [](const FloorRow& row) { return row.entry.has_value(); });
        if (floor->count("messages") != static_cast<std::int64_t>(rows.rows.size()) ||
            floor->count("message_search") != (indexed ? entries : 0) ||
            floor->count("search_terms") !=
                (indexed ? static_cast<std::int64_t>(rows.words.size()) : 0)) {
          state.SkipWithError("the floor did not write the rows it was given");
        }
      });
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rows.rows.size()));
  state.counters["messages"] = static_cast<double>(rows.rows.size());
  state.counters["words"] = static_cast<double>(rows.words.size());
}
BENCHMARK(BM_ImportFloor)
    ->ArgName("indexed")
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// One page of 50 from the middle of the room, through the worker thread and the decoder.
void BM_PageFromTheMiddle(benchmark::State& state) {
  const fs::path& path = importedCorpus();
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

// ---- observed rooms of every size ----

/// One room of `size` messages in a file of its own, written once per run: the corpus's kinds
/// over and over, each message with its own ID, a second after the one before.
const std::string kObservedRoom = "observed";
constexpr double kFirstSecond = 1577836800.0;  // 2020-01-01, well before any send's date

ChatMessage roomMessage(std::size_t index) {
  static const Messages kinds = decode(chat::bench::generateCorpus(10000));
  ChatMessage message = kinds[index % kinds.size()];
  message.messageID = "m" + std::to_string(index);
  message.roomID = kObservedRoom;
  message.createdAt = Date::since1970(kFirstSecond + static_cast<double>(index));
  return message;
}

const fs::path& roomFile(std::size_t size) {
  static std::map<std::size_t, fs::path> files;
  auto found = files.find(size);
  if (found == files.end()) {
    const auto file = scratch().fresh("room-" + std::to_string(size) + ".db");
    auto repository = openStore(file);
    std::optional<Future<ReceiveCounts>> last;
    for (std::size_t start = 0; start < size; start += 10000) {
      Messages batch;
      for (std::size_t i = start; i < std::min(size, start + 10000); ++i) {
        batch.push_back(roomMessage(i));
      }
      last = repository->receive(std::move(batch));
    }
    if (last) waitFor(*last);
    found = files.emplace(size, file).first;
  }
  return found->second;
}

/// The lists an observer received, for the benchmark's thread to wait on.
class Lists {
 public:
  void add(const Messages& list) {
    std::lock_guard lock(mutex_);
    ++count_;
    size_ = list.size();
    newest_.reset();
    if (!list.empty()) newest_ = list.back();
    arrived_.notify_all();
  }
  /// Waits until more than `count` lists have arrived; the newest message of the last one.
  std::optional<ChatMessage> waitPast(std::size_t count) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [&] { return count_ > count; });
    return newest_;
  }
  std::size_t count() {
    std::lock_guard lock(mutex_);
    return count_;
  }
  std::size_t size() {
    std::lock_guard lock(mutex_);
    return size_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::size_t count_ = 0;
  std::size_t size_ = 0;
  std::optional<ChatMessage> newest_;
};

// Subscribing until the first list arrives (the room's latest kDefaultWindow messages).
void BM_FirstList(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  auto repository = openStore(roomFile(size));
  std::size_t listSize = 0;
  for (auto _ : state) {
    Lists lists;
    const auto subscription =
        repository->observeChatMessages(kObservedRoom).subscribe([&](const Messages& list) {
          lists.add(list);
        });
    lists.waitPast(0);
    listSize = lists.size();
  }
  state.counters["list"] = static_cast<double>(listSize);
  state.counters["room"] = static_cast<double>(size);
}
BENCHMARK(BM_FirstList)
    ->ArgName("room")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

enum Change { receiveOne, receiveThousand, deleteOne, sendFailed, sendConfirmed };

// From the call that changes the room until its observer has the list that shows the change.
// What each iteration adds is taken away again, untimed, so that the room keeps its size.
void BM_ChangeReachesObserver(benchmark::State& state, Change change) {
  const auto size = static_cast<std::size_t>(state.range(0));
  auto repository = openStore(roomFile(size));
  Lists lists;
  const auto subscription =
      repository->observeChatMessages(kObservedRoom).subscribe([&](const Messages& list) {
        lists.add(list);
      });
  lists.waitPast(0);
  std::size_t next = size;  // the next message is the newest
  using Clock = std::chrono::steady_clock;
  // Runs `act` and waits for the `count`th list from then, whose newest message must satisfy
  // `shows`.
  const auto timed = [&](auto act, std::size_t count, auto shows) {
    const std::size_t before = lists.count();
    const auto start = Clock::now();
    act();
    const auto newest = lists.waitPast(before + count - 1);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (!newest || !shows(*newest)) state.SkipWithError("the list does not show the change");
  };
  const auto untimed = [&](auto act) {
    const std::size_t before = lists.count();
    act();
    return lists.waitPast(before);
  };
  const auto isNewest = [](std::string id) {
    return [id](const ChatMessage& newest) { return newest.messageID == id; };
  };
  acknowledging = change == sendConfirmed;
  for (auto _ : state) {
    switch (change) {
      case receiveOne: {
        const ChatMessage message = roomMessage(next++);
        timed([&] { repository->receive(message); }, 1, isNewest(message.messageID));
        untimed([&] { repository->deleteMessage(message.messageID, kObservedRoom); });
        break;
      }
      case receiveThousand: {
        // The same thousand messages each time, newer each time, coming back from another room.
        Messages batch;
        for (int i = 0; i < 1000; ++i) {
          batch.push_back(roomMessage(next++));
          batch.back().messageID = "batch-" + std::to_string(i);
        }
        Messages away = batch;
        for (auto& message : away) message.roomID = "elsewhere";
        timed([&] { repository->receive(std::move(batch)); }, 1, isNewest("batch-999"));
        untimed([&] { repository->receive(std::move(away)); });
        break;
      }
      case deleteOne: {
        const ChatMessage message = roomMessage(next++);
        untimed([&] { repository->receive(message); });
        timed([&] { repository->deleteMessage(message.messageID, kObservedRoom); }, 1,
              [&](const ChatMessage& newest) { return newest.messageID != message.messageID; });
        break;
      }
      case sendFailed:
      case sendConfirmed: {
        // Two lists: the send as sending, then as failed or sent.
        const auto outcome =
            change == sendFailed ? MessageSentStatus::failed : MessageSentStatus::sent;
        timed([&] { repository->send(NewChatMessage(roomMessage(0).body, kObservedRoom)); }, 2,
              [&](const ChatMessage& newest) { return newest.sentStatus == outcome; });
        const auto sent = lists.waitPast(0);
        untimed([&] { repository->deleteMessage(sent->messageID, kObservedRoom); });
        break;
      }
    }
  }
  state.counters["room"] = static_cast<double>(size);
}
const bool kChangesRegistered = [] {
  const std::pair<const char*, Change> changes[] = {{"receiveOne", receiveOne},
                                                    {"receiveThousand", receiveThousand},
                                                    {"deleteOne", deleteOne},
                                                    {"sendFailed", sendFailed},
                                                    {"sendConfirmed", sendConfirmed}};
  for (const auto& [name, change] : changes) {
    benchmark::RegisterBenchmark((std::string("BM_ChangeReachesObserver/") + name).c_str(),
                                 BM_ChangeReachesObserver, change)
        ->ArgName("room")
        ->Arg(1000)
        ->Arg(10000)
        ->Arg(100000)
        ->Arg(1000000)
        ->Unit(benchmark::kMicrosecond)
        ->UseManualTime();
  }
  return true;
}();

// ---- search ----

// Searches as people type them, against the generated texts (a vocabulary of two dozen words, so
// that every word of it is common): a username, which about one message in 500 has; a word that
// most texts hold; two words in a row; the beginning of a common word; a common word in the room
// (the stores hold one room, so the room's token is in every entry); the beginning of every
// username (500 words, more than a prefix is read as); one letter, as a search box sends the
// first key typed; a common word and a wide prefix; two prefixes said over and over.
struct Query {
  const char* name;
  const char* text;
  bool inRoom;
};
// A query that repeats two prefixes, one of them wide, 31 times.
constexpr const char* kRepeatedPrefixes =
    "u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* "
    "t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t* u* t*";
constexpr std::array<Query, 9> kQueries{{
    {"rare", "user137", false},
    {"common", "coffee", false},
    {"phrase", "\"train was\"", false},
    {"prefix", "tomor*", false},
    {"commonInRoom", "coffee", true},
    {"widePrefix", "user*", false},
    {"oneLetter", "t*", false},
    {"wordAndWidePrefix", "coffee us*", false},
    {"repeatedPrefixes", kRepeatedPrefixes, false},
}};

// The first page of 50 hits, through the worker thread, the decoder and the highlighting.
void search(benchmark::State& state, const fs::path& path, const std::string& roomID) {
  const Query& query = kQueries[static_cast<std::size_t>(state.range(0))];
  state.SetLabel(query.name);
  auto repository = SqliteChatMessageRepository::openReadOnly(path);
  SearchOptions options;
  options.limit = 50;
  if (query.inRoom) options.roomID = roomID;
  std::size_t hits = 0;
  for (auto _ : state) {
    const SearchResults results = waitFor(repository->search(query.text, options));
    hits = results.hits.size();
    benchmark::DoNotOptimize(results.hits.data());
  }
  state.counters["hits"] = static_cast<double>(hits);
  state.counters["MB"] = static_cast<double>(fs::file_size(path)) / 1e6;
}

void BM_SearchExport(benchmark::State& state) {
  search(state, importedCorpus(), corpus().front().roomID);
}
BENCHMARK(BM_SearchExport)
    ->DenseRange(0, kQueries.size() - 1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_SearchMillion(benchmark::State& state) { search(state, roomFile(1000000), kObservedRoom); }
BENCHMARK(BM_SearchMillion)
    ->DenseRange(0, kQueries.size() - 1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace tovanel::chat::store::bench
