// The tool's commands on a store file, run as a user runs them: room --db renders the stored room
// as room renders the file it was imported from, a row that no longer decodes in its place; search
// finds messages and shows each as a line of the transcript.

#include <fstream>

#include "StoreTesting.hpp"
#include "support/ToolRun.hpp"

namespace tovanel::chat::store::test {
namespace {

using chat::test::quoted;
using chat::test::runTool;

const std::string kExample = std::string(TOVANEL_EXAMPLES) + "/room.json";

class ToolCommandsTest : public ::testing::Test {
 protected:
  std::string db() const { return quoted((folder / "room.db").string()); }
  TemporaryFolder folder;
};

// The example room, with a row that no longer decodes, and messages of every kind a minute apart
// over three of the pages that room --db reads: the transcript of the file, with the line of the
// unreadable row replaced by the failure; the library's diagnostic line goes to stderr, once.
TEST_F(ToolCommandsTest, aStoredRoomReadsAsTheExportItCameFrom) {
  const auto corpus = folder / "corpus.ndjson";
  std::ofstream(corpus) << bench::generateCorpus(2500);
  const std::pair<std::string, std::string> exports[] = {
      {kExample, "r-lisbon-weekend"}, {corpus.string(), "r-" + std::to_string(2026 % 97)}};
  for (const auto& [file, room] : exports) {
    const auto db = quoted((folder / (room + ".db")).string());
    const auto imported = runTool("import " + quoted(file) + " --db " + db);
    ASSERT_EQ(imported.status, 0) << imported.err;
    std::string expected = runTool("room " + quoted(file)).out;
    std::string diagnostic;
    if (file == kExample) {
      sql(folder / (room + ".db"), "UPDATE messages SET body = '{}' WHERE message_id = 'm005'");
      const auto text = expected.find("Hi all! Flights are booked");
      ASSERT_NE(text, std::string::npos);
      const auto begin = expected.rfind('\n', text) + 1;
      expected.replace(begin, expected.find('\n', text) - begin,
                       "✗ message 5 (m005) could not be read: keyNotFound: no value for the key "
                       "\"text\" (at body.text)");
      diagnostic =
          "[Body] Can't decode due to error: keyNotFound at text: no value for the key \"text\"\n";
    }
    const auto fromStore = runTool("room --db " + db + " --room " + room);
    EXPECT_EQ(fromStore.status, diagnostic.empty() ? 0 : 1);
    EXPECT_EQ(fromStore.out, expected);
    EXPECT_EQ(fromStore.err, diagnostic);
  }
}

struct SearchRun {
  const char* name;
  std::string arguments;  // after "search --db DB"
  int status;
  std::string out;
  std::string err;
};

class ToolSearchTest : public ToolCommandsTest, public ::testing::WithParamInterface<SearchRun> {};

TEST_P(ToolSearchTest, showsEachMessageFoundAsATranscriptLine) {
  const SearchRun& row = GetParam();
  ASSERT_EQ(runTool("import " + quoted(kExample) + " --db " + db()).status, 0);
  sql(folder / "room.db", "UPDATE messages SET body = '[' WHERE message_id = 'm015'");
  const auto run =
      chat::test::runCommand("TZ=UTC \"$TOOL\" search --db " + db() + " " + row.arguments);
  EXPECT_EQ(run.status, row.status);
  EXPECT_EQ(run.out, row.out);
  EXPECT_EQ(run.err, row.err);
}

INSTANTIATE_TEST_SUITE_P(
    Runs, ToolSearchTest,
    ::testing::Values(
        SearchRun{"newestFirstWithTheirRoomAndDate", "--limit 3 fado", 1,
                  "✗ message 1 (m015) could not be read: dataCorrupted: the data is not valid "
                  "JSON: the structure is malformed (a missing or extra comma, colon, bracket, "
                  "brace or key, or text after the value) (at body)\n"
                  "r-lisbon-weekend  2026-11-18 18:22  @carl.m ▶ YouTube: What is fado? A "
                  "4-minute introduction (4:13)\n"
                  "r-lisbon-weekend  2026-11-17 09:16  · dana set the topic to “Nov 21–23: food, "
                  "fado, trams”\n",
                  ""},
        SearchRun{"wordsOfSeveralArgumentsAndAFieldTheLineDoesNotShow", "anna cafe", 0,
                  "r-lisbon-weekend  2026-11-17 09:06  @anna Café Nó opens at 8, I checked 😄 (the "
                  "é is written decomposed here: Cafe\u0301)  · authorName: Anna Lindqvist\n"
                  "r-lisbon-weekend  2026-11-17 09:05  @bob @anna amazing. Does the café near the "
                  "hotel open early?\n",
                  ""},
        SearchRun{"nothingFoundInOneRoomNamesTheQueryEscaped",
                  "--room r-elsewhere \"$(printf 'fado\\033')\"", 1, "",
                  "no message matches fado\\u001B\n"},
        SearchRun{"aMalformedQueryIsAUsageError", "'lis*bon'", 2, "",
                  "error: the search query \"lis*bon\" is malformed: a star must end a word or a "
                  "quoted phrase\n"},
        SearchRun{"noQuery", "", 2, "", "error: QUERY is required\n"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ToolCommandsTest, searchHighlightsTheMatchesOnATerminal) {
  ASSERT_EQ(runTool("import " + quoted(kExample) + " --db " + db()).status, 0);
  const auto run = chat::test::runOnTerminal("TZ=UTC \"$TOOL\" search --db " + db() + " 'lisb*'");
  EXPECT_EQ(run.status, 0);
  // The matched word of the first line in reverse video, within the line's own colours.
  EXPECT_NE(run.out.find("Landed! Olá \x1b[7mLisboa\x1b[0m"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\x1b[7mlisbon\x1b[0m\x1b[1m_live"), std::string::npos) << run.out;
}

}  // namespace
}  // namespace tovanel::chat::store::test
