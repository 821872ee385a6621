// Publisher and Future: what subscribers receive and when, cancellation, late subscribers,
// errors, and deliveries from other threads.

#include <atomic>
#include <latch>
#include <mutex>
#include <thread>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

std::string messageOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::invalid_argument& e) {
    return std::string("invalid argument: ") + e.what();
  } catch (const std::exception& e) {
    return e.what();
  }
}

/// What a subscriber receives, written down as "1 2 finished", "done" or "7 failed: lost".
class Recorder {
 public:
  std::function<void(const int&)> onValue() {
    return [this](const int& value) { add(std::to_string(value)); };
  }
  std::function<void()> onDone() {
    return [this] { add("done"); };
  }
  std::function<void(std::exception_ptr)> onError() { return onCompletion(); }
  std::function<void(std::exception_ptr)> onCompletion() {
    return [this](std::exception_ptr error) {
      add(error ? "failed: " + messageOf(error) : std::string("finished"));
    };
  }
  std::string events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  void add(const std::string& event) {
    std::lock_guard lock(mutex_);
    if (!events_.empty()) events_ += ' ';
    events_ += event;
  }
  mutable std::mutex mutex_;
  std::string events_;
};

const auto kLost = [] { return std::make_exception_ptr(std::runtime_error("lost")); };

// ---- Publisher ----
/// A publisher whose subscribers the test drives by hand.
struct Producer {
  std::vector<Subscriber<int>> subscribers;
  Publisher<int> publisher() {
    return Publisher<int>([this](Subscriber<int> s) { subscribers.push_back(std::move(s)); });
  }
};

using Action = std::function<void(const Subscriber<int>&)>;
Action send(int value) {
  return [value](const Subscriber<int>& s) { s.receive(value); };
}
const Action kFinish = [](const Subscriber<int>& s) { s.finish(); };
Action failWith(std::string message) {
  return [message](const Subscriber<int>& s) {
    s.fail(std::make_exception_ptr(std::runtime_error(message)));
  };
}

TEST(Publisher, DeliversValuesUntilTheStreamEndsAndNothingAfter) {
  const std::pair<std::vector<Action>, std::string_view> cases[] = {
      {{send(1), send(2), send(3), kFinish}, "1 2 3 finished"},
      {{send(1), failWith("lost"), send(2), kFinish}, "1 failed: lost"},
      {{kFinish, send(1), failWith("late"), kFinish}, "finished"},
      {{send(1), send(1)}, "1 1"},
  };
  for (const auto& [script, expected] : cases) {
    Producer producer;
    Recorder recorder;
    const Cancellable handle =
        producer.publisher().subscribe(recorder.onValue(), recorder.onCompletion());
    for (const auto& action : script) action(producer.subscribers.at(0));
    EXPECT_EQ(recorder.events(), expected);
  }
}

TEST(Publisher, TheSubscribeFunctionMaySendAtOnceToEverySubscriber) {
  const Publisher<int> counter([](Subscriber<int> s) {
    s.receive(1);
    s.receive(2);
    s.finish();
  });
  const auto failing =
      Publisher<int>::failing(std::make_exception_ptr(std::runtime_error("no room")));
  Recorder first, second, failed;
  const Cancellable a = counter.subscribe(first.onValue(), first.onCompletion());
  const Cancellable b = counter.subscribe(second.onValue(), second.onCompletion());
  const Cancellable c = failing.subscribe(failed.onValue(), failed.onCompletion());
  EXPECT_EQ((std::vector{first.events(), second.events(), failed.events()}),
            (std::vector<std::string>{"1 2 finished", "1 2 finished", "failed: no room"}));
}

TEST(Publisher, CancellingStopsDeliveryToThatSubscriberOnly) {
  enum class Stop { cancel, destroyHandle, moveAnotherHandleIn };
  for (const Stop stop : {Stop::cancel, Stop::destroyHandle, Stop::moveAnotherHandleIn}) {
    Producer producer;
    Recorder stopped;
    Recorder kept;
    auto handle = std::make_optional(
        producer.publisher().subscribe(stopped.onValue(), stopped.onCompletion()));
    const Cancellable keptHandle =
        producer.publisher().subscribe(kept.onValue(), kept.onCompletion());
    for (const auto& s : producer.subscribers) s.receive(1);
    switch (stop) {
      case Stop::cancel:
        handle->cancel();
        break;
      case Stop::destroyHandle:
        handle.reset();
        break;
      case Stop::moveAnotherHandleIn:
        *handle = Cancellable();
        break;
    }
    for (const auto& s : producer.subscribers) {
      s.receive(2);
      s.finish();
    }
    EXPECT_EQ(std::pair(stopped.events(), kept.events()),
              std::pair(std::string("1"), std::string("1 2 finished")))
        << static_cast<int>(stop);
  }
}

