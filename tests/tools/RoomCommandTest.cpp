// The tool's main job, end to end: `room` renders a room export and `check` counts what decodes,
// on array and newline-delimited input; and the transcript's rendering of single bodies.

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "Transcript.hpp"
#include "support/RecordTables.hpp"
#include "support/ToolRun.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat {
namespace {

using test::quoted;
using test::runTool;

const std::string kExampleRoom = std::string(TOVANEL_SOURCE_DIR) + "/examples/room.json";

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string envelope(const std::string& id, const std::string& type, const std::string& body,
                     const std::string& extra = "") {
  return R"({"messageId":")" + id + R"(","roomId":"r1","type":")" + type + R"(","body":)" + body +
         R"(,"user":{"id":"u1","username":"anna","firstName":"Anna","lastName":"L",)"
         R"("followerCount":1,"followingCount":2},"createdAt":"2026-11-22T10:00:00Z")" +
         extra + "}";
}

class RoomCommand : public ::testing::Test {
 protected:
  void SetUp() override { setenv("TZ", "UTC", 1); }
};

TEST_F(RoomCommand, TheExampleRoomRendersEveryMessageAsItsOwnKindWithoutErrorLines) {
  const auto run = runTool("room " + quoted(kExampleRoom));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out.find("✗"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("[Body]"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find('\x1b'), std::string::npos) << "no colours when stdout is a file";
  std::size_t messages = 0;
  std::size_t days = 0;
  for (const auto& line : linesOf(run.out)) {
    if (line.size() > 5 && line[2] == ':' && line[5] == ' ') ++messages;
    if (line.rfind("────", 0) == 0) ++days;
  }
  EXPECT_EQ(messages, 38u);
  EXPECT_EQ(days, 5u);
  const std::string& out = run.out;
  // One recognisable fragment per body kind and for the kinds of events people see most.
  const std::vector<std::string> fragments{
      "@bob @anna amazing",                                       // text
      "🖼  2 images: 4032×3024, 3024×4032",                   // images
      "▶ video 0:43 (1920×1080)",                                 // video, length rounded
      "▶ YouTube: What is fado? A 4-minute introduction (4:13)",  // ISO 8601 duration
      "♫ SoundCloud: Amália — Barco Negro (live) by fado-archive (3:42)",
      "🔗 Tasca do Chico — fado every night — example.com",
      "📍 Hotel Baixa (38.7139, -9.1394)",
      "🎬 Fados (2007, IMDb 7.3)",
      "📺 Twitch: lisbon_live playing Just Chatting",
      "▶ a Vimeo video",
      "(hint)",
      "anna added bob and carl.m",
      "anna changed the title from “Lisbon weekend” to “Lisbon weekend 🇵🇹”",
      "call ended: anna called, with anna, bob and dana",
      "dana is here with: ▶ YouTube: Tram 28, end to end (12:30)",
      "deleted account see you there",
      "(sending…)",
      "(failed to send)",
      "──── Tuesday 17 November 2026 ────",
  };
  for (const auto& fragment : fragments) {
    EXPECT_NE(out.find(fragment), std::string::npos) << "missing: " << fragment;
  }
}

TEST_F(RoomCommand, AMessageThatFailsIsMarkedAndRenderingGoesOn) {
  const std::string input = envelope("m1", "text", R"({"text":"first"})") + "\n" +
                            envelope("m2", "text", R"({"mentions":[]})") + "\n" +
                            envelope("m3", "text", R"({"text":"third"})") + "\n";
  const auto run = runTool("room -", input);
  EXPECT_EQ(run.status, 1);
  const auto first = run.out.find("first");
  const auto failure = run.out.find("✗ message 2 (m2) could not be read: keyNotFound");
  const auto third = run.out.find("third");
  ASSERT_NE(failure, std::string::npos) << run.out;
  EXPECT_LT(first, failure);
  EXPECT_NE(third, std::string::npos);
  EXPECT_LT(failure, third);
}

struct CheckCase {
  const char* name;
  std::string input;
  int status;
  std::vector<std::string> expectedLines;  // in order, among stdout's lines
};

class CheckCommand : public ::testing::TestWithParam<CheckCase> {};

TEST_P(CheckCommand, CountsAndReports) {
  const auto& row = GetParam();
  const auto run = runTool("check -", row.input);
  EXPECT_EQ(run.status, row.status) << run.out << run.err;
  const auto lines = linesOf(run.out);
  std::size_t next = 0;
  for (const auto& line : lines) {
    if (next < row.expectedLines.size() && line.rfind(row.expectedLines[next], 0) == 0) ++next;
  }
  EXPECT_EQ(next, row.expectedLines.size())
      << "missing line: " << (next < row.expectedLines.size() ? row.expectedLines[next] : "")
      << "\nin:\n"
      << run.out;
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), row.expectedLines.back()) << "the count is the last line";
}

