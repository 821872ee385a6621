// Publisher and Future: every short script of producer and subscriber steps against a model of
// what each subscriber receives and when its callbacks are released; callbacks that cancel or
// subscribe during a delivery; and deliveries from other threads.

#include <atomic>
#include <latch>
#include <mutex>
#include <thread>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

void add(std::string& events, const std::string& event) {
  events += (events.empty() ? "" : " ") + event;
}

/// What a subscriber receives, written down as "1 2 finished", "done" or "7 failed: lost". The
/// callbacks hold the log, so that its use count tells whether they are still held.
using Log = std::shared_ptr<std::string>;
std::function<void(const int&)> onValue(const Log& log) {
  return [log](const int& value) { add(*log, std::to_string(value)); };
}
std::function<void(std::exception_ptr)> onCompletion(const Log& log) {
  return [log](std::exception_ptr error) {
    try {
      if (error) std::rethrow_exception(error);
      add(*log, "finished");
    } catch (const std::invalid_argument& e) {
      add(*log, std::string("failed: invalid argument: ") + e.what());
    } catch (const std::exception& e) {
      add(*log, std::string("failed: ") + e.what());
    }
  };
}

const auto kLost = [] { return std::make_exception_ptr(std::runtime_error("lost")); };

/// Every text of up to `length` steps, each one of the characters of `steps`.
std::vector<std::string> everyScript(std::string_view steps, std::size_t length) {
  std::vector<std::string> scripts{""};
  for (std::size_t from = 0; from < scripts.size(); ++from) {
    if (scripts[from].size() == length) continue;
    for (const char step : steps) scripts.push_back(scripts[from] + step);
  }
  return scripts;
}

/// Ends a subscription from the subscriber's side, in one of the three ways a handle allows.
void stop(std::optional<Cancellable>& handle, std::size_t way) {
  if (!handle) return;
  if (way == 0) handle->cancel();
  if (way == 1) handle.reset();
  if (way == 2) *handle = Cancellable();
}

/// A publisher whose subscribers the test drives by hand.
struct Producer {
  std::vector<Subscriber<int>> subscribers;
  Publisher<int> publisher() {
    return Publisher<int>([this](Subscriber<int> s) { subscribers.push_back(std::move(s)); });
  }
};

// Steps: '1' and '2' send a value, 'f' finishes, 'x' fails, 's' stops the first subscriber (a
// second one never stops). Values arrive until the stream ends or the subscriber stops, and
// nothing after; the producer sees the end, and what the callbacks held is released at once.
TEST(Publisher, DeliversUntilTheStreamEndsOrTheSubscriberStopsAndThenReleases) {
  const auto scripts = everyScript("12fxs", 4);
  for (std::size_t n = 0; n < scripts.size(); ++n) {
    const std::string& script = scripts[n];
    Producer producer;
    const auto stopped = std::make_shared<std::string>(), kept = std::make_shared<std::string>();
    auto handle =
        std::make_optional(producer.publisher().subscribe(onValue(stopped), onCompletion(stopped)));
    const Cancellable keptHandle =
        producer.publisher().subscribe(onValue(kept), onCompletion(kept));
    std::string expectStopped, expectKept;
    bool ended = false, cancelled = false;
    for (const char step : script) {
      const std::string event = step == 'f'   ? "finished"
                                : step == 'x' ? "failed: lost"
                                              : std::string(1, step);
      if (step == 's') {
        stop(handle, n % 3);
        cancelled = true;
      } else if (!ended) {
        if (!cancelled) add(expectStopped, event);
        add(expectKept, event);
        ended = step == 'f' || step == 'x';
      }
      for (const auto& s : producer.subscribers) {
        if (step == '1' || step == '2') s.receive(step - '0');
        if (step == 'f') s.finish();
        if (step == 'x') s.fail(kLost());
      }
      EXPECT_EQ(producer.subscribers.at(0).ended(), ended || cancelled) << script;
      EXPECT_EQ(producer.subscribers.at(1).ended(), ended) << script;
      EXPECT_EQ(std::pair(stopped.use_count(), kept.use_count()),
                std::pair(ended || cancelled ? 1L : 3L, ended ? 1L : 3L))
          << script;
    }
    EXPECT_EQ(std::pair(*stopped, *kept), std::pair(expectStopped, expectKept))
        << script << " stopping by way " << n % 3;
  }
}

