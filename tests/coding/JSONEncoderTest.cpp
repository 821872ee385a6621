#include "tovanel/chat/coding/JSONEncoder.hpp"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tovanel::chat {
namespace {

// A value that writes nothing at its place.
struct Silent {
  void encode(Encoder&) const {}
};

// An object with members out of key order, one of them nested and one silent.
struct Sample {
  void encode(Encoder& encoder) const {
    auto container = encoder.container();
    container.encode("zeta", std::int64_t{1});
    container.encode("alpha", std::vector<std::int64_t>{1, 2});
    container.encode("mid", Nested{});
    container.encode("silent", Silent{});
    container.encodeIfPresent("absent", std::optional<std::int64_t>{});
  }
  struct Nested {
    void encode(Encoder& encoder) const {
      auto container = encoder.container();
      container.encode("y", std::string("b"));
      container.encode("x", std::string("a"));
    }
  };
};

struct NumberRow {
  const char* name;
  double number;
  const char* json;
};

const std::vector<NumberRow> kNumberRows{
    {"IntegralHasNoFraction", 253.0, "253"},
    {"ShortestRoundTrip", 0.1, "0.1"},
    {"SumKeepsAllDigits", 0.1 + 0.2, "0.30000000000000004"},
    {"NegativeZero", -0.0, "-0"},
    {"Large", 1e21, "1e+21"},
    {"Small", 5e-324, "5e-324"},
    {"Negative", -12.5, "-12.5"},
};

class NumberEncodingTest : public ::testing::TestWithParam<NumberRow> {};

TEST_P(NumberEncodingTest, WritesTheShortestFormThatReadsBack) {
  const auto& row = GetParam();
  const std::string json = JSONEncoder().encode(row.number);
  EXPECT_EQ(json, row.json);
  double back = 1;
  std::from_chars(json.data(), json.data() + json.size(), back);
  EXPECT_EQ(std::signbit(back), std::signbit(row.number));
  EXPECT_EQ(back, row.number);
}

INSTANTIATE_TEST_SUITE_P(Numbers, NumberEncodingTest, ::testing::ValuesIn(kNumberRows),
                         [](const auto& info) { return std::string(info.param.name); });

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
}

TEST(JSONEncoder, CompactOutputKeepsTheWrittenKeyOrder) {
  EXPECT_EQ(JSONEncoder().encode(Sample{}),
            R"({"zeta":1,"alpha":[1,2],"mid":{"y":"b","x":"a"},"silent":{}})");
}

TEST(JSONEncoder, SortedKeysOrdersEveryObject) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  EXPECT_EQ(encoder.encode(Sample{}),
            R"({"alpha":[1,2],"mid":{"x":"a","y":"b"},"silent":{},"zeta":1})");
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

}  // namespace
}  // namespace tovanel::chat
