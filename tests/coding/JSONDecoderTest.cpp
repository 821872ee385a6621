// The JSON decoder: numbers, errors with their kinds and paths, containers read to their end,
// hostile text, and key lookups in objects.

#include <any>
#include <cstring>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

template <class T>
T decodeAs(std::string_view json) {
  JSONDecoder decoder;
  return decoder.decode(json, [](const Decoder& root) { return root.decode<T>(); });
}

// As an integer and as a double (whole doubles from 2^63 on are written with an exponent): the
// value written back, or the kind of the error.
TEST(JSONDecoder, ReadsWholeNumbersThatFitAsIntegersAndRejectsTheRest) {
  const std::tuple<const char*, std::string_view, std::string_view> rows[] = {
      {"5", "5", "5"},
      {"5.0", "5", "5"},
      {"1e2", "100", "100"},
      {"-9223372036854775808", "-9223372036854775808", "-9.223372036854776e+18"},
      {"5.5", "dataCorrupted", "5.5"},
      {"9223372036854775808", "dataCorrupted", "9.223372036854776e+18"},
      {"9.223372036854775808e18", "dataCorrupted", "9.223372036854776e+18"},
      {"18446744073709551615", "dataCorrupted", "1.8446744073709552e+19"},
      {"\"5\"", "typeMismatch", "typeMismatch"},
      {"null", "valueNotFound", "valueNotFound"}};
  const auto outcome = [](auto read) {
    std::string text;
    const auto error = test::decodingErrorOf([&] { text = JSONEncoder().encode(read()); });
    return error ? std::string(DecodingError::kindName(error->kind())) : text;
  };
  for (const auto& [json, integer, number] : rows) {
    EXPECT_EQ(outcome([&] { return decodeAs<std::int64_t>(json); }), integer) << json;
    EXPECT_EQ(outcome([&] { return decodeAs<double>(json); }), number) << json;
  }
}

// An array of 2^24 elements, longer than the parser's own count of elements holds: a null (one
// word of the parser's tape) and then zeros (two words each).
std::string longArray() {
  std::string json = "[null" + std::string((std::size_t{2} << 24) - 2, ',') + "]";
  for (std::size_t i = 6; i < json.size(); i += 2) json[i] = '0';
  return json;
}

// Reading a[i].b as integers, an array element by element past its end, counting a long array,
// and asking a key or a value for null: what was read, or the error's kind and the path of the
// failing value (which its text names too), and the start of its description.
TEST(JSONDecoder, ReadsOrNamesTheKindAndThePathOfTheFailure) {
  using Read = std::string (*)(const Decoder&);
  // The containers are temporaries on purpose: the decoders they hand out must outlive them.
  const Read nestedIntegers = [](const Decoder& root) {
    auto elements = root.container().nestedDecoder("a").unkeyedContainer();
    while (!elements.isAtEnd()) elements.next().container().decode<std::int64_t>("b");
    return std::string();
  };
  const std::tuple<std::string, Read, const char*> cases[] = {
      {R"({"a":[{"b":1},{"b":"x"}]})", nestedIntegers, "typeMismatch at a[1].b: "},
      {R"({"a":[{"b":1},{}]})", nestedIntegers, "keyNotFound at a[1].b: "},
      {R"({"a":{"b":1}})", nestedIntegers, "typeMismatch at a: "},
      {R"({"a":[{"b":1},7]})", nestedIntegers, "typeMismatch at a[1]: "},
      {"[]", nestedIntegers, "typeMismatch at : "},
      {R"({"a":[)", nestedIntegers, "dataCorrupted at : "},
      {R"({"a":[]} x)", nestedIntegers, "dataCorrupted at : "},
      {"[1,2]",
       [](const Decoder& root) {
         auto elements = root.unkeyedContainer();
         std::string read;
         for (int i = 0; i < 3; ++i) read += std::to_string(elements.decode<std::int64_t>());
         return read;
       },
       "valueNotFound at : the array has no more elements"},
      {longArray(),
       [](const Decoder& root) { return std::to_string(root.unkeyedContainer().count()); },
       "16777216"},
      {R"({"a":null,"b":[null,0]})",
       [](const Decoder& root) {
         const auto object = root.container();
         auto elements = object.nestedDecoder("b").unkeyedContainer();
         std::string told;  // in order: a braced list is evaluated from left to right
         for (const bool null : {object.decodeNil("a"), object.decodeNil("b"),
                                 elements.next().singleValueContainer().isNull(),
                                 elements.next().singleValueContainer().isNull()}) {
           told += null ? "y" : "n";
         }
         return told;
       },
       "ynyn"},
      {R"({"a":null})",
       [](const Decoder& root) { return std::to_string(root.container().decodeNil("c")); },
       "keyNotFound at c: no value for the key \"c\""},
  };
  for (const auto& [json, read, expected] : cases) {
    std::string outcome;
    const auto error = test::decodingErrorOf([&] { outcome = JSONDecoder().decode(json, read); });
    if (error) {
      const std::string path = describe(error->codingPath());
      EXPECT_NE(std::string(error->what()).find(path), std::string::npos) << error->what();
      outcome = std::string(DecodingError::kindName(error->kind())) + " at " + path + ": " +
                error->debugDescription();
      outcome.resize(std::min(outcome.size(), std::strlen(expected)));
    }
    EXPECT_EQ(outcome, expected) << json;
  }
}

