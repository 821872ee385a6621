// What the store gives back: messages as they were stored, across sessions; observed lists
// after each change and none after cancelling; deletions; dates the file cannot hold; and a row
// that no longer decodes, replaced.

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

using ReadingTest = StoreTest;

// Every kind of message, and optional fields both empty and present; the corpus is in its
// room's order already (each message one minute after the last).
TEST_F(ReadingTest, messagesComeBackEqualAfterClosingAndOpeningAgain) {
  const Messages corpus = corpusMessages(600);
  ChatMessage full = textMessage("full", "r1", 1795341600.25, "full", std::string("c1"));
  full.updatedAt = Date::since1970(1795341660.5);
  full.sentStatus = MessageSentStatus::failed;
  ChatMessage bare = textMessage("bare", "r1", std::nullopt, "bare");
  bare.viewCount = std::nullopt;
  bare.user = ChatMessageUser("u-gone", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0);
  bare.type = BodyType::hint;  // stored as given: nothing ties the message's kind to its body's
  waitFor(open()->receive(corpus));
  waitFor(open()->receive({full, bare}));
  auto repository = open();
  EXPECT_EQ(wholeRoom(*repository, corpus.front().roomID), corpus);
  EXPECT_EQ(wholeRoom(*repository, "r1"), (Messages{bare, full}));
}

TEST_F(ReadingTest, aReceivedMessageReplacesTheOneWithItsMessageIDInWhateverRoom) {
  auto repository = open();
  std::vector<ReceiveCounts> counts{
      waitFor(repository->receive(textMessage("m1", "r1", 100, "first"))),
      waitFor(repository->receive(textMessage("m1", "r1", 100, "edited"))),
      waitFor(repository->receive({textMessage("m2", "r1", 200, "moving"),
                                   textMessage("m3", "r1", 300, "twice"),
                                   textMessage("m3", "r1", 300, "twice, the later")})),
      waitFor(repository->receive(textMessage("m2", "r2", 200, "moved")))};
  EXPECT_EQ(wholeRoom(*repository, "r1"),
            (Messages{textMessage("m1", "r1", 100, "edited"),
                      textMessage("m3", "r1", 300, "twice, the later")}));
  EXPECT_EQ(wholeRoom(*repository, "r2"), (Messages{textMessage("m2", "r2", 200, "moved")}));
  EXPECT_EQ(counts, (std::vector<ReceiveCounts>{{1, 0}, {0, 1}, {2, 1}, {0, 1}}));
}

// ---- dates the file cannot hold ----

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct NaNDateCase {
  const char* name;
  std::function<void(SqliteChatMessageRepository&)> operation;  // with a NaN date, in room r1
  const char* named;  // what the error's description starts with
};

class NaNDateTest : public StoreTest, public ::testing::WithParamInterface<NaNDateCase> {};

// SQLite keeps a NaN REAL as NULL: stored, such a date would read back as no date at all.
TEST_P(NaNDateTest, isRefusedNamingTheDateAndNothingChanges) {
  const NaNDateCase& row = GetParam();
  auto repository = open();
  const ChatMessage kept = textMessage("m0", "r1", 100, "kept");
  waitFor(repository->receive(kept));
  EXPECT_EQ(outcome([&] { row.operation(*repository); }),
            std::string("invalidDate: ") + row.named +
                " is NaN, a date that SQLite cannot hold (it would read back as no date)");
  EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{kept});
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::nullopt);
}

// A receive of a good message and one whose `date` is `value`, which stores neither.
std::function<void(SqliteChatMessageRepository&)> receivingWith(
    std::optional<Date> ChatMessage::*date, double value) {
  return [=](SqliteChatMessageRepository& repository) {
    ChatMessage bad = textMessage("m2", "r1", 200, "bad");
    bad.*date = Date::sinceReferenceDate(value);
    waitFor(repository.receive({textMessage("m1", "r1", 150, "good"), bad}));
  };
}

