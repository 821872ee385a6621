// Opening a file: a new one is laid out at the current schema version, an older one is upgraded
// with its messages kept, and files the store cannot use are refused with an error that says why.

#include <gtest/gtest.h>

#include <fstream>

#include "Schema.hpp"
#include "StoreTesting.hpp"
#include "support/ToolRun.hpp"

namespace tovanel::chat::store::test {
namespace {

// A file as the first version of the store left it, with one message in it.
void writeFirstVersion(const fs::path& path) {
  RawDatabase raw(path);
  raw.execute(detail::schemaSteps()[0]);
  raw.execute("PRAGMA user_version = 1");
  raw.execute(
      "INSERT INTO rooms (id) VALUES ('r1');"
      "INSERT INTO messages (message_id, room_id, client_id, type, body_kind, body, created_at,"
      " updated_at, author, view_count, sent_status, unconfirmed) VALUES ('m1', 'r1', NULL,"
      " 'text', 'text', '{\"text\":\"from version one\"}', 100, NULL,"
      " '{\"id\":\"u-anna\",\"firstName\":\"Anna\",\"lastName\":\"Berg\",\"followerCount\":1,"
      "\"followingCount\":2}', NULL, 0, 0)");
}

using OpeningTest = StoreTest;

// Write-ahead logged while open; closed, one file with a rollback journal, which readers that
// cannot create files beside it can open.
TEST_F(OpeningTest, aNewFileIsAStoreAtTheCurrentVersionLoggedAheadWhileOpen) {
  const auto journal = [&] {
    return RawDatabase(file()).integer(
        "SELECT count(*) FROM pragma_journal_mode WHERE journal_mode = 'wal'");
  };
  auto repository = open();
  EXPECT_EQ(journal(), 1);
  repository.reset();
  EXPECT_EQ(journal(), 0);
  RawDatabase raw(file());
  EXPECT_EQ(raw.integer("PRAGMA user_version"), detail::currentSchemaVersion());
  EXPECT_EQ(raw.integer("PRAGMA application_id"), detail::kApplicationID);
}

TEST_F(OpeningTest, aFileOfTheFirstVersionIsUpgradedWithItsMessagesKept) {
  writeFirstVersion(file());
  auto repository = open();
  const Messages room = waitFor(repository->retrieveChatMessages("r1", std::nullopt, "token", 10));
  ASSERT_EQ(room.size(), 1u);
  EXPECT_EQ(room[0].body.get<TextBody>()->text, "from version one");
  // The upgrade's column works.
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::optional<std::string>("token"));
  repository.reset();
  EXPECT_EQ(RawDatabase(file()).integer("PRAGMA user_version"), detail::currentSchemaVersion());
}

struct RefusalCase {
  const char* name;
  void (*prepare)(const fs::path& path);
  bool readOnly;
  const char* seen;  // the error, with the folder's path as DIR
};

class RefusalTest : public StoreTest, public ::testing::WithParamInterface<RefusalCase> {};

// The refused file is left as it was, and nothing is made beside it.
TEST_P(RefusalTest, isAStoreErrorNamingTheFile) {
  const RefusalCase& row = GetParam();
  row.prepare(file());
  const auto contents = [&] { return fs::exists(file()) ? chat::test::slurp(file()) : ""; };
  const std::string before = contents();
  const std::string seen = outcome(
      [&] {
        if (row.readOnly) SqliteChatMessageRepository::openReadOnly(file());
        if (!row.readOnly) open();
      },
      folder.path());
  EXPECT_EQ(seen + "; the folder holds " + listing(folder.path()), row.seen);
  EXPECT_EQ(contents(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Files, RefusalTest,
    ::testing::Values(
        RefusalCase{"newerSchema",
                    [](const fs::path& path) {
                      writeFirstVersion(path);
                      RawDatabase(path).execute("PRAGMA user_version = 99");
                    },
                    false,
                    "schemaTooNew (lasting): DIR/messages.db: the message store has schema "
                    "version 99, newer than this build reads (3); open it with a newer build; "
                    "the folder holds messages.db"},
        RefusalCase{"anotherApplicationsTables",
                    [](const fs::path& path) {
                      RawDatabase(path).execute("CREATE TABLE notes (text TEXT)");
                    },
                    false,
                    "notAStore (lasting): DIR/messages.db: not a message store (a database of "
                    "something else); the folder holds messages.db"},
        RefusalCase{
            "anotherApplicationsVersionedFile",
            [](const fs::path& path) {
              RawDatabase(path).execute("CREATE TABLE notes (text TEXT); PRAGMA user_version = 1");
            },
            false,
            "notAStore (lasting): DIR/messages.db: not a message store (another application's "
            "database); the folder holds messages.db"},
        RefusalCase{"notADatabase",
                    [](const fs::path& path) { std::ofstream(path) << std::string(4096, 'x'); },
                    false,
                    "database (lasting): DIR/messages.db: file is not a database (while "
                    "opening); the folder holds messages.db"},
        RefusalCase{"aMissingFileReadOnly", [](const fs::path&) {}, true,
                    "database (lasting): DIR/messages.db: cannot open: unable to open database "
                    "file (No such file or directory); the folder holds nothing"},
        RefusalCase{"anEmptyFileReadOnly", [](const fs::path& path) { std::ofstream{path}; }, true,
                    "readOnly (lasting): DIR/messages.db: an empty file, not yet a message store, "
                    "which a read-only open does not make; open it once for writing; the folder "
                    "holds messages.db"},
        RefusalCase{"anOlderSchemaReadOnly", writeFirstVersion, true,
                    "readOnly (lasting): DIR/messages.db: the message store has schema version 1 "
                    "and needs an upgrade to version 3, which a read-only open does not make; "
                    "open it once for writing; the folder holds messages.db"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(OpeningTest, aTransportIsRequired) {
  EXPECT_THROW(SqliteChatMessageRepository::open(file(), kMe, Transport()), std::invalid_argument);
}

}  // namespace
}  // namespace tovanel::chat::store::test
