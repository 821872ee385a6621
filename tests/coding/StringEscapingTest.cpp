// Strings are written a block at a time (16 bytes, then 8, then the short tail): a byte to escape,
// a byte that is not ASCII or a byte of broken UTF-8 must be seen wherever it falls. Escapes may
// outgrow the room made for the text, which must then grow under the writer.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tovanel/chat/coding/EncodingError.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {
namespace {

struct SpecialByteRow {
  const char* name;
  std::string special;  // the bytes placed into plain text
  std::string written;  // how they are written
};

const std::vector<SpecialByteRow> kSpecialByteRows{
    {"Quote", "\"", "\\\""},
    {"Backslash", "\\", "\\\\"},
    {"Newline", "\n", "\\n"},
    {"Tab", "\t", "\\t"},
    {"CarriageReturn", "\r", "\\r"},
    {"Backspace", "\b", "\\b"},
    {"FormFeed", "\f", "\\f"},
    {"SlashIsPlain", "/", "/"},
    {"DeleteIsPlain", "\x7f", "\x7f"},
    {"Nul", std::string(1, '\0'), "\\u0000"},
    {"UnitSeparator", "\x1f", "\\u001f"},
    {"TwoByteLetter", "\xc3\xa9", "\xc3\xa9"},
    {"Emoji", "\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
};

class SpecialBytePositionTest : public ::testing::TestWithParam<SpecialByteRow> {};

// Every length from 0 to 39 plain bytes and every position of the special bytes among them.
TEST_P(SpecialBytePositionTest, IsWrittenTheSameWhereverItFalls) {
  const auto& row = GetParam();
  std::vector<std::string> wrong;
  for (std::size_t length = 0; length < 40; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const std::string plain(length, 'x');
      const std::string text = plain.substr(0, at) + row.special + plain.substr(at);
      const std::string expected =
          "\"" + plain.substr(0, at) + row.written + plain.substr(at) + "\"";
      if (JSONEncoder().encode(text) != expected) wrong.push_back(text);
    }
  }
  EXPECT_TRUE(wrong.empty()) << wrong.size() << " texts written wrongly, the first: " << wrong[0];
}

// Thousands of them in a row, after text already in the caller's string: each escape may be up to
// six times its byte.
TEST_P(SpecialBytePositionTest, IsWrittenTheSameThousandsOfTimesInARow) {
  const auto& row = GetParam();
  std::string text, expected = "kept\"";
  for (int i = 0; i < 3000; ++i) {
    text += row.special + "x";
    expected += row.written + "x";
  }
  std::string out = "kept";
  JSONEncoder().encode(text, out);
  EXPECT_EQ(out, expected + "\"");
}

INSTANTIATE_TEST_SUITE_P(Bytes, SpecialBytePositionTest, ::testing::ValuesIn(kSpecialByteRows),
                         [](const auto& info) { return std::string(info.param.name); });

// A byte that cannot begin or continue UTF-8 fails the text wherever it falls, and nothing of the
// text is left in the output.
TEST(StringEscaping, BrokenUtf8FailsAtEveryPosition) {
  std::vector<std::string> accepted;
  for (std::size_t length = 0; length < 20; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      std::string text(length, 'x');
      text.insert(at, "\xff");
      std::string out = "[";
      try {
        JSONEncoder().encode(text, out);
        accepted.push_back(text);
      } catch (const EncodingError&) {
        if (out != "[") accepted.push_back(text);
      }
    }
  }
  EXPECT_TRUE(accepted.empty()) << accepted.size() << " broken texts were written";
}

}  // namespace
}  // namespace tovanel::chat
