// The store against what the world does to it: files of other versions and other applications,
// other processes at the same file, files and folders it may not write, a full or failing disk,
// and rows edited behind its back. Each row
// of the table plays one fault and tells what was seen, as one text.

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <set>

#include "FaultyDisk.hpp"
#include "Schema.hpp"
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

/// Thrown by a scene that needs write access taken away where nothing can take it from root.
struct CannotDenyWriting {};

TEST_P(StoreFaultTest, isSeenAsExpected) {
  try {
    EXPECT_EQ(GetParam().scene(folder / "messages.db"), GetParam().seen);
  } catch (const CannotDenyWriting&) {
    GTEST_SKIP() << "running as root, and the user nobody cannot be taken on here";
  }
}

// ---- what the scenes share ----

Repository openStore(const fs::path& file) {
  return SqliteChatMessageRepository::open(file, kMe, ManualTransport().transport());
}

const Messages kThree{textMessage("m1", "r1", 100, "one"), textMessage("m2", "r1", 200, "two"),
                      textMessage("m3", "r1", 300, "three")};

void storeThree(const fs::path& file) { waitFor(openStore(file)->receive(kThree)); }

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

/// "read m1 m2; unreadable m3 at body: typeMismatch" from a read and its report.
std::string described(const Messages& read, const std::vector<UnreadableRow>& report) {
  std::vector<std::string> parts{"read " + idsIn(read)};
  for (const auto& row : report) {
    try {
      std::rethrow_exception(row.error);
    } catch (const DecodingError& error) {
      parts.push_back(
          "unreadable " + row.messageID + " at " + error.codingPath().at(0).stringValue + ": " +
          std::string(DecodingError::kindName(error.kind())) + (row.createdAt ? " dated" : ""));
    }
  }
  return joined(parts, "; ");
}

/// Runs `scene` in a child process and returns what it wrote, or how it ended otherwise.
std::string inChildProcess(const std::function<std::string()>& scene,
                           const std::function<void()>& before = {}) {
  int channel[2];
  if (::pipe(channel) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(channel[0]);
    std::string seen;
    try {
      if (before) before();
      seen = scene();
    } catch (const std::exception& error) {
      seen = std::string("threw: ") + error.what();
    }
    const auto written = ::write(channel[1], seen.data(), seen.size());
    ::_exit(written == static_cast<ssize_t>(seen.size()) ? 0 : 1);
  }
  ::close(channel[1]);
  std::string seen;
  char buffer[4096];
  for (ssize_t n; (n = ::read(channel[0], buffer, sizeof buffer)) > 0;) seen.append(buffer, n);
  ::close(channel[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    return "the child ended with status " + std::to_string(status) + " after: " + seen;
  }
  return seen;
}

// ---- files of other versions and other applications ----

/// An open for writing, or a read-only one, of the file as `prepare` leaves it: what it threw,
/// what the folder holds after, and whether the file changed.
Scene opened(void (*prepare)(const fs::path& file), bool readOnly) {
  return [=](const fs::path& file) {
    prepare(file);
    const auto contents = [&] { return fs::exists(file) ? chat::test::slurp(file) : ""; };
    const std::string before = contents();
    const std::string seen = outcome(
        [&] { readOnly ? SqliteChatMessageRepository::openReadOnly(file) : openStore(file); },
        file.parent_path());
    return seen + "; the folder holds " + listing(file.parent_path()) +
           (contents() == before ? "" : "; the file changed");
  };
}

void nothing(const fs::path&) {}
void emptyFile(const fs::path& file) { std::ofstream{file}; }
void textFile(const fs::path& file) { std::ofstream(file) << std::string(4096, 'x'); }
void notesTable(const fs::path& file) { RawDatabase(file).execute("CREATE TABLE notes (x)"); }
void versionedNotes(const fs::path& file) {
  notesTable(file);
  RawDatabase(file).execute("PRAGMA user_version = 1");
}
void newerVersion(const fs::path& file) {
  writeFirstVersion(file);
  RawDatabase(file).execute("PRAGMA user_version = 99");
}

// The upgrade keeps the messages, and its column works.
std::string upgrading(const fs::path& file) {
  writeFirstVersion(file);
  auto repository = openStore(file);
  const Messages room = waitFor(repository->retrieveChatMessages("r1", std::nullopt, "token", 10));
  const auto token = waitFor(repository->lurkerToken("r1"));
  repository.reset();
  return "reads " + idsIn(room) + ": " + textOf(room.at(0)) + "; keeps " + token.value_or("none") +
         "; at version " + std::to_string(RawDatabase(file).integer("PRAGMA user_version"));
}

// ---- other processes ----

/// Starts `processes` processes at once that each open the new file and receive one message.
std::string createTogether(const fs::path& file, int processes) {
  int go[2];
  if (::pipe(go) != 0) return "no pipe";
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(go[1]);
      char ignored;
      (void)!::read(go[0], &ignored, 1);  // returns when the parent closes its end: all at once
      try {
        auto repository = openStore(file);
        waitFor(repository->receive(textMessage("m" + std::to_string(i), "r1", i, "hello")));
        repository.reset();
        ::_exit(0);
      } catch (const std::exception& error) {
        const std::string line = std::string(error.what()) + "\n";
        (void)!::write(STDERR_FILENO, line.data(), line.size());
        ::_exit(1);
      }
    }
    children.push_back(child);
  }
  ::close(go[0]);
  ::close(go[1]);
  int opened = 0;
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) ++opened;
  }
  return std::to_string(opened) + " of " + std::to_string(processes) + " opened, " +
         std::to_string(RawDatabase(file).integer("SELECT count(*) FROM messages")) + " kept";
}

