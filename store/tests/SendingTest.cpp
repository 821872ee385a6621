// Sending through the transport and receiving the service's copies: how a send's status moves,
// and how a received message takes the place of a send instead of doubling it.

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <regex>
#include <set>
#include <thread>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

std::string textOf(const ChatMessage& message) {
  const auto* text = message.body.get<TextBody>();
  return text != nullptr ? text->text : "(" + std::string(rawValue(message.body.bodyType())) + ")";
}

/// "[hello sending =client; bye sent m2]": each message's text, its status, and its messageID,
/// shown as "=client" while the clientID stands in for it.
std::string summary(const Messages& messages) {
  static constexpr const char* kStatus[] = {"sent", "sending", "failed"};
  std::string text;
  for (const auto& m : messages) {
    const bool standIn = m.clientID && *m.clientID == m.messageID;
    text += (text.empty() ? "" : "; ") + textOf(m) + " " + kStatus[rawValue(m.sentStatus)] + " " +
            (standIn ? "=client" : m.messageID);
  }
  return "[" + text + "]";
}

Messages roomOf(SqliteChatMessageRepository& repository, const std::string& roomID) {
  return waitFor(repository.retrieveChatMessages(roomID, std::nullopt, std::nullopt, 1000));
}

using SendingTest = StoreTest;

TEST_F(SendingTest, aSendIsStoredAtOnceAsSendingByTheLocalUserUnderAFreshClientID) {
  auto repository = open();
  const Date before = Date::now();
  repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
  drain(*repository);
  const Date after = Date::now();

  const Messages room = roomOf(*repository, "r1");
  ASSERT_EQ(room.size(), 1u);
  const ChatMessage& sent = room[0];
  EXPECT_EQ(summary(room), "[hello sending =client]");
  EXPECT_TRUE(std::regex_match(*sent.clientID,
                               std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                          "[0-9a-f]{12}")))
      << *sent.clientID;
  EXPECT_EQ(sent.user, kMe);
  EXPECT_EQ(sent.type, BodyType::text);
  EXPECT_TRUE(*sent.createdAt >= before && *sent.createdAt <= after);
  // The transport was handed the stored message itself.
  EXPECT_EQ(transport.sent(), room);
}

// ---- the transport's outcome ----

struct OutcomeCase {
  const char* name;
  /// Makes the transport from the test's manual one.
  std::function<Transport(const ManualTransport&)> transport;
  /// What the test does once the send has reached the transport.
  std::function<void(const ManualTransport&)> then;
  const char* observed;
};

class TransportOutcomeTest : public StoreTest, public ::testing::WithParamInterface<OutcomeCase> {};

TEST_P(TransportOutcomeTest, observersSeeEveryStepOfTheSend) {
  const OutcomeCase& row = GetParam();
  auto repository = SqliteChatMessageRepository::open(file(), kMe, row.transport(transport));
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
  drain(*repository);
  row.then(transport);
  drain(*repository);

  std::string observed;
  for (const auto& list : recorder.values())
    observed += (observed.empty() ? "" : " ") + summary(list);
  EXPECT_EQ(observed, row.observed);
}

const auto kManual = [](const ManualTransport& manual) { return manual.transport(); };
const auto kNothing = [](const ManualTransport&) {};

const Transport kAtOnce = [](const ChatMessage&) {
  Promise<std::string> done;
  done.resolve("srv-at-once");
  return done.future();
};
const Transport kThrowing = [](const ChatMessage&) -> Future<std::string> {
  throw std::runtime_error("no route to the service");
};
const auto kGiven = [](Transport transport) {
  return [transport](const ManualTransport&) { return transport; };
};

