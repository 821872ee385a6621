// What the encoder leaves in the caller's string when encoding fails: nothing. And member keys:
// plain keys take a shortcut past escaping, so every kind of key must still come out as valid
// JSON that reads back to the same key, in every layout.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {
namespace {

/// An object with two members under the given keys (the first written second, for sorting).
struct TwoMembers {
  std::string first, second;
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    container.encode(second, std::int64_t{2});
    container.encode(first, std::int64_t{1});
  }
};

TEST(EncoderOutput, AFailedEncodeLeavesTheStringAsItWas) {
  std::string out = "kept";
  std::vector<double> numbers(300, 1.5);
  numbers.push_back(std::nan(""));  // fails after a few kilobytes were written
  EXPECT_THROW(JSONEncoder().encode(numbers, out), EncodingError);
  EXPECT_EQ(out, "kept");
}

struct KeyRow {
  const char* name;
  std::string key;
  std::string written;  // the key as JSON text
};
void PrintTo(const KeyRow& row, std::ostream* out) { *out << row.name; }

class MemberKeys : public ::testing::TestWithParam<KeyRow> {};

TEST_P(MemberKeys, AreWrittenEscapedInEveryLayoutAndReadBack) {
  const auto& [name, key, written] = GetParam();
  const TwoMembers value{key, "~last"};
  JSONEncoder encoder;
  EXPECT_EQ(encoder.encode(value), R"({"~last":2,)" + written + ":1}");
  encoder.outputFormatting = {.prettyPrinted = true, .sortedKeys = false};
  EXPECT_EQ(encoder.encode(value), "{\n  \"~last\": 2,\n  " + written + ": 1\n}");
  encoder.outputFormatting = {.prettyPrinted = false, .sortedKeys = true};
  const std::string sorted = encoder.encode(value);
  EXPECT_EQ(sorted, "{" + written + R"(:1,"~last":2})");
  const auto keys =
      JSONDecoder().decode(sorted, [](const Decoder& root) { return root.container().allKeys(); });
  EXPECT_EQ(keys, (std::vector<std::string>{key, "~last"}));
}

INSTANTIATE_TEST_SUITE_P(
    Keys, MemberKeys,
    ::testing::Values(
        KeyRow{"Plain", "avatarUrl", R"("avatarUrl")"}, KeyRow{"Empty", "", R"("")"},
        KeyRow{"OneByte", "k", R"("k")"}, KeyRow{"FiveBytes", "kkkkk", R"("kkkkk")"},
        KeyRow{"NineBytes", "kkkkkkkkk", R"("kkkkkkkkk")"},
        KeyRow{"AtTheShortcutsEnd", std::string(56, 'k'), '"' + std::string(56, 'k') + '"'},
        KeyRow{"LongerThanTheShortcut", std::string(80, 'k'), '"' + std::string(80, 'k') + '"'},
        KeyRow{"Quote", "say \"hi\"", R"("say \"hi\"")"}, KeyRow{"Backslash", "a\\b", R"("a\\b")"},
        KeyRow{"Control", "tab\there", R"("tab\there")"},
        KeyRow{"NonAscii", "cl\u00E9", "\"cl\u00E9\""}),
    [](const auto& info) { return std::string(info.param.name); });

// Keys sort by what they hold, not by how they are escaped: '"' (0x22) and a newline come before
// '#' and '!', although their escapes start with a backslash (0x5C).
TEST(EncoderOutput, SortedKeysOrderTheKeysNotTheirEscapes) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  EXPECT_EQ(encoder.encode(TwoMembers{"a\"", "a#"}), R"({"a\"":1,"a#":2})");
  EXPECT_EQ(encoder.encode(TwoMembers{"a\n", "a!"}), R"({"a\n":1,"a!":2})");
  EXPECT_EQ(encoder.encode(TwoMembers{"\u00e9", "z"}), "{\"z\":2,\"\u00e9\":1}");
}

// A value is written once at its place: a second one is an error, never a second JSON text.
struct TwiceAtOnePlace {
  void (*write)(Encoder&);
  void encode(Encoder& encoder) const { write(encoder); }
};

TEST(EncoderOutput, ASecondValueAtOnePlaceIsAnError) {
  const std::vector<void (*)(Encoder&)> writers{
      [](Encoder& e) {
        e.container().encode("x", std::int64_t{1});
        e.container().encode("y", std::int64_t{2});
      },
      [](Encoder& e) {
        e.writeString("a");
        e.writeString("b");
      },
      [](Encoder& e) {
        e.unkeyedContainer().encode(true);
        e.writeNull();
      },
      [](Encoder& e) {
        e.singleValueContainer().encode(std::int64_t{1});
        e.singleValueContainer().encodeNil();
      },
  };
  for (std::size_t i = 0; i < writers.size(); ++i) {
    std::string out = "kept";
    EXPECT_THROW(JSONEncoder().encode(std::vector{TwiceAtOnePlace{writers[i]}}, out), EncodingError)
        << i;
    EXPECT_EQ(out, "kept") << i;
  }
}

}  // namespace
}  // namespace tovanel::chat
