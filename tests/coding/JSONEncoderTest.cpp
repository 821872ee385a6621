// The JSON encoder: numbers in their shortest form, values JSON cannot hold, key order and
// layouts, keys and strings escaped wherever a special byte falls, and output left untouched
// when encoding fails.

#include <random>

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

// Compact output keeps the written key order; pretty printing indents by two spaces. A value that
// writes nothing becomes an empty object wherever it stands.
TEST(JSONEncoder, CompactOutputKeepsTheKeyOrderAndPrettyPrintingIndentsByTwoSpaces) {
  EXPECT_EQ(
      JSONEncoder().encode(Sample{}),
      R"({"zeta":1,"alpha":[1,2],"mid":{"y":"b","x":"a"},"words":[true,false,null],"silent":{}})");
  EXPECT_EQ(JSONEncoder().encode(std::vector<Silent>(2)), "[{},{}]");
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

/// An object with the given members, in the order given.
struct Object {
  std::vector<std::pair<std::string, std::int64_t>> members;
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    for (const auto& [key, value] : members) container.encode(key, value);
  }
};

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
    EXPECT_EQ(JSONEncoder().encode(Object{{{"b", n}, {"a", 1}}}),
              "{\"b\":" + std::to_string(n) + ",\"a\":1}");
  }
}

// Plain member keys take a shortcut past escaping, some bytes at a time; sorted keys are ordered
// by the bytes they hold, not by their escapes ('"' before '#' although its escape starts with a
// backslash; a NUL byte is a byte like any other), and repeated keys keep the order they were
// written in. Over keys of plain letters of every length up to past the shortcut, and of bytes to
// escape, each is written as a string is, in every layout, and reads back (allKeys listing a
// repeated key at each place).
TEST(EncoderOutput, MemberKeysAreWrittenAsStringsInEveryLayoutAndSortByTheirBytes) {
  const std::string_view nul("\0", 1);
  const std::string_view pieces[] = {"k",  "A", "~",    "#",    "!",    "\"",     "\\",      "\n",
                                     "\t", nul, "\x0e", "\x19", "\x7f", "\u00e9", "kkkkkkkk"};
  std::mt19937 random(20261124);
  for (std::size_t run = 0; run < 400; ++run) {
    Object object{{{std::string(run % 81, 'k'), 0}}};
    for (auto members = random() % 5; members > 0; --members) {
      std::string key;
      for (auto n = random() % (run % 2 == 0 ? 3 : 12); n > 0; --n) {
        key += pieces[random() % std::size(pieces)];
      }
      object.members.emplace_back(key, static_cast<std::int64_t>(object.members.size()));
    }
    auto sorted = object.members;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string compact, pretty, ordered;
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
      const auto& [key, value] = object.members[i];
      keys.push_back(key);
      const std::string member = JSONEncoder().encode(key) + ":", n = std::to_string(value);
      compact += (i == 0 ? "{" : ",") + member + n;
      pretty += (i == 0 ? "{\n  " : ",\n  ") + member + " " + n;
      ordered += (i == 0 ? "{" : ",") + JSONEncoder().encode(sorted[i].first) + ":" +
                 std::to_string(sorted[i].second);
    }
    JSONEncoder encoder;
    EXPECT_EQ(encoder.encode(object), compact + "}");
    EXPECT_EQ(JSONDecoder().decode(compact + "}",
                                   [](const Decoder& root) { return root.container().allKeys(); }),
              keys);
    encoder.outputFormatting.prettyPrinted = true;
    EXPECT_EQ(encoder.encode(object), pretty + "\n}");
    encoder.outputFormatting = {.prettyPrinted = false, .sortedKeys = true};
    EXPECT_EQ(encoder.encode(object), ordered + "}");
  }
}

// A value is written once at its place: a second one is an error, never a second JSON text.
struct TwiceAtOnePlace {
  void (*write)(Encoder&);
  void encode(Encoder& encoder) const { write(encoder); }
};

