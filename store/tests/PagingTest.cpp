// Paging back through a room's history: which messages a page holds, and that walking back page
// by page meets every message once, whatever the page size and however the dates fall.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <tuple>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

// ---- the shape of one page ----

// u1 has no date; x1, x2 and x3 share one instant; y is the newest.
Messages smallRoom() {
  return {textMessage("u1", "r1", std::nullopt, "undated"), textMessage("x3", "r1", 100, "x3"),
          textMessage("x1", "r1", 100, "x1"), textMessage("y", "r1", 200, "y"),
          textMessage("x2", "r1", 100, "x2")};
}

struct PageCase {
  const char* name;
  const char* room;
  std::uint64_t limit;
  std::optional<double> from;  // seconds since 1970
  const char* page;
};

class PageTest : public StoreTest, public ::testing::WithParamInterface<PageCase> {};

TEST_P(PageTest, holdsTheMessagesBeforeFromOldestFirst) {
  const PageCase& row = GetParam();
  auto repository = open();
  waitFor(repository->receive(smallRoom()));
  std::optional<Date> from;
  if (row.from) from = Date::since1970(*row.from);
  EXPECT_EQ(
      idsIn(waitFor(repository->retrieveChatMessages(row.room, from, std::nullopt, row.limit))),
      row.page);
}

constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
INSTANTIATE_TEST_SUITE_P(
    Pages, PageTest,
    ::testing::Values(PageCase{"newestWhenNoFrom", "r1", 1, std::nullopt, "y"},
                      PageCase{"growsToTakeEveryMessageOfItsOldestInstant", "r1", 2, std::nullopt,
                               "x1 x2 x3 y"},
                      PageCase{"strictlyBeforeFrom", "r1", 1, 200, "x1 x2 x3"},
                      PageCase{"undatedMessagesAreOlderThanAnyDate", "r1", 1, 100, "u1"},
                      PageCase{"limitIsAMaximum", "r1", 10, std::nullopt, "u1 x1 x2 x3 y"},
                      PageCase{"nothingBeforeTheOldest", "r1", 10, 50, "u1"},
                      PageCase{"zeroLimitIsAnEmptyPage", "r1", 0, std::nullopt, ""},
                      PageCase{"theLargestLimit", "r1", kLargest, 300, "u1 x1 x2 x3 y"},
                      PageCase{"aRoomWithNoMessages", "r2", 10, std::nullopt, ""}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- walking back through a whole room ----

struct Layout {
  const char* name;
  Messages (*messages)();
};

/// `count` messages a minute apart, `perInstant` at a time; every `undatedEvery`th undated (none
/// when 0); the identifiers out of order when `shuffled`.
Messages laidOut(int count, int perInstant, int undatedEvery, bool shuffled) {
  Messages messages;
  for (int i = 0; i < count; ++i) {
    std::optional<double> when;
    if (undatedEvery == 0 || i % undatedEvery != 0) when = 1795341600.0 + (i / perInstant) * 60;
    messages.push_back(textMessage("m" + std::to_string(1000 + (shuffled ? i * 37 % count : i)),
                                   "r1", when, "message " + std::to_string(i)));
  }
  return messages;
}

/// The room's order: undated first, then by createdAt, then by messageID.
std::vector<std::string> inRoomOrder(Messages messages) {
  std::sort(messages.begin(), messages.end(), [](const ChatMessage& a, const ChatMessage& b) {
    const auto key = [](const ChatMessage& m) {
      return std::tuple(m.createdAt.has_value(),
                        m.createdAt ? m.createdAt->timeIntervalSinceReferenceDate() : 0.0,
                        m.messageID);
    };
    return key(a) < key(b);
  });
  return idsOf(messages);
}

class WalkBackTest : public StoreTest,
                     public ::testing::WithParamInterface<std::tuple<Layout, std::uint64_t>> {};

TEST_P(WalkBackTest, meetsEveryMessageOnceInOrder) {
  const auto& [layout, limit] = GetParam();
  const Messages all = layout.messages();
  auto repository = open();
  waitFor(repository->receive(all));

  // As a client pages back: each page asked before the first message of the previous one, until
  // an empty page or one that reaches the undated messages.
  Messages walked;
  std::optional<Date> from;
  for (int pages = 0; pages < 1000; ++pages) {
    Messages page = waitFor(repository->retrieveChatMessages("r1", from, std::nullopt, limit));
    if (page.empty()) break;
    walked.insert(walked.begin(), page.begin(), page.end());
    if (!page.front().createdAt) break;
    from = page.front().createdAt;
  }
  EXPECT_EQ(idsOf(walked), inRoomOrder(all));
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, WalkBackTest,
    ::testing::Combine(
        ::testing::Values(Layout{"distinctInstants", [] { return laidOut(137, 1, 0, false); }},
                          Layout{"sharedInstants", [] { return laidOut(60, 3, 0, true); }},
                          Layout{"undatedAndDated", [] { return laidOut(50, 1, 3, false); }},
                          Layout{"oneInstant", [] { return laidOut(25, 25, 0, false); }},
                          Layout{"everyKind",
                                 [] {
                                   Messages messages = corpusMessages(400);
                                   for (auto& message : messages) message.roomID = "r1";
                                   return messages;
                                 }}),
        ::testing::Values<std::uint64_t>(1, 2, 3, 7, 50, 1000)),
    [](const auto& info) {
      return std::string(std::get<0>(info.param).name) + "_limit" +
             std::to_string(std::get<1>(info.param));
    });

// ---- the lurker token ----

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
