// The message records beyond their field tables (FieldTablesTest.cpp): the user's name, and
// ChatMessage and MessageSentStatus, which have no JSON form.

#include <bit>
#include <chrono>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using User = ChatMessageUser;

// Empty names and zero counters do not count as deleted.
TEST(ChatMessageUser, AtUsernameAndDeletionLookOnlyAtTheUsername) {
  const std::string blank =
      R"({"id":"","firstName":"","lastName":"","followerCount":0,"followingCount":0)";
  const std::tuple<std::string_view, std::optional<std::string>, bool> rows[] = {
      {"", std::nullopt, true},
      {R"(,"username":null)", std::nullopt, true},
      {R"(,"username":"")", std::nullopt, true},
      {R"(,"username":"anna")", "@anna", false},
      {R"(,"username":" ")", "@ ", false},
      {R"(,"username":"@anna")", "@@anna", false}};
  for (const auto& [username, atUsername, deleted] : rows) {
    const auto user = JSONDecoder().decode<User>(blank + std::string(username) + "}");
    EXPECT_EQ(std::pair(user.atUsername(), user.userWasDeletedOnTheBackend()),
              std::pair(atUsername, deleted))
        << username;
  }
}

/// The token of a double as the hasher is fed it.
std::string bits(double value) { return "w" + std::to_string(std::bit_cast<std::uint64_t>(value)); }

ChatMessageUser anna() {
  return ChatMessageUser("u1", "anna", "Anna", "Berg", "hi", "https://cdn.example/a.png", 3, 4);
}
const std::string kAnnaInput =
    "'u1' b1 'anna' 'Anna' 'Berg' b1 'hi' b1 'https://cdn.example/a.png' w3 w4";

Body helloBody() { return Body(TextBody("hello", std::nullopt)); }

ChatMessage sample() {
  return ChatMessage(helloBody(), Date::since1970(1795341600), "c-1", "m-1", "r-1", BodyType::text,
                     Date::since1970(1795341601.5), anna(), 7, MessageSentStatus::sent);
}

// The one recorded input of the family.
TEST(ChatMessageHash, FeedsTheTenFieldsInDeclarationOrder) {
  ChatMessage message = sample();
  message.sentStatus = MessageSentStatus::failed;
  EXPECT_EQ(test::hashLine(message),
            "w9 'hello' b0 b1 " + bits(1795341600.0 - 978307200.0) +   // body, createdAt
                " b1 'c-1' 'm-1' 'r-1' 'text' b1 " +                   // IDs, type
                bits(1795341601.5 - 978307200.0) + " " + kAnnaInput +  // updatedAt, user
                " b1 w7 w32:2");                                       // viewCount, sentStatus
}

// A change to any field makes a message different with a different hash; the same values built
// in other ways make an equal one with an equal hash.
TEST(ChatMessageEquality, EveryFieldTakesPartAndHashesFollow) {
  using Change = void (*)(ChatMessage&);
  const std::tuple<std::string_view, Change, bool> cases[] = {
      {"body", [](ChatMessage& m) { m.body = Body(TextBody("hullo", std::nullopt)); }, false},
      {"createdAt", [](ChatMessage& m) { m.createdAt = Date::since1970(1795341600.001); }, false},
      {"clientID", [](ChatMessage& m) { m.clientID = "c-2"; }, false},
      {"messageID", [](ChatMessage& m) { m.messageID = "m-2"; }, false},
      {"roomID", [](ChatMessage& m) { m.roomID = "r-2"; }, false},
      {"type", [](ChatMessage& m) { m.type = BodyType::images; }, false},
      {"updatedAt", [](ChatMessage& m) { m.updatedAt = Date::since1970(0); }, false},
      {"user", [](ChatMessage& m) { m.user.bio = "hello"; }, false},
      {"viewCount", [](ChatMessage& m) { m.viewCount = 8; }, false},
      {"sentStatus", [](ChatMessage& m) { m.sentStatus = MessageSentStatus::sending; }, false},
      {"the body in another allocation", [](ChatMessage& m) { m.body = helloBody(); }, true},
      {"the same instant from the reference date",
       [](ChatMessage& m) { m.createdAt = Date::sinceReferenceDate(1795341600.0 - 978307200.0); },
       true},
      {"the user rebuilt", [](ChatMessage& m) { m.user = anna(); }, true},
      {"no clientID", [](ChatMessage& m) { m.clientID.reset(); }, false},
  };
  for (const auto& [what, change, equal] : cases) {
    ChatMessage other = sample();
    change(other);
    EXPECT_EQ(std::pair(other == sample(), other.hashValue() == sample().hashValue()),
              std::pair(equal, equal))
        << what;
  }
  // Minus zero is the instant zero; texts compare, and are fed, in their canonical form.
  ChatMessage plus = sample(), minus = sample();
  plus.createdAt = Date::sinceReferenceDate(0.0), minus.createdAt = Date::sinceReferenceDate(-0.0);
  plus.clientID = "caf\u00e9", minus.clientID = "cafe\u0301";
  EXPECT_TRUE(plus == minus && test::hashLine(plus) == test::hashLine(minus));
}

// A status is made only from its three raw values, and a kind only from its exact text: not another
// spelling, nor the text with more around it.
TEST(RawValue, OnlyTheExactValueNamesACase) {
  const std::pair<std::int64_t, std::optional<MessageSentStatus>> cases[] = {
      {2, MessageSentStatus::failed},
      {3, std::nullopt},
      {-1, std::nullopt},
      // Would be 0 and 1 if cut to 32 bits.
      {std::int64_t{1} << 32, std::nullopt},
  };
  for (const auto& [raw, expected] : cases) {
    EXPECT_EQ(fromRawValue<MessageSentStatus>(raw), expected) << raw;
  }
  EXPECT_EQ(fromRawValue<MessageSentStatus>(std::uint64_t{2}), MessageSentStatus::failed);
  EXPECT_EQ(fromRawValue<MessageSentStatus>(std::numeric_limits<std::uint64_t>::max()),
            std::nullopt);
  for (const std::string_view text : std::initializer_list<std::string_view>{
           "", "Room_created", " room_created", "room_created ", "roomCreated",
           std::string_view("room_created\0", 13)}) {
    EXPECT_EQ(fromRawValue<InfoType>(text), std::nullopt) << '"' << text << '"';
  }
  EXPECT_EQ(fromRawValue<InfoType>("room_created"), InfoType::roomCreated);
}

}  // namespace
}  // namespace tovanel::chat
