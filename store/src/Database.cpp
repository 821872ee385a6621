#include "Database.hpp"

#include <sqlite3.h>

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
void Statement::bindOne(int index, double value) {
  database_.check(sqlite3_bind_double(statement_, index, value), "binding a value");
}
void Statement::bindOne(int index, std::int64_t value) {
  database_.check(sqlite3_bind_int64(statement_, index, value), "binding a value");
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}
bool Statement::isInteger(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_INTEGER;
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

Database::Database(const std::filesystem::path& path) : path_(path) {
  // One connection used by one thread at a time: SQLite's own locking would only cost.
  const int status =
      sqlite3_open_v2(path.c_str(), &handle_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (status != SQLITE_OK) {
    const std::string reason =
        handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(status);
    sqlite3_close(handle_);
    handle_ = nullptr;
    throw StoreError(StoreError::Code::database, path.string() + ": cannot open: " + reason);
  }
  sqlite3_extended_result_codes(handle_, 1);
  // SQLite reads nothing until the first statement: read the header now, so that a file that is
  // not a database is told at once.
  try {
    check(sqlite3_exec(handle_, "PRAGMA schema_version", nullptr, nullptr, nullptr), "opening");
  } catch (...) {
    sqlite3_close(handle_);
    throw;
  }
}

Database::~Database() { sqlite3_close(handle_); }

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
  throw StoreError(StoreError::Code::database, description);
}

// ---- Transaction ----

Transaction::Transaction(Database& database, Mode mode) : database_(database) {
  database.execute(mode == Mode::write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (open_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  database_.execute("COMMIT");
  open_ = false;
}

}  // namespace tovanel::chat::store::detail