// The subscribe function may send at once, to every subscriber; a callback may cancel its own
// subscription.
TEST(Publisher, TheSubscribeFunctionMaySendAtOnceAndACallbackMayCancelItself) {
  const Publisher<int> counter([](Subscriber<int> s) {
    s.receive(1);
    s.receive(2);
    s.finish();
  });
  const auto failing =
      Publisher<int>::failing(std::make_exception_ptr(std::runtime_error("no room")));
  std::vector<std::string> received;
  for (const auto& publisher : {counter, counter, failing}) {
    const Log log = std::make_shared<std::string>();
    const Cancellable handle = publisher.subscribe(onValue(log), onCompletion(log));
    received.push_back(*log);
  }
  EXPECT_EQ(received,
            (std::vector<std::string>{"1 2 finished", "1 2 finished", "failed: no room"}));
  Producer producer;
  std::vector<int> values;
  Cancellable handle;
  handle = producer.publisher().subscribe([&](const int& value) {
    values.push_back(value);
    if (value == 2) handle.cancel();
  });
  for (int value = 1; value <= 4; ++value) producer.subscribers.at(0).receive(value);
  EXPECT_EQ(values, (std::vector<int>{1, 2}));
}

// Values sent from several threads arrive one at a time, each thread's in the order it sent them
// and none lost, until a cancel from yet another thread returns; nothing arrives after it.
TEST(Publisher, DeliveriesFromOtherThreadsNeverOverlapKeepOrderAndStopAtCancel) {
  Producer producer;
  std::vector<std::vector<int>> received(4);  // not atomic: deliveries must not overlap
  bool inside = false;                        // not atomic either
  std::atomic<int> count{0}, faults{0};       // faults: overlaps and deliveries after the cancel
  std::atomic<bool> cancelReturned{false};
  Cancellable handle = producer.publisher().subscribe([&](const int& value) {
    if (inside || cancelReturned.load()) ++faults;
    inside = true;
    received[static_cast<std::size_t>(value % 4)].push_back(value / 4);
    inside = false;
    ++count;
  });
  std::vector<std::thread> senders;
  for (int t = 0; t < 4; ++t) {
    senders.emplace_back([t, subscriber = producer.subscribers.at(0)] {
      for (int value = 0; !subscriber.ended(); ++value) subscriber.receive(value * 4 + t);
    });
  }
  while (count.load() < 2000) std::this_thread::yield();
  handle.cancel();
  cancelReturned = true;
  for (auto& sender : senders) sender.join();
  EXPECT_EQ(faults.load(), 0);
  for (const auto& values : received) {
    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(values[i], static_cast<int>(i));
  }
}

