// What the store gives back: messages of every kind as they were stored, across sessions; dates
// the file cannot hold; observations that closing finishes; a row that no longer decodes,
// replaced; and the lurker token kept for the transport.

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

}  // namespace
}  // namespace tovanel::chat::store::test