// Hostile text: documents beyond the decoder's limits, numbers that do not fit, broken Unicode,
// control characters and byte-order marks. Each gives a dataCorrupted error that
// says what was wrong, or a value the decoder's header documents.

using ::testing::HasSubstr;

// `inner` enclosed by `depth` arrays.
std::string nestedAround(std::size_t depth, const std::string& inner = "1") {
  return std::string(depth, '[') + inner + std::string(depth, ']');
}

// What decoding the text gives: `string "<value>"` for a string, `a <type>` for another value,
// or `<kind>: <description>` for an error. One decoder reads every text, so that it is reused
// after failures and across changes of its limits in both directions.
std::string outcomeOf(const std::string& text, std::size_t maximumDocumentSize,
                      std::size_t maximumDepth) {
  static JSONDecoder decoder;
  decoder.maximumDocumentSize = maximumDocumentSize;
  decoder.maximumDepth = maximumDepth;
  std::string outcome;
  const auto error = test::decodingErrorOf([&] {
    outcome = decoder.decode(text, [](const Decoder& root) {
      return root.type() == JsonType::string ? "string \"" + root.decode<std::string>() + "\""
                                             : std::string(describe(root.type()));
    });
  });
  if (error) {
    return std::string(DecodingError::kindName(error->kind())) + ": " + error->debugDescription();
  }
  return outcome;
}

constexpr std::size_t kSize = JSONDecoder::kDefaultMaximumDocumentSize;
constexpr std::size_t kDepth = JSONDecoder::kDefaultMaximumDepth;
const std::string kNotJSON = "dataCorrupted: the data is not valid JSON: ";

struct LimitRow {
  const char* name;
  std::string text;
  std::string expected;  // a part of the outcome
  std::size_t maximumDocumentSize = kSize;
  std::size_t maximumDepth = kDepth;
};

