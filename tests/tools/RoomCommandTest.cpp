// The tool's main job, end to end: `room` renders the example room export, every kind as its own;
// and the transcript's rendering of single bodies.

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
