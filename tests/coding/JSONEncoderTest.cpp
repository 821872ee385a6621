// The JSON encoder: numbers in their shortest form, values JSON cannot hold, key order and
// layouts, keys and strings escaped wherever a special byte falls, and output left untouched
// when encoding fails.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

// A value that writes nothing at its place.
struct Silent {
  void encode(Encoder&) const {}
};

// An object with members out of key order, one of them nested, one silent, and the three words.
struct Sample {
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    container.encode("zeta", std::int64_t{1});
    container.encode("alpha", std::vector<std::int64_t>{1, 2});
    container.encode("mid", Nested{});
    container.encode("words", std::vector<Word>{{1}, {0}, {-1}});
    container.encode("silent", Silent{});
    container.encodeIfPresent("absent", std::optional<std::int64_t>{});
  }
  struct Word {
    int which;  // true, false, null
    void encode(Encoder& encoder) const {
      which < 0 ? encoder.writeNull() : encoder.writeBool(which > 0);
    }
  };
  struct Nested {
    std::string x = "a";
    void encode(Encoder& encoder) const {
      auto container = encoder.container();
      container.encode("y", std::string("b"));
      container.encode("x", x);
    }
  };
};

// The shortest form that reads back (nothing: any text the library's decoder reads back). The
// decoder refuses integers beyond 64 bits: a whole double that large is written with an exponent.
TEST(JSONEncoder, WritesNumbersInTheShortestFormThatReadsBack) {
  const std::pair<double, const char*> rows[] = {
      {253.0, "253"},
      {0.1, "0.1"},
      {0.1 + 0.2, "0.30000000000000004"},
      {-0.0, "-0"},
      {1e21, "1e+21"},
      {5e-324, "5e-324"},
      {-12.5, "-12.5"},
      {1184467440737095516160.0, nullptr},  // found by the round-trip fuzz target
      {18446744073709551616.0, nullptr},
      {-18446744073709551616.0 - 4096.0, nullptr},
      {18446744073709549568.0, nullptr},  // the largest double below 2^64
      {9223372036854775808.0, nullptr},
      {-9223372036854775808.0, nullptr},
      {4503599627370497.0, nullptr},
      {1.7976931348623157e308, nullptr}};
  for (const auto& [number, expected] : rows) {
    const std::string json = JSONEncoder().encode(number);
    if (expected != nullptr) {
      EXPECT_EQ(json, expected);
    }
    EXPECT_EQ(JSONDecoder().decode<double>(json), number) << json;
  }
}

TEST(JSONEncoder, ValuesJsonCannotHoldThrowWithTheirPath) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_THROW(JSONEncoder().encode(nan), EncodingError);
  EXPECT_THROW(JSONEncoder().encode(-inf), EncodingError);
  EXPECT_THROW(JSONEncoder().encode(std::string("\xC3")), EncodingError);  // truncated sequence
  try {
    JSONEncoder().encode(std::vector<double>{1.0, inf});
    ADD_FAILURE() << "an infinity was encoded";
  } catch (const EncodingError& error) {
    EXPECT_EQ(describe(error.codingPath()), "[1]");
  }
  // A string member is written without a place of its own: its failure still names the member.
  std::string out = "kept";
  try {
    JSONEncoder().encode(std::vector<Sample::Nested>{{}, {"\xE2\x82"}}, out);
    ADD_FAILURE() << "a truncated sequence was encoded";
  } catch (const EncodingError& error) {
    EXPECT_EQ(describe(error.codingPath()), "[1].x");
  }
  EXPECT_EQ(out, "kept");
}

TEST(JSONEncoder, CompactOutputKeepsTheWrittenKeyOrder) {
  EXPECT_EQ(
      JSONEncoder().encode(Sample{}),
      R"({"zeta":1,"alpha":[1,2],"mid":{"y":"b","x":"a"},"words":[true,false,null],"silent":{}})");
}

TEST(JSONEncoder, SortedKeysOrdersEveryObject) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  EXPECT_EQ(
      encoder.encode(Sample{}),
      R"({"alpha":[1,2],"mid":{"x":"a","y":"b"},"silent":{},"words":[true,false,null],"zeta":1})");
}

