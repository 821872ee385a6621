#pragma once
// The floor of an import: the rows that the store writes for an export, written again into the
// same schema by SQLite alone, with the same transaction size and the same settings, and nothing
// else. What the store adds to an import is measured against it.
//
// Two floors: the messages rows alone, and the honest one for the schema as it is, which also
// writes each message's entry in the search index (message_search, the texts the store gave it)
// and the words that the store listed in search_terms, each in the transaction of the first
// message that holds it.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace tovanel::chat::store::bench {

/// The entry of a message in the search index, as the store wrote it.
struct FloorEntry {
  std::string room;
  std::string author;
  std::string content;
};

/// One row of the messages table, as the store wrote it, with its entry in the search index.
struct FloorRow {
  std::string messageID;
  std::string roomID;
  std::optional<std::string> clientID;
  std::string type;
  std::string bodyKind;
  std::optional<std::string> eventKind;
  std::string body;
  std::optional<double> createdAt;
  std::optional<double> updatedAt;
  std::string author;
  std::optional<long long> viewCount;
  long long sentStatus = 0;
  std::optional<std::int64_t> searchKey;
  std::optional<FloorEntry> entry;
};

/// A word of search_terms, and the position among the rows of the first one whose entry holds it.
struct FloorWord {
  std::size_t firstRow = 0;
  std::string word;
};

/// What a store's file holds after an import: its message rows in the order they were written,
/// and its dictionary of words, by first row.
struct FloorRows {
  std::vector<FloorRow> rows;
  std::vector<FloorWord> words;
};

FloorRows readFloorRows(const std::filesystem::path& store);

/// A file whose schema the store created, open with the store's journal and synchronous
/// settings, ready to take rows.
class FloorImport {
 public:
  explicit FloorImport(const std::filesystem::path& file);
  ~FloorImport();
  FloorImport(const FloorImport&) = delete;
  FloorImport& operator=(const FloorImport&) = delete;

  /// One room row per room, then `batch` messages per transaction. With `indexed`, each
  /// transaction also writes its messages' search keys, then the words that its messages are the
  /// first to hold, then its entries in the order of their keys (FTS5 writes a segment whenever a
  /// key comes below the one before).
  void write(const FloorRows& rows, std::size_t batch, bool indexed);

  /// How many rows `table` holds: a floor that wrote less would only look fast.
  std::int64_t count(const std::string& table);

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace tovanel::chat::store::bench
