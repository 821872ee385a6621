// ChatMessage, MessageSentStatus and NewChatMessage: the message records without a JSON form.

#include "tovanel/chat/message/ChatMessage.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "support/RecordingHasher.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/body/content/VideoBody.hpp"
#include "tovanel/chat/message/MessageSentStatus.hpp"
#include "tovanel/chat/message/NewChatMessage.hpp"

namespace tovanel::chat {
namespace {

/// The token of a double as the hasher is fed it.
std::string bits(double value) { return "w" + std::to_string(std::bit_cast<std::uint64_t>(value)); }

ChatMessageUser anna() {
  return ChatMessageUser("u1", "anna", "Anna", "Berg", "hi", "https://cdn.example/a.png", 3, 4);
}
const std::string kAnnaInput =
    "'u1' b1 'anna' 'Anna' 'Berg' b1 'hi' b1 'https://cdn.example/a.png' w3 w4";

ChatMessageUser bob() {
  return ChatMessageUser("u2", std::nullopt, "Bob", "", std::nullopt, std::nullopt, 0, 9);
}
const std::string kBobInput = "'u2' b0 'Bob' '' b0 b0 w0 w9";

Body helloBody() { return Body(TextBody("hello", std::nullopt)); }

ChatMessage sample() {
  return ChatMessage(helloBody(), Date::since1970(1795341600), "c-1", "m-1", "r-1", BodyType::text,
                     Date::since1970(1795341601.5), anna(), 7, MessageSentStatus::sent);
}

TEST(ChatMessageHash, FeedsTheTenFieldsInDeclarationOrder) {
  const std::pair<ChatMessage, std::string> cases[] = {
      {ChatMessage(helloBody(), Date::since1970(1795341600), "c-1", "m-1", "r-1", BodyType::text,
                   Date::since1970(1795341601.5), anna(), 7, MessageSentStatus::failed),
       "w9 'hello' b0 b1 " + bits(1795341600.0 - 978307200.0) +   // body, createdAt
           " b1 'c-1' 'm-1' 'r-1' 'text' b1 " +                   // IDs, type
           bits(1795341601.5 - 978307200.0) + " " + kAnnaInput +  // updatedAt, user
           " b1 w7 w32:2"},                                       // viewCount, sentStatus
      // Minus zero is fed as plus zero, text as its canonical form, -1 as an unsigned word.
      {ChatMessage(Body(VideoBody(Video(std::nullopt, std::nullopt, "v", 30.0), std::nullopt)),
                   Date::sinceReferenceDate(-0.0), "cafe\u0301", "m-3", "r-2", BodyType::video,
                   std::nullopt, bob(), -1, MessageSentStatus::sent),
       "w12 b1 b0 b0 b1 'v' b1 " + bits(30.0) + " b0 b1 w0 b1 'caf\u00e9' 'm-3' 'r-2' 'video' b0 " +
           kBobInput + " b1 w18446744073709551615 w32:0"},
  };
  for (const auto& [message, expected] : cases) {
    EXPECT_EQ(test::hashLine(message), expected) << message.messageID;
  }
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
  };
  for (const auto& [what, change, equal] : cases) {
    ChatMessage other = sample();
    change(other);
    EXPECT_EQ(std::pair(other == sample(), other.hashValue() == sample().hashValue()),
              std::pair(equal, equal))
        << what;
  }
}

TEST(NewChatMessage, OfATextIsATextBody) {
  EXPECT_EQ(NewChatMessage("r-1", TextBody("hi", std::nullopt)).body, Body(TextBody("hi", {})));
}

TEST(MessageSentStatus, IsMadeOnlyFromItsThreeRawValues) {
  const std::pair<std::int64_t, std::optional<MessageSentStatus>> cases[] = {
      {0, MessageSentStatus::sent},
      {1, MessageSentStatus::sending},
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
}

}  // namespace
}  // namespace tovanel::chat