INSTANTIATE_TEST_SUITE_P(
    Outcomes, TransportOutcomeTest,
    ::testing::Values(OutcomeCase{"acknowledged", kManual,
                                  [](const ManualTransport& t) { t.acknowledge(0, "srv-1"); },
                                  "[] [hello sending =client] [hello sent srv-1]"},
                      OutcomeCase{"failed", kManual, [](const ManualTransport& t) { t.fail(0); },
                                  "[] [hello sending =client] [hello failed =client]"},
                      OutcomeCase{"acknowledgedBeforeReturning", kGiven(kAtOnce), kNothing,
                                  "[] [hello sending =client] [hello sent srv-at-once]"},
                      OutcomeCase{"transportThrows", kGiven(kThrowing), kNothing,
                                  "[] [hello sending =client] [hello failed =client]"},
                      OutcomeCase{"neverAnswered", kManual, kNothing,
                                  "[] [hello sending =client]"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- the service's copy of a send ----

enum class Step { echoWithClientID, echoWithoutClientID, acknowledge, fail, otherMessage };

struct EchoCase {
  const char* name;
  std::vector<Step> steps;
  const char* room;
  const char* received;  // what the one receive among the steps counted
};

template <class... Steps>
EchoCase order(const char* name, const char* room, const char* received, Steps... steps) {
  return {name, {steps...}, room, received};
}

class ServiceCopyTest : public StoreTest, public ::testing::WithParamInterface<EchoCase> {};

TEST_P(ServiceCopyTest, theSendIsShownOnceAndTheReceiveCountsWhatItReplaced) {
  auto repository = open();
  repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
  drain(*repository);
  const ChatMessage pending = transport.sent().at(0);
  const auto echo = [&](std::optional<std::string> clientID) {
    ChatMessage copy = textMessage("srv-1", "r1", std::nullopt, "hello (service)", clientID);
    copy.createdAt = pending.createdAt;
    copy.user = kMe;
    return copy;
  };
  ReceiveCounts counts;
  for (const Step step : GetParam().steps) {
    switch (step) {
      case Step::echoWithClientID:
        counts = waitFor(repository->receive(echo(pending.clientID)));
        break;
      case Step::echoWithoutClientID:
        counts = waitFor(repository->receive(echo(std::nullopt)));
        break;
      case Step::acknowledge:
        transport.acknowledge(0, "srv-1");
        break;
      case Step::fail:
        transport.fail(0);
        break;
      case Step::otherMessage:
        counts = waitFor(repository->receive(
            textMessage("srv-2", "r1", 4102444800.0, "later", std::string("someone-else"))));
        break;
    }
    drain(*repository);
  }
  EXPECT_EQ(summary(roomOf(*repository, "r1")), GetParam().room);
  EXPECT_EQ(
      std::to_string(counts.added) + " added, " + std::to_string(counts.replaced) + " replaced",
      GetParam().received);
}

using enum Step;
INSTANTIATE_TEST_SUITE_P(
    Orders, ServiceCopyTest,
    ::testing::Values(order("copyWithOurClientIDThenAcknowledged", "[hello (service) sent srv-1]",
                            "0 added, 1 replaced", echoWithClientID, acknowledge),
                      order("acknowledgedThenCopy", "[hello (service) sent srv-1]",
                            "0 added, 1 replaced", acknowledge, echoWithClientID),
                      // Nothing tells the copy from a new message until the service names it.
                      order("copyWithoutClientIDThenAcknowledged", "[hello (service) sent srv-1]",
                            "1 added, 0 replaced", echoWithoutClientID, acknowledge),
                      order("failedThenCopy", "[hello (service) sent srv-1]", "0 added, 1 replaced",
                            fail, echoWithClientID),
                      order("copyThenFailureReportedLate", "[hello (service) sent srv-1]",
                            "0 added, 1 replaced", echoWithClientID, fail),
                      order("someoneElsesMessageLeavesTheSendAlone",
                            "[hello sending =client; later sent srv-2]", "1 added, 0 replaced",
                            otherMessage)),
    [](const auto& info) { return std::string(info.param.name); });

// ---- several threads ----

/// A service on a thread of its own that acknowledges every send, as a network would.
class ServiceThread {
 public:
  ServiceThread() : thread_([this] { serve(); }) {}
  ~ServiceThread() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }

  Transport transport() {
    return [this](const ChatMessage& message) {
      Promise<std::string> outcome;
      {
        std::lock_guard lock(mutex_);
        queue_.emplace_back(*message.clientID, outcome);
      }
      wake_.notify_one();
      return outcome.future();
    };
  }

  /// Waits until `count` sends were acknowledged.
  bool waitForAcknowledged(std::size_t count) {
    std::unique_lock lock(mutex_);
    return done_.wait_for(lock, std::chrono::minutes(1), [&] { return acknowledged_ >= count; });
  }

 private:
  void serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
      if (queue_.empty()) return;
      auto [clientID, outcome] = queue_.front();
      queue_.pop_front();
      lock.unlock();
      outcome.resolve("srv-" + clientID);
      lock.lock();
      ++acknowledged_;
      done_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
  std::deque<std::pair<std::string, Promise<std::string>>> queue_;
  std::size_t acknowledged_ = 0;
  bool stopping_ = false;
  std::thread thread_;
};

TEST_F(SendingTest, sendsFromSeveralThreadsAtOnceAreAllStoredAndAcknowledged) {
  constexpr int kThreads = 8;
  constexpr int kEach = 40;
  ServiceThread service;
  auto repository = SqliteChatMessageRepository::open(file(), kMe, service.transport());
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  {
    std::vector<std::jthread> senders;
    for (int t = 0; t < kThreads; ++t) {
      senders.emplace_back([&, t] {
        for (int i = 0; i < kEach; ++i) {
          repository->send(NewChatMessage(
              "r1", TextBody("t" + std::to_string(t) + "-" + std::to_string(i), std::nullopt)));
        }
      });
    }
  }
  ASSERT_TRUE(service.waitForAcknowledged(kThreads * kEach));
  drain(*repository);

  const Messages room = roomOf(*repository, "r1");
  std::set<std::string> texts;
  std::set<std::string> clientIDs;
  std::size_t wellAcknowledged = 0;
  for (const auto& message : room) {
    texts.insert(textOf(message));
    clientIDs.insert(message.clientID.value_or(""));
    wellAcknowledged += message.sentStatus == MessageSentStatus::sent &&
                        message.messageID == "srv-" + message.clientID.value_or("");
  }
  std::set<std::string> expected;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kEach; ++i)
      expected.insert("t" + std::to_string(t) + "-" + std::to_string(i));
  }
  EXPECT_EQ(texts, expected);
  EXPECT_EQ(clientIDs.size(), room.size());
  EXPECT_EQ(wellAcknowledged, room.size());
  // The observer's last list is the room's latest messages as it ended.
  EXPECT_EQ(recorder.values().back(),
            waitFor(repository->retrieveChatMessages("r1", std::nullopt, std::nullopt,
                                                     SqliteChatMessageRepository::kDefaultWindow)));
}

// ---- across sessions ----

TEST_F(SendingTest, aSendStillWaitingWhenTheStoreClosedIsFailedWhenItOpensAgain) {
  {
    auto repository = open();
    repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
    drain(*repository);
  }
  auto repository = open();
  // The first session's transport answering late changes nothing any more.
  transport.acknowledge(0, "srv-late");
  drain(*repository);
  EXPECT_EQ(summary(roomOf(*repository, "r1")), "[hello failed =client]");
}

}  // namespace
}  // namespace tovanel::chat::store::test
