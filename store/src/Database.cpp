#include "Database.hpp"

#include <sqlite3.h>

#include <cassert>
#include <chrono>
#include <cstring>
#include <thread>

namespace tovanel::chat::store::detail {

// ---- Statement ----

Statement::Statement(Database& database, std::string_view sql) : database_(database) {
  database.check(sqlite3_prepare_v3(database.handle(), sql.data(), static_cast<int>(sql.size()),
                                    SQLITE_PREPARE_PERSISTENT, &statement_, nullptr),
                 "preparing a statement");
}

Statement::~Statement() { sqlite3_finalize(statement_); }

void Statement::reset() {
  // reset reports the error of the last step, which was already thrown.
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Statement::step() {
  const int status = sqlite3_step(statement_);
  if (status == SQLITE_ROW) return true;
  if (status == SQLITE_DONE) return false;
  database_.check(status, "running a statement");
  return false;
}

bool Statement::exists() {
  const bool row = step();
  reset();
  return row;
}

std::int64_t Statement::run() {
  while (step()) {
  }
  return sqlite3_changes64(database_.handle());
}

void Statement::bindOne(int index, std::nullopt_t) {
  database_.check(sqlite3_bind_null(statement_, index), "binding a value");
}
void Statement::bindOne(int index, std::string_view value) {
  database_.check(sqlite3_bind_text64(statement_, index, value.data(), value.size(),
                                      SQLITE_TRANSIENT, SQLITE_UTF8),
                  "binding a value");
}
void Statement::bindOne(int index, Borrowed value) {
  database_.check(sqlite3_bind_text64(statement_, index, value.text.data(), value.text.size(),
                                      SQLITE_STATIC, SQLITE_UTF8),
                  "binding a value");
}
void Statement::bindOne(int index, double value) {
  database_.check(sqlite3_bind_double(statement_, index, value), "binding a value");
}
void Statement::bindOne(int index, std::int64_t value) {
  database_.check(sqlite3_bind_int64(statement_, index, value), "binding a value");
}

Statement::Stored Statement::stored(int column) const {
  static_assert(SQLITE_INTEGER == 1 && SQLITE_FLOAT == 2 && SQLITE_TEXT == 3 && SQLITE_BLOB == 4 &&
                SQLITE_NULL == 5);
  return static_cast<Stored>(sqlite3_column_type(statement_, column) - 1);
}
std::string_view Statement::text(int column) const {
  const auto* bytes = sqlite3_column_text(statement_, column);
  if (bytes == nullptr) return {};
  return {reinterpret_cast<const char*>(bytes),
          static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}
std::optional<std::string> Statement::optionalText(int column) const {
  if (isNull(column)) return std::nullopt;
  return std::string(text(column));
}
double Statement::real(int column) const { return sqlite3_column_double(statement_, column); }
std::optional<double> Statement::optionalReal(int column) const {
  if (isNull(column)) return std::nullopt;
  return real(column);
}
std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}
std::optional<std::int64_t> Statement::optionalInteger(int column) const {
  if (isNull(column)) return std::nullopt;
  return integer(column);
}

// ---- Database ----

namespace {

StoreError::Code codeOf(int status) {
  switch (status & 0xFF) {
    case SQLITE_FULL:
      return StoreError::Code::full;
    case SQLITE_READONLY:
      return StoreError::Code::readOnly;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreError::Code::busy;
    default:
      return StoreError::Code::database;
  }
}

}  // namespace

Database::Database(const std::filesystem::path& path, Access access) : path_(path) {
  // One connection used by one thread at a time: SQLite's own locking would only cost.
  const int flags = (access == Access::readOnly ? SQLITE_OPEN_READONLY
                                                : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                    SQLITE_OPEN_NOMUTEX;
  const int status = sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr);
  if (status != SQLITE_OK) {
    std::string reason = handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(status);
    if (const int error = handle_ != nullptr ? sqlite3_system_errno(handle_) : 0; error != 0) {
      reason.append(" (").append(std::strerror(error)).append(")");
    }
    sqlite3_close(handle_);
    handle_ = nullptr;
    throw StoreError(codeOf(status), path.string() + ": cannot open: " + reason);
  }
  // SQLite opens a file it may not write read-only without a word, and fails the first write.
  if (access == Access::readWrite && sqlite3_db_readonly(handle_, "main") == 1) {
    sqlite3_close(handle_);
    throw StoreError(StoreError::Code::readOnly,
                     path.string() +
                         ": cannot open for writing: the file is read-only (it can be opened "
                         "read-only)");
  }
  sqlite3_extended_result_codes(handle_, 1);
  // Before the first read: another process may be creating or upgrading the file right now.
  sqlite3_busy_timeout(handle_, kBusyTimeoutMs);
  // SQLite reads nothing until the first statement: read the header now, so that a file that is
  // not a database is told at once.
  const int read = sqlite3_exec(handle_, "PRAGMA schema_version", nullptr, nullptr, nullptr);
  if (read != SQLITE_OK && access == Access::readOnly && (read & 0xFF) == SQLITE_READONLY) {
    // SQLite's own words ("attempt to write a readonly database") would puzzle a reader.
    sqlite3_close(handle_);
    throw StoreError(StoreError::Code::readOnly,
                     path.string() +
                         ": cannot read: the file is in WAL mode (open elsewhere, or not closed "
                         "cleanly), which needs files beside it that a read-only open cannot "
                         "make here; open it once for writing");
  }
  try {
    check(read, "opening");
  } catch (...) {
    sqlite3_close(handle_);
    throw;
  }
}

Database::~Database() {
  [[maybe_unused]] const int status = sqlite3_close(handle_);
  assert(status == SQLITE_OK && "a statement outlived its database");
}

void Database::useWriteAheadLog() {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
  for (;;) {
    try {
      if (queryText("PRAGMA journal_mode = WAL") != "wal") fail("switching to the WAL journal");
      return;
    } catch (const StoreError& error) {
      if (error.code() == StoreError::Code::readOnly) {
        // The file itself may be written (see the constructor): the log cannot be beside it.
        throw StoreError(StoreError::Code::readOnly,
                         path_.string() +
                             ": cannot open for writing: the write-ahead log cannot be made "
                             "beside the file (its folder, or a -wal or -shm file there, is "
                             "read-only); it can be opened read-only");
      }
      if (error.code() != StoreError::Code::busy || std::chrono::steady_clock::now() > deadline) {
        throw;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

void Database::checkpointForClosing() noexcept {
  // TRUNCATE waits (within the busy timeout) for readers of other processes to finish their
  // current read, so that the whole log goes into the file.
  sqlite3_exec(handle_, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
  // Leaving WAL needs the file to itself: another connection keeps it for good, so do not wait.
  sqlite3_busy_timeout(handle_, 0);
  sqlite3_exec(handle_, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
}

void Database::execute(const char* sql) {
  check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr), "running a statement");
}

std::int64_t Database::queryInteger(const char* sql) {
  Statement statement(*this, sql);
  if (!statement.step()) fail("reading a setting");
  return statement.integer(0);
}

std::string Database::queryText(const char* sql) {
  Statement statement(*this, sql);
  if (!statement.step()) fail("reading a setting");
  return std::string(statement.text(0));
}

void Database::check(int status, std::string_view what) {
  if (status == SQLITE_OK || status == SQLITE_ROW || status == SQLITE_DONE) return;
  fail(what);
}

void Database::fail(std::string_view what) {
  std::string description = path_.string();
  description.append(": ").append(sqlite3_errmsg(handle_)).append(" (while ").append(what);
  description += ')';
  throw StoreError(codeOf(sqlite3_extended_errcode(handle_)), description);
}

// ---- Transaction ----

Transaction::Transaction(Database& database, Mode mode) : database_(database) {
  database.check(sqlite3_exec(database.handle(), mode == Mode::write ? "BEGIN IMMEDIATE" : "BEGIN",
                              nullptr, nullptr, nullptr),
                 "beginning a transaction");
}

Transaction::~Transaction() {
  if (open_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  database_.check(sqlite3_exec(database_.handle(), "COMMIT", nullptr, nullptr, nullptr),
                  "committing");
  open_ = false;
}

}  // namespace tovanel::chat::store::detail
