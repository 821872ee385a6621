// Splitting room exports into their messages' texts: newline-delimited or arrays, marks and line
// ends, texts beyond the limit, broken frames, failing reads; and what the writer writes reads
// back as the same messages.

#include <cstring>
#include <sstream>
#include <streambuf>

#include "support/RecordTables.hpp"
#include "tovanel/chat/export/Envelope.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"
#include "tovanel/chat/export/ExportWriter.hpp"

namespace tovanel::chat::exports {
namespace {

struct SplitRow {
  const char* name;
  std::string input;
  std::size_t limit;
  std::vector<std::string> items;  // "number@place text", or "number@place oversized size"
  std::string error = "";          // what the frame's error says, "" when the input just ends
};

// Every item of `input` read in blocks of `blockSize`, and the frame's error if any.
std::pair<std::vector<std::string>, std::string> split(const std::string& input, std::size_t limit,
                                                       std::size_t blockSize) {
  auto source = Input::fromText(input);
  ExportReader reader(source, {.maximumMessageSize = limit, .blockSize = blockSize});
  std::vector<std::string> items;
  try {
    while (const auto item = reader.next()) {
      // The padding promised past the text, read (a sanitizer build sees a read beyond it).
      std::string padding(JSONDecoder::kTextPadding, '\0');
      if (!item->oversized) {
        std::memcpy(padding.data(), item->text.data() + item->text.size(), padding.size());
      }
      items.push_back(std::to_string(item->number) + "@" + std::to_string(item->place) +
                      (item->oversized ? " oversized " + std::to_string(item->size)
                                       : " " + std::string(item->text)));
    }
  } catch (const DecodingError& error) {
    return {items, error.debugDescription()};
  }
  return {items, ""};
}

class Splitting : public ::testing::TestWithParam<SplitRow> {};

TEST_P(Splitting, GivesEachMessageWithItsPlaceWhateverTheBlocks) {
  const auto& row = GetParam();
  for (const std::size_t blockSize : {std::size_t{16}, std::size_t{1} << 16}) {
    const auto [items, error] = split(row.input, row.limit, blockSize);
    EXPECT_EQ(items, row.items) << "blocks of " << blockSize;
    EXPECT_EQ(error, row.error) << "blocks of " << blockSize;
  }
}

const std::string kLong = R"({"text":"a message longer than one block of sixteen bytes"})";

INSTANTIATE_TEST_SUITE_P(
    Exports, Splitting,
    ::testing::Values(
        SplitRow{"Empty", "", 100, {}}, SplitRow{"OnlyBlanks", " \r\n\n\t\n", 100, {}},
        SplitRow{"LinesCountedPhysically",
                 "\n{\"a\":1}\n  \n" + kLong + "\n[2]",
                 100,
                 {"1@2 {\"a\":1}", "2@4 " + kLong, "3@5 [2]"}},
        SplitRow{"CrlfLines", "{}\r\n\r\n[1]\r\n", 100, {"1@1 {}", "2@3 [1]"}},
        SplitRow{"MarkBeforeLines", "\xEF\xBB\xBF{}\n{}", 100, {"1@1 {}", "2@2 {}"}},
        SplitRow{"ALineAtTheLimitWithItsCr",
                 "12345\r\n123456\r\n1234\n",
                 5,
                 {"1@1 12345", "2@2 oversized 6", "3@3 1234"}},
        SplitRow{"ALineBeyondTheLimitIsSkippedAndReadingGoesOn",
                 "{}\n" + kLong + kLong + "\n{}\n",
                 20,
                 {"1@1 {}", "2@2 oversized " + std::to_string(2 * kLong.size()), "3@3 {}"}},
        SplitRow{"ALongBlankLineIsStillBlank",
                 "{}\n" + std::string(50, ' ') + "\n{}",
                 20,
                 {"1@1 {}", "2@3 {}"}},
        SplitRow{"ArrayWithMarkAndCrlf",
                 "\xEF\xBB\xBF\r\n[\r\n" + kLong + " ,\r\n {\"b\" : [1, {}]}\r\n]\r\n",
                 100,
                 {"1@8 " + kLong, "2@" + std::to_string(13 + kLong.size()) + " {\"b\" : [1, {}]}"}},
        SplitRow{"EmptyArrays", " [ \n ] \n", 100, {}},
        // Commas and brackets inside strings, escaped quotes and backslashes.
        SplitRow{"ArrayStringsHideTheirBrackets",
                 R"([{"s":"],[\"x\\"},"\\",["]"]])",
                 100,
                 {R"(1@1 {"s":"],[\"x\\"})", R"(2@18 "\\")", R"(3@23 ["]"])"}},
        SplitRow{"EmptyElementsAreMessagesOfTheirOwn",
                 "[1,,2,]",
                 100,
                 {"1@1 1", "2@3 ", "3@4 2", "4@6 "}},
        SplitRow{"AnElementBeyondTheLimitIsSkippedAndReadingGoesOn",
                 "[" + kLong + ",[" + kLong + "," + kLong + "],3]",
                 60,
                 {"1@1 " + kLong,
                  "2@" + std::to_string(kLong.size() + 2) + " oversized " +
                      std::to_string(2 * kLong.size() + 3),
                  "3@" + std::to_string(3 * kLong.size() + 6) + " 3"}},
        // A mismatched bracket is the element's own fault: its parse fails, reading goes on.
        SplitRow{"MismatchedBracketsStayInTheirElement",
                 R"([{"a":[1}},2])",
                 100,
                 {R"(1@1 {"a":[1}})", "2@11 2"}},
        SplitRow{"ArrayThatEndsInsideAnElement",
                 "[1,{\"a\":",
                 100,
                 {"1@1 1"},
                 "the data is not valid JSON: the input ends inside an element of the array "
                 "(byte 8)"},
        SplitRow{"ArrayThatEndsBeforeItsBracket",
                 "[1, 2 ",
                 100,
                 {"1@1 1"},
                 "the data is not valid JSON: the input ends inside an element of the array "
                 "(byte 6)"},
        SplitRow{"ArrayFollowedByText",
                 "[1]\n{}",
                 100,
                 {"1@1 1"},
                 "the data is not valid JSON: more than blanks follow the array (byte 4)"}),
    [](const auto& info) { return std::string(info.param.name); });

