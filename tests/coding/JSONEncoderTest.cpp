#include "tovanel/chat/coding/JSONEncoder.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "support/RecordTables.hpp"
#include "tovanel/chat/body/content/SoundCloudBody.hpp"

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
  const char* json;  // nothing: any text the library's decoder reads back
};

// The library's decoder refuses integers beyond 64 bits: a whole double that large is written
// with an exponent.
const std::vector<NumberRow> kNumberRows{
    {"IntegralHasNoFraction", 253.0, "253"},
    {"ShortestRoundTrip", 0.1, "0.1"},
    {"SumKeepsAllDigits", 0.1 + 0.2, "0.30000000000000004"},
    {"NegativeZero", -0.0, "-0"},
    {"Large", 1e21, "1e+21"},
    {"Small", 5e-324, "5e-324"},
    {"Negative", -12.5, "-12.5"},
    {"WholeBeyondUnsigned64Bits", 1184467440737095516160.0, nullptr},
    {"TwoToThe64", 18446744073709551616.0, nullptr},
    {"NegativeWholeBeyondSigned64Bits", -18446744073709551616.0 - 4096.0, nullptr},
    {"LargestDoubleBelowTwoToThe64", 18446744073709549568.0, nullptr},
    {"TwoToThe63", 9223372036854775808.0, nullptr},
    {"SmallestSigned64BitInteger", -9223372036854775808.0, nullptr},
    {"WholeWithin64Bits", 4503599627370497.0, nullptr},
    {"Largest", 1.7976931348623157e308, nullptr},
};

class NumberEncodingTest : public ::testing::TestWithParam<NumberRow> {};

TEST_P(NumberEncodingTest, WritesTheShortestFormThatReadsBack) {
  const auto& row = GetParam();
  const std::string json = JSONEncoder().encode(row.number);
  if (row.json != nullptr) {
    EXPECT_EQ(json, row.json);
  }
  const double back = JSONDecoder().decode<double>(json);
  EXPECT_EQ(back, row.number) << json;
}

// Found by the round-trip fuzz target: the duration was written as 1184467440737095516160.
TEST(JSONEncoder, ABodyWithAHugeWholeDurationDecodesFromItsOwnText) {
  const Body body =
      test::decodeBody(BodyType::soundcloud, R"({"duration":1184467440737095516150.5})");
  const std::string json = JSONEncoder().encode(*body.get<SoundCloudBody>());
  EXPECT_EQ(test::decodeBody(BodyType::soundcloud, json), body) << json;
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
