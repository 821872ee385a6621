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
#include <utility>
#include <variant>
#include <vector>

#include "tovanel/chat/body/content/ImagesBody.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/body/content/VideoBody.hpp"
#include "tovanel/chat/message/MessageSentStatus.hpp"
#include "tovanel/chat/message/NewChatMessage.hpp"

namespace tovanel::chat {
namespace {

// A hasher that keeps what it is fed, to compare against the exact expected input.
struct RecordingHasher {
  using Entry = std::variant<std::uint8_t, std::uint32_t, std::uint64_t, std::string>;
  std::vector<Entry> input;

  void combine(std::uint8_t byte) { input.emplace_back(byte); }
  void combine(std::uint32_t word) { input.emplace_back(word); }
  void combine(std::uint64_t word) { input.emplace_back(word); }
  void combineString(std::string_view text) { input.emplace_back(std::string(text)); }
};

using Input = std::vector<RecordingHasher::Entry>;

Input operator+(Input a, const Input& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Input byte(std::uint8_t value) { return {value}; }
Input word32(std::uint32_t value) { return {value}; }
Input word64(std::uint64_t value) { return {value}; }
Input text(std::string value) { return {std::move(value)}; }
Input present(const Input& value) { return byte(1) + value; }
Input absent() { return byte(0); }
Input date(double secondsSinceReferenceDate) {
  return word64(std::bit_cast<std::uint64_t>(secondsSinceReferenceDate));
}

template <class T>
Input inputOf(const T& value) {
  RecordingHasher hasher;
  value.hashInto(hasher);
  return hasher.input;
}

ChatMessageUser anna() {
  return ChatMessageUser("u1", "anna", "Anna", "Berg", "hi", "https://cdn.example/a.png", 3, 4);
}
const Input kAnnaInput = text("u1") + present(text("anna")) + text("Anna") + text("Berg") +
                         present(text("hi")) + present(text("https://cdn.example/a.png")) +
                         word64(3) + word64(4);

ChatMessageUser bob() {
  return ChatMessageUser("u2", std::nullopt, "Bob", "", std::nullopt, std::nullopt, 0, 9);
}
const Input kBobInput =
    text("u2") + absent() + text("Bob") + text("") + absent() + absent() + word64(0) + word64(9);

Body helloBody() { return Body(TextBody("hello", std::nullopt)); }

ChatMessage sample() {
  return ChatMessage(helloBody(), Date::since1970(1795341600), "c-1", "m-1", "r-1", BodyType::text,
                     Date::since1970(1795341601.5), anna(), 7, MessageSentStatus::sent);
}

TEST(ChatMessageHash, FeedsTheTenFieldsInDeclarationOrder) {
  const Image wide(200, 100, "https://cdn.example/w.png", std::nullopt);
  const Image empty(std::nullopt, std::nullopt, std::nullopt, std::nullopt);
  const std::pair<ChatMessage, Input> cases[] = {
      {ChatMessage(helloBody(), Date::since1970(1795341600), "c-1", "m-1", "r-1", BodyType::text,
                   Date::since1970(1795341601.5), anna(), 7, MessageSentStatus::failed),
       word64(9) + text("hello") + absent()                    // body: text, no mentions
           + present(date(1795341600.0 - 978307200.0))         // createdAt
           + present(text("c-1")) + text("m-1") + text("r-1")  // clientID, messageID, roomID
           + text("text")                                      // type
           + present(date(1795341601.5 - 978307200.0))         // updatedAt
           + kAnnaInput + present(word64(7)) + word32(2)},
      // The kind is fed as its raw string, whatever the body holds.
      {ChatMessage(Body(ImagesBody({wide, empty})), std::nullopt, std::nullopt, "m-2", "r-1",
                   BodyType::video, std::nullopt, bob(), std::nullopt, MessageSentStatus::sending),
       word64(5) + word64(2)                                        // images, count
           + present(word64(200)) + present(word64(100))            // first image
           + present(text("https://cdn.example/w.png")) + absent()  // its links
           + absent() + absent() + absent() + absent()              // second image
           + absent() + absent() + text("m-2") + text("r-1") + text("video") + absent() +
           kBobInput + absent() + word32(1)},
      // Minus zero is fed as plus zero, text as its canonical form, -1 as an unsigned word.
      {ChatMessage(Body(VideoBody(Video(std::nullopt, std::nullopt, "v", 30.0), std::nullopt)),
                   Date::sinceReferenceDate(-0.0), "cafe\u0301", "m-3", "r-2", BodyType::video,
                   std::nullopt, bob(), -1, MessageSentStatus::sent),
       word64(12) +
           present(absent() + absent() + present(text("v")) +
                   present(word64(std::bit_cast<std::uint64_t>(30.0)))) +
           absent()  // video body: clip, no thumbnail
           + present(word64(0)) + present(text("caf\u00e9")) + text("m-3") + text("r-2") +
           text("video") + absent() + kBobInput +
           present(word64(std::numeric_limits<std::uint64_t>::max())) + word32(0)},
      {ChatMessage(Body::vimeo(), std::nullopt, "", "", "", BodyType::vimeo, std::nullopt, bob(), 0,
                   MessageSentStatus::sent),
       word64(13) + absent() + present(text("")) + text("") + text("") + text("vimeo") + absent() +
           kBobInput + present(word64(0)) + word32(0)},
  };
  for (const auto& [message, expected] : cases) {
    EXPECT_EQ(inputOf(message), expected) << message.messageID;
  }
}

TEST(ChatMessageEquality, EveryFieldTakesPartAndHashesFollow) {
  using Change = void (*)(ChatMessage&);
  const std::pair<std::string_view, Change> cases[] = {
      {"body", [](ChatMessage& m) { m.body = Body(TextBody("hullo", std::nullopt)); }},
      {"body kind", [](ChatMessage& m) { m.body = Body::vimeo(); }},
      {"createdAt", [](ChatMessage& m) { m.createdAt = Date::since1970(1795341600.001); }},
      {"createdAt absent", [](ChatMessage& m) { m.createdAt.reset(); }},
      {"clientID", [](ChatMessage& m) { m.clientID = "c-2"; }},
      {"clientID absent", [](ChatMessage& m) { m.clientID.reset(); }},
      {"messageID", [](ChatMessage& m) { m.messageID = "m-2"; }},
      {"roomID", [](ChatMessage& m) { m.roomID = "r-2"; }},
      {"type", [](ChatMessage& m) { m.type = BodyType::images; }},
      {"updatedAt", [](ChatMessage& m) { m.updatedAt = Date::since1970(0); }},
      {"updatedAt absent", [](ChatMessage& m) { m.updatedAt.reset(); }},
      {"user", [](ChatMessage& m) { m.user.bio = "hello"; }},
      {"viewCount", [](ChatMessage& m) { m.viewCount = 8; }},
      {"viewCount absent", [](ChatMessage& m) { m.viewCount.reset(); }},
      {"sentStatus", [](ChatMessage& m) { m.sentStatus = MessageSentStatus::sending; }},
  };
  for (const auto& [field, change] : cases) {
    ChatMessage other = sample();
    change(other);
    EXPECT_EQ(std::pair(other == sample(), other.hashValue() == sample().hashValue()),
              std::pair(false, false))
        << field;
  }
}

TEST(ChatMessageEquality, EqualValuesBuiltDifferentlyAreEqualAndHashAlike) {
  using Change = void (*)(ChatMessage&);
  const std::pair<std::string_view, Change> cases[] = {
      {"the body in another allocation", [](ChatMessage& m) { m.body = helloBody(); }},
      {"the same instant from the reference date",
       [](ChatMessage& m) { m.createdAt = Date::sinceReferenceDate(1795341600.0 - 978307200.0); }},
      {"the same instant from the system clock",
       [](ChatMessage& m) {
         m.createdAt =
             Date(std::chrono::system_clock::time_point(std::chrono::seconds(1795341600)));
       }},
      {"the user rebuilt", [](ChatMessage& m) { m.user = anna(); }},
  };
  for (const auto& [what, change] : cases) {
    ChatMessage other = sample();
    change(other);
    EXPECT_EQ(std::pair(other == sample(), other.hashValue() == sample().hashValue()),
              std::pair(true, true))
        << what;
  }
}

TEST(ChatMessageEquality, TextComparesByCanonicalEquivalence) {
  ChatMessage precomposed = sample();
  precomposed.roomID = "caf\u00e9";
  ChatMessage decomposed = sample();
  decomposed.roomID = "cafe\u0301";
  EXPECT_EQ(std::pair(precomposed == decomposed, precomposed.hashValue() == decomposed.hashValue()),
            std::pair(true, true));
}

TEST(ChatMessage, KeepsAKindThatDisagreesWithItsBody) {
  const ChatMessage message(helloBody(), std::nullopt, std::nullopt, "m", "r", BodyType::images,
                            std::nullopt, anna(), std::nullopt, MessageSentStatus::sent);
  EXPECT_EQ(std::pair(message.type, message.body.bodyType()),
            std::pair(BodyType::images, BodyType::text));
}

TEST(MessageSentStatus, IsMadeOnlyFromItsThreeRawValues) {
  const std::pair<std::int64_t, std::optional<MessageSentStatus>> cases[] = {
      {0, MessageSentStatus::sent},
      {1, MessageSentStatus::sending},
      {2, MessageSentStatus::failed},
      {3, std::nullopt},
      {-1, std::nullopt},
      {std::numeric_limits<std::int32_t>::min(), std::nullopt},
      {std::numeric_limits<std::int32_t>::max(), std::nullopt},
      // Would be 0 and 1 if cut to 32 bits.
      {std::int64_t{1} << 32, std::nullopt},
      {(std::int64_t{1} << 32) + 1, std::nullopt},
  };
  for (const auto& [raw, expected] : cases) {
    EXPECT_EQ(fromRawValue<MessageSentStatus>(raw), expected) << raw;
  }
  EXPECT_EQ(fromRawValue<MessageSentStatus>(std::uint64_t{2}), MessageSentStatus::failed);
  EXPECT_EQ(fromRawValue<MessageSentStatus>(std::numeric_limits<std::uint64_t>::max()),
            std::nullopt);
}

TEST(MessageSentStatus, FeedsItsRawValueAsA32BitWord) {
  const std::pair<MessageSentStatus, std::int32_t> cases[] = {
      {MessageSentStatus::sent, 0},
      {MessageSentStatus::sending, 1},
      {MessageSentStatus::failed, 2},
  };
  static_assert(std::is_same_v<decltype(rawValue(MessageSentStatus::sent)), std::int32_t>);
  for (const auto& [status, raw] : cases) {
    RecordingHasher hasher;
    hashInto(hasher, status);
    EXPECT_EQ(std::pair(rawValue(status), hasher.input),
              std::pair(raw, word32(static_cast<std::uint32_t>(raw))))
        << raw;
  }
  EXPECT_NE(hashValue(MessageSentStatus::sent), hashValue(MessageSentStatus::sending));
}

TEST(NewChatMessage, StoresABodyOrATextBodyWithItsRoom) {
  const TextBody text("hello", std::vector<TextBody::Mention>{{"u1", 0, 5}});
  const NewChatMessage fromText("r-1", text);
  ASSERT_EQ(fromText.body.bodyType(), BodyType::text);
  EXPECT_EQ(std::pair(*fromText.body.get<TextBody>(), fromText.roomID),
            std::pair(text, std::string("r-1")));

  const Body images(ImagesBody(std::vector<Image>{}));
  const NewChatMessage fromBody(images, "r-2");
  EXPECT_EQ(std::pair(fromBody.body, fromBody.roomID), std::pair(images, std::string("r-2")));
}

}  // namespace
}  // namespace tovanel::chat
