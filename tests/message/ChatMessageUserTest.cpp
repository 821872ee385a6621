#include "tovanel/chat/message/ChatMessageUser.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::RecordsReadBack;
using User = ChatMessageUser;

// A complete user object, in key order.
const test::Members kFullUser{
    {"id", R"("u1")"},          {"username", R"("anna")"},
    {"firstName", R"("Anna")"}, {"lastName", R"("Berg")"},
    {"bio", R"("hi")"},         {"avatarUrl", R"("https://cdn.example/a.png")"},
    {"followerCount", "3"},     {"followingCount", "4"},
};

std::vector<test::CodingRow> userRows() {
  using test::without;
  const auto user = &test::writtenBack<User>;
  const auto with = [](std::vector<test::MemberEdit> edits) {
    return test::objectWith(kFullUser, edits);
  };
  return {
      {"every key in key order", user,
       R"({"followingCount":4,"followerCount":3,"avatarUrl":)"
       R"("https://cdn.example/a.png","bio":"hi","lastName":"Berg","firstName":"Anna",)"
       R"("username":"anna","id":"u1"})",
       with({})},
      {"id absent", user, with({without("id")}), "keyNotFound at id"},
      {"firstName absent", user, with({without("firstName")}), "keyNotFound at firstName"},
      {"lastName null", user, with({{"lastName", "null"}}), "valueNotFound at lastName"},
      {"followerCount absent", user, with({without("followerCount")}),
       "keyNotFound at followerCount"},
      {"followingCount null", user, with({{"followingCount", "null"}}),
       "valueNotFound at followingCount"},
      {"avatarUrl an object", user, with({{"avatarUrl", R"({"url":"x"})"}}),
       "typeMismatch at avatarUrl"},
      {"optional texts absent or null", user,
       with({without("username"), {"bio", "null"}, without("avatarUrl"), {"avatarURL", R"("x")"}}),
       with({without("username"), without("bio"), without("avatarUrl")})},
      {"the first failure in key order", user,
       with({{"followingCount", "true"}, {"bio", "2"}, {"username", "5"}}),
       "typeMismatch at username"},
  };
}

INSTANTIATE_TEST_SUITE_P(Users, RecordsReadBack, testing::ValuesIn(userRows()), test::kRowName);

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

}  // namespace
}  // namespace tovanel::chat