const std::string kGood1 = envelope("m1", "text", R"({"text":"hi"})");
const std::string kGood2 = envelope("m2", "hint", "null");
const std::string kBadStatus = envelope("m3", "text", R"({"text":"hi"})", R"(,"sentStatus":7)");

INSTANTIATE_TEST_SUITE_P(
    Inputs, CheckCommand,
    ::testing::Values(
        CheckCase{"NewlineDelimitedAllGood",
                  kGood1 + "\n\n" + kGood2 + "\n",
                  0,
                  {"checked 2 messages: 2 ok, 0 failed"}},
        CheckCase{"MalformedLineInTheMiddleFailsAloneWithoutAnId",
                  kGood1 + "\n{\"messageId\": \"mx\", \n" + kGood2 + "\n",
                  1,
                  {"message 2 (?): error: dataCorrupted:", "checked 3 messages: 2 ok, 1 failed"}},
        CheckCase{"BlankLinesAreNotCounted",
                  "\n" + kGood1 + "\n   \n" + kBadStatus + "\n",
                  1,
                  {"message 2 (m3): error: dataCorrupted: cannot initialize MessageSentStatus",
                   "checked 2 messages: 1 ok, 1 failed"}},
        CheckCase{"ArrayInput",
                  "  [" + kGood1 + "," + kBadStatus + "," + kGood2 + "]",
                  1,
                  {"message 2 (m3): error: dataCorrupted", "checked 3 messages: 2 ok, 1 failed"}},
        CheckCase{"ArrayElementWithoutAnId",
                  "[" + kGood1 + R"(,{"roomId":"r"}])",
                  1,
                  {"message 2 (?): error: keyNotFound", "checked 2 messages: 1 ok, 1 failed"}},
        CheckCase{"LibraryLinesComeBeforeTheMessageLine",
                  envelope("m9", "text", R"({"text":5})") + "\n",
                  1,
                  {"[Body] Can't decode due to error: typeMismatch",
                   "message 1 (m9): error: typeMismatch", "checked 1 messages: 0 ok, 1 failed"}},
        CheckCase{"EmptyInput", "", 0, {"checked 0 messages: 0 ok, 0 failed"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CheckCommandInput, TheExampleRoomChecksClean) {
  const auto run = runTool("check " + quoted(kExampleRoom));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "checked 38 messages: 38 ok, 0 failed\n");
}

// ---- single bodies, with colours, to see what is highlighted ----

const ChatMessageUser kAuthor("u1", "anna", "Anna", "L", std::nullopt, std::nullopt, 0, 0);

struct MentionCase {
  const char* name;
  std::string body;
  std::string highlighted;  // empty: nothing is highlighted
};

class MentionHighlight : public ::testing::TestWithParam<MentionCase> {};

TEST_P(MentionHighlight, SpansCountUtf16Units) {
  const auto& row = GetParam();
  const tool::Transcript transcript(stdout, true);
  const std::string rendered =
      transcript.renderBody(test::decodeBody(BodyType::text, row.body), kAuthor);
  // A highlighted span is the text between the escape sequences that open it and the reset.
  std::string highlighted;
  if (auto textStart = rendered.find('\x1b'); textStart != std::string::npos) {
    while (rendered[textStart] == '\x1b') textStart = rendered.find('m', textStart) + 1;
    highlighted = rendered.substr(textStart, rendered.find("\x1b[0m", textStart) - textStart);
  }
  EXPECT_EQ(highlighted, row.highlighted) << rendered;
}

INSTANTIATE_TEST_SUITE_P(
    Mentions, MentionHighlight,
    ::testing::Values(
        MentionCase{"Ascii", R"({"text":"hi @bob!","mentions":[{"rangeStart":3,"rangeEnd":7}]})",
                    "@bob"},
        // The emoji takes two UTF-16 units and four bytes.
        MentionCase{"AfterAnEmoji",
                    R"({"text":"😀 @bob hi","mentions":[{"rangeStart":3,"rangeEnd":7}]})", "@bob"},
        MentionCase{"AfterAnAccent",
                    R"({"text":"é @zoë","mentions":[{"rangeStart":2,"rangeEnd":6}]})", "@zoë"},
        MentionCase{"InsideASurrogatePairIsIgnored",
                    R"({"text":"😀 @bob","mentions":[{"rangeStart":1,"rangeEnd":4}]})", ""},
        MentionCase{"BeyondTheTextIsIgnored",
                    R"({"text":"hi","mentions":[{"rangeStart":1,"rangeEnd":40}]})", ""},
        MentionCase{"ReversedIsIgnored",
                    R"({"text":"hi @bob","mentions":[{"rangeStart":7,"rangeEnd":3}]})", ""},
        MentionCase{"MissingBoundIsIgnored", R"({"text":"hi @bob","mentions":[{"rangeStart":3}]})",
                    ""}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
