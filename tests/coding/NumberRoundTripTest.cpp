// Numbers the encoder writes must read back through the library's own decoder, which refuses
// integers beyond 64 bits: a whole double that large is written with an exponent.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/RecordTables.hpp"
#include "tovanel/chat/body/content/SoundCloudBody.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {
namespace {

struct DoubleRow {
  const char* name;
  double number;
};

const std::vector<DoubleRow> kDoubleRows{
    {"WholeBeyondUnsigned64Bits", 1184467440737095516160.0},
    {"TwoToThe64", 18446744073709551616.0},
    {"NegativeWholeBeyondSigned64Bits", -18446744073709551616.0 - 4096.0},
    {"LargestDoubleBelowTwoToThe64", 18446744073709549568.0},
    {"TwoToThe63", 9223372036854775808.0},
    {"SmallestSigned64BitInteger", -9223372036854775808.0},
    {"WholeWithin64Bits", 4503599627370497.0},
    {"Largest", 1.7976931348623157e308},
};

class DoubleRoundTripTest : public ::testing::TestWithParam<DoubleRow> {};

TEST_P(DoubleRoundTripTest, ReadsBackTheSameDouble) {
  const std::string json = JSONEncoder().encode(GetParam().number);
  EXPECT_EQ(JSONDecoder().decode<double>(json), GetParam().number) << json;
}

INSTANTIATE_TEST_SUITE_P(Numbers, DoubleRoundTripTest, ::testing::ValuesIn(kDoubleRows),
                         [](const auto& info) { return std::string(info.param.name); });

// Found by the round-trip fuzz target: the duration was written as 1184467440737095516160.
TEST(NumberRoundTrip, ABodyWithAHugeWholeDurationDecodesFromItsOwnText) {
  const Body body =
      test::decodeBody(BodyType::soundcloud, R"({"duration":1184467440737095516150.5})");
  const std::string json = JSONEncoder().encode(*body.get<SoundCloudBody>());
  EXPECT_EQ(test::decodeBody(BodyType::soundcloud, json), body) << json;
}

}  // namespace
}  // namespace tovanel::chat
