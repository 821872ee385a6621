#include "ImportFloor.hpp"

#include <sqlite3.h>

#include <set>
#include <stdexcept>

namespace tovanel::chat::store::bench {

namespace {

// No error goes unnoticed, even in a floor: a floor that silently wrote nothing would be fast.
void check(sqlite3* db, int status) {
  if (status != SQLITE_OK && status != SQLITE_ROW && status != SQLITE_DONE) {
    throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db));
  }
}

class Connection {
 public:
  explicit Connection(const std::filesystem::path& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) {
      sqlite3_close(db_);
      throw std::runtime_error("cannot open " + path.string());
    }
  }
  ~Connection() { sqlite3_close(db_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

class Statement {
 public:
  Statement(sqlite3* db, const char* sql) : db_(db) {
    check(db, sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr));
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  sqlite3_stmt* get() const { return statement_; }
  void text(int index, const std::string& value) {
    sqlite3_bind_text(statement_, index, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  template <class T, class Bind>
  void optional(int index, const std::optional<T>& value, Bind bind) {
    if (value) {
      bind(index, *value);
    } else {
      sqlite3_bind_null(statement_, index);
    }
  }
  void run() {
    check(db_, sqlite3_step(statement_));
    sqlite3_reset(statement_);
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

std::optional<std::string> optionalText(sqlite3_stmt* row, int column) {
  if (sqlite3_column_type(row, column) == SQLITE_NULL) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(sqlite3_column_text(row, column)));
}

std::optional<double> optionalReal(sqlite3_stmt* row, int column) {
  if (sqlite3_column_type(row, column) == SQLITE_NULL) return std::nullopt;
  return sqlite3_column_double(row, column);
}

}  // namespace

std::vector<FloorRow> readFloorRows(const std::filesystem::path& store) {
  Connection db(store);
  Statement select(db.get(),
                   "SELECT message_id, room_id, client_id, type, body_kind, event_kind, body, "
                   "created_at, updated_at, author, view_count, sent_status FROM messages "
                   "ORDER BY rowid");
  std::vector<FloorRow> rows;
  while (sqlite3_step(select.get()) == SQLITE_ROW) {
    sqlite3_stmt* row = select.get();
    const auto text = [&](int column) { return *optionalText(row, column); };
    std::optional<long long> viewCount;
    if (sqlite3_column_type(row, 10) != SQLITE_NULL) viewCount = sqlite3_column_int64(row, 10);
    rows.push_back(FloorRow{text(0), text(1), optionalText(row, 2), text(3), text(4),
                            optionalText(row, 5), text(6), optionalReal(row, 7),
                            optionalReal(row, 8), text(9), viewCount,
                            sqlite3_column_int64(row, 11)});
  }
  return rows;
}

FloorImport::FloorImport(const std::filesystem::path& file) {
  if (sqlite3_open(file.c_str(), &db_) != SQLITE_OK) {
    sqlite3_close(db_);
    throw std::runtime_error("cannot open " + file.string());
  }
  check(db_, sqlite3_exec(db_,
                          "PRAGMA journal_mode = WAL; PRAGMA foreign_keys = ON; "
                          "PRAGMA synchronous = NORMAL;",
                          nullptr, nullptr, nullptr));
}

FloorImport::~FloorImport() { sqlite3_close(db_); }

void FloorImport::write(const std::vector<FloorRow>& rows, std::size_t batch) {
  const auto execute = [&](const char* sql) {
    check(db_, sqlite3_exec(db_, sql, nullptr, nullptr, nullptr));
  };
  {
    std::set<std::string> rooms;
    for (const FloorRow& row : rows) rooms.insert(row.roomID);
    Statement room(db_, "INSERT INTO rooms (id) VALUES (?1)");
    execute("BEGIN IMMEDIATE");
    for (const std::string& id : rooms) {
      room.text(1, id);
      room.run();
    }
    execute("COMMIT");
  }
  Statement insert(db_,
                   "INSERT INTO messages (message_id, room_id, client_id, type, body_kind, "
                   "event_kind, body, created_at, updated_at, author, view_count, sent_status) "
                   "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)");
  const auto text = [&](int index, const std::string& value) { insert.text(index, value); };
  const auto real = [&](int index, double value) {
    sqlite3_bind_double(insert.get(), index, value);
  };
  const auto integer = [&](int index, long long value) {
    sqlite3_bind_int64(insert.get(), index, value);
  };
  for (std::size_t start = 0; start < rows.size(); start += batch) {
    execute("BEGIN IMMEDIATE");
    for (std::size_t i = start; i < rows.size() && i < start + batch; ++i) {
      const FloorRow& row = rows[i];
      text(1, row.messageID);
      text(2, row.roomID);
      insert.optional(3, row.clientID, text);
      text(4, row.type);
      text(5, row.bodyKind);
      insert.optional(6, row.eventKind, text);
      text(7, row.body);
      insert.optional(8, row.createdAt, real);
      insert.optional(9, row.updatedAt, real);
      text(10, row.author);
      insert.optional(11, row.viewCount, integer);
      integer(12, row.sentStatus);
      insert.run();
    }
    execute("COMMIT");
  }
}

}  // namespace tovanel::chat::store::bench
