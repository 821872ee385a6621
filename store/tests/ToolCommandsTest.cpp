// The tool's commands on a store file, run as a user runs them: import loads an export and
// reports what failed as check does; room --db renders the stored room as room renders the file.

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

TEST_F(ToolCommandsTest, aStoredRoomReadsAsTheExportItCameFrom) {
  const auto imported = runTool("import " + quoted(kExample) + " --db " + db());
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(imported.out, "imported 38 messages (38 new, 0 replaced), 0 failed\n");

  const auto fromFile = runTool("room " + quoted(kExample));
  const auto fromStore = runTool("room --db " + db() + " --room r-lisbon-weekend");
  ASSERT_EQ(fromStore.status, 0) << fromStore.err;
  EXPECT_EQ(fromStore.out, fromFile.out);
}

TEST_F(ToolCommandsTest, aRoomOfSeveralPagesReadsAsTheExportItCameFrom) {
  // Messages of every kind a minute apart, over three of the pages that room --db reads.
  const auto corpus = folder / "corpus.ndjson";
  std::ofstream(corpus) << bench::generateCorpus(2500);
  ASSERT_EQ(runTool("import " + quoted(corpus.string()) + " --db " + db()).status, 0);

  const auto fromFile = runTool("room " + quoted(corpus.string()));
  const auto fromStore = runTool("room --db " + db() + " --room r-" + std::to_string(2026 % 97));
  ASSERT_EQ(fromStore.status, 0) << fromStore.err;
  EXPECT_EQ(fromStore.out, fromFile.out);
}

TEST_F(ToolCommandsTest, aFailingEnvelopeIsReportedAsCheckReportsItAndTheRestGoIn) {
  const std::string input =
      R"({"messageId":"m1","roomId":"r1","type":"text","body":{"text":"one"},)"
      R"("user":{"id":"u1","firstName":"A","lastName":"B","followerCount":0,"followingCount":0},)"
      R"("createdAt":"2026-11-22T10:00:00Z"})"
      "\n"
      R"({"messageId":"m2","roomId":"r1","type":"text","body":{"text":5},)"
      R"("user":{"id":"u1","firstName":"A","lastName":"B","followerCount":0,"followingCount":0}})"
      "\n"
      R"({"messageId":"m3","roomId":"r1","type":"text","body":{"text":"three"},)"
      R"("user":{"id":"u1","firstName":"A","lastName":"B","followerCount":0,"followingCount":0},)"
      R"("createdAt":"2026-11-22T10:01:00Z"})"
      "\n";
  const auto checked = runTool("check", input);
  const auto imported = runTool("import --db " + db(), input);
  EXPECT_EQ(imported.status, 1);
  // What check writes for the failing envelope, then the count in place of check's; the library's
  // own line goes to stderr.
  const auto libraryLine = checked.out.substr(0, checked.out.find('\n') + 1);
  const auto checkedLines = checked.out.substr(libraryLine.size())
                                .substr(0, checked.out.rfind("checked ") - libraryLine.size());
  EXPECT_EQ(imported.out, checkedLines + "imported 2 messages (2 new, 0 replaced), 1 failed\n");
  EXPECT_EQ(imported.err, libraryLine);

  RawDatabase raw(folder / "room.db");
  EXPECT_EQ(raw.integer("SELECT count(*) FROM messages WHERE message_id IN ('m1', 'm3')"), 2);
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

TEST_F(ToolCommandsTest, aRoomTheStoreDoesNotHoldIsAnError) {
  ASSERT_EQ(runTool("import " + quoted(kExample) + " --db " + db()).status, 0);
  const auto run = runTool("room --db " + db() + " --room r-elsewhere");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "error: room \"r-elsewhere\" has no messages in " +
                         (folder / "room.db").string() + "\n");
}

}  // namespace
}  // namespace tovanel::chat::store::test
