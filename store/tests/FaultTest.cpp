// The store against what the world does to it: files of other versions and other applications,
// other processes at the same file, files and folders it may not write, a full or failing disk,
// and rows edited behind its back. Each row of the table plays one fault and tells what was seen.

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <set>

#include "FaultyDisk.hpp"
#include "StoreTesting.hpp"
#include "support/ToolRun.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::store::test {
namespace {

using Scene = std::function<std::string(const fs::path& file)>;

struct FaultCase {
  const char* name;
  Scene scene;  // given the store's file, in a folder of its own that holds nothing yet
  std::string seen;
};

class StoreFaultTest : public ::testing::TestWithParam<FaultCase> {
 protected:
  TemporaryFolder folder;
};

/// What a scene sees that needs write access taken away where nothing can take it from root.
const std::string kCannotBecomeNobody = "cannot become nobody";

TEST_P(StoreFaultTest, isSeenAsExpected) {
  const std::string seen = GetParam().scene(folder / "messages.db");
  if (seen == kCannotBecomeNobody) GTEST_SKIP() << "running as root, without the user nobody";
  EXPECT_EQ(seen, GetParam().seen);
}

Repository openStore(const fs::path& file) {
  return SqliteChatMessageRepository::open(file, kMe, ManualTransport().transport());
}

const Messages kThree{textMessage("m1", "r1", 100, "one"), textMessage("m2", "r1", 200, "two"),
                      textMessage("m3", "r1", 300, "three")};

void storeThree(const fs::path& file) { waitFor(openStore(file)->receive(kThree)); }

// A file as the first version of the store left it, with one message in it.
void writeFirstVersion(const fs::path& path) {
  sql(path, std::string(detail::schemaSteps()[0]) +
                "PRAGMA user_version = 1; INSERT INTO rooms (id) VALUES ('r1');"
                "INSERT INTO messages (message_id, room_id, client_id, type, body_kind, body,"
                " created_at, updated_at, author, view_count, sent_status, unconfirmed) VALUES"
                " ('m1', 'r1', NULL, 'text', 'text', '{\"text\":\"from version one\"}', 100, NULL,"
                " '{\"id\":\"u-anna\",\"firstName\":\"Anna\",\"lastName\":\"Berg\","
                "\"followerCount\":1,\"followingCount\":2}', NULL, 0, 0)");
}

/// A scene run in a child process, which gives back what the scene returned, or how it ended.
class Child {
 public:
  explicit Child(const std::function<std::string()>& scene) {
    int channel[2];
    if (::pipe(channel) != 0) throw std::runtime_error("no pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      std::string seen;
      try {
        seen = scene();
      } catch (const std::exception& error) {
        seen = std::string("threw: ") + error.what();
      }
      ::_exit(::write(channel[1], seen.data(), seen.size()) == ssize_t(seen.size()) ? 0 : 1);
    }
    ::close(channel[1]);
    output_ = channel[0];
  }
  std::string seen() {
    const std::string seen = chat::test::slurp("/dev/fd/" + std::to_string(output_));
    ::close(output_);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return seen;
    return "the child ended with status " + std::to_string(status) + " after: " + seen;
  }

