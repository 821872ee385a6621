#include "tovanel/chat/message/ChatMessageUser.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::decodingOutcome;
using test::encodeJson;
using User = ChatMessageUser;

// A complete user object, in key order.
const test::Members kFullUser{
    {"id", R"("u1")"},          {"username", R"("anna")"},
    {"firstName", R"("Anna")"}, {"lastName", R"("Berg")"},
    {"bio", R"("hi")"},         {"avatarUrl", R"("https://cdn.example/a.png")"},
    {"followerCount", "3"},     {"followingCount", "4"},
};

User anna() { return User("u1", "anna", "Anna", "Berg", "hi", "https://cdn.example/a.png", 3, 4); }

TEST(ChatMessageUser, ReadsAndWritesEveryFieldUnderItsKeyInKeyOrder) {
  EXPECT_EQ(decodeJson<User>(test::objectWith(kFullUser)), anna());
  EXPECT_EQ(encodeJson(anna()), test::objectWith(kFullUser));
  EXPECT_EQ(encodeJson(User("u1", {}, "A", "B", {}, {}, 3, 4)),
            R"({"id":"u1","firstName":"A","lastName":"B","followerCount":3,"followingCount":4})");
}

TEST(ChatMessageUser, EachKeyAbsentNullOrOfTheWrongType) {
  using test::without;
  const std::vector<test::EditCase> rows{
      {"id absent", {without("id")}, "keyNotFound at id"},
      {"id null", {{"id", "null"}}, "valueNotFound at id"},
      {"id a number", {{"id", "7"}}, "typeMismatch at id"},
      {"username absent", {without("username")}, test::kDecodes},
      {"username null", {{"username", "null"}}, test::kDecodes},
      {"username an array", {{"username", "[]"}}, "typeMismatch at username"},
      {"firstName absent", {without("firstName")}, "keyNotFound at firstName"},
      {"lastName null", {{"lastName", "null"}}, "valueNotFound at lastName"},
      {"bio null", {{"bio", "null"}}, test::kDecodes},
      {"bio a number", {{"bio", "1"}}, "typeMismatch at bio"},
      {"avatarUrl an object", {{"avatarUrl", R"({"url":"x"})"}}, "typeMismatch at avatarUrl"},
      {"followerCount absent", {without("followerCount")}, "keyNotFound at followerCount"},
      {"followerCount text", {{"followerCount", R"("3")"}}, "typeMismatch at followerCount"},
      {"followerCount fractional", {{"followerCount", "3.5"}}, "dataCorrupted at followerCount"},
      {"followerCount past 64 bits",
       {{"followerCount", "9223372036854775808"}},
       "dataCorrupted at followerCount"},
      {"followerCount largest", {{"followerCount", "9223372036854775807"}}, test::kDecodes},
      {"followingCount null", {{"followingCount", "null"}}, "valueNotFound at followingCount"},
      {"the first failure in key order wins",
       {{"followingCount", "true"}, {"bio", "2"}, {"username", "5"}},
       "typeMismatch at username"},
  };
  for (const auto& row : rows) test::expectOutcome<User>(kFullUser, row);
  EXPECT_EQ(decodingOutcome<User>("[]"), "typeMismatch");
}

TEST(ChatMessageUser, TheAvatarTravelsOnlyUnderAvatarUrl) {
  const auto avatarOf = [](std::string_view key) {
    return decodeJson<User>(
               test::objectWith(kFullUser, {test::without("avatarUrl"), {key, R"("x")"}}))
        .avatarURL;
  };
  EXPECT_EQ(avatarOf("avatarURL"), std::nullopt);
  EXPECT_EQ(avatarOf("avatarurl"), std::nullopt);
  EXPECT_EQ(avatarOf("avatarUrl"), "x");
}

TEST(ChatMessageUser, DecodesWhatItWritesWithEscapesAndExtremeCounters) {
  const User user("\u00e9\"\\/", " ", "\U0001F600", "Z\u0301", "line\nbreak", "", INT64_MIN,
                  INT64_MAX);
  EXPECT_EQ(decodeJson<User>(encodeJson(user)), user) << encodeJson(user);
}

TEST(ChatMessageUser, AtUsernameAndDeletionLookOnlyAtTheUsername) {
  struct Row {
    std::optional<std::string_view> json;  // the "username" value, or nothing
    std::optional<std::string> atUsername;
    bool deleted;
  };
  const Row rows[] = {{std::nullopt, std::nullopt, true},
                      {"null", std::nullopt, true},
                      {R"("")", std::nullopt, true},
                      {R"("anna")", "@anna", false},
                      {R"(" ")", "@ ", false},
                      {R"("@anna")", "@@anna", false}};
  for (const auto& row : rows) {
    // Empty names and zero counters do not count as deleted.
    const test::Members blank{{"id", R"("")"},
                              {"firstName", R"("")"},
                              {"lastName", R"("")"},
                              {"followerCount", "0"},
                              {"followingCount", "0"}};
    const auto user = decodeJson<User>(test::objectWith(blank, {{"username", row.json}}));
    EXPECT_EQ(std::pair(user.atUsername(), user.userWasDeletedOnTheBackend()),
              std::pair(row.atUsername, row.deleted))
        << row.json.value_or("(absent)");
  }
}

TEST(ChatMessageUser, EveryFieldAndItsPresenceTakePartInEqualityAndHash) {
  using Change = void (*)(User&);
  const std::pair<std::string_view, Change> rows[] = {
      {"id", [](User& u) { u.id = "u2"; }},
      {"username absent", [](User& u) { u.username.reset(); }},
      {"username empty", [](User& u) { u.username = ""; }},
      {"firstName", [](User& u) { u.firstName = "Ann"; }},
      {"lastName", [](User& u) { u.lastName = "Borg"; }},
      {"bio absent", [](User& u) { u.bio.reset(); }},
      {"avatarURL", [](User& u) { u.avatarURL = "b"; }},
      {"followerCount", [](User& u) { u.followerCount = 30; }},
      {"followingCount", [](User& u) { u.followingCount = 3; }},
  };
  for (const auto& [field, change] : rows) {
    User other = anna();
    change(other);
    EXPECT_EQ(std::pair(other == anna(), other.hashValue() == anna().hashValue()),
              std::pair(false, false))
        << field;
  }
}

TEST(ChatMessageUser, CanonicallyEquivalentTextIsEqualAndHashesAlike) {
  test::expectEquality<User>(
      {"equivalent names",
       R"({"id":"u","username":"jos\u00e9","firstName":"A","lastName":"B","followerCount":1,"followingCount":2})",
       R"({"id":"u","username":"jose\u0301","firstName":"A","lastName":"B","followerCount":1,"followingCount":2})",
       true});
}

}  // namespace
}  // namespace tovanel::chat
