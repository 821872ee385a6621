// Key lookups in an object: by name on a plain container, and by a record's key table. Both must
// find the same member, the last of repeated keys, across the ways keys can nearly match.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {
namespace {

struct LookupRow {
  const char* name;
  std::string json;                     // an object of integers
  std::vector<std::string_view> table;  // the keys a record would read
  std::string_view key;
  std::optional<std::int64_t> value;  // nothing: the key is absent
};

// An object of `count` members "k0": 0, "k1": 1, ..., then the members `tail`, if any.
std::string manyMembers(int count, const std::string& tail) {
  std::string json = "{";
  for (int i = 0; i < count; ++i) {
    if (i > 0) json += ',';
    json += "\"k" + std::to_string(i) + "\":" + std::to_string(i);
  }
  if (!tail.empty()) json += "," + tail;
  return json + "}";
}

const std::vector<LookupRow> kLookupRows{
    {"Present", R"({"a":1,"bb":2})", {"a", "bb"}, "bb", 2},
    {"Absent", R"({"a":1,"bb":2})", {"a", "bb", "c"}, "c", std::nullopt},
    {"RepeatedKeyLastWins", R"({"a":1,"bb":2,"a":3})", {"a", "bb"}, "a", 3},
    {"RepeatedKeyOutOfTableOrder", R"({"bb":1,"a":2,"bb":4})", {"a", "bb"}, "bb", 4},
    {"EmptyKey", R"({"":7,"a":1})", {"a", ""}, "", 7},
    {"SameSizeDifferentBytes", R"({"ab":1})", {"ba", "ab"}, "ba", std::nullopt},
    {"PrefixOfAKey", R"({"urls":1})", {"url", "urls"}, "url", std::nullopt},
    {"EightBytes", R"({"abcdefgh":8,"abcdefgi":9})", {"abcdefgh", "abcdefgi"}, "abcdefgi", 9},
    {"DifferAfterEightBytes",
     R"({"followerCountX":1,"followerCountY":2})",
     {"followerCountY", "followerCountX"},
     "followerCountY",
     2},
    {"KeyOutsideTheTable", R"({"a":1,"other":5})", {"a"}, "other", 5},
    {"KeyOutsideTheTableRepeated", R"({"other":1,"a":1,"other":6})", {"a"}, "other", 6},
    {"UnicodeKey", R"({"café":1,"cafe":2})", {"cafe", "café"}, "café", 1},
    {"ManyMembers", manyMembers(20, R"("k3":33)"), {"k3", "k19"}, "k3", 33},
    {"ManyMembersAbsent", manyMembers(20, ""), {"k3", "k20"}, "k20", std::nullopt},
};

// The value under the row's key: by name without a table, or by name or position with one.
enum class Lookup { byName, byNameWithTable, byPositionInTable };

std::optional<std::int64_t> lookUp(const LookupRow& row, Lookup how) {
  std::vector<std::uint64_t> prefixes;
  for (const auto key : row.table) prefixes.push_back(coding::detail::keyPrefix(key));
  const coding::detail::KeyTable table{row.table.data(), prefixes.data(), row.table.size()};
  JSONDecoder decoder;
  return decoder.decode(row.json, [&](const Decoder& root) -> std::optional<std::int64_t> {
    const auto container = how == Lookup::byName ? root.tryContainer() : root.tryContainer(table);
    std::optional<Decoder> value;
    if (how == Lookup::byPositionInTable) {
      std::size_t position = 0;
      while (position < row.table.size() && row.table[position] != row.key) ++position;
      if (position == row.table.size()) return std::nullopt;  // no position: not asked
      value = container->findField(position);
    } else {
      value = container->find(row.key);
    }
    if (!value) return std::nullopt;
    std::int64_t number = 0;
    if (!value->tryRead(number)) return -1;
    return number;
  });
}

class KeyLookupTest : public ::testing::TestWithParam<LookupRow> {};

TEST_P(KeyLookupTest, EveryWayOfLookingUpFindsTheLastMemberOfTheKey) {
  const auto& row = GetParam();
  const bool inTable = std::find(row.table.begin(), row.table.end(), row.key) != row.table.end();
  const std::vector<std::optional<std::int64_t>> found{
      lookUp(row, Lookup::byName), lookUp(row, Lookup::byNameWithTable),
      inTable ? lookUp(row, Lookup::byPositionInTable) : row.value};
  EXPECT_EQ(found, std::vector<std::optional<std::int64_t>>(3, row.value));
}

INSTANTIATE_TEST_SUITE_P(Objects, KeyLookupTest, ::testing::ValuesIn(kLookupRows),
                         [](const auto& info) { return std::string(info.param.name); });

// The checks behind the record tables' compile-time guards: a table with a repeated key must not
// be matched by position (its second field would read the first one's value), and a hash order
// must name each member once (or a field is hashed twice and another not at all).
struct Pair {
  int a, b;
};
struct FieldOf {
  int Pair::*member;
};

TEST(RecordTableGuards, RefuseRepeatedKeysAndHashOrdersThatAreNoPermutation) {
  using coding::detail::distinctKeys;
  using coding::detail::permutesMembers;
  EXPECT_TRUE(distinctKeys(std::array<std::string_view, 3>{"a", "b", "c"}));
  EXPECT_FALSE(distinctKeys(std::array<std::string_view, 3>{"a", "b", "a"}));
  EXPECT_FALSE(distinctKeys(std::array<std::string_view, 2>{"b", "b"}));
  const std::tuple fields{FieldOf{&Pair::a}, FieldOf{&Pair::b}};
  EXPECT_TRUE(permutesMembers(std::tuple{&Pair::b, &Pair::a}, fields));
  EXPECT_FALSE(permutesMembers(std::tuple{&Pair::a, &Pair::a}, fields));
  EXPECT_FALSE(permutesMembers(std::tuple{&Pair::a}, fields));
  EXPECT_FALSE(permutesMembers(std::tuple{&Pair::a, &Pair::b, &Pair::b}, fields));
}

}  // namespace
}  // namespace tovanel::chat
