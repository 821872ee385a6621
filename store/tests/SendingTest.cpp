// Sends from several threads at once, and a send whose outcome a closed store never learnt. How a
// send's status moves, and how the service's copy takes its place, is in the random changes.

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <tuple>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

using SendingTest = StoreTest;

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
  transport.settle(0, "srv-late");
  drain(*repository);
  const Messages room = wholeRoom(*repository, "r1");
  ASSERT_EQ(room.size(), 1u);
  EXPECT_EQ(std::tuple(textOf(room[0]), room[0].sentStatus, room[0].messageID),
            std::tuple("hello", MessageSentStatus::failed, *room[0].clientID));
}

}  // namespace
}  // namespace tovanel::chat::store::test
