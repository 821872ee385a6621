// Sending through the transport and receiving the service's copies: how a send's status moves,
// and how a received message takes the place of a send instead of doubling it.

#include <gtest/gtest.h>

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

using SendingTest = StoreTest;

TEST_F(SendingTest, aSendIsStoredAtOnceAsSendingByTheLocalUserUnderAFreshClientID) {
  auto repository = open();
  const Date before = Date::now();
  repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
  drain(*repository);
  const Date after = Date::now();

  const Messages room = wholeRoom(*repository, "r1");
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

// ---- the transport's outcome, and the service's copy of a send ----

enum class Step { acknowledge, fail, echoWithClientID, echoWithoutClientID, otherMessage };

struct SendCase {
  const char* name;
  /// Makes the transport from the test's manual one.
  std::function<Transport(const ManualTransport&)> transport;
  std::vector<Step> steps;    // once the send has reached the transport
  const char* observed;       // every list of the room delivered
  const char* received = "";  // what the last receive among the steps counted
};

class SendOutcomeTest : public StoreTest, public ::testing::WithParamInterface<SendCase> {};

TEST_P(SendOutcomeTest, observersSeeEveryStepAndTheSendIsShownOnce) {
  const SendCase& row = GetParam();
  auto repository = SqliteChatMessageRepository::open(file(), kMe, row.transport(transport));
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  repository->send(NewChatMessage("r1", TextBody("hello", std::nullopt)));
  drain(*repository);
  const auto echo = [&](std::optional<std::string> clientID) {
    ChatMessage copy = textMessage("srv-1", "r1", std::nullopt, "hello (service)", clientID);
    copy.createdAt = transport.sent().at(0).createdAt;
    copy.user = kMe;
    return copy;
  };
  std::string received;
  const auto counted = [&](ReceiveCounts counts) {
    received =
        std::to_string(counts.added) + " added, " + std::to_string(counts.replaced) + " replaced";
  };
  for (const Step step : row.steps) {
    if (step == Step::acknowledge) transport.acknowledge(0, "srv-1");
    if (step == Step::fail) transport.fail(0);
    if (step == Step::echoWithClientID) {
      counted(waitFor(repository->receive(echo(transport.sent().at(0).clientID))));
    }
    if (step == Step::echoWithoutClientID) counted(waitFor(repository->receive(echo({}))));
    if (step == Step::otherMessage) {
      counted(waitFor(repository->receive(
          textMessage("srv-2", "r1", 4102444800.0, "later", std::string("someone-else")))));
    }
    drain(*repository);
  }
  drain(*repository);  // what the transport settled as it returned
  std::vector<std::string> lists;
  for (const auto& list : recorder.values()) lists.push_back(summary(list));
  EXPECT_EQ(joined(lists), row.observed);
  EXPECT_EQ(received, row.received);
}

const auto kManual = [](const ManualTransport& manual) { return manual.transport(); };
const auto kAtOnce = [](const ManualTransport&) -> Transport {
  return [](const ChatMessage&) {
    Promise<std::string> done;
    done.resolve("srv-at-once");
    return done.future();
  };
};
const auto kThrowing = [](const ManualTransport&) -> Transport {
  return [](const ChatMessage&) -> Future<std::string> {
    throw std::runtime_error("no route to the service");
  };
};

using enum Step;
INSTANTIATE_TEST_SUITE_P(
    Outcomes, SendOutcomeTest,
    ::testing::Values(
        SendCase{"acknowledged",
                 kManual,
                 {acknowledge},
                 "[] [hello sending =client] [hello sent srv-1]"},
        SendCase{"failed", kManual, {fail}, "[] [hello sending =client] [hello failed =client]"},
        SendCase{"acknowledgedBeforeReturning",
                 kAtOnce,
                 {},
                 "[] [hello sending =client] [hello sent srv-at-once]"},
        SendCase{
            "transportThrows", kThrowing, {}, "[] [hello sending =client] [hello failed =client]"},
        SendCase{"neverAnswered", kManual, {}, "[] [hello sending =client]"},
        SendCase{"copyWithOurClientIDThenAcknowledged",
                 kManual,
                 {echoWithClientID, acknowledge},
                 "[] [hello sending =client] [hello (service) sent srv-1]",
                 "0 added, 1 replaced"},
        SendCase{"acknowledgedThenCopy",
                 kManual,
                 {acknowledge, echoWithClientID},
                 "[] [hello sending =client] [hello sent srv-1] [hello (service) sent srv-1]",
                 "0 added, 1 replaced"},
        // Nothing tells the copy from a new message until the service names it.
        SendCase{"copyWithoutClientIDThenAcknowledged",
                 kManual,
                 {echoWithoutClientID, acknowledge},
                 "[] [hello sending =client] [hello sending =client; hello (service) sent srv-1] "
                 "[hello (service) sent srv-1]",
                 "1 added, 0 replaced"},
        SendCase{"failedThenCopy",
                 kManual,
                 {fail, echoWithClientID},
                 "[] [hello sending =client] [hello failed =client] [hello (service) sent srv-1]",
                 "0 added, 1 replaced"},
        SendCase{"copyThenFailureReportedLate",
                 kManual,
                 {echoWithClientID, fail},
                 "[] [hello sending =client] [hello (service) sent srv-1]",
                 "0 added, 1 replaced"},
        SendCase{"someoneElsesMessageLeavesTheSendAlone",
                 kManual,
                 {otherMessage},
                 "[] [hello sending =client] [hello sending =client; later sent srv-2]",
                 "1 added, 0 replaced"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- several threads ----

/// A service that acknowledges each send from a thread of its own, as a network would.
class ServiceThreads {
 public:
  Transport transport() {
    return [this](const ChatMessage& message) {
      Promise<std::string> outcome;
      std::lock_guard lock(mutex_);
      threads_.emplace_back(
          [outcome, id = *message.clientID]() mutable { outcome.resolve("srv-" + id); });
      return outcome.future();
    };
  }
  /// Returns once every send handed over so far is acknowledged.
  void finish() {
    std::vector<std::jthread> threads;
    std::lock_guard lock(mutex_);
    threads.swap(threads_);
  }

 private:
  std::mutex mutex_;
  std::vector<std::jthread> threads_;
};

TEST_F(SendingTest, sendsFromSeveralThreadsAtOnceAreAllStoredAndAcknowledged) {
  constexpr int kThreads = 8;
  constexpr int kEach = 40;
  ServiceThreads service;
  auto repository = SqliteChatMessageRepository::open(file(), kMe, service.transport());
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  std::set<std::string> expected;
  {
    std::vector<std::jthread> senders;
    for (int t = 0; t < kThreads; ++t) {
      for (int i = 0; i < kEach; ++i) expected.insert(std::to_string(t) + "-" + std::to_string(i));
      senders.emplace_back([&, t] {
        for (int i = 0; i < kEach; ++i) {
          repository->send(NewChatMessage(
              "r1", TextBody(std::to_string(t) + "-" + std::to_string(i), std::nullopt)));
        }
      });
    }
  }
  drain(*repository);
  service.finish();
  drain(*repository);

  const Messages room = wholeRoom(*repository, "r1");
  std::set<std::string> texts;
  std::set<std::string> clientIDs;
  std::size_t wellAcknowledged = 0;
  for (const auto& message : room) {
    texts.insert(textOf(message));
    clientIDs.insert(message.clientID.value_or(""));
    wellAcknowledged += message.sentStatus == MessageSentStatus::sent &&
                        message.messageID == "srv-" + message.clientID.value_or("");
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
  EXPECT_EQ(summary(wholeRoom(*repository, "r1")), "[hello failed =client]");
}

}  // namespace
}  // namespace tovanel::chat::store::test