// Another connection (as another process would) writing for longer than the store waits: the
// receive fails, and goes through once the other is done.
std::string receiveWhileAnotherWrites(const fs::path& file) {
  auto repository = openStore(file);
  RawDatabase other(file);
  other.execute("BEGIN IMMEDIATE");
  const auto first = outcome([&] { waitFor(repository->receive(kThree)); }, file.parent_path());
  other.execute("ROLLBACK");
  return first + "\nthen " +
         outcome([&] { waitFor(repository->receive(kThree)); }, file.parent_path());
}

std::string createTogetherAgainAndAgain(const fs::path& file) {
  // A race shows only sometimes: give it many chances, each with a new file.
  std::set<std::string> seen;
  for (int round = 0; round < 12; ++round) {
    seen.insert(createTogether(file.parent_path() / ("new-" + std::to_string(round) + ".db"), 4));
  }
  return joined({seen.begin(), seen.end()}, "; ");
}

// ---- files that may not be written ----

enum class Denied { file, folder };

/// Plays `scene` in a process that may read the store's file but not write `what`: as the user
/// nobody when the tests run as root (whom permissions do not stop), otherwise by taking away
/// the write permission for the time of the scene.
std::string withoutWriting(Denied what, const fs::path& file,
                           const std::function<std::string()>& scene) {
  const fs::path folder = file.parent_path();
  const auto denied = what == Denied::file ? file : folder;
  if (::geteuid() != 0) {
    const auto permissions = fs::status(denied).permissions();
    fs::permissions(denied,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    const std::string seen = inChildProcess(scene);
    fs::permissions(denied, permissions);
    return seen;
  }
  // Root's files as nobody sees them: the one of the two that stays writable is opened to all.
  fs::permissions(what == Denied::file ? folder : file, fs::perms::all, fs::perm_options::add);
  const char* const kCannot = "cannot become nobody";
  const std::string seen = inChildProcess(scene, [&] {
    constexpr uid_t kNobody = 65534;
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
      throw std::runtime_error(kCannot);
    }
  });
  if (seen == std::string("threw: ") + kCannot) throw CannotDenyWriting{};
  return seen;
}

/// An open for writing, then a read-only open, of a store holding three messages that `what`
/// keeps from being written.
std::string opening(Denied what, const fs::path& file) {
  storeThree(file);
  return withoutWriting(what, file, [&] {
    const std::string writing = outcome([&] { openStore(file); }, file.parent_path());
    return writing + "\nread-only, reads " +
           idsIn(wholeRoom(*SqliteChatMessageRepository::openReadOnly(file), "r1")) +
           "; the folder holds " + listing(file.parent_path());
  });
}

// A file that another build, or a crash, left in WAL mode.
std::string readOnlyLeftLogged(const fs::path& file) {
  storeThree(file);
  RawDatabase(file).execute("PRAGMA journal_mode = WAL");
  return withoutWriting(Denied::folder, file, [&] {
    return outcome([&] { SqliteChatMessageRepository::openReadOnly(file); }, file.parent_path());
  });
}