 private:
  pid_t pid_;
  int output_;
};

/// An open for writing, or a read-only one, of the file as `prepare` and then `statements` leave
/// it: what it threw, and whether it changed the file or the folder.
Scene opened(bool readOnly, void (*prepare)(const fs::path& file) = nullptr,
             const char* statements = nullptr) {
  return [=](const fs::path& file) {
    if (prepare) prepare(file);
    if (statements) sql(file, statements);
    const auto contents = [&] {
      return listing(file.parent_path()) + (fs::exists(file) ? chat::test::slurp(file) : "");
    };
    const std::string before = contents();
    const std::string seen = outcome(
        [&] { readOnly ? SqliteChatMessageRepository::openReadOnly(file) : openStore(file); });
    return seen + (contents() == before ? "" : "; the folder holds " + listing(file.parent_path()));
  };
}

void emptyFile(const fs::path& file) { std::ofstream{file}; }
void textFile(const fs::path& file) { std::ofstream(file) << std::string(4096, 'x'); }

// A read-only open leaves a file of the first version as it is; the upgrade keeps the messages,
// and its column works.
std::string upgrading(const fs::path& file) {
  const std::string readOnly = opened(true, writeFirstVersion)(file);
  auto repository = openStore(file);
  const Messages room = waitFor(repository->retrieveChatMessages("r1", std::nullopt, "token", 10));
  const auto token = waitFor(repository->lurkerToken("r1"));
  repository.reset();
  return readOnly + "\nfor writing: reads " + idsIn(room) + ": " + textOf(room.at(0)) + "; keeps " +
         token.value_or("none") + "; at version " + sql(file, "PRAGMA user_version");
}

// Four processes at once each open a new file and receive one message. A race shows only
// sometimes: this gives it many chances, each with a new file.
std::string createTogether(const fs::path& file) {
  std::set<std::string> seen;
  for (int round = 0; round < 12; ++round) {
    const fs::path path = file.parent_path() / ("new-" + std::to_string(round) + ".db");
    int go[2];
    if (::pipe(go) != 0) return "no pipe";
    std::vector<Child> children;
    for (int i = 0; i < 4; ++i) {
      children.emplace_back([&, i] {
        ::close(go[1]);
        char ignored;
        (void)!::read(go[0], &ignored, 1);  // returns when the parent closes its end: all at once
        waitFor(openStore(path)->receive(textMessage("m" + std::to_string(i), "r1", i, "hi")));
        return std::string("opened");
      });
    }
    ::close(go[0]);
    ::close(go[1]);
    for (Child& child : children) seen.insert(child.seen());
    seen.insert(sql(path, "SELECT count(*) FROM messages") + " kept");
  }
  return joined({seen.begin(), seen.end()}, "; ");
}

// Another connection (as another process would) writing for longer than the store waits: the
// receive fails, and goes through once the other is done.
std::string receiveWhileAnotherWrites(const fs::path& file) {
  auto repository = openStore(file);
  RawDatabase other(file);
  other("BEGIN IMMEDIATE");
  const auto first = outcome([&] { waitFor(repository->receive(kThree)); });
  other("ROLLBACK");
  return first + "\nthen " + outcome([&] { waitFor(repository->receive(kThree)); });
}

enum class Denied { file, folder };

/// An open for writing, then a read-only open, of a store holding three messages, in a process
/// that may read the file but not write `what`: as the user nobody when the tests run as root
/// (whom permissions do not stop). With `logged`, another build or a crash left the file in WAL
/// mode.
Scene opening(Denied what, bool logged = false) {
  return [=](const fs::path& file) {
    storeThree(file);
    if (logged) sql(file, "PRAGMA journal_mode = WAL");
    const fs::path folder = file.parent_path();
    const fs::path& denied = what == Denied::file ? file : folder;
    const auto permissions = fs::status(denied).permissions();
    fs::permissions(denied,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    fs::permissions(what == Denied::file ? folder : file, fs::perms::all, fs::perm_options::add);
    const std::string seen =
        Child([&] {
          constexpr uid_t kNobody = 65534;
          if (::geteuid() == 0 &&
              (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
            return kCannotBecomeNobody;
          }
          std::string reads;
          const std::string writing = outcome([&] { openStore(file); });
          const std::string reading = outcome([&] {
            reads = idsIn(wholeRoom(*SqliteChatMessageRepository::openReadOnly(file), "r1"));
          });
          return writing + "\nread-only: " + reading + ", reads " + reads + "; the folder holds " +
                 listing(folder);
        }).seen();
    fs::permissions(denied, permissions);
    return seen;
  };
}

// A read-only open: writes are refused, a send is lost, and closing leaves the file as it was,
// with nothing beside it, for the next open for writing. That sends of an earlier session keep
// their status until then is in the random changes.
std::string readOnlyOpen(const fs::path& file) {
  storeThree(file);
  const std::string before = chat::test::slurp(file);
  auto repository = SqliteChatMessageRepository::openReadOnly(file);
  Recorder<Messages> observed;
  const auto subscription = observed.subscribeTo(repository->observeChatMessages("r1"));
  repository->send(NewChatMessage("r1", TextBody("lost", std::nullopt)));
  const ChatMessage fourth = textMessage("m4", "r1", 400, "four");
  std::vector<std::string> seen{
      outcome([&] { waitFor(repository->receive(fourth)); }),
      outcome([&] { waitFor(repository->deleteMessage("m1", "r1")); }),
      outcome([&] { waitFor(repository->retrieveChatMessages("r1", std::nullopt, "t", 10)); })};
  drain(*repository);
  seen.push_back(std::string(repository->isReadOnly() ? "read-only" : "writable") + ", observed " +
                 std::to_string(observed.values().size()) + " list, read " +
                 idsIn(wholeRoom(*repository, "r1")));
  repository.reset();
  seen.push_back(std::string(chat::test::slurp(file) == before ? "unchanged" : "changed") +
                 ", the folder holds " + listing(file.parent_path()));
  seen.push_back("then for writing: " +
                 outcome([&] { waitFor(openStore(file)->receive(fourth)); }));
  return joined(seen, "\n");
}

// A new file is logged ahead while open; closed alone, it is one file with a rollback journal,
// which readers that cannot create files beside it can open, at the current version and marked
// as the store's. Closing completes the report of unreadable rows (other observations are in the
// random changes). Closed while another process reads a new file, which keeps the log from being
// removed, the store still leaves what was committed in the file.
std::string closing(const fs::path& file) {
  const auto journal = [&] { return sql(file, "PRAGMA journal_mode"); };
  auto store = openStore(file);
  Recorder<std::vector<UnreadableRow>> reports;
  const auto subscription = reports.subscribeTo(store->observeUnreadableRows());
  waitFor(store->receive(kThree));
  const std::string whileOpen = journal();
  store.reset();
  RawDatabase raw(file);
  std::string seen =
      "journal " + whileOpen + ", then " + journal() + "; version " + raw("PRAGMA user_version") +
      ", application " +
      (raw("PRAGMA application_id") == std::to_string(detail::kApplicationID) ? "the store"
                                                                              : "another") +
      "; the folder held " + listing(file.parent_path()) + "\nreports " + reports.ending();
  const fs::path beside = file.parent_path() / "beside.db";
  auto repository = openStore(beside);
  RawDatabase reader(beside);
  reader("SELECT count(*) FROM messages");
  waitFor(repository->receive(kThree));
  repository.reset();
  fs::copy_file(beside, file.parent_path() / "copy.db");
  return seen + "\nclosed beside a reader, a copy of the file alone holds " +
         sql(file.parent_path() / "copy.db", "SELECT count(*) FROM messages");
}

// A table taken away behind the open store's back: a read fails with the database's error, and
// so does an observation, at once.
std::string tableTakenAway(const fs::path& file) {
  auto repository = openStore(file);
  waitFor(repository->receive(kThree));
  sql(file, "ALTER TABLE messages RENAME TO gone");
  Recorder<Messages> observed;
  const auto subscription = observed.subscribeTo(repository->observeChatMessages("r1"));
  const std::string read = outcome([&] { wholeRoom(*repository, "r1"); });
  return read + "\nobserving: " + observed.ending();
}

/// Receives batches of 100 until the disk fails one; then the disk heals and the failed batch
/// goes in again. Tells how the receive failed and what the file holds after closing.
Scene receiveUntilTheDiskFails(std::int64_t free, int error) {
  return [=](const fs::path& file) {
    FaultyDisk disk;
    const Messages all = corpusMessages(4000);
    std::uint64_t committed = 0;
    std::string failure = "done";
    {
      auto repository = openStore(file);
      Messages batch;
      for (std::size_t at = 0; failure == "done" && at + 100 <= all.size(); at += 100) {
        if (at == 100) disk.set(free, error);
        batch.assign(all.begin() + static_cast<std::ptrdiff_t>(at),
                     all.begin() + static_cast<std::ptrdiff_t>(at + 100));
        failure = outcome([&] { committed += waitFor(repository->receive(batch)).added; });
      }
      const bool readsAll = wholeRoom(*repository, batch.at(0).roomID).size() == committed;
      disk.set(FaultyDisk::kUnlimited);
      const auto retried = waitFor(repository->receive(batch)).added;
      failure += std::string("\nthen reads ") + (readsAll ? "all" : "not all") +
                 " that was committed; healed, takes the batch again: " + std::to_string(retried) +
                 " added";
      committed += retried;
    }
    RawDatabase raw(file);
    return failure + "\nintegrity " + raw("PRAGMA integrity_check") +
           ", kept beyond what was committed " +
           raw("SELECT count(*) - " + std::to_string(committed) + " FROM messages");
  };
}

/// The three messages stored, m2's row changed by another program with `set`; then the room
/// observed in a window of one, read as a page, m2 searched for, m3 deleted and m4 received. Each
/// read, search and list that meets the row reports it alike: where it failed, how, and whether
/// its date was read. It takes its place in the window (a createdAt that is no date after every
/// date) and is left out of every list. Received again, m2 reads again.
Scene damaged(std::string set) {
  return [set](const fs::path& file) {
    storeThree(file);
    sql(file, "UPDATE messages SET " + set + " WHERE message_id = 'm2'");
    auto repository = openStore(file);
    Recorder<std::vector<UnreadableRow>> reports;
    const auto reporting = reports.subscribeTo(repository->observeUnreadableRows());
    Recorder<Messages> observed;
    const auto observing = observed.subscribeTo(repository->observeChatMessages("r1", 1));
    const Messages page = wholeRoom(*repository, "r1");
    const auto found = waitFor(repository->search("two", {})).hits.size();
    waitFor(repository->deleteMessage("m3", "r1"));
    const ChatMessage fourth = textMessage("m4", "r1", 400, "four");
    waitFor(repository->receive(fourth));
    drain(*repository);
    std::set<std::string> seen;
    bool dated = true;
    for (const auto& report : reports.values()) {
      if (idsIn(report) != "m2") seen.insert("reported " + idsIn(report));
      dated = report.at(0).createdAt.has_value();
      try {
        std::rethrow_exception(report.at(0).error);
      } catch (const DecodingError& error) {
        seen.insert(error.codingPath().at(0).stringValue + ": " +
                    std::string(DecodingError::kindName(error.kind())) + (dated ? " dated" : ""));
      }
    }
    if (reports.values().size() != 3)
      seen.insert("reported by " + std::to_string(reports.values().size()));
    if (page != Messages{kThree[0], kThree[2]}) seen.insert("read " + idsIn(page));
    std::vector<std::string> lists;
    for (const auto& list : observed.values()) lists.push_back(idsIn(list));
    // Dated, the row enters the window when m3 leaves and leaves it when m4 comes; undated, it
    // is the window all along.
    if (joined(lists, "|") != (dated ? "m3||m4" : ""))
      seen.insert("observed " + joined(lists, "|"));
    if (found != 0) seen.insert("found by search");
    waitFor(repository->receive(kThree[1]));
    if (wholeRoom(*repository, "r1") != Messages{kThree[0], kThree[1], fourth}) {
      seen.insert("not read once received again");
    }
    return joined({seen.begin(), seen.end()}, "; ");
  };
}

INSTANTIATE_TEST_SUITE_P(
    Faults, StoreFaultTest,
    ::testing::ValuesIn(std::vector<FaultCase>{
        {"newerSchema", opened(false, writeFirstVersion, "PRAGMA user_version = 99"),
         "schemaTooNew (lasting): DIR/messages.db: the message store has schema version 99, "
         "newer than this build reads (3); open it with a newer build"},
        {"anotherApplicationsTables", opened(false, nullptr, "CREATE TABLE notes (x)"),
         "notAStore (lasting): DIR/messages.db: not a message store (a database of something "
         "else)"},
        {"anotherApplicationsVersionedFile",
         opened(false, nullptr, "CREATE TABLE notes (x); PRAGMA user_version = 1"),
         "notAStore (lasting): DIR/messages.db: not a message store (another application's "
         "database)"},
        {"notADatabase", opened(false, textFile),
         "database (lasting): DIR/messages.db: file is not a database (while opening)"},
        {"aMissingFileReadOnly", opened(true),
         "database (lasting): DIR/messages.db: cannot open: unable to open database file (No "
         "such file or directory)"},
        {"anEmptyFileReadOnly", opened(true, emptyFile),
         "readOnly (lasting): DIR/messages.db: an empty file, not yet a message store, which a "
         "read-only open does not make; open it once for writing"},
        {"aFileOfTheFirstVersionReadOnlyThenForWriting", upgrading,
         "readOnly (lasting): DIR/messages.db: the message store has schema version 1 and needs "
         "an upgrade to version 3, which a read-only open does not make; open it once for "
         "writing\nfor writing: reads m1: from version one; keeps token; at version 3"},
        {"processesCreatingOneNewFileAtOnce", createTogether, "4 kept; opened"},
        {"anotherProcessWritingForLong", receiveWhileAnotherWrites,
         "busy: DIR/messages.db: database is locked (while beginning a transaction)\nthen done"},
        {"aFileThatCannotBeWritten", opening(Denied::file),
         "readOnly (lasting): DIR/messages.db: cannot open for writing: the file is read-only (it "
         "can be opened read-only)\nread-only: done, reads m1 m2 m3; the folder holds messages.db"},
        {"aFolderThatCannotBeWritten", opening(Denied::folder),
         "readOnly (lasting): DIR/messages.db: cannot open for writing: the write-ahead log "
         "cannot be made beside the file (its folder, or a -wal or -shm file there, is "
         "read-only); it can be opened read-only\nread-only: done, reads m1 m2 m3; the folder "
         "holds messages.db"},
        {"aFolderThatCannotBeWrittenHoldingAFileLeftInWALMode", opening(Denied::folder, true),
         "readOnly (lasting): DIR/messages.db: attempt to write a readonly database (while "
         "opening)\nread-only: readOnly (lasting): DIR/messages.db: cannot read: the file is in "
         "WAL mode (open elsewhere, or not closed cleanly), which needs files beside it that a "
         "read-only open cannot make here; open it once for writing, reads ; the folder holds "
         "messages.db"},
        {"aReadOnlyOpenThenAWritableOne", readOnlyOpen,
         "readOnly (lasting): DIR/messages.db: the message store is open read-only, and receive "
         "writes to it\n"
         "readOnly (lasting): DIR/messages.db: the message store is open read-only, and "
         "deleteMessage writes to it\n"
         "readOnly (lasting): DIR/messages.db: the message store is open read-only, and "
         "retrieveChatMessages with a lurker token writes to it\n"
         "read-only, observed 1 list, read m1 m2 m3\n"
         "unchanged, the folder holds messages.db\n"
         "then for writing: done"},
        {"closing", closing,
         "journal wal, then delete; version 3, application the store; the folder held messages.db\n"
         "reports completed\n"
         "closed beside a reader, a copy of the file alone holds 3"},
        {"aTableTakenAway", tableTakenAway,
         "database (lasting): DIR/messages.db: no such table: messages (while running a "
         "statement)\nobserving: database (lasting): DIR/messages.db: no such table: messages "
         "(while running a statement)"},
        {"aFullDisk", receiveUntilTheDiskFails(256 << 10, ENOSPC),
         "full (lasting): DIR/messages.db: database or disk is full (while committing)\n"
         "then reads all that was committed; healed, takes the batch again: 100 added\n"
         "integrity ok, kept beyond what was committed 0"},
        {"aDiskThatFailsEveryWrite", receiveUntilTheDiskFails(-1, EIO),
         "database (lasting): DIR/messages.db: disk I/O error (while committing)\n"
         "then reads all that was committed; healed, takes the batch again: 100 added\n"
         "integrity ok, kept beyond what was committed 0"},
        {"aDateThatIsText", damaged("created_at = 'yesterday'"), "createdAt: typeMismatch"},
        {"aDateThatIsABlob", damaged("updated_at = x'00'"), "updatedAt: typeMismatch dated"},
        {"aViewCountThatIsNotWhole", damaged("view_count = 2.5"), "viewCount: typeMismatch dated"},
        {"aBodyThatIsNotJSON", damaged("body = '{\"text\":'"), "body: dataCorrupted dated"},
        {"aBodyOfTheWrongShape", damaged("body = '{\"text\":5}'"), "body: typeMismatch dated"},
        {"anUnknownBodyKind", damaged("body_kind = 'fax'"), "body: dataCorrupted dated"},
        {"anUnknownMessageKind", damaged("type = 'fax'"), "type: dataCorrupted dated"},
        {"anAuthorWithoutID", damaged("author = '{\"firstName\":\"A\"}'"),
         "user: keyNotFound dated"},
        {"aSentStatusOutOfRange", damaged("sent_status = 7"), "sentStatus: dataCorrupted dated"},
        {"aSentStatusThatIsText", damaged("sent_status = 'sent'"),
         "sentStatus: dataCorrupted dated"}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat::store::test
