// The tovanel-chat tool run as a user runs it, on ordinary and hostile input and output: exit
// statuses, what goes to standard output and what to standard error, what a terminal shows, and
// how much memory a run takes where input could make it grow.

#include <cstdlib>
#include <sstream>

#include "support/RecordTables.hpp"
#include "support/ToolRun.hpp"

namespace tovanel::chat {
namespace {

using test::quoted;

/// The quoted path of a scratch file, holding `content` when given.
std::string file(const std::string& name, const std::optional<std::string>& content = {}) {
  return quoted(test::scratchFile(name, content));
}

// How `out` is compared: exactly, or line by line, each line being in the output (or not, when it
// starts with "!").
enum class Out { exact, eachLine };

struct ToolRow {
  const char* name;
  std::string command;  // after the tool's name; or, starting with "sh:", a shell command line
                        // in which "$TOOL" is the tool
  std::string input;    // standard input
  int status;
  std::string out;
  std::string errPrefix;  // the one line on standard error starts with this ("" for no line)
  Out match = Out::exact;
  long growthMiB = 0;     // when set: peak memory at most this far above a small run's
  bool terminal = false;  // run on a terminal of its own (`out` is what it showed)
};
void PrintTo(const ToolRow& row, std::ostream* out) { *out << row.command; }

class ToolCommands : public ::testing::TestWithParam<ToolRow> {
 protected:
  void SetUp() override { setenv("TZ", "UTC", 1); }

  // A small run's peak: the tool's own size, under whatever build and sanitizer this is.
  static long smallRunPeakKiB() {
    static const long peak = test::runTool("duration PT1S").peakResidentKiB;
    return peak;
  }
};

TEST_P(ToolCommands, ExitWithTheirStatusAndPrintWhereTheyShould) {
  const auto& row = GetParam();
  if (row.command.find("unshare -U") != std::string::npos &&
      std::system("unshare -U true 2>/dev/null") != 0) {
    GTEST_SKIP() << "this machine gives no user namespace to run as another user";
  }
  const std::string command =
      row.command.starts_with("sh:") ? row.command.substr(3) : "\"$TOOL\" " + row.command;
  const auto run =
      row.terminal ? test::runOnTerminal(command) : test::runCommand(command, row.input);
  EXPECT_EQ(run.status, row.status) << run.out << run.err;
  if (row.match == Out::exact) {
    EXPECT_EQ(run.out, row.out);
  }
  std::istringstream lines(row.match == Out::eachLine ? row.out : "");
  for (std::string line; std::getline(lines, line);) {
    const bool absent = line.starts_with('!');
    EXPECT_EQ(run.out.find(line.substr(absent ? 1 : 0)) == std::string::npos, absent) << line;
  }
  EXPECT_EQ(run.err.rfind(row.errPrefix, 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), row.errPrefix.empty() ? 0 : 1)
      << run.err;
  // A sanitizer's shadow memory and quarantine grow with what the tool allocates and frees.
#ifndef TOVANEL_SANITIZED
  if (row.growthMiB > 0) {
    EXPECT_LT(run.peakResidentKiB, smallRunPeakKiB() + row.growthMiB * 1024)
        << "a small run peaks at " << smallRunPeakKiB() << " KiB";
  }
#endif
}

std::string envelope(const std::string& id, const std::string& room, const std::string& body,
                     const std::string& user = "anna") {
  return R"({"messageId":")" + id + R"(","roomId":")" + room + R"(","type":"text","body":)" + body +
         R"(,"user":{"id":"u1","username":")" + user +
         R"(","firstName":"A","lastName":"B","followerCount":0,"followingCount":0},)"
         R"("createdAt":"2026-11-22T10:00:00Z"})";
}

