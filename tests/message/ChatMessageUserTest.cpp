#include "tovanel/chat/message/ChatMessageUser.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/CodingCases.hpp"

namespace tovanel::chat {
namespace {

using testing::decode;
using testing::decodingOutcome;
using testing::encode;

// The members of a complete user object, in key order, as raw JSON values.
const std::vector<std::pair<std::string, std::string>> kFullUser{
    {"id", R"("u1")"},          {"username", R"("anna")"},
    {"firstName", R"("Anna")"}, {"lastName", R"("Berg")"},
    {"bio", R"("hi")"},         {"avatarUrl", R"("https://cdn.example/a.png")"},
    {"followerCount", "3"},     {"followingCount", "4"},
};

/// The complete user object with one member replaced by `value`, or left out when `value` is
/// empty.
std::string userJson(std::string_view key, std::optional<std::string_view> value) {
  std::string json = "{";
  for (const auto& [name, raw] : kFullUser) {
    const bool replaced = name == key;
    if (replaced && !value) continue;
    if (json.size() > 1) json += ',';
    json += '"' + name + "\":" + std::string(replaced ? *value : std::string_view(raw));
  }
  return json + "}";
}

ChatMessageUser anna() {
  return ChatMessageUser("u1", "anna", "Anna", "Berg", "hi", "https://cdn.example/a.png", 3, 4);
}

struct KeyCase {
  std::string_view key;
  std::optional<std::string_view> value;  // nothing: the key is left out
  std::string_view expected;              // the outcome: "decoded" or "<kind> at <path>"
};

TEST(ChatMessageUserDecoding, EachKeyAbsentNullOrOfTheWrongType) {
  const KeyCase cases[] = {
      {"id", std::nullopt, "keyNotFound at id"},
      {"id", "null", "valueNotFound at id"},
      {"id", "7", "typeMismatch at id"},
      {"username", std::nullopt, "decoded"},
      {"username", "null", "decoded"},
      {"username", "[]", "typeMismatch at username"},
      {"firstName", std::nullopt, "keyNotFound at firstName"},
      {"firstName", "null", "valueNotFound at firstName"},
      {"firstName", "{}", "typeMismatch at firstName"},
      {"lastName", std::nullopt, "keyNotFound at lastName"},
      {"lastName", "null", "valueNotFound at lastName"},
      {"lastName", "false", "typeMismatch at lastName"},
      {"bio", std::nullopt, "decoded"},
      {"bio", "null", "decoded"},
      {"bio", "1", "typeMismatch at bio"},
      {"avatarUrl", std::nullopt, "decoded"},
      {"avatarUrl", "null", "decoded"},
      {"avatarUrl", R"({"url":"x"})", "typeMismatch at avatarUrl"},
      {"followerCount", std::nullopt, "keyNotFound at followerCount"},
      {"followerCount", "null", "valueNotFound at followerCount"},
      {"followerCount", R"("3")", "typeMismatch at followerCount"},
      {"followerCount", "3.5", "dataCorrupted at followerCount"},
      {"followerCount", "9223372036854775808", "dataCorrupted at followerCount"},
      {"followerCount", "9223372036854775807", "decoded"},
      {"followerCount", "-1", "decoded"},
      {"followingCount", std::nullopt, "keyNotFound at followingCount"},
      {"followingCount", "null", "valueNotFound at followingCount"},
      {"followingCount", "true", "typeMismatch at followingCount"},
  };
  for (const auto& row : cases) {
    const std::string json = userJson(row.key, row.value);
    EXPECT_EQ(decodingOutcome<ChatMessageUser>(json), row.expected) << json;
  }
}

TEST(ChatMessageUserDecoding, StopsAtTheFirstFailingKeyInKeyOrder) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      // Several keys fail; the one read first decides.
      {R"({"firstName":null,"lastName":"B","followerCount":1,"followingCount":1})",
       "keyNotFound at id"},
      {R"({"id":"u","username":5,"lastName":1,"followerCount":1,"followingCount":1})",
       "typeMismatch at username"},
      {R"({"id":"u","firstName":"A","lastName":"B","bio":2,"avatarUrl":3})", "typeMismatch at bio"},
      {R"({"id":"u","firstName":"A","lastName":"B","followingCount":"x"})",
       "keyNotFound at followerCount"},
      // The value itself is not an object.
      {R"("u1")", "typeMismatch at "},
      {"[]", "typeMismatch at "},
      {"null", "valueNotFound at "},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decodingOutcome<ChatMessageUser>(json), expected) << json;
  }
}