// Finishing, failing or cancelling ends the subscription for the producer and releases what the
// callbacks hold (the producer still holds its end).
TEST(Publisher, AnEndedSubscriptionIsSeenByTheProducerAndReleasesItsCallbacks) {
  const std::pair<Action, std::string_view> cases[] = {
      {kFinish, "finished"},
      {failWith("x"), "failed"},
      {[](const Subscriber<int>&) {}, "cancelled"},
  };
  for (const auto& [action, what] : cases) {
    Producer producer;
    auto held = std::make_shared<int>(0);
    Cancellable handle =
        producer.publisher().subscribe([held](const int&) {}, [held](std::exception_ptr) {});
    action(producer.subscribers.at(0));
    EXPECT_EQ(producer.subscribers.at(0).ended(), what != "cancelled") << what;
    if (what == "cancelled") {
      handle.cancel();
      handle.cancel();  // a second cancel does nothing
    }
    EXPECT_TRUE(producer.subscribers.at(0).ended()) << what;
    EXPECT_EQ(held.use_count(), 1) << what;
  }
}

TEST(Publisher, ACallbackMayCancelItsOwnSubscription) {
  Producer producer;
  std::vector<int> received;
  Cancellable handle;
  handle = producer.publisher().subscribe([&](const int& value) {
    received.push_back(value);
    if (value == 2) handle.cancel();
  });
  for (int value = 1; value <= 4; ++value) producer.subscribers.at(0).receive(value);
  EXPECT_EQ(received, (std::vector<int>{1, 2}));
}

// Values sent from several threads arrive one at a time, each thread's in the order it sent them.
TEST(Publisher, DeliveriesFromOtherThreadsNeverOverlapAndKeepEachThreadsOrder) {
  Producer producer;
  std::vector<std::vector<int>> received(4);  // not atomic: deliveries must not overlap
  bool inside = false;
  int overlaps = 0;
  const Cancellable handle = producer.publisher().subscribe([&](const int& value) {
    if (inside) ++overlaps;
    inside = true;
    received[static_cast<std::size_t>(value / 1000)].push_back(value % 1000);
    inside = false;
  });
  std::vector<std::thread> senders;
  for (int t = 0; t < 4; ++t) {
    senders.emplace_back([t, subscriber = producer.subscribers.at(0)] {
      for (int value = 0; value < 500; ++value) subscriber.receive(t * 1000 + value);
    });
  }
  for (auto& sender : senders) sender.join();
  std::vector<int> inOrder(500);
  for (int i = 0; i < 500; ++i) inOrder[static_cast<std::size_t>(i)] = i;
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(received, std::vector<std::vector<int>>(4, inOrder));
}

TEST(Publisher, NoValueArrivesOnceCancelFromAnotherThreadReturned) {
  Producer producer;
  std::atomic<bool> cancelReturned{false};
  std::atomic<int> received{0};
  std::atomic<int> lateDeliveries{0};
  Cancellable handle = producer.publisher().subscribe([&](const int&) {
    if (cancelReturned.load()) ++lateDeliveries;
    ++received;
  });
  std::thread sender([subscriber = producer.subscribers.at(0)] {
    while (!subscriber.ended()) subscriber.receive(0);
  });
  while (received.load() < 100) std::this_thread::yield();
  handle.cancel();
  cancelReturned = true;
  sender.join();
  EXPECT_EQ(lateDeliveries.load(), 0);
}

// ---- Future ----

TEST(Future, TheFirstResultWinsAndLaterOnesAreRefused) {
  using Step = std::function<bool(const Promise<int>&)>;
  const Step resolve7 = [](const Promise<int>& p) { return p.resolve(7); };
  const Step resolve8 = [](const Promise<int>& p) { return p.resolve(8); };
  const Step reject = [](const Promise<int>& p) { return p.reject(kLost()); };
  const Step rejectWithoutError = [](const Promise<int>& p) { return p.reject(nullptr); };
  const std::tuple<std::vector<Step>, std::vector<bool>, std::string> cases[] = {
      {{resolve7, resolve8, reject}, {true, false, false}, "7"},
      {{reject, resolve7}, {true, false}, "failed: lost"},
      {{reject, reject}, {true, false}, "failed: lost"},
      // Rejecting without an error still delivers one.
      {{rejectWithoutError, resolve7},
       {true, false},
       "failed: invalid argument: Promise::reject without an error"},
  };
  for (const auto& [steps, accepted, expected] : cases) {
    Promise<int> promise;
    Recorder recorder;
    const Cancellable handle = promise.future().subscribe(recorder.onValue(), recorder.onError());
    std::vector<bool> results;
    for (const auto& step : steps) results.push_back(step(promise));
    EXPECT_EQ(std::pair(results, recorder.events()), std::pair(accepted, expected));
  }
}

