#pragma once
// The floor of an import: the rows that the store writes for an export, written again into the
// same schema by SQLite alone, with the same transaction size and the same settings, and nothing
// else. What the store adds to an import is measured against it.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace tovanel::chat::store::bench {

/// One row of the messages table, as the store wrote it.
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
};

/// Every message row of a store's file, in the order they were written.
std::vector<FloorRow> readFloorRows(const std::filesystem::path& store);

/// A file whose schema the store created, open with the store's journal and synchronous
/// settings, ready to take rows.
class FloorImport {
 public:
  explicit FloorImport(const std::filesystem::path& file);
  ~FloorImport();
  FloorImport(const FloorImport&) = delete;
  FloorImport& operator=(const FloorImport&) = delete;

  /// One room row per room, then the messages, `batch` rows per transaction.
  void write(const std::vector<FloorRow>& rows, std::size_t batch);

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace tovanel::chat::store::bench