// What cannot be written fails naming its place, and the caller's string keeps what it held (also
// after a few kilobytes were written): values JSON cannot hold (a string member is written without
// a place of its own, and still named), and second values at one place.
TEST(EncoderOutput, WhatCannotBeWrittenFailsAtItsPlaceAndLeavesTheOutputAsItWas) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  std::vector<double> numbers(300, 1.5);
  numbers.push_back(inf);
  const std::vector<std::pair<std::function<void(std::string&)>, const char*>> rows{
      {[](std::string& out) { JSONEncoder().encode(std::nan(""), out); }, ""},
      {[](std::string& out) { JSONEncoder().encode(-inf, out); }, ""},
      {[&](std::string& out) { JSONEncoder().encode(numbers, out); }, "[300]"},
      {[](std::string& out) {
         JSONEncoder().encode(std::vector<Sample::Nested>{{}, {"\xE2\x82"}}, out);
       },
       "[1].x"},
  };
  const std::vector<void (*)(Encoder&)> twice{
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
  for (std::size_t i = 0; i < rows.size() + twice.size(); ++i) {
    std::string out = "kept";
    try {
      if (i < rows.size()) {
        rows[i].first(out);
      } else {
        JSONEncoder().encode(std::vector{TwiceAtOnePlace{twice[i - rows.size()]}}, out);
      }
      ADD_FAILURE() << "row " << i << " was written: " << out;
    } catch (const EncodingError& error) {
      EXPECT_EQ(describe(error.codingPath()), i < rows.size() ? rows[i].second : "[0]") << i;
      for (const CodingKey& step : error.codingPath()) {
        EXPECT_TRUE(step.intValue || !step.stringValue.empty()) << i;  // no step left unnamed
      }
    }
    EXPECT_EQ(out, "kept") << i;
  }
}

// Strings are written a block at a time (16 bytes, then 8, then the short tail): a byte to escape,
// a byte that is not ASCII or a byte of broken UTF-8 must be seen wherever it falls. Escapes may
// outgrow the room made for the text, which must then grow under the writer.

struct SpecialByteRow {
  const char* name;
  std::string special;  // the bytes placed into plain text
  std::string written;  // how they are written; empty: the text fails, leaving nothing written
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
    {"ByteThatIsNeverUtf8", "\xff", ""},
    {"TruncatedSequence", "\xe2\x82", ""},
};

/// What encoding `text` leaves after "kept" in the caller's string, and " failed" if it failed.
std::string appended(const std::string& text) {
  std::string out = "kept";
  try {
    JSONEncoder().encode(text, out);
  } catch (const EncodingError&) {
    out += " failed";
  }
  return out;
}

class SpecialBytePositionTest : public ::testing::TestWithParam<SpecialByteRow> {};

// At every length from 0 to 39 plain bytes and every position among them; then thousands of them
// in a row, after text already in the caller's string: each escape may be up to six times its byte.
TEST_P(SpecialBytePositionTest, IsWrittenTheSameWhereverItFallsAndThousandsOfTimesInARow) {
  const auto& row = GetParam();
  std::vector<std::string> wrong;
  for (std::size_t length = 0; length < 40; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const std::string plain(length, 'x');
      const std::string text = plain.substr(0, at) + row.special + plain.substr(at);
      const std::string expected = row.written.empty() ? "kept failed"
                                                       : "kept\"" + plain.substr(0, at) +
                                                             row.written + plain.substr(at) + "\"";
      if (appended(text) != expected) wrong.push_back(text);
    }
  }
  EXPECT_TRUE(wrong.empty()) << wrong.size() << " texts written wrongly, the first: " << wrong[0];
  std::string text, expected = "kept\"";
  for (int i = 0; i < 3000; ++i) {
    text += row.special + "x";
    expected += row.written + "x";
  }
  EXPECT_EQ(appended(text), row.written.empty() ? "kept failed" : expected + "\"");
}

INSTANTIATE_TEST_SUITE_P(Bytes, SpecialBytePositionTest, ::testing::ValuesIn(kSpecialByteRows),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
