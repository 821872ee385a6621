// End-to-end runs of the tovanel-chat tool's body, equal, info and duration commands: exit
// statuses, what goes to standard output and what to standard error.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/ToolRun.hpp"

namespace tovanel::chat {
namespace {

using test::runTool;

/// The quoted path of a scratch file holding `content`.
std::string file(const std::string& name, const std::string& content) {
  return test::quoted(test::ScratchFiles::instance().write(name, content));
}

long lineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

struct ToolRow {
  const char* name;
  std::string args;
  std::string input;  // standard input
  int status;
  std::string out;        // the exact output, or (no newline) the start of its one line
  std::string errPrefix;  // the one line on standard error starts with this ("" for no line)
};
void PrintTo(const ToolRow& row, std::ostream* out) { *out << row.args; }

class ToolCommands : public ::testing::TestWithParam<ToolRow> {};

TEST_P(ToolCommands, ExitWithTheirStatusAndPrintWhereTheyShould) {
  const auto& row = GetParam();
  const auto run = runTool(row.args, row.input);
  EXPECT_EQ(run.status, row.status) << run.err;
  if (row.out.empty() || row.out.ends_with('\n')) {
    EXPECT_EQ(run.out, row.out);
  } else {  // one line that starts with the row's text
    EXPECT_EQ(run.out.rfind(row.out, 0), 0u) << run.out;
    EXPECT_EQ(lineCount(run.out), 1) << run.out;
  }
  EXPECT_EQ(run.err.rfind(row.errPrefix, 0), 0u) << run.err;
  EXPECT_EQ(lineCount(run.err), row.errPrefix.empty() ? 0 : 1) << run.err;
}

std::vector<ToolRow> toolRows() {
  const std::string hi = R"({"mentions":[],"text":"hi"})", bye = R"({"text":"bye"})";
  const std::string text = file("text.json", hi), other = file("other.json", bye);
  const std::string malformed = file("malformed.json", R"({"text":)");
  const std::string pre = file("pre.json", "{\"text\":\"caf\xC3\xA9\"}");
  const std::string dec = file("dec.json", "{\"text\":\"cafe\xCC\x81\"}");
  const std::string hiOut = "{\"text\":\"hi\",\"mentions\":[]}\n";
  const std::string added = R"({"recipients":[],"type":"added"})";
  const std::string addedOut = "{\"type\":\"added\",\"recipients\":[]}\n";
  const std::string failing = R"({"type":"joined","recipients":"u1"})";
  const std::string failure = "typeMismatch at recipients: expected an array, found a string\n";
  const std::string infoLine = "[Body][InfoBody] Can't decode: " + failure;
  const std::string failingErr =
      "error: typeMismatch: expected an array, found a string (at recipients)\n";
  const std::string addedFile = file("added.json", added);
  return {
      {"BodyReadsAFile", "body --type text " + text, "", 0, hiOut, ""},
      {"BodyReadsStdinForDash", "body --type text -", hi, 0, hiOut, ""},
      {"BodyReadsStdinWithoutFile", "body --type text", hi, 0, hiOut, ""},
      {"BodyOfMalformedJson", "body --type text " + malformed, "", 1, "", "error: dataCorrupted: "},
      // A failing body prints the library's own line and the error kind.
      {"BodyThatFails", "body --type text", R"({"text":5})", 1,
       "[Body] Can't decode due to error: typeMismatch", "error: typeMismatch: "},
      {"UnknownKind", "body --type Text " + text, "", 2, "", "error: "},
      {"MissingType", "body " + text, "", 2, "", "error: "},
      {"UnreadableFile", "body --type text /nonexistent/x.json", "", 2, "", "error: "},
      {"UnknownCommand", "reencode " + text, "", 2, "", "error: "},
      {"CanonicallyEqualText", "equal --type text " + pre + " " + dec, "", 0,
       "equal\nhashes equal\n", ""},
      {"DifferentText", "equal --type text " + text + " " + other, "", 0,
       "different\nhashes differ\n", ""},
      {"EqualFailsAsBodyDoes", "equal --type text " + text + " " + malformed, "", 1, "",
       "error: dataCorrupted: "},
      {"EqualNeedsTwoFiles", "equal --type text " + text, "", 2, "", "error: "},
      // events
      {"InfoReencodes", "info", added, 0, addedOut, ""},
      {"InfoDecodesAMediaBodyThroughThePreparedBox", "info -",
       R"({"type":"user_present","media":{"type":"text","body":{"text":"hi"}}})", 0,
       "{\"type\":\"user_present\",\"media\":{\"type\":\"text\",\"body\":{\"text\":\"hi\"}}}\n",
       ""},
      {"InfoOfAFailingRecordWritesTheEventsLine", "info", failing, 1, infoLine, failingErr},
      {"InfoOfAnUnknownKindWritesNoLine", "info", R"({"type":"left"})", 1, "",
       "error: dataCorrupted: "},
      {"InfoBodyWritesTheEventsLineThenTheBodys", "body --type info", failing, 1,
       infoLine + "[Body] Can't decode due to error: " + failure, failingErr},
      {"InfoBodyReencodes", "body --type info", added, 0, addedOut, ""},
      {"EqualInfoWithKeysInAnotherOrder",
       "equal --info " + addedFile + " " +
           file("added2.json", R"({"type":"added","recipients":[]})"),
       "", 0, "equal\nhashes equal\n", ""},
      {"EqualInfoOfDifferentCases",
       "equal --info " + addedFile + " " +
           file("banned.json", R"({"type":"banned","recipients":[]})"),
       "", 0, "different\nhashes differ\n", ""},
      // durations
      {"DurationInSecondsAndWrittenBack", "duration PT4M13S", "", 0, "253\tP0Y0M0W0DT0H4M13S\n",
       ""},
      {"DurationInAnyOrder", "duration P2D1Y", "", 0, "31708800\tP1Y0M0W2DT0H0M0S\n", ""},
      {"NotADuration", "duration PT0.5S", "", 1, "",
       "error: dataCorrupted: the text \"PT0.5S\" is not an ISO 8601 duration\n"},
      {"EmptyDuration", "duration ''", "", 1, "",
       "error: dataCorrupted: the text \"\" is not an ISO 8601 duration\n"},
      {"DurationWithoutText", "duration", "", 2, "", "error: "},
      // rooms
      {"RoomWithAnUnknownOption", "room --colour", "", 2, "", "error: "},
      {"RoomOfAMissingFile", "room /nonexistent/room.json", "", 2, "", "error: "},
      {"CheckOfAMissingFile", "check /nonexistent/room.json", "", 2, "", "error: "},
      {"CheckOfTwoFiles", "check a b", "", 2, "", "error: "},
  };
}

INSTANTIATE_TEST_SUITE_P(Commands, ToolCommands, ::testing::ValuesIn(toolRows()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