// Also a late subscriber, which gets the result before subscribe returns, and one that a
// callback adds while the result is being delivered.
TEST(Future, EverySubscriberGetsTheResultOnceAlsoAfterItArrived) {
  for (const bool fails : {false, true}) {
    Promise<int> promise;
    const Future<int> future = promise.future();
    Recorder early1, early2, late, inner;
    Cancellable innerHandle;
    const auto subscribeAgain = [&] {
      innerHandle = future.subscribe(inner.onValue(), inner.onError());
    };
    const Cancellable a = future.subscribe(early1.onValue(), early1.onError());
    const Cancellable b = promise.future().subscribe(early2.onValue(), early2.onError());
    const Cancellable d = future.subscribe([&](const int&) { subscribeAgain(); },
                                           [&](std::exception_ptr) { subscribeAgain(); });
    fails ? promise.reject(kLost()) : promise.resolve(7);
    const Cancellable c = future.subscribe(late.onValue(), late.onError());
    const std::string expected = fails ? "failed: lost" : "7";
    EXPECT_EQ((std::vector{early1.events(), early2.events(), late.events(), inner.events()}),
              std::vector(4, expected))
        << (fails ? "rejected" : "resolved");
  }
}

TEST(Future, AVoidFutureSignalsSuccessOrFailure) {
  const std::pair<std::function<void(const Promise<void>&)>, std::string> cases[] = {
      {[](const Promise<void>& p) { p.resolve(); }, "done"},
      {[](const Promise<void>& p) { p.reject(kLost()); }, "failed: lost"},
  };
  for (const auto& [settle, expected] : cases) {
    Promise<void> promise;
    Recorder before;
    Recorder after;
    const Cancellable a = promise.future().subscribe(before.onDone(), before.onError());
    settle(promise);
    const Cancellable b = promise.future().subscribe(after.onDone(), after.onError());
    EXPECT_EQ(std::pair(before.events(), after.events()), std::pair(expected, expected));
  }
}

TEST(Future, ACancelledSubscriberGetsNothingAndOthersStillDo) {
  Promise<int> promise;
  Recorder cancelled;
  Recorder destroyed;
  Recorder kept;
  auto held = std::make_shared<int>(0);
  Cancellable a = promise.future().subscribe(
      [&cancelled, held](const int& v) { cancelled.onValue()(v); }, cancelled.onError());
  auto b = std::make_unique<Cancellable>(
      promise.future().subscribe(destroyed.onValue(), destroyed.onError()));
  const Cancellable c = promise.future().subscribe(kept.onValue(), kept.onError());
  a.cancel();
  b.reset();
  // What the cancelled callbacks held is released before the future resolves.
  EXPECT_EQ(held.use_count(), 1);
  promise.resolve(7);
  EXPECT_EQ((std::vector{cancelled.events(), destroyed.events(), kept.events()}),
            (std::vector<std::string>{"", "", "7"}));
}

TEST(Future, ResolvingOnAnotherThreadReachesEverySubscriberExactlyOnce) {
  constexpr int kSubscribers = 8;
  Promise<int> promise;
  const Future<int> future = promise.future();
  std::vector<std::atomic<int>> deliveries(kSubscribers);
  std::vector<int> values(kSubscribers, 0);  // each written by one delivery only
  std::vector<Cancellable> handles(kSubscribers);
  std::latch start(kSubscribers + 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < kSubscribers; ++i) {
    threads.emplace_back([&, i] {
      const auto slot = static_cast<std::size_t>(i);
      start.arrive_and_wait();
      handles[slot] = future.subscribe([&, slot](const int& value) {
        values[slot] = value;
        ++deliveries[slot];
      });
    });
  }
  std::thread resolver([&] {
    start.arrive_and_wait();
    promise.resolve(42);
  });
  for (auto& thread : threads) thread.join();
  resolver.join();
  std::vector<std::pair<int, int>> seen;
  for (int i = 0; i < kSubscribers; ++i) {
    const auto slot = static_cast<std::size_t>(i);
    seen.emplace_back(deliveries[slot].load(), values[slot]);
  }
  EXPECT_EQ(seen, (std::vector<std::pair<int, int>>(kSubscribers, {1, 42})));
}

}  // namespace
}  // namespace tovanel::chat