// A read-only open of a store with a send still waiting when it closed: writes are refused, the
// send keeps its status, and closing leaves the file as it was, with nothing beside it. The next
// open for writing fails the send, and the first session's transport answering late changes
// nothing any more.
std::string readOnlyOpen(const fs::path& file) {
  ManualTransport first;
  {
    auto repository = SqliteChatMessageRepository::open(file, kMe, first.transport());
    waitFor(repository->receive(kThree));
    repository->send(NewChatMessage("r1", TextBody("waiting", std::nullopt)));
    drain(*repository);
  }
  const std::string before = chat::test::slurp(file);
  auto repository = SqliteChatMessageRepository::openReadOnly(file);
  Recorder<Messages> observed;
  const auto subscription = observed.subscribeTo(repository->observeChatMessages("r1"));
  repository->send(NewChatMessage("r1", TextBody("lost", std::nullopt)));
  const auto folder = file.parent_path();
  std::vector<std::string> seen{
      outcome([&] { waitFor(repository->receive(textMessage("m4", "r1", 400, "four"))); }, folder),
      outcome([&] { waitFor(repository->deleteMessage("m1", "r1")); }, folder),
      outcome([&] { waitFor(repository->retrieveChatMessages("r1", std::nullopt, "t", 10)); },
              folder)};
  drain(*repository);
  Messages room = wholeRoom(*repository, "r1");
  const ChatMessage last = room.back();
  room.pop_back();
  seen.push_back(std::string(repository->isReadOnly() ? "read-only" : "writable") + ", observed " +
                 std::to_string(observed.values().size()) + " list, read " + idsIn(room) + " and " +
                 textOf(last) +
                 (last.sentStatus == MessageSentStatus::sending ? " still sending" : " marked"));
  repository.reset();
  seen.push_back(std::string(chat::test::slurp(file) == before ? "unchanged" : "changed") +
                 ", the folder holds " + listing(folder));
  repository = openStore(file);
  first.settle(0, "srv-late");
  drain(*repository);
  const ChatMessage send = wholeRoom(*repository, "r1").back();
  seen.push_back("then for writing: " + textOf(send) +
                 (send.sentStatus == MessageSentStatus::failed ? " failed" : " not failed") +
                 (send.messageID == send.clientID ? "" : ", renamed"));
  return joined(seen, "\n");
}

// ---- closing ----

// A new file is logged ahead while open; closed alone, it is one file with a rollback journal,
// which readers that cannot create files beside it can open, at the current version and marked
// as the store's. Closed while another process reads a new file, which keeps the log from being
// removed, the store still leaves what was committed in the file.
std::string closing(const fs::path& file) {
  const auto logged = [&] {
    return RawDatabase(file).integer(
        "SELECT count(*) FROM pragma_journal_mode WHERE journal_mode = 'wal'");
  };
  auto store = openStore(file);
  waitFor(store->receive(kThree));
  const auto whileOpen = logged();
  store.reset();
  RawDatabase raw(file);
  std::string seen =
      "logged ahead " + std::to_string(whileOpen) + ", then " + std::to_string(logged()) +
      "; version " + std::to_string(raw.integer("PRAGMA user_version")) +
      (raw.integer("PRAGMA application_id") == detail::kApplicationID ? ", marked as a store"
                                                                      : ", not marked") +
      "; the folder held " + listing(file.parent_path());
  const fs::path beside = file.parent_path() / "beside.db";
  auto repository = openStore(beside);
  RawDatabase reader(beside);
  reader.integer("SELECT count(*) FROM messages");
  waitFor(repository->receive(kThree));
  repository.reset();
  fs::copy_file(beside, file.parent_path() / "copy.db");
  return seen + "; closed beside a reader, a copy of the file alone holds " +
         std::to_string(
             RawDatabase(file.parent_path() / "copy.db").integer("SELECT count(*) FROM messages"));
}

// ---- a full or failing disk ----

/// Receives batches of 100 until the disk fails one; then the disk heals and the failed batch
/// goes in again. Tells how the receive failed and what the file holds after closing.
std::string receiveUntilTheDiskFails(const fs::path& file, void (*fault)(FaultyDisk&)) {
  FaultyDisk disk;
  const Messages all = corpusMessages(4000);
  std::uint64_t committed = 0;
  std::string failure;
  {
    auto repository = openStore(file);
    Messages batch;
    failure = "done";
    for (std::size_t at = 0; failure == "done" && at + 100 <= all.size(); at += 100) {
      if (at == 100) fault(disk);
      batch.assign(all.begin() + static_cast<std::ptrdiff_t>(at),
                   all.begin() + static_cast<std::ptrdiff_t>(at + 100));
      failure = outcome([&] { committed += waitFor(repository->receive(batch)).added; },
                        file.parent_path());
    }
    const bool readsAll = wholeRoom(*repository, batch.at(0).roomID).size() == committed;
    disk.leaveFree(FaultyDisk::kUnlimited);
    disk.failWrites(false);
    const auto retried = waitFor(repository->receive(batch)).added;
    failure += std::string("\nthen reads ") + (readsAll ? "all" : "not all") +
               " that was committed; healed, takes the batch again: " + std::to_string(retried) +
               " added";
    committed += retried;
  }
  RawDatabase raw(file);
  return failure + "\nintact " +
         std::to_string(raw.integer("SELECT integrity_check = 'ok' FROM pragma_integrity_check")) +
         ", kept beyond what was committed " +
         std::to_string(raw.integer("SELECT count(*) FROM messages") -
                        static_cast<std::int64_t>(committed));
}