const char* const kCreatedAt = "message \"m2\" in room \"r1\": createdAt";
INSTANTIATE_TEST_SUITE_P(
    Dates, NaNDateTest,
    ::testing::Values(
        NaNDateCase{"createdAt", receivingWith(&ChatMessage::createdAt, kNaN), kCreatedAt},
        NaNDateCase{"updatedAt", receivingWith(&ChatMessage::updatedAt, kNaN),
                    "message \"m2\" in room \"r1\": updatedAt"},
        NaNDateCase{"negativeNaN", receivingWith(&ChatMessage::createdAt, -kNaN), kCreatedAt},
        NaNDateCase{"pageFrom",
                    [](SqliteChatMessageRepository& repository) {
                      waitFor(repository.retrieveChatMessages("r1", Date::sinceReferenceDate(kNaN),
                                                              "token", 10));
                    },
                    "retrieveChatMessages in room \"r1\": from"}),
    [](const auto& info) { return std::string(info.param.name); });

// Every other double is a REAL that SQLite keeps bit for bit.
TEST_F(ReadingTest, extremeDatesComeBackAsTheyWere) {
  auto repository = open();
  for (const double extreme :
       {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::max(),
        std::numeric_limits<double>::denorm_min()}) {
    ChatMessage message = textMessage("m1", "r1", std::nullopt, "extreme");
    message.createdAt = Date::sinceReferenceDate(extreme);
    message.updatedAt = Date::sinceReferenceDate(-extreme);
    waitFor(repository->receive(message));
    EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{message}) << extreme;
  }
}

// ---- observing ----

TEST_F(ReadingTest, anObserverGetsTheListOnSubscribingThenOneListPerChangeUntilCancelled) {
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "before")));
  Recorder<Messages> kept;
  Recorder<Messages> cancelled;
  const auto keptSubscription = kept.subscribeTo(repository->observeChatMessages("r1"));
  auto subscription = cancelled.subscribeTo(repository->observeChatMessages("r1"));
  // One receive of two messages is one change.
  waitFor(repository->receive(
      {textMessage("m2", "r1", 200, "two"), textMessage("m3", "r1", 300, "three")}));
  subscription.cancel();
  // Another room's change is not this room's.
  waitFor(repository->receive(textMessage("m9", "r2", 150, "elsewhere")));
  waitFor(repository->deleteMessage("m1", "r1"));
  drain(*repository);
  std::vector<std::string> lists;
  for (const Messages& list : kept.values()) lists.push_back(idsIn(list));
  EXPECT_EQ(joined(lists, " | "), "m1 | m1 m2 m3 | m2 m3");
  EXPECT_EQ(cancelled.values().size(), 2u);  // the first list and one change
}

TEST_F(ReadingTest, closingTheRepositoryFinishesObservations) {
  auto repository = open();
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  auto publisher = repository->observeChatMessages("r1");
  repository.reset();
  EXPECT_TRUE(recorder.ended());
  EXPECT_EQ(recorder.error(), nullptr);
  // A publisher subscribed to after the repository is gone fails at once.
  Recorder<Messages> late;
  const auto lateSubscription = late.subscribeTo(publisher);
  ASSERT_TRUE(late.ended());
  EXPECT_EQ(outcome([&] { std::rethrow_exception(late.error()); }).substr(0, 16),
            "closed (lasting)");
}

// ---- deleting ----

TEST_F(ReadingTest, aDeletionIsCommittedWhenItsFutureCompletesAndNeedsTheMessageInTheRoom) {
  {
    auto repository = open();
    waitFor(repository->receive(
        {textMessage("m1", "r1", 100, "one"), textMessage("m2", "r1", 200, "two")}));
    waitFor(repository->deleteMessage("m1", "r1"));
    // Another connection to the file sees it at once.
    EXPECT_EQ(RawDatabase(file()).integer("SELECT count(*) FROM messages WHERE message_id = 'm1'"),
              0);
    // One never stored, and one stored in another room.
    EXPECT_EQ(outcome([&] { waitFor(repository->deleteMessage("m7", "r1")); }),
              "unknownMessage: no message \"m7\" in room \"r1\"");
    EXPECT_EQ(outcome([&] { waitFor(repository->deleteMessage("m2", "r2")); }),
              "unknownMessage: no message \"m2\" in room \"r2\"");
  }
  EXPECT_EQ(idsIn(wholeRoom(*open(), "r1")), "m2");
}

TEST_F(ReadingTest, aReplacedCorruptRowIsReadAgain) {
  waitFor(open()->receive(textMessage("m1", "r1", 100, "one")));
  RawDatabase(file()).execute("UPDATE messages SET body = 'garbage'");
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "one again")));
  EXPECT_EQ(wholeRoom(*repository, "r1"), (Messages{textMessage("m1", "r1", 100, "one again")}));
}

}  // namespace
}  // namespace tovanel::chat::store::test