TEST(ChatMessageUserDecoding, ReadsEveryFieldFromItsKey) {
  EXPECT_EQ(decode<ChatMessageUser>(userJson("", std::nullopt)), anna());
}

TEST(ChatMessageUserDecoding, TheAvatarTravelsOnlyUnderAvatarUrl) {
  const std::pair<std::string_view, std::optional<std::string>> cases[] = {
      {R"({"id":"u","firstName":"A","lastName":"B","followerCount":0,"followingCount":0,
           "avatarURL":"x"})",
       std::nullopt},
      {R"({"id":"u","firstName":"A","lastName":"B","followerCount":0,"followingCount":0,
           "avatarURL":"x","avatarUrl":"y"})",
       "y"},
      {R"({"id":"u","firstName":"A","lastName":"B","followerCount":0,"followingCount":0,
           "avatarurl":"x"})",
       std::nullopt},
      // Stored as text, not parsed as a link.
      {R"({"id":"u","firstName":"A","lastName":"B","followerCount":0,"followingCount":0,
           "avatarUrl":"not a link"})",
       "not a link"},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(decode<ChatMessageUser>(json).avatarURL, expected) << json;
  }
}

TEST(ChatMessageUserEncoding, WritesPresentFieldsInKeyOrderAndNoNulls) {
  const std::pair<ChatMessageUser, std::string_view> cases[] = {
      {ChatMessageUser("u1", std::nullopt, "Anna", "Berg", std::nullopt, std::nullopt, 3, 4),
       R"({"id":"u1","firstName":"Anna","lastName":"Berg","followerCount":3,"followingCount":4})"},
      {anna(), R"({"id":"u1","username":"anna","firstName":"Anna","lastName":"Berg","bio":"hi",)"
               R"("avatarUrl":"https://cdn.example/a.png","followerCount":3,"followingCount":4})"},
      {ChatMessageUser("u2", "", "", "", "", std::nullopt, 0, -1),
       R"({"id":"u2","username":"","firstName":"","lastName":"","bio":"","followerCount":0,)"
       R"("followingCount":-1})"},
  };
  for (const auto& [user, expected] : cases) EXPECT_EQ(encode(user), expected);
}

TEST(ChatMessageUserEncoding, DecodingWhatWasWrittenGivesAnEqualUser) {
  const ChatMessageUser users[] = {
      anna(),
      ChatMessageUser("u1", std::nullopt, "A", "B", std::nullopt, std::nullopt, 0, 0),
      ChatMessageUser("\u00e9\"\\/", " ", "\U0001F600", "Z\u0301", "line\nbreak", "", INT64_MIN,
                      INT64_MAX),
  };
  for (const auto& user : users) {
    EXPECT_EQ(decode<ChatMessageUser>(encode(user)), user) << encode(user);
  }
}

struct UsernameCase {
  std::string_view json;  // the "username" member, or nothing
  std::optional<std::string> atUsername;
  bool deleted;
};

TEST(ChatMessageUser, AtUsernameAndDeletionLookOnlyAtTheUsername) {
  const UsernameCase cases[] = {
      {"", std::nullopt, true},
      {R"("username":null,)", std::nullopt, true},
      {R"("username":"",)", std::nullopt, true},
      {R"("username":"anna",)", "@anna", false},
      {R"("username":" ",)", "@ ", false},
      {R"("username":"@anna",)", "@@anna", false},
      {R"("username":"\u00e9",)", "@\u00e9", false},
  };
  for (const auto& row : cases) {
    // Empty names and zero counters do not count as deleted.
    const std::string json = std::string("{") + std::string(row.json) +
                             R"("id":"","firstName":"","lastName":"","followerCount":0,)"
                             R"("followingCount":0})";
    const auto user = decode<ChatMessageUser>(json);
    EXPECT_EQ(std::pair(user.atUsername(), user.userWasDeletedOnTheBackend()),
              std::pair(row.atUsername, row.deleted))
        << json;
  }
}

TEST(ChatMessageUserCodingKeys, HaveExactlyTheEightJSONKeysAsRawValues) {
  using Keys = ChatMessageUser::CodingKeys;
  const std::pair<Keys, std::string_view> cases[] = {
      {Keys::id, "id"},
      {Keys::username, "username"},
      {Keys::firstName, "firstName"},
      {Keys::lastName, "lastName"},
      {Keys::bio, "bio"},
      {Keys::avatarURL, "avatarUrl"},
      {Keys::followerCount, "followerCount"},
      {Keys::followingCount, "followingCount"},
  };
  static_assert(RawValues<Keys>::values.size() == 8);
  for (const auto& [key, raw] : cases) {
    EXPECT_EQ(std::pair(stringValue(key), fromRawValue<Keys>(raw)),
              std::pair(raw, std::optional(key)));
  }
}

TEST(ChatMessageUserCodingKeys, AcceptNoOtherStringAndNoInteger) {
  using Keys = ChatMessageUser::CodingKeys;
  for (const std::string_view text :
       {"avatarURL", "AvatarUrl", "ID", "", "id ", "follower_count"}) {
    EXPECT_EQ(fromRawValue<Keys>(text), std::nullopt) << text;
  }
  for (const int number : {0, 1, 5, 7, -1}) {
    EXPECT_EQ(codingKeyFromInt<Keys>(number), std::nullopt) << number;
  }
  EXPECT_EQ(intValue(Keys::id), std::nullopt);
}

TEST(ChatMessageUserEquality, EveryFieldTakesPartAndHashesFollow) {
  using Change = void (*)(ChatMessageUser&);
  const std::pair<std::string_view, Change> cases[] = {
      {"id", [](ChatMessageUser& u) { u.id = "u2"; }},
      {"username", [](ChatMessageUser& u) { u.username = "anne"; }},
      {"username absent", [](ChatMessageUser& u) { u.username.reset(); }},
      {"username empty", [](ChatMessageUser& u) { u.username = ""; }},
      {"firstName", [](ChatMessageUser& u) { u.firstName = "Ann"; }},
      {"lastName", [](ChatMessageUser& u) { u.lastName = "Borg"; }},
      {"bio", [](ChatMessageUser& u) { u.bio = "hello"; }},
      {"bio absent", [](ChatMessageUser& u) { u.bio.reset(); }},
      {"avatarURL", [](ChatMessageUser& u) { u.avatarURL = "https://cdn.example/b.png"; }},
      {"followerCount", [](ChatMessageUser& u) { u.followerCount = 30; }},
      {"followingCount", [](ChatMessageUser& u) { u.followingCount = 3; }},
  };
  for (const auto& [field, change] : cases) {
    ChatMessageUser other = anna();
    change(other);
    EXPECT_EQ(std::pair(other == anna(), other.hashValue() == anna().hashValue()),
              std::pair(false, false))
        << field;
  }
}

TEST(ChatMessageUserEquality, CanonicallyEquivalentTextIsEqualAndHashesAlike) {
  const ChatMessageUser precomposed("u1", "jos\u00e9", "Jos\u00e9", "B", std::nullopt, std::nullopt,
                                    1, 2);
  const ChatMessageUser decomposed("u1", "jose\u0301", "Jose\u0301", "B", std::nullopt,
                                   std::nullopt, 1, 2);
  EXPECT_EQ(std::pair(precomposed == decomposed, precomposed.hashValue() == decomposed.hashValue()),
            std::pair(true, true));
}

}  // namespace
}  // namespace tovanel::chat