const std::vector<LimitRow> kLimitRows{
    // size
    {"TextOverTheSizeLimit", R"("0123456789abcdef")",
     kNotJSON + "the text is 18 bytes long, more than the 16 bytes of the decoder's "
                "maximumDocumentSize",
     16},
    {"TextAtTheSizeLimit", R"("0123456789abcdef")", R"(string "0123456789abcdef")", 18},
    {"ByteOrderMarkCountsTowardsTheSize", "\xEF\xBB\xBF\"0123456789abcdef\"",
     "bytes of the decoder's maximumDocumentSize", 18},
    // depth (the innermost empty array is a value enclosed by one array fewer than there are)
    {"EmptyArrayDeeperThanTheDefaultDepth", nestedAround(kDepth + 2, ""), "maximumDepth of 1024"},
    {"ObjectsCountTowardsTheDepth", R"({"a":{"b":[1]}})", "maximumDepth of 2", kSize, 2},
    {"ADepthOfOneAllowsAnEmptyArrayInAnArray", "[1,[]]", "an array", kSize, 1},
    {"ADepthOfZeroAllowsAScalar", "7", "an integer", kSize, 0},
    {"ADepthOfZeroRefusesAValueInAnArray", "[1]", "maximumDepth of 0", kSize, 0},
    {"NoDepthLimitAtAll", nestedAround(3000), "an array", kSize, SIZE_MAX},
    {"ADepthBeyondTheTextsSize", "[[1]]", "an array", kSize, SIZE_MAX / 2},
    // back to the default after deeper texts were read
    {"ValueDeeperThanTheDefaultDepth", nestedAround(kDepth + 1),
     kNotJSON + "arrays and objects nest deeper than the decoder's maximumDepth of 1024"},
    // numbers
    {"IntegerBeyondUnsigned64Bits", "18446744073709551616",
     kNotJSON + "a number is malformed or out of range (an integer must fit in 64 bits"},
    {"HugeIntegerInsideAnIgnoredKey", R"({"ignored":123456789012345678901234567890})",
     "a number is malformed or out of range"},
    {"NumberBeyondADouble", "1e400", "a number is malformed or out of range"},
    {"LargestUnsignedIntegerIsRead", "18446744073709551615", "an integer"},
    // \u escapes
    {"LoneHighSurrogate", R"("\ud800")",
     kNotJSON + "a string holds an invalid escape sequence, "
                "or a \\u escape of a lone surrogate"},
    {"PairedSurrogates", R"("\ud83d\ude00")", "string \"\xF0\x9F\x98\x80\""},
    {"UnknownEscape", R"("\x41")", "an invalid escape sequence"},
    // UTF-8
    {"TruncatedSequence", "\"ab\xC3\"",
     kNotJSON + "the text is not valid UTF-8 (first malformed byte at byte offset 3)"},
    {"BeyondTheLastCodePoint", "[\"\xF4\x90\x80\x80\"]", "(first malformed byte at byte offset 2)"},
    {"StrayContinuationByteOutsideAString", "[1,\x80]", "(first malformed byte at byte offset 3)"},
    {"StrayContinuationByteFirst", "\x80", "(first malformed byte at byte offset 0)"},
    {"OffsetCountsTheBytesOfCharactersBefore",
     "[\"\xC3\xA9\", \"\xF0\x9F\x98\x80\xE2\x82\xAC\x80\"]",
     "(first malformed byte at byte offset 15)"},
    {"EncodedSurrogate", "[\"\xED\xA0\x80\"]", "(first malformed byte at byte offset 2)"},
    {"OffsetsCountFromAfterTheByteOrderMark", "\xEF\xBB\xBF[\x80]", "at byte offset 1)"},
    // control characters
    {"RawNulInAString", std::string("\"a\0b\"", 5),
     kNotJSON + "a string holds the control character U+0000 (a NUL byte) unescaped at byte "
                "offset 2; control characters inside strings must be written as escapes"},
    {"RawTabInAString", "[\"\\\"\t\"]", "the control character U+0009 unescaped at byte offset 4"},
    {"EscapedNulIsACharacter", R"("a\u0000b")", std::string("string \"a\0b\"", 12)},
    // byte-order marks
    {"Utf8ByteOrderMarkIsSkipped", "\xEF\xBB\xBF\"x\"", "string \"x\""},
    {"Utf8ByteOrderMarkAlone", "\xEF\xBB\xBF", kNotJSON + "the text is empty or only white space"},
    {"OnlyOneByteOrderMarkIsSkipped", "\xEF\xBB\xBF\xEF\xBB\xBF[]",
     kNotJSON + "the structure is malformed"},
    {"Utf16BigEndianByteOrderMark", std::string("\xFE\xFF\0\"\0x\0\"", 8),
     kNotJSON + "the text starts with a UTF-16 or UTF-32 byte-order mark; only UTF-8 is read"},
    {"Utf32BigEndianByteOrderMarkAlone", std::string("\0\0\xFE\xFF", 4),
     "a UTF-16 or UTF-32 byte-order mark"},
};

// And the default size limit is 64 MiB.
TEST(JSONDecoderLimits, RefuseWithADescriptionOrGiveTheDocumentedValue) {
  for (const LimitRow& row : kLimitRows) {
    EXPECT_THAT(outcomeOf(row.text, row.maximumDocumentSize, row.maximumDepth),
                HasSubstr(row.expected))
        << row.name;
  }
  EXPECT_THAT(outcomeOf(std::string(kSize + 1, ' '), kSize, kDepth),
              HasSubstr(kNotJSON + "the text is 67108865 bytes long"));
}

// Key lookups in an object: by name on a plain container, and by a record's key table. Both must
// find the same member, the last of repeated keys, across the ways keys can nearly match.

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
  const auto numberIn = [](const std::optional<Decoder>& value) -> std::optional<std::int64_t> {
    std::int64_t number = 0;
    if (!value) return std::nullopt;
    return value->tryRead(number) ? number : -1;
  };
  JSONDecoder decoder;
  return decoder.decode(row.json, [&](const Decoder& root) -> std::optional<std::int64_t> {
    const auto container = how == Lookup::byName ? root.tryContainer() : root.tryContainer(table);
    if (how == Lookup::byPositionInTable) {
      std::size_t position = 0;
      while (position < row.table.size() && row.table[position] != row.key) ++position;
      if (position == row.table.size()) return row.value;  // no position to ask
      return numberIn(container->findField(position));
    }
    // A second lookup starts where the first one left off, and must find the same member.
    const auto first = numberIn(container->find(row.key));
    return numberIn(container->find(row.key)) == first ? first : -2;
  });
}

class KeyLookupTest : public ::testing::TestWithParam<LookupRow> {};

TEST_P(KeyLookupTest, EveryWayOfLookingUpFindsTheLastMemberOfTheKey) {
  const auto& row = GetParam();
  const std::vector<std::optional<std::int64_t>> found{lookUp(row, Lookup::byName),
                                                       lookUp(row, Lookup::byNameWithTable),
                                                       lookUp(row, Lookup::byPositionInTable)};
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