// Steps: 'r' and 'R' resolve (with 7 and 8), 'x' rejects, 'n' rejects without an error, 's'
// subscribes, 'c' stops the latest subscriber. The first result wins and later ones are refused;
// every subscriber that has not stopped gets it once, a late one before subscribe returns; what
// the callbacks held is released when the result is delivered or the subscriber stops.
template <class T>
void expectFutureFollowsTheModel(std::string_view steps, std::size_t length) {
  const auto scripts = everyScript(steps, length);
  for (std::size_t n = 0; n < scripts.size(); ++n) {
    const std::string& script = scripts[n];
    Promise<T> promise;
    std::vector<Log> logs;
    std::vector<std::optional<Cancellable>> handles;
    std::vector<std::string> expected;
    std::vector<bool> stopped;
    std::optional<std::string> result;
    for (const char step : script) {
      if (step == 's') {
        const Log& log = logs.emplace_back(std::make_shared<std::string>());
        if constexpr (std::is_void_v<T>) {
          handles.emplace_back(
              promise.future().subscribe([log] { add(*log, "done"); }, onCompletion(log)));
        } else {
          handles.emplace_back(promise.future().subscribe(onValue(log), onCompletion(log)));
        }
        expected.push_back(result.value_or(""));
        stopped.push_back(false);
        EXPECT_EQ(*log, expected.back()) << script;
      } else if (step == 'c' && !handles.empty()) {
        stopped.back() = true;
        stop(handles.back(), n % 3);
      } else if (step != 'c') {
        std::string outcome = step == 'x' ? "failed: lost"
                              : step == 'n'
                                  ? "failed: invalid argument: Promise::reject without an error"
                              : std::is_void_v<T> ? "done"
                              : step == 'r'       ? "7"
                                                  : "8";
        bool accepted = false;
        if (step == 'x' || step == 'n') {
          accepted = promise.reject(step == 'x' ? kLost() : nullptr);
        } else if constexpr (std::is_void_v<T>) {
          accepted = promise.resolve();
        } else {
          accepted = promise.resolve(step == 'r' ? 7 : 8);
        }
        EXPECT_EQ(accepted, !result) << script;
        for (std::size_t i = 0; i < logs.size() && !result; ++i) {
          if (!stopped[i]) expected[i] = outcome;
        }
        if (!result) result = outcome;
      }
      for (std::size_t i = 0; i < logs.size(); ++i) {
        const bool held = !result && !stopped[i];
        EXPECT_EQ(logs[i].use_count(), held ? 3 : 1) << script << " subscriber " << i;
      }
    }
    for (std::size_t i = 0; i < logs.size(); ++i) {
      EXPECT_EQ(*logs[i], expected[i]) << script << " subscriber " << i;
    }
  }
}

TEST(Future, EveryScriptGivesTheFirstResultOnceToEachSubscriberThatDidNotStop) {
  expectFutureFollowsTheModel<int>("rRxnsc", 5);
  expectFutureFollowsTheModel<void>("rxnsc", 5);
}

// A subscriber that a callback adds while the result is being delivered gets it too.
TEST(Future, ASubscriberAddedDuringTheDeliveryGetsTheResult) {
  for (const bool fails : {false, true}) {
    Promise<int> promise;
    const Future<int> future = promise.future();
    const auto inner = std::make_shared<std::string>();
    Cancellable innerHandle;
    const auto subscribeAgain = [&] {
      innerHandle = future.subscribe(onValue(inner), onCompletion(inner));
    };
    const Cancellable outer = future.subscribe([&](const int&) { subscribeAgain(); },
                                               [&](std::exception_ptr) { subscribeAgain(); });
    fails ? promise.reject(kLost()) : promise.resolve(7);
    EXPECT_EQ(*inner, fails ? "failed: lost" : "7");
  }
}

// Each subscriber adds up what it receives: 42 is the value delivered exactly once.
TEST(Future, ResolvingOnAnotherThreadReachesEverySubscriberExactlyOnce) {
  constexpr std::size_t kSubscribers = 8;
  Promise<int> promise;
  const Future<int> future = promise.future();
  std::vector<std::atomic<int>> received(kSubscribers);
  std::vector<Cancellable> handles(kSubscribers);
  std::latch start(kSubscribers + 1);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kSubscribers; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      handles[i] = future.subscribe([&, i](const int& value) { received[i] += value; });
    });
  }
  threads.emplace_back([&] {
    start.arrive_and_wait();
    promise.resolve(42);
  });
  for (auto& thread : threads) thread.join();
  for (const auto& sum : received) EXPECT_EQ(sum.load(), 42);
}

}  // namespace
}  // namespace tovanel::chat