std::vector<ToolRow> toolRows() {
  const std::string hi = R"({"mentions":[],"text":"hi"})", bye = R"({"text":"bye"})";
  const std::string text = file("text.json", hi), other = file("other.json", bye);
  const std::string malformedPath = test::scratchFile("bad.json", R"({"text":)");
  const std::string malformed = quoted(malformedPath);
  const std::string pre = file("pre.json", "{\"text\":\"caf\xC3\xA9\"}");
  const std::string dec = file("dec.json", "{\"text\":\"cafe\xCC\x81\"}");
  const std::string added = R"({"recipients":[],"type":"added"})";
  const std::string failing = R"({"type":"joined","recipients":"u1"})";
  const std::string failure = "typeMismatch at recipients: expected an array, found a string\n";
  const std::string addedFile = file("added.json", added);
  const std::string directory = std::filesystem::path(malformedPath).parent_path().string();
  const std::string folder = quoted(directory);
  const std::string notAFile = "error: cannot read " + directory + ": Is a directory\n";

  const std::string good = envelope("m1", "r1", R"({"text":"hi"})");
  const std::string goodLines = good + "\n" + envelope("m2", "r1", R"({"text":"hi again"})") + "\n";
  const std::string room = file("room.ndjson", goodLines);
  const std::string badStatus = good.substr(0, good.size() - 1) + R"(,"sentStatus":7})";
  const std::string failingText = envelope("m9", "r1", R"({"text":5})") + "\n";
  const std::string failingTextLine =
      "message 1 (m9): error: typeMismatch: expected a string, found an integer (at body.text) "
      "(line 1)\n";
  const std::string exampleRoom = quoted(std::string(TOVANEL_SOURCE_DIR) + "/examples/room.json");
  const std::string large = envelope("m2", "r1", "{\"text\":\"" + std::string(1000, 'y') + "\"}");
  // A line of 100 MB between good lines, made by the shell so that this process never holds it.
  const std::string hugeLine = "{ printf '%s\\n%s\\n' " + quoted(good) + " " + quoted(good) +
                               "; head -c 100000000 /dev/zero | tr '\\0' x; printf '\\n%s\\n' " +
                               quoted(good) + "; } | ";
  const std::string tooLong =
      "message 3 (?): error: dataCorrupted: the message is 100000000 bytes long, more than the "
      "limit of 1048576 bytes (line 3)\n";
  // Text that would act on a terminal: clear the screen, retitle it, forge a line.
  const std::string hostile = envelope(
      "m1", "r1", R"({"text":"a\u001b[2J\u001b]0;owned\u0007\rb\nc \u202e d \u0085 e \u007f"})",
      R"(x\u001b[31m)");
  const std::string hostileOut =
      "═══ room r1 ═══\n"
      "──── Sunday 22 November 2026 ────\n"
      "10:00  @x\\u001B[31m a\\u001B[2J\\u001B]0;owned\\u0007\\rb\n"
      "       c \\u202E d \\u0085 e \\u007F\n";
  // Twenty thousand messages of about 600 bytes, for a store file that may not grow past 1 MB.
  const std::string manyMessages =
      "seq 20000 | sed " +
      quoted("s/.*/" + envelope("m&", "r1", "{\"text\":\"" + std::string(400, 'x') + "\"}") + "/") +
      " > " + file("many.ndjson") + "; ";
  // Thirty thousand messages a second apart, so that a page of the store holds a thousand.
  const std::string secondsApart =
      R"awk(awk 'BEGIN { for (i = 0; i < 30000; i++) printf "{\"messageId\":\"m%d\",\"roomId\":\"r1\",)awk"
      R"awk(\"type\":\"text\",\"body\":{\"text\":\"%0200d\"},\"user\":{\"id\":\"u1\",)awk"
      R"awk(\"firstName\":\"A\",\"lastName\":\"B\",\"followerCount\":0,\"followingCount\":0},)awk"
      R"awk(\"createdAt\":\"2026-11-22T%02d:%02d:%02dZ\"}\n", i, i, i / 3600, i / 60 % 60, i % 60 }')awk"
      " > " +
      file("paged.ndjson") + "; ";
  const std::string bigRoom = "yes " + quoted(good) + " | head -n 5000 > " + file("big") + "; ";

  std::vector<ToolRow> rows{
      {"BodyReadsAFile", "body --type text " + text, "", 0, "{\"text\":\"hi\",\"mentions\":[]}\n",
       ""},
      // (standard input, with "-" or without a file, is read by the info rows)
      // A failing body prints the library's own line and the error kind.
      {"BodyThatFails", "body --type text", R"({"text":5})", 1,
       "[Body] Can't decode due to error: typeMismatch at text: expected a string, found an "
       "integer\n",
       "error: typeMismatch: "},
      {"UnknownKindListsTheKinds", "body --type Text " + text, "", 2, "",
       "error: unknown body kind \"Text\" (the kinds: action, app, event, hint, hls, images, "
       "info, location, soundcloud, text, twitch, url, video, vimeo, youtube)\n"},
      {"MissingType", "body " + text, "", 2, "", "error: "},
      {"UnreadableFile", "body --type text /nonexistent/x.json", "", 2, "",
       "error: cannot read /nonexistent/x.json: No such file or directory\n"},
      {"UnknownCommandIsNamed", "reencode " + text, "", 2, "",
       "error: unknown command \"reencode\" (the commands: body, check, duration, equal, import, "
       "info, room, search, user)\n"},
      {"Version", "--version", "", 0, std::string("tovanel-chat ") + TOVANEL_CHAT_VERSION + "\n",
       ""},
      {"CanonicallyEqualText", "equal --type text " + pre + " " + dec, "", 0,
       "equal\nhashes equal\n", ""},
      {"DifferentText", "equal --type text " + text + " " + other, "", 0,
       "different\nhashes differ\n", ""},
      {"EqualNamesTheFileThatFailed", "equal --type text " + text + " " + malformed, "", 1, "",
       "error: " + malformedPath + ": dataCorrupted: "},
      {"EqualNeedsTwoFiles", "equal --type text " + text, "", 2, "", "error: "},
      // events
      {"InfoDecodesAMediaBodyThroughThePreparedBox", "info -",
       R"({"type":"user_present","media":{"type":"text","body":{"text":"hi"}}})", 0,
       "{\"type\":\"user_present\",\"media\":{\"type\":\"text\",\"body\":{\"text\":\"hi\"}}}\n",
       ""},
      {"InfoOfAFailingRecordWritesTheEventsLine", "info", failing, 1,
       std::string(test::kInfoLine) + failure,
       "error: typeMismatch: expected an array, found a string (at recipients)\n"},
      // durations
      {"DurationInSecondsAndWrittenBack", "duration PT4M13S", "", 0, "253\tP0Y0M0W0DT0H4M13S\n",
       ""},
      {"NotADuration", "duration PT0.5S", "", 1, "",
       "error: dataCorrupted: the text \"PT0.5S\" is not an ISO 8601 duration\n"},
      // rooms
      {"CheckOfTwoFiles", "check a b", "", 2, "", "error: "},
      {"RoomNeedsTheStoreForARoom", "room --room r1", "", 2, "", "error: --room requires --db\n"},
      {"SeveralRoomsHaveAHeaderEach", "room -",
       good + "\n" + envelope("m2", "r2", R"({"text":"two"})") + "\n" +
           envelope("m3", "r1", R"({"text":"three"})") + "\n",
       0,
       "═══ room r1 ═══\n──── Sunday 22 November 2026 ────\n10:00  @anna hi\n\n"
       "═══ room r2 ═══\n──── Sunday 22 November 2026 ────\n10:00  @anna two\n\n"
       "═══ room r1 ═══\n──── Sunday 22 November 2026 ────\n10:00  @anna three\n",
       ""},
      {"RoomMarksAMessageThatFailsAndGoesOn", "room -",
       envelope("m1", "r1", R"({"text":"first"})") + "\n" + failingText +
           envelope("m3", "r1", R"({"text":"third"})") + "\n",
       1,
       "═══ room r1 ═══\n──── Sunday 22 November 2026 ────\n10:00  @anna first\n✗ message 2 "
       "(m9) could not be read: typeMismatch: expected a string, found an integer (at body.text) "
       "(line 2)\n10:00  @anna third\n",
       "[Body] Can't decode due to error: typeMismatch at body.text"},
      // input that is no file, or never ends
      {"EqualWithAFolder", "equal --info " + addedFile + " " + folder, "", 2, "", notAFile},
      {"CheckOfAFolder", "check " + folder, "", 2, "", notAFile},
      {"CheckWithStandardInputClosed", "sh:\"$TOOL\" check <&-", "", 2, "",
       "error: cannot read standard input: it is closed\n"},
      {"UserOfAnEndlessStreamStopsAtTheLimit", "user --max-message-size 1M /dev/zero", "", 1, "",
       "error: dataCorrupted: the input is longer than the limit of 1048576 bytes\n", Out::exact,
       8},
      {"EqualOfAnEndlessStreamNamesIt", "equal --info " + addedFile + " /dev/zero", "", 1, "",
       "error: /dev/zero: dataCorrupted: the input is longer than the limit of 67108864 bytes\n"},
      {"CheckGoesOnAfterALineBeyondTheLimit",
       "sh:" + hugeLine + "\"$TOOL\" check --max-message-size 1M -", "", 1,
       tooLong + "checked 4 messages: 3 ok, 1 failed\n", "", Out::exact, 8},
      // exports of every shape
      // Each failure in its place, the library's line before the message's, and the count.
      {"CheckReportsEachFailureInItsPlaceAndCounts", "check -",
       "\n" + good + "\n   \n{\"messageId\": \"mx\", \n" + badStatus + "\n" + failingText, 1,
       "message 2 (?): error: dataCorrupted: the data is not valid JSON: the structure is "
       "malformed (a missing or extra comma, colon, bracket, brace or key, or text after the "
       "value) (line 4)\nmessage 3 (m1): error: dataCorrupted: cannot initialize "
       "MessageSentStatus from invalid raw value 7 (at sentStatus) (line 5)\n[Body] Can't decode "
       "due to error: typeMismatch at body.text: expected a string, found an integer\nmessage 4 "
       "(m9): error: typeMismatch: expected a string, found an integer (at body.text) (line 6)\n"
       "checked 4 messages: 1 ok, 3 failed\n",
       ""},
      {"CheckOfNothing", "check -", "", 0, "checked 0 messages: 0 ok, 0 failed\n", ""},
      // One recognisable fragment per body kind and for the kinds of events people see most; no
      // failure, no diagnostic line, no colours when standard output is a file.
      {"RoomRendersTheExampleRoomEveryMessageAsItsOwnKind", "room " + exampleRoom, "", 0,
       "@bob @anna amazing\n🖼  2 images: 4032×3024, 3024×4032\n▶ video 0:43 (1920×1080)\n"
       "▶ YouTube: What is fado? A 4-minute introduction (4:13)\n"
       "♫ SoundCloud: Amália — Barco Negro (live) by fado-archive (3:42)\n"
       "🔗 Tasca do Chico — fado every night — example.com\n📍 Hotel Baixa (38.7139, -9.1394)\n"
       "🎬 Fados (2007, IMDb 7.3)\n📺 Twitch: lisbon_live playing Just Chatting\n"
       "▶ a Vimeo video\n(hint)\nanna added bob and carl.m\n"
       "anna changed the title from “Lisbon weekend” to “Lisbon weekend 🇵🇹”\n"
       "call ended: anna called, with anna, bob and dana\n"
       "dana is here with: ▶ YouTube: Tram 28, end to end (12:30)\n"
       "deleted account see you there\n(sending…)\n(failed to send)\n"
       "──── Tuesday 17 November 2026 ────\n!✗\n![Body]\n!\x1b\n",
       "", Out::eachLine},
      // An element beyond the limit, or without an ID, fails alone; an array that ends too soon
      // ends the check after what it held.
      {"ArrayElementsFailAloneAndTheArrayEndsTooSoon", "check --max-message-size 1K -",
       "[" + good + ",\n" + large + ",\n" + R"({"roomId":"r"},)", 1,
       "message 2 (?): error: dataCorrupted: the message is " + std::to_string(large.size()) +
           " bytes long, more than the limit of 1024 bytes (byte " +
           std::to_string(good.size() + 3) +
           ")\nmessage 3 (?): error: keyNotFound: no value for the key \"messageId\" (at "
           "messageId) (byte " +
           std::to_string(good.size() + large.size() + 5) +
           ")\nchecked 3 messages: 1 ok, 2 failed\n",
       "error: dataCorrupted: the data is not valid JSON: the input ends before the array's "
       "closing bracket (byte " +
           std::to_string(good.size() + large.size() + 20) + ")\n"},
      // what the data holds never reaches the terminal raw
      {"RoomEscapesTheData", "room -", hostile + "\n", 0, hostileOut, ""},
      {"CheckEscapesAnIdAndAKind", "check -",
       R"({"messageId":"\u001b]0;x\u0007","roomId":"r","type":"te\u001bxt","body":{},"user":{}})",
       1,
       "message 1 (\\u001B]0;x\\u0007): error: dataCorrupted: cannot initialize BodyType from "
       "invalid raw value \"te\\u001Bxt\" (at type) (line 1)\nchecked 1 messages: 0 ok, 1 "
       "failed\n",
       ""},
      {"BodyKeepsItsJsonAndEscapesWhatTheEncoderLeaves", "body --type text",
       R"({"text":"\u202e\u0085\u007f\u001b"})", 0, "{\"text\":\"\\u202E\\u0085\\u007F\\u001b\"}\n",
       ""},
      {"RoomOnATerminalHasColours", "sh:\"$TOOL\" room " + room, "", 0, "\x1b[", "", Out::eachLine,
       0, true},
      {"NoColoursWithNoColor", "sh:NO_COLOR=1 \"$TOOL\" room " + room, "", 0, "!\x1b", "",
       Out::eachLine, 0, true},
      {"NoColoursOnADumbTerminal", "sh:TERM=dumb \"$TOOL\" room " + room, "", 0, "!\x1b", "",
       Out::eachLine, 0, true},
      // output that cannot be written
      {"OutputToAFullDisk", "sh:\"$TOOL\" check " + room + " >/dev/full", "", 1, "",
       "error: cannot write the output: No space left on device\n"},
      {"AReaderThatGoesAwayEndsItQuietly",
       "sh:" + bigRoom + "(trap '' PIPE; \"$TOOL\" room " + file("big") + " | head -n 1)", "", 0,
       "═══ room r1 ═══\n", ""},
  };
