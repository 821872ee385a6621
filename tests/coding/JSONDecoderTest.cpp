#include "tovanel/chat/coding/JSONDecoder.hpp"

#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/Capture.hpp"

namespace tovanel::chat {
namespace {

using Kind = DecodingError::Kind;

template <class T>
T decodeAs(std::string_view json) {
  JSONDecoder decoder;
  return decoder.decode(json, [](const Decoder& root) { return root.decode<T>(); });
}

template <class T>
std::optional<DecodingError> failureDecodingAs(std::string_view json) {
  return test::decodingErrorOf([&] { decodeAs<T>(json); });
}

// ---- integers ----

struct IntegerRow {
  const char* name;
  const char* json;
  std::optional<std::int64_t> value;  // nothing: the read fails with `kind`
  Kind kind = Kind::dataCorrupted;
};

const std::vector<IntegerRow> kIntegerRows{
    {"Plain", "5", 5},
    {"WholeWithFraction", "5.0", 5},
    {"WholeWithExponent", "1e2", 100},
    {"Smallest", "-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
    {"NotWhole", "5.5", std::nullopt},
    {"OnePastLargest", "9223372036854775808", std::nullopt},
    {"OnePastLargestAsDouble", "9.223372036854775808e18", std::nullopt},
    {"String", "\"5\"", std::nullopt, Kind::typeMismatch},
    {"Null", "null", std::nullopt, Kind::valueNotFound},
};

class IntegerReadTest : public ::testing::TestWithParam<IntegerRow> {};

TEST_P(IntegerReadTest, ReadsWholeNumbersThatFitAndRejectsTheRest) {
  const auto& row = GetParam();
  if (row.value) {
    EXPECT_EQ(decodeAs<std::int64_t>(row.json), *row.value);
  } else {
    const auto error = failureDecodingAs<std::int64_t>(row.json);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->kind(), row.kind) << error->what();
  }
}

INSTANTIATE_TEST_SUITE_P(Numbers, IntegerReadTest, ::testing::ValuesIn(kIntegerRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(JSONDecoder, IntegersAndFractionsReadAsDoubles) {
  EXPECT_EQ(decodeAs<double>("5"), 5.0);
  EXPECT_EQ(decodeAs<double>("18446744073709551615"), 18446744073709551615.0);
  EXPECT_EQ(failureDecodingAs<double>("\"12.5\"")->kind(), Kind::typeMismatch);
}

// ---- kinds and paths of errors ----

// {"a": [ {"b": 1}, {"b": "x"} ]}: reads a[i].b as an integer after checking for key "c".
struct PathRow {
  const char* name;
  const char* json;
  Kind kind;
  const char* path;
};

const std::vector<PathRow> kPathRows{
    {"WrongTypeInSecondElement", R"({"a":[{"b":1},{"b":"x"}]})", Kind::typeMismatch, "a[1].b"},
    {"MissingKey", R"({"a":[{"b":1},{}]})", Kind::keyNotFound, "a[1].b"},
    {"ArrayIsAnObject", R"({"a":{"b":1}})", Kind::typeMismatch, "a"},
    {"ElementIsNotAnObject", R"({"a":[{"b":1},7]})", Kind::typeMismatch, "a[1]"},
    {"RootIsAnArray", "[]", Kind::typeMismatch, ""},
    {"Malformed", R"({"a":[)", Kind::dataCorrupted, ""},
    {"TrailingGarbage", R"({"a":[]} x)", Kind::dataCorrupted, ""},
};

// The containers are temporaries on purpose: the decoders they hand out must outlive them.
void readNestedIntegers(const Decoder& root) {
  auto elements = root.container().nestedDecoder("a").unkeyedContainer();
  while (!elements.isAtEnd()) elements.next().container().decode<std::int64_t>("b");
}

class DecodingErrorTest : public ::testing::TestWithParam<PathRow> {};

TEST_P(DecodingErrorTest, NamesTheKindAndThePathOfTheFailure) {
  const auto& row = GetParam();
  JSONDecoder decoder;
  const auto error = test::decodingErrorOf([&] { decoder.decode(row.json, readNestedIntegers); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->kind(), row.kind) << error->what();
  EXPECT_EQ(describe(error->codingPath()), row.path);
  if (*row.path != '\0') {
    EXPECT_NE(std::string(error->what()).find(row.path), std::string::npos) << error->what();
  }
}

INSTANTIATE_TEST_SUITE_P(Errors, DecodingErrorTest, ::testing::ValuesIn(kPathRows),
                         [](const auto& info) { return std::string(info.param.name); });

// Reading an array element by element past its end, and asking a key or a value for null.
TEST(JSONDecoder, AnArrayHasNoMoreElementsAndNullIsToldApart) {
  using Read = std::string (*)(const Decoder&);
  const std::tuple<const char*, Read, const char*> cases[] = {
      {"[1,2]",
       [](const Decoder& root) {
         auto elements = root.unkeyedContainer();
         std::string read;
         for (int i = 0; i < 3; ++i) read += std::to_string(elements.decode<std::int64_t>());
         return read;
       },
       "valueNotFound at : the array has no more elements"},
      {R"({"a":null,"b":0})",
       [](const Decoder& root) {
         const auto object = root.container();
         return std::string(object.decodeNil("a") ? "yes" : "no") +
                (object.decodeNil("b") ? "yes" : "no");
       },
       "yesno"},
      {R"({"a":null})",
       [](const Decoder& root) { return std::to_string(root.container().decodeNil("c")); },
       "keyNotFound at c: no value for the key \"c\""},
      {"[null,0]",
       [](const Decoder& root) {
         auto elements = root.unkeyedContainer();
         const bool first = elements.next().singleValueContainer().isNull();
         const bool second = elements.next().singleValueContainer().isNull();
         return std::string(first ? "yes" : "no") + (second ? "yes" : "no");
       },
       "yesno"},
  };
  for (const auto& [json, read, expected] : cases) {
    std::string outcome;
    const auto error = test::decodingErrorOf([&] { outcome = JSONDecoder().decode(json, read); });
    if (error) {
      outcome = std::string(DecodingError::kindName(error->kind())) + " at " +
                describe(error->codingPath()) + ": " + error->debugDescription();
    }
    EXPECT_EQ(outcome, expected) << json;
  }
}

TEST(JSONDecoder, TheParserIsReusableAfterAFailure) {
  JSONDecoder decoder;
  const auto readInt = [](const Decoder& root) { return root.decode<std::int64_t>(); };
  EXPECT_TRUE(test::decodingErrorOf([&] { decoder.decode("[1,", readInt); }).has_value());
  EXPECT_TRUE(test::decodingErrorOf([&] { decoder.decode("\"x\"", readInt); }).has_value());
  EXPECT_EQ(decoder.decode("42", readInt), 42);
}

}  // namespace
}  // namespace tovanel::chat
