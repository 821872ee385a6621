#include "tovanel/chat/async/Publisher.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
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
  } catch (const std::exception& e) {
    return e.what();
  }
}

/// A subscriber's side that writes down what arrives, as "1 2 finished" or "1 failed: lost".
class Recorder {
 public:
  Publisher<int>::OnValue onValue() {
    return [this](const int& value) { add(std::to_string(value)); };
  }
  Publisher<int>::OnCompletion onCompletion() {
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
      {{failWith("at once")}, "failed: at once"},
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

TEST(Publisher, TheSubscribeFunctionMaySendAtOnce) {
  const Publisher<int> counter([](Subscriber<int> s) {
    s.receive(1);
    s.receive(2);
    s.finish();
  });
  Recorder first;
  Recorder second;
  const Cancellable a = counter.subscribe(first.onValue(), first.onCompletion());
  const Cancellable b = counter.subscribe(second.onValue(), second.onCompletion());
  EXPECT_EQ(std::pair(first.events(), second.events()),
            std::pair(std::string("1 2 finished"), std::string("1 2 finished")));
}

TEST(Publisher, AFailingStreamFailsEverySubscriberAtOnce) {
  const auto failing =
      Publisher<int>::failing(std::make_exception_ptr(std::runtime_error("no room")));
  Recorder recorder;
  const Cancellable handle = failing.subscribe(recorder.onValue(), recorder.onCompletion());
  EXPECT_EQ(recorder.events(), "failed: no room");
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

}  // namespace
}  // namespace tovanel::chat