#ifdef TOVANEL_CHAT_HAS_STORE
  const std::string store = file("store.db");
  const std::string noFolder =
      "error: cannot open the store /nonexistent/s.db: its folder /nonexistent does not exist\n";
  const std::string empty = "error: --db needs the path of a store file; it is empty\n";
  const std::string memory =
      "error: --db needs the path of a store file; \":memory:\" would name SQLite's own kind of "
      "database, not a file\n";
  std::vector<ToolRow> storeRows{
      {"ImportWithoutStore", "import", "", 2, "", "error: "},
      {"RoomOfAStoreWithoutTheRoom", "room --db " + store, "", 2, "", "error: "},
      {"RoomOfAStoreThatDoesNotExist", "room --room r1 --db " + store, "", 2, "",
       "error: cannot open the store "},
      {"RoomOfAFileAndAStore", "room x.json --room r1 --db " + store, "", 2, "", "error: "},
      {"ImportIntoAMissingFolder", "import --db /nonexistent/s.db", good, 2, "", noFolder},
      {"RoomOfAnEmptyPath", "room --room r1 --db ''", "", 2, "", empty},
      {"ImportIntoMemory", "import --db :memory:", good, 2, "", memory},
      {"ImportGoesOnAfterALineBeyondTheLimit",
       "sh:" + hugeLine + "\"$TOOL\" import --max-message-size 1M - --db " + file("huge.db"), "", 1,
       tooLong + "imported 3 messages (1 new, 2 replaced), 1 failed\n", "", Out::exact, 8},
      // Import reports a failing message as check does, and the others go in.
      {"ImportSendsTheLibrarysLinesToStandardError", "import - --db " + file("lines.db"),
       failingText + goodLines, 1,
       failingTextLine + "imported 2 messages (2 new, 0 replaced), 1 failed\n",
       "[Body] Can't decode due to error: typeMismatch at body.text"},
      {"ImportStopsAtTheFirstBatchTheStoreRefuses",
       "sh:" + manyMessages + "trap '' XFSZ; ulimit -f 2000; \"$TOOL\" import " +
           file("many.ndjson") + " --db " + file("full.db"),
       "", 1, "", "error: "},
      {"ImportCountsReplacedMessagesApart",
       "sh:\"$TOOL\" import " + room + " --db " + file("twice.db") +
           " >/dev/null; \"$TOOL\" import " + room + " --db " + file("twice.db"),
       "", 0, "imported 2 messages (0 new, 2 replaced), 0 failed\n", ""},
      // Rendering opens the store read-only: the file stays as it was, nothing is left beside it.
      {"RoomLeavesTheStoreAsItWas",
       "sh:\"$TOOL\" import " + room + " --db " + file("kept.db") +
           " >/dev/null; before=$(stat -c %y " + file("kept.db") + "); \"$TOOL\" room --db " +
           file("kept.db") + " --room r1 >/dev/null; [ \"$(stat -c %y " + file("kept.db") +
           ")\" = \"$before\" ] && ls " + folder + " | grep kept",
       "", 0, "kept.db\n", ""},
      {"RoomOfARoomTheStoreDoesNotHold",
       "sh:\"$TOOL\" import " + room + " --db " + file("other.db") +
           " >/dev/null; \"$TOOL\" room --db " + file("other.db") + " --room r-elsewhere",
       "", 1, "",
       "error: room \"r-elsewhere\" has no messages in " + test::scratchFile("other.db") + "\n"},
      // Another user, for whom neither the file nor its folder can be written.
      {"RoomOfAReadOnlyStore",
       "sh:\"$TOOL\" import " + room + " --db " + file("read-only.db") +
           " >/dev/null; unshare -U \"$TOOL\" room --db " + file("read-only.db") + " --room r1",
       "", 0,
       "═══ room r1 ═══\n──── Sunday 22 November 2026 ────\n10:00  @anna hi\n"
       "10:00  @anna hi again\n",
       ""},
      // Memory holds a page of the store, not the room.
      {"RoomOfAStorePagesInFlatMemory",
       "sh:" + secondsApart + "\"$TOOL\" import " + file("paged.ndjson") + " --db " +
           file("paged.db") + " >/dev/null; \"$TOOL\" room --db " + file("paged.db") +
           " --room r1 | tail -n 1",
       "", 0, "08:19  deleted account " + std::string(195, '0') + "29999\n", "", Out::exact, 16},
      {"ImportShowsProgressOnATerminal",
       "sh:\"$TOOL\" import " + room + " --db " + file("progress.db"), "", 0,
       "\rimported 2 messages...", "", Out::eachLine, 0, true},
  };
  rows.insert(rows.end(), storeRows.begin(), storeRows.end());
#endif
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Commands, ToolCommands, ::testing::ValuesIn(toolRows()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