// ---- rows edited behind the store's back ----

/// The three messages stored, `damage` done to m2's row by another program, then the room read
/// as a page and as an observed list, and m2 searched for.
Scene damaged(std::string damage) {
  return [damage](const fs::path& file) {
    storeThree(file);
    RawDatabase(file).execute(damage + " WHERE message_id = 'm2'");
    auto repository = openStore(file);
    Recorder<std::vector<UnreadableRow>> reports;
    const auto reporting = reports.subscribeTo(repository->observeUnreadableRows());
    Recorder<Messages> observed;
    const auto observing = observed.subscribeTo(repository->observeChatMessages("r1"));
    const Messages page = wholeRoom(*repository, "r1");
    const auto found = waitFor(repository->search("two", {})).hits.size();
    drain(*repository);
    const auto list = observed.values().at(0);
    // The list, the page and the search each report the row, alike.
    const auto values = reports.values();
    const bool alike = values.size() == 3 && described({}, values[0]) == described({}, values[1]) &&
                       described({}, values[0]) == described({}, values[2]);
    return described(page, values.at(0)) + (alike ? "" : "; the reads reported otherwise") +
           (list == page ? "" : "; the observed list differs: " + idsIn(list)) +
           (found == 0 ? "" : "; search found it");
  };
}

const char* const kReadOnlyOpen =
    "readOnly (lasting): DIR/messages.db: the message store is open read-only, and receive "
    "writes to it\n"
    "readOnly (lasting): DIR/messages.db: the message store is open read-only, and "
    "deleteMessage writes to it\n"
    "readOnly (lasting): DIR/messages.db: the message store is open read-only, and "
    "retrieveChatMessages with a lurker token writes to it\n"
    "read-only, observed 1 list, read m1 m2 m3 and waiting still sending\n"
    "unchanged, the folder holds messages.db\n"
    "then for writing: waiting failed";

