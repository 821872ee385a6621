#include "tovanel/chat/async/Future.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

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

/// What one subscriber received, as "value 7" or "failed: lost", one entry per delivery.
class Recorder {
 public:
  Future<int>::OnValue onValue() {
    return [this](const int& value) { add("value " + std::to_string(value)); };
  }
  Future<void>::OnValue onDone() {
    return [this] { add("done"); };
  }
  Future<int>::OnError onError() {
    return [this](std::exception_ptr error) { add("failed: " + messageOf(error)); };
  }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  void add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

using Events = std::vector<std::string>;
const auto kLost = [] { return std::make_exception_ptr(std::runtime_error("lost")); };

TEST(Future, TheFirstResultWinsAndLaterOnesAreRefused) {
  using Step = std::function<bool(const Promise<int>&)>;
  const Step resolve7 = [](const Promise<int>& p) { return p.resolve(7); };
  const Step resolve8 = [](const Promise<int>& p) { return p.resolve(8); };
  const Step reject = [](const Promise<int>& p) { return p.reject(kLost()); };
  const std::tuple<std::vector<Step>, std::vector<bool>, Events> cases[] = {
      {{resolve7, resolve8, reject}, {true, false, false}, {"value 7"}},
      {{reject, resolve7}, {true, false}, {"failed: lost"}},
      {{reject, reject}, {true, false}, {"failed: lost"}},
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

TEST(Future, EverySubscriberGetsTheResultOnceAlsoAfterItArrived) {
  for (const bool fails : {false, true}) {
    Promise<int> promise;
    const Future<int> future = promise.future();
    Recorder early1;
    Recorder early2;
    Recorder late;
    const Cancellable a = future.subscribe(early1.onValue(), early1.onError());
    const Cancellable b = promise.future().subscribe(early2.onValue(), early2.onError());
    fails ? promise.reject(kLost()) : promise.resolve(7);
    // A late subscriber gets the result before subscribe returns.
    const Cancellable c = future.subscribe(late.onValue(), late.onError());
    const Events expected{fails ? "failed: lost" : "value 7"};
    EXPECT_EQ((std::vector{early1.events(), early2.events(), late.events()}),
              (std::vector{expected, expected, expected}))
        << (fails ? "rejected" : "resolved");
  }
}

TEST(Future, AVoidFutureSignalsSuccessOrFailure) {
  const std::pair<std::function<void(const Promise<void>&)>, Events> cases[] = {
      {[](const Promise<void>& p) { p.resolve(); }, {"done"}},
      {[](const Promise<void>& p) { p.reject(kLost()); }, {"failed: lost"}},
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

TEST(Future, RejectingWithoutAnErrorStillDeliversOne) {
  Promise<int> promise;
  Recorder recorder;
  promise.reject(nullptr);
  const Cancellable handle = promise.future().subscribe(recorder.onValue(), recorder.onError());
  EXPECT_EQ(recorder.events(),
            Events{"failed: invalid argument: Promise::reject without an error"});
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
            (std::vector<Events>{{}, {}, {"value 7"}}));
}

TEST(Future, ACallbackMaySubscribeToTheSameFutureAgain) {
  Promise<int> promise;
  const Future<int> future = promise.future();
  Recorder inner;
  Cancellable innerHandle;
  const Cancellable outer = future.subscribe(
      [&](const int&) { innerHandle = future.subscribe(inner.onValue(), inner.onError()); });
  promise.resolve(7);
  EXPECT_EQ(inner.events(), Events{"value 7"});
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
