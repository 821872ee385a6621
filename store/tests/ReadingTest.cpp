// What the store gives back: messages of every kind as they were stored, across sessions; NaN
// dates, which the file cannot hold; observations that closing finishes; a row that no longer
// decodes, replaced; and the lurker token kept for the transport.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>
#include <thread>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

using ReadingTest = StoreTest;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Every kind of message, and optional fields both empty and present, and dates as far as a
// double goes (every double but NaN is a REAL that SQLite keeps bit for bit); the corpus is in
// its room's order already (each message one minute after the last).
TEST_F(ReadingTest, messagesComeBackEqualAfterClosingAndOpeningAgain) {
  const Messages corpus = corpusMessages(600);
  ChatMessage full = textMessage("full", "r1", 1795341600.25, "full", std::string("c1"));
  full.updatedAt = Date::since1970(1795341660.5);
  full.sentStatus = MessageSentStatus::failed;
  ChatMessage bare = textMessage("bare", "r1", std::nullopt, "bare");
  bare.viewCount = std::nullopt;
  bare.user = ChatMessageUser("u-gone", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0);
  bare.type = BodyType::hint;  // stored as given: nothing ties the message's kind to its body's
  Messages extremes;
  for (const double extreme :
       {std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max(), kInfinity}) {
    extremes.push_back(textMessage("x" + std::to_string(extremes.size()), "r1", 0, "extreme"));
    extremes.back().createdAt = Date::sinceReferenceDate(extreme);
    extremes.back().updatedAt = Date::sinceReferenceDate(-extreme);
  }
  waitFor(open()->receive(corpus));
  waitFor(open()->receive({full, bare, extremes[0], extremes[1], extremes[2]}));
  auto repository = open();
  EXPECT_EQ(wholeRoom(*repository, corpus.front().roomID), corpus);
  EXPECT_EQ(wholeRoom(*repository, "r1"),
            (Messages{bare, extremes[0], full, extremes[1], extremes[2]}));
}

// SQLite keeps a NaN REAL as NULL: stored, such a date would read back as no date at all.
TEST_F(ReadingTest, aNaNDateIsRefusedNamingItAndNothingChanges) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  auto repository = open();
  const ChatMessage kept = textMessage("m0", "r1", 100, "kept");
  waitFor(repository->receive(kept));
  // A receive of a good message and one whose `date` is `value`, which stores neither.
  const auto receiving = [&](std::optional<Date> ChatMessage::*date, double value) {
    return [&repository, date, value] {
      ChatMessage bad = textMessage("m2", "r1", 200, "bad");
      bad.*date = Date::sinceReferenceDate(value);
      waitFor(repository->receive({textMessage("m1", "r1", 150, "good"), bad}));
    };
  };
  const std::string createdAt = "message \"m2\" in room \"r1\": createdAt";
  const std::pair<std::function<void()>, std::string> operations[] = {
      {receiving(&ChatMessage::createdAt, kNaN), createdAt},
      {receiving(&ChatMessage::updatedAt, kNaN), "message \"m2\" in room \"r1\": updatedAt"},
      {receiving(&ChatMessage::createdAt, -kNaN), createdAt},
      {[&] {
         waitFor(repository->retrieveChatMessages("r1", Date::sinceReferenceDate(kNaN), "t", 10));
       },
       "retrieveChatMessages in room \"r1\": from"}};
  for (const auto& [operation, named] : operations) {
    EXPECT_EQ(outcome(operation), "invalidDate: " + named +
                                      " is NaN, a date that SQLite cannot hold (it would read "
                                      "back as no date)");
  }
  EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{kept});
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::nullopt);
}

TEST_F(ReadingTest, closingTheRepositoryFinishesObservations) {
  auto repository = open();
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  auto publisher = repository->observeChatMessages("r1");
  repository.reset();
  EXPECT_EQ(recorder.end(), std::optional<std::exception_ptr>(nullptr));
  // A publisher subscribed to after the repository is gone fails at once.
  Recorder<Messages> late;
  const auto lateSubscription = late.subscribeTo(publisher);
  ASSERT_TRUE(late.end() && *late.end());
  EXPECT_EQ(outcome([&] { std::rethrow_exception(*late.end()); }).substr(0, 16),
            "closed (lasting)");
}

TEST_F(ReadingTest, aReplacedCorruptRowIsReadAgain) {
  waitFor(open()->receive(textMessage("m1", "r1", 100, "one")));
  RawDatabase(file()).execute("UPDATE messages SET body = 'garbage'");
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "one again")));
  EXPECT_EQ(wholeRoom(*repository, "r1"), (Messages{textMessage("m1", "r1", 100, "one again")}));
}

TEST_F(StoreTest, theLastLurkerTokenOfARoomIsKeptForTheTransport) {
  auto repository = open();
  const auto page = [&](const char* room, std::optional<std::string> token) {
    waitFor(repository->retrieveChatMessages(room, std::nullopt, std::move(token), 10));
  };
  page("r1", "token-1");
  page("r1", std::nullopt);  // a page without a token keeps the last one
  page("r2", "token-a");
  page("r2", "token-b");
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::optional<std::string>("token-1"));
  EXPECT_EQ(waitFor(repository->lurkerToken("r2")), std::optional<std::string>("token-b"));
  EXPECT_EQ(waitFor(repository->lurkerToken("r3")), std::nullopt);
}

TEST_F(ReadingTest, aTransportIsRequired) {
  EXPECT_THROW(SqliteChatMessageRepository::open(file(), kMe, Transport()), std::invalid_argument);
}

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

TEST_F(ReadingTest, sendsFromSeveralThreadsAtOnceAreAllStoredAndAcknowledged) {
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

}  // namespace
}  // namespace tovanel::chat::store::test
