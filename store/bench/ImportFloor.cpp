#include "ImportFloor.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <unordered_map>

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

FloorRows readFloorRows(const std::filesystem::path& store) {
  Connection db(store);
  FloorRows read;
  {
    Statement select(db.get(),
                     "SELECT m.message_id, m.room_id, m.client_id, m.type, m.body_kind, "
                     "m.event_kind, m.body, m.created_at, m.updated_at, m.author, m.view_count, "
                     "m.sent_status, m.search_key, s.room, s.author, s.content "
                     "FROM messages AS m LEFT JOIN message_search AS s ON s.rowid = m.search_key "
                     "ORDER BY m.rowid");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
      sqlite3_stmt* row = select.get();
      const auto text = [&](int column) { return *optionalText(row, column); };
      const auto integer = [&](int column) -> std::optional<long long> {
        if (sqlite3_column_type(row, column) == SQLITE_NULL) return std::nullopt;
        return sqlite3_column_int64(row, column);
      };
      std::optional<FloorEntry> entry;
      if (sqlite3_column_type(row, 13) != SQLITE_NULL)
        entry = FloorEntry{text(13), text(14), text(15)};
      read.rows.push_back(FloorRow{text(0), text(1), optionalText(row, 2), text(3), text(4),
                                   optionalText(row, 5), text(6), optionalReal(row, 7),
                                   optionalReal(row, 8), text(9), integer(10),
                                   sqlite3_column_int64(row, 11), integer(12), std::move(entry)});
    }
  }
  // The dictionary, each word placed with the first row whose entry holds it: FTS5's own list of
  // the words of the author and content columns, by entry, gives that row.
  std::unordered_map<std::int64_t, std::size_t> rowOfKey;
  for (std::size_t i = 0; i < read.rows.size(); ++i) {
    if (read.rows[i].searchKey) rowOfKey.emplace(*read.rows[i].searchKey, i);
  }
  check(db.get(), sqlite3_exec(db.get(),
                               "CREATE VIRTUAL TABLE temp.floor_words USING "
                               "fts5vocab(main, message_search, instance)",
                               nullptr, nullptr, nullptr));
  std::unordered_map<std::string, std::size_t> firstRow;
  {
    Statement instances(db.get(), "SELECT term, doc FROM temp.floor_words WHERE col <> 'room'");
    while (sqlite3_step(instances.get()) == SQLITE_ROW) {
      const auto found = rowOfKey.find(sqlite3_column_int64(instances.get(), 1));
      if (found == rowOfKey.end()) continue;
      const auto [at, added] = firstRow.emplace(*optionalText(instances.get(), 0), found->second);
      if (!added) at->second = std::min(at->second, found->second);
    }
  }
  Statement terms(db.get(), "SELECT term FROM search_terms");
  while (sqlite3_step(terms.get()) == SQLITE_ROW) {
    std::string word = *optionalText(terms.get(), 0);
    const auto found = firstRow.find(word);
    read.words.push_back(FloorWord{found == firstRow.end() ? 0 : found->second, std::move(word)});
  }
  std::stable_sort(read.words.begin(), read.words.end(),
                   [](const FloorWord& a, const FloorWord& b) { return a.firstRow < b.firstRow; });
  return read;
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

void FloorImport::write(const FloorRows& floor, std::size_t batch, bool indexed) {
  const std::vector<FloorRow>& rows = floor.rows;
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
  Statement insert(db_, indexed ? "INSERT INTO messages (message_id, room_id, client_id, type, "
                                  "body_kind, event_kind, body, created_at, updated_at, author, "
                                  "view_count, sent_status, search_key) "
                                  "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)"
                                : "INSERT INTO messages (message_id, room_id, client_id, type, "
                                  "body_kind, event_kind, body, created_at, updated_at, author, "
                                  "view_count, sent_status) "
                                  "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)");
  Statement addWord(db_, "INSERT INTO search_terms (term) VALUES (?1)");
  Statement addEntry(db_,
                     "INSERT INTO message_search (rowid, room, author, content) "
                     "VALUES (?1, ?2, ?3, ?4)");
  const auto text = [&](int index, const std::string& value) { insert.text(index, value); };
  const auto real = [&](int index, double value) {
    sqlite3_bind_double(insert.get(), index, value);
  };
  const auto integer = [&](int index, long long value) {
    sqlite3_bind_int64(insert.get(), index, value);
  };
  std::size_t word = 0;
  std::vector<const FloorRow*> entries;
  for (std::size_t start = 0; start < rows.size(); start += batch) {
    const std::size_t end = std::min(rows.size(), start + batch);
    execute("BEGIN IMMEDIATE");
    entries.clear();
    for (std::size_t i = start; i < end; ++i) {
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
      if (indexed) {
        insert.optional(13, row.searchKey, integer);
        if (row.entry) entries.push_back(&row);
      }
      insert.run();
    }
    if (indexed) {
      for (; word < floor.words.size() && floor.words[word].firstRow < end; ++word) {
        addWord.text(1, floor.words[word].word);
        addWord.run();
      }
      std::sort(entries.begin(), entries.end(),
                [](const FloorRow* a, const FloorRow* b) { return *a->searchKey < *b->searchKey; });
      for (const FloorRow* row : entries) {
        sqlite3_bind_int64(addEntry.get(), 1, *row->searchKey);
        addEntry.text(2, row->entry->room);
        addEntry.text(3, row->entry->author);
        addEntry.text(4, row->entry->content);
        addEntry.run();
      }
    }
    execute("COMMIT");
  }
}

std::int64_t FloorImport::count(const std::string& table) {
  Statement rows(db_, ("SELECT count(*) FROM " + table).c_str());
  check(db_, sqlite3_step(rows.get()));
  return sqlite3_column_int64(rows.get(), 0);
}

}  // namespace tovanel::chat::store::bench