INSTANTIATE_TEST_SUITE_P(
    Faults, StoreFaultTest,
    ::testing::Values(
        FaultCase{"newerSchema", opened(newerVersion, false),
                  "schemaTooNew (lasting): DIR/messages.db: the message store has schema "
                  "version 99, newer than this build reads (3); open it with a newer build; "
                  "the folder holds messages.db"},
        FaultCase{"anotherApplicationsTables", opened(notesTable, false),
                  "notAStore (lasting): DIR/messages.db: not a message store (a database of "
                  "something else); the folder holds messages.db"},
        FaultCase{"anotherApplicationsVersionedFile", opened(versionedNotes, false),
                  "notAStore (lasting): DIR/messages.db: not a message store (another "
                  "application's database); the folder holds messages.db"},
        FaultCase{"notADatabase", opened(textFile, false),
                  "database (lasting): DIR/messages.db: file is not a database (while "
                  "opening); the folder holds messages.db"},
        FaultCase{"aMissingFileReadOnly", opened(nothing, true),
                  "database (lasting): DIR/messages.db: cannot open: unable to open database "
                  "file (No such file or directory); the folder holds nothing"},
        FaultCase{"anEmptyFileReadOnly", opened(emptyFile, true),
                  "readOnly (lasting): DIR/messages.db: an empty file, not yet a message store, "
                  "which a read-only open does not make; open it once for writing; the folder "
                  "holds messages.db"},
        FaultCase{"anOlderSchemaReadOnly", opened(writeFirstVersion, true),
                  "readOnly (lasting): DIR/messages.db: the message store has schema version 1 "
                  "and needs an upgrade to version 3, which a read-only open does not make; "
                  "open it once for writing; the folder holds messages.db"},
        FaultCase{"aFileOfTheFirstVersion", upgrading,
                  "reads m1: from version one; keeps token; at version 3"},
        FaultCase{"processesCreatingOneNewFileAtOnce", createTogetherAgainAndAgain,
                  "4 of 4 opened, 4 kept"},
        FaultCase{"anotherProcessWritingForLong", receiveWhileAnotherWrites,
                  "busy: DIR/messages.db: database is locked (while beginning a transaction)\n"
                  "then done"},
        FaultCase{"aFileThatCannotBeWritten",
                  [](const fs::path& file) { return opening(Denied::file, file); },
                  "readOnly (lasting): DIR/messages.db: cannot open for writing: the file is "
                  "read-only (it can be opened read-only)\n"
                  "read-only, reads m1 m2 m3; the folder holds messages.db"},
        FaultCase{"aFolderThatCannotBeWritten",
                  [](const fs::path& file) { return opening(Denied::folder, file); },
                  "readOnly (lasting): DIR/messages.db: cannot open for writing: the write-ahead "
                  "log cannot be made beside the file (its folder, or a -wal or -shm file there, "
                  "is read-only); it can be opened read-only\n"
                  "read-only, reads m1 m2 m3; the folder holds messages.db"},
        FaultCase{"aFolderThatCannotBeWrittenHoldingAFileLeftInWALMode", readOnlyLeftLogged,
                  "readOnly (lasting): DIR/messages.db: cannot read: the file is in WAL mode "
                  "(open elsewhere, or not closed cleanly), which needs files beside it that a "
                  "read-only open cannot make here; open it once for writing"},
        FaultCase{"aReadOnlyOpenThenAWritableOne", readOnlyOpen, kReadOnlyOpen},
        FaultCase{"closing", closing,
                  "logged ahead 1, then 0; version 3, marked as a store; the folder held "
                  "messages.db; closed beside a reader, a copy of the file alone holds 3"},
        FaultCase{"aFullDisk",
                  [](const fs::path& file) {
                    return receiveUntilTheDiskFails(
                        file, [](FaultyDisk& disk) { disk.leaveFree(256 * 1024); });
                  },
                  "full (lasting): DIR/messages.db: database or disk is full (while committing)\n"
                  "then reads all that was committed; healed, takes the batch again: 100 added\n"
                  "intact 1, kept beyond what was committed 0"},
        FaultCase{"aDiskThatFailsEveryWrite",
                  [](const fs::path& file) {
                    return receiveUntilTheDiskFails(
                        file, [](FaultyDisk& disk) { disk.failWrites(true); });
                  },
                  "database (lasting): DIR/messages.db: disk I/O error (while committing)\n"
                  "then reads all that was committed; healed, takes the batch again: 100 added\n"
                  "intact 1, kept beyond what was committed 0"},
        FaultCase{"aDateThatIsText", damaged("UPDATE messages SET created_at = 'yesterday'"),
                  "read m1 m3; unreadable m2 at createdAt: typeMismatch"},
        FaultCase{"aDateThatIsABlob", damaged("UPDATE messages SET updated_at = x'00'"),
                  "read m1 m3; unreadable m2 at updatedAt: typeMismatch dated"},
        FaultCase{"aViewCountThatIsNotWhole", damaged("UPDATE messages SET view_count = 2.5"),
                  "read m1 m3; unreadable m2 at viewCount: typeMismatch dated"},
        FaultCase{"aBodyThatIsNotJSON", damaged("UPDATE messages SET body = '{\"text\":'"),
                  "read m1 m3; unreadable m2 at body: dataCorrupted dated"},
        FaultCase{"aBodyOfTheWrongShape", damaged("UPDATE messages SET body = '{\"text\":5}'"),
                  "read m1 m3; unreadable m2 at body: typeMismatch dated"},
        FaultCase{"anUnknownBodyKind", damaged("UPDATE messages SET body_kind = 'fax'"),
                  "read m1 m3; unreadable m2 at body: dataCorrupted dated"},
        FaultCase{"anUnknownMessageKind", damaged("UPDATE messages SET type = 'fax'"),
                  "read m1 m3; unreadable m2 at type: dataCorrupted dated"},
        FaultCase{"anAuthorWithoutID",
                  damaged("UPDATE messages SET author = '{\"firstName\":\"A\"}'"),
                  "read m1 m3; unreadable m2 at user: keyNotFound dated"},
        FaultCase{"aSentStatusOutOfRange", damaged("UPDATE messages SET sent_status = 7"),
                  "read m1 m3; unreadable m2 at sentStatus: dataCorrupted dated"},
        FaultCase{"aSentStatusThatIsText", damaged("UPDATE messages SET sent_status = 'sent'"),
                  "read m1 m3; unreadable m2 at sentStatus: dataCorrupted dated"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat::store::test
