// The tool's commands on a store file, run as a user runs them: room --db renders the stored room
// as room renders the file it was imported from, a row that no longer decodes in its place.

#include <gtest/gtest.h>

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

// The example room, and messages of every kind a minute apart over three of the pages that
// room --db reads.
TEST_F(ToolCommandsTest, aStoredRoomReadsAsTheExportItCameFrom) {
  const auto corpus = folder / "corpus.ndjson";
  std::ofstream(corpus) << bench::generateCorpus(2500);
  const std::pair<std::string, std::string> exports[] = {
      {kExample, "r-lisbon-weekend"}, {corpus.string(), "r-" + std::to_string(2026 % 97)}};
  for (const auto& [file, room] : exports) {
    const auto db = quoted((folder / (room + ".db")).string());
    const auto imported = runTool("import " + quoted(file) + " --db " + db);
    ASSERT_EQ(imported.status, 0) << imported.err;
    const auto fromStore = runTool("room --db " + db + " --room " + room);
    ASSERT_EQ(fromStore.status, 0) << fromStore.err;
    EXPECT_EQ(fromStore.out, runTool("room " + quoted(file)).out);
  }
}

TEST_F(ToolCommandsTest, aStoredRowThatNoLongerDecodesIsShownAsAFailureInItsPlace) {
  ASSERT_EQ(runTool("import " + quoted(kExample) + " --db " + db()).status, 0);
  RawDatabase(folder / "room.db")
      .execute("UPDATE messages SET body = '{}' WHERE message_id = 'm005'");
  const auto shown = runTool("room --db " + db() + " --room r-lisbon-weekend");
  EXPECT_EQ(shown.status, 1);

  // The transcript of the file, with the line of m005 replaced by the failure; the library's
  // diagnostic line goes to stderr, once.
  std::string expected = runTool("room " + quoted(kExample)).out;
  const auto text = expected.find("Hi all! Flights are booked");
  ASSERT_NE(text, std::string::npos);
  const auto begin = expected.rfind('\n', text) + 1;
  expected.replace(begin, expected.find('\n', text) - begin,
                   "✗ message 5 (m005) could not be read: keyNotFound: no value for the key "
                   "\"text\" (at body.text)");
  EXPECT_EQ(shown.out, expected);
  EXPECT_EQ(
      shown.err,
      "[Body] Can't decode due to error: keyNotFound at text: no value for the key \"text\"\n");
}

}  // namespace
}  // namespace tovanel::chat::store::test