TEST(JSONEncoder, PrettyPrintingIndentsByTwoSpaces) {
  JSONEncoder encoder;
  encoder.outputFormatting.prettyPrinted = true;
  encoder.outputFormatting.sortedKeys = true;
  EXPECT_EQ(encoder.encode(Sample{}),
            "{\n"
            "  \"alpha\": [\n"
            "    1,\n"
            "    2\n"
            "  ],\n"
            "  \"mid\": {\n"
            "    \"x\": \"a\",\n"
            "    \"y\": \"b\"\n"
            "  },\n"
            "  \"silent\": {},\n"
            "  \"words\": [\n"
            "    true,\n"
            "    false,\n"
            "    null\n"
            "  ],\n"
            "  \"zeta\": 1\n"
            "}");
}

TEST(JSONEncoder, AValueThatWritesNothingBecomesAnEmptyObjectWhereverItStands) {
  EXPECT_EQ(JSONEncoder().encode(Silent{}), "{}");
  EXPECT_EQ(JSONEncoder().encode(std::vector<Silent>(2)), "[{},{}]");
  EXPECT_EQ(JSONEncoder().encode(std::vector<std::int64_t>{}), "[]");
  std::string out = "prefix ";
  JSONEncoder().encode(Silent{}, out);
  EXPECT_EQ(out, "prefix {}");
}

// What the encoder leaves in the caller's string when encoding fails: nothing. And member keys:
// plain keys take a shortcut past escaping, so every kind of key must still come out as valid
// JSON that reads back to the same key, in every layout.

/// An object with two members under the given keys (the first written second, for sorting).
struct TwoMembers {
  std::string first, second;
  std::int64_t secondValue = 2;
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    container.encode(second, secondValue);
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

// Integers, as a member and alone, at each change in their number of digits and at both ends.
TEST(JSONEncoder, WritesIntegersInDecimal) {
  std::vector<std::int64_t> numbers{0, std::numeric_limits<std::int64_t>::min(),
                                    std::numeric_limits<std::int64_t>::max()};
  for (std::int64_t power = 1; power <= std::numeric_limits<std::int64_t>::max() / 10;
       power *= 10) {
    for (const std::int64_t n : {power - 1, power, 10 * power - 1}) {
      numbers.insert(numbers.end(), {n, -n});
    }
  }
  for (const std::int64_t n : numbers) {
    EXPECT_EQ(JSONEncoder().encode(n), std::to_string(n));
    EXPECT_EQ(JSONEncoder().encode(TwoMembers{"a", "b", n}),
              "{\"b\":" + std::to_string(n) + ",\"a\":1}");
  }
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

// Keys sort by the bytes they hold, not by their escapes ('"' and a newline come before '#' and
// '!', although their escapes start with a backslash; "\u0019" before "A"), and repeated keys
// keep the order they were written in.
struct ManyMembers {
  const std::vector<std::string>& keys;
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    for (std::size_t i = 0; i < keys.size(); ++i) container.encode(keys[i], std::int64_t(i));
  }
};

TEST(EncoderOutput, SortedKeysOrderTheKeysBytesStablyNotTheirEscapes) {
  const std::vector<std::string> keys{"z",   "\x19", "A",    "\x18", "\x1a",   "a#",
                                      "a\"", "a!",   "k",    "a\n",  "\u00e9", "\x7f",
                                      "",    "\x1f", "\x0e", "k",    "\x10"};
  std::vector<std::pair<std::string, std::size_t>> sorted;
  for (std::size_t i = 0; i < keys.size(); ++i) sorted.emplace_back(keys[i], i);
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::string expected;
  for (const auto& [key, i] : sorted) {
    expected +=
        (expected.empty() ? "{" : ",") + JSONEncoder().encode(key) + ":" + std::to_string(i);
  }
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  EXPECT_EQ(encoder.encode(ManyMembers{keys}), expected + "}");
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

// Strings are written a block at a time (16 bytes, then 8, then the short tail): a byte to escape,
// a byte that is not ASCII or a byte of broken UTF-8 must be seen wherever it falls. Escapes may
// outgrow the room made for the text, which must then grow under the writer.

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
