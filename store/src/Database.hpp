#pragma once
// A thin owner of one SQLite connection and its prepared statements: errors become StoreError
// with the file's name, bindings and columns take the few C++ types the store writes.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tovanel/chat/store/StoreError.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace tovanel::chat::store::detail {

class Database;

/// Text that a statement binds without copying it, for a statement run to its end at once
/// (`bind(...).run()`): SQLite reads it until then, so it must outlive the run. Worth it for the
/// long texts of every row an import writes.
struct Borrowed {
  std::string_view text;
};

/// One prepared statement, reused: bind, step through the rows, and reset for the next use.
class Statement {
 public:
  Statement(Database& database, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  /// Binds the arguments to the parameters ?1, ?2... after resetting the statement. An empty
  /// optional binds NULL.
  template <class... Args>
  Statement& bind(const Args&... args) {
    reset();
    int index = 0;
    (bindOne(++index, args), ...);
    return *this;
  }

  /// Steps to the next row: true when there is one, false when the statement is done.
  bool step();
  /// Steps to the end, for a statement that returns no rows; the number of rows it changed.
  std::int64_t run();
  /// Steps once and resets: whether the query has a row.
  bool exists();
  /// Resets a statement left before its end, so that it holds no snapshot of the file.
  void reset();

  /// How SQLite holds a column of the current row: whatever a column's type, a file edited by
  /// hand may hold any of these in it.
  enum class Stored : std::uint8_t { integer, real, text, blob, null };
  Stored stored(int column) const;
  bool isNull(int column) const { return stored(column) == Stored::null; }
  bool isInteger(int column) const { return stored(column) == Stored::integer; }
  std::string_view text(int column) const;
  std::optional<std::string> optionalText(int column) const;
  double real(int column) const;
  std::optional<double> optionalReal(int column) const;
  std::int64_t integer(int column) const;
  std::optional<std::int64_t> optionalInteger(int column) const;

 private:
  void bindOne(int index, std::nullopt_t);
  void bindOne(int index, std::string_view value);
  void bindOne(int index, const std::string& value) { bindOne(index, std::string_view(value)); }
  void bindOne(int index, const char* value) { bindOne(index, std::string_view(value)); }
  void bindOne(int index, Borrowed value);
  void bindOne(int index, double value);
  void bindOne(int index, std::int64_t value);
  void bindOne(int index, int value) { bindOne(index, static_cast<std::int64_t>(value)); }
  template <class T>
  void bindOne(int index, const std::optional<T>& value) {
    if (value) {
      bindOne(index, *value);
    } else {
      bindOne(index, std::nullopt);
    }
  }

  Database& database_;
  sqlite3_stmt* statement_ = nullptr;
};

class Database {
 public:
  enum class Access : bool { readWrite, readOnly };

  /// Opens the file, creating it when absent unless read-only, and reads its header; throws
  /// StoreError (database) when SQLite cannot. Waits up to `kBusyTimeoutMs` for a lock that
  /// another connection holds, from the first read on.
  Database(const std::filesystem::path& path, Access access);
  /// Closes the connection; every Statement must be gone by then.
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Runs one or more statements that return nothing.
  void execute(const char* sql);
  /// The first column of the first row of a one-row query.
  std::int64_t queryInteger(const char* sql);
  std::string queryText(const char* sql);

  /// Puts the file in WAL mode (a rollback journal at rest, see checkpointForClosing). That takes
  /// the file's exclusive lock, which SQLite's busy timeout does not wait for: this waits for it
  /// as long, then throws StoreError busy.
  void useWriteAheadLog();

  /// Moves every committed change from the write-ahead log into the file and, when no other
  /// connection has the file open, returns it to a rollback journal, which removes the -wal and
  /// -shm files: the file alone then holds everything, and a reader that cannot create files
  /// beside it (a read-only folder) can open it. Failures leave the log, which the next open
  /// reads: nothing committed is lost.
  void checkpointForClosing() noexcept;

  /// Throws StoreError describing SQLite's last error on this connection, while doing `what`,
  /// unless `status` is a success: full for a full disk, readOnly for a file that cannot be
  /// written, busy for a lock held too long, database for the rest.
  void check(int status, std::string_view what);
  [[noreturn]] void fail(std::string_view what);

  const std::filesystem::path& path() const noexcept { return path_; }
  sqlite3* handle() const noexcept { return handle_; }

 private:
  std::filesystem::path path_;
  sqlite3* handle_ = nullptr;
};

/// How long an operation waits for a lock that another process holds before failing as busy.
inline constexpr int kBusyTimeoutMs = 5000;

/// A transaction that commits when commit() is called, or rolls back when it is left without.
/// A writing one takes the file's write lock at once (BEGIN IMMEDIATE); a reading one reads one
/// snapshot throughout.
class Transaction {
 public:
  enum class Mode : bool { read, write };
  explicit Transaction(Database& database, Mode mode = Mode::write);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace tovanel::chat::store::detail