// A stream that gives `good` and then fails, as a disk that can no longer be read does.
class FailingBuffer : public std::streambuf {
 public:
  explicit FailingBuffer(std::string good) : good_(std::move(good)) {
    setg(good_.data(), good_.data(), good_.data() + good_.size());
  }

 protected:
  int_type underflow() override { throw std::ios_base::failure("the disk is gone"); }

 private:
  std::string good_;
};

// A failed read is an error, not the end; reading all stops one byte beyond the limit.
TEST(ExportInput, AFailedReadIsAnErrorAndReadingAllStopsBeyondTheLimit) {
  // The first block reads whole; the second meets the failure.
  FailingBuffer buffer("{}\n{}\n{\"a\":\"0123456789\"");
  std::istream stream(&buffer);
  auto input = Input::fromStream(stream, "disk");
  ExportReader reader(input, {.blockSize = 16});
  EXPECT_EQ(reader.next()->text, "{}");
  EXPECT_EQ(reader.next()->text, "{}");
  EXPECT_THROW(reader.next(), InputError);
  const std::string text(100, 'x');
  EXPECT_EQ(Input::fromText(text).readAll(100), text);
  EXPECT_THROW(Input::fromText(text).readAll(99), DecodingError);
}

class Writing : public ::testing::TestWithParam<ExportFormat> {};

TEST_P(Writing, WhatIsWrittenReadsBackAsTheSameMessages) {
  std::vector<ChatMessage> messages;
  auto room = Input::open(std::string(TOVANEL_SOURCE_DIR) + "/examples/room.json");
  EnvelopeReader reader(room);
  while (const auto result = reader.next()) {
    // A history-cleared event writes no type, so it does not read back.
    const InfoBody* event = result->message->body.get<InfoBody>();
    if (event == nullptr || event->infoCase() != InfoBody::Case::roomHistoryCleared) {
      messages.push_back(*result->message);
    }
  }
  ASSERT_FALSE(messages.empty());

  std::ostringstream out;
  {
    ExportWriter writer(out, GetParam());
    for (const auto& message : messages) writer.add(message);
  }
  const std::string text = out.str();
  auto written = Input::fromText(text);
  // In small blocks, so that messages are gathered across them, into one reused message.
  EnvelopeReader again(written, {.blockSize = 16});
  std::vector<ChatMessage> read;
  ChatMessage message = emptyMessage();
  EnvelopeResult result;
  while (again.nextInto(message, result)) {
    ASSERT_FALSE(result.failure) << result.describePlace();
    read.push_back(message);
  }
  EXPECT_EQ(read, messages);
}

INSTANTIATE_TEST_SUITE_P(Formats, Writing,
                         ::testing::Values(ExportFormat::lines, ExportFormat::array));

}  // namespace
}  // namespace tovanel::chat::exports
