#pragma once
// What one observer of a room holds: the room's latest rows, up to a size, kept current from
// what each commit changed instead of by reading the room again. Its cost per change depends on
// the change and on the size, never on the room's history.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"

namespace tovanel::chat::store::detail {

using Messages = std::vector<ChatMessage>;

/// Where a row stands in its room: by createdAt, rows without one first and rows whose createdAt
/// is not a date (the file was edited) after every date, then by messageID in byte order, as the
/// file's index orders them.
struct Place {
  std::optional<double> createdAt;
  std::string_view messageID;
  bool afterDates = false;

  friend bool operator<(const Place& a, const Place& b) noexcept {
    if (a.rank() != b.rank()) return a.rank() < b.rank();
    if (a.createdAt && *a.createdAt != *b.createdAt) return *a.createdAt < *b.createdAt;
    return a.messageID < b.messageID;
  }
  /// True when the row is older than one created at `floor`.
  bool olderThan(double floor) const noexcept {
    return !afterDates && (!createdAt || *createdAt < floor);
  }

 private:
  int rank() const noexcept { return afterDates ? 2 : createdAt ? 1 : 0; }
};

/// A stored row that does not decode, and whether its createdAt is not a date either.
struct Unreadable {
  UnreadableRow row;
  bool afterDates = false;
};

Place placeOf(const ChatMessage& message) noexcept;
Place placeOf(const Unreadable& unreadable) noexcept;

/// The reports of some unreadable rows.
std::vector<UnreadableRow> reportsOf(const std::vector<Unreadable>& rows);

/// The state one commit left a touched row in, within one room.
struct Touch {
  /// False when the commit deleted the row or moved it to another room.
  bool present = false;
  std::optional<double> createdAt;
};
/// What one commit did to one room, by messageID.
using RoomChanges = std::unordered_map<std::string, Touch>;

/// One stored row as a read met it.
using Row = std::variant<ChatMessage, Unreadable>;

/// Rows of a room going back from a point, oldest first, with the rows that did not decode
/// apart. Like a page, it never splits the rows that share its oldest createdAt.
struct Page {
  Messages messages;
  std::vector<Unreadable> unreadable;
  /// The createdAt of its oldest row; infinity when no row has a date that reads.
  std::optional<double> oldest;
  /// True when no row of the room is older than the page's.
  bool reachesStart = false;
};

/// The reads a window needs, done by the store on its connection.
class RowReader {
 public:
  /// Up to `limit` rows created strictly before `before` (the newest without it), grown to take
  /// every row that shares the oldest createdAt.
  virtual Page page(const std::string& roomID, std::optional<double> before,
                    std::uint64_t limit) = 0;
  /// The row with that messageID, in whatever room, when there is one.
  virtual std::optional<Row> row(const std::string& messageID) = 0;

 protected:
  ~RowReader() = default;
};

/// The latest `size` rows of a room, grown to take every row that shares the oldest createdAt,
/// or the whole room when it holds fewer. It holds every row from its oldest createdAt on, and
/// none before it.
class Window {
 public:
  /// At least one row.
  explicit Window(std::uint64_t size) noexcept : size_(size == 0 ? 1 : size) {}

  /// Reads the room's latest rows.
  void fill(RowReader& reader, const std::string& roomID);

  /// Brings the window up to date with a commit's changes to its room, reading back only the
  /// touched rows that belong in it, and the rows before it when it falls short of its size.
  /// True when what it holds changed.
  bool apply(const std::string& roomID, const RoomChanges& changes, RowReader& reader);

  /// Takes in the rows of a page read before `from` that are older than the window's oldest,
  /// when nothing lies between them: `from` is not before the window's oldest row. Its size grows
  /// to hold them. True when it grew.
  bool takeIn(double from, const Page& page);

  std::uint64_t size() const noexcept { return size_; }
  /// The rows that decode, in the room's order.
  const Messages& messages() const noexcept { return messages_; }
  /// The rows held that do not decode, in the room's order.
  const std::vector<Unreadable>& unreadable() const noexcept { return unreadable_; }

 private:
  std::size_t held() const noexcept { return messages_.size() + unreadable_.size(); }
  bool admits(const std::optional<double>& createdAt) const noexcept {
    return !floor_ || (createdAt && *createdAt >= *floor_);
  }
  /// Drops the rows older than `floor`; true when there were any.
  bool cutBelow(double floor);
  /// Sets the floor to the oldest row held, once rows at the bottom have gone.
  void tighten();

  std::uint64_t size_;
  /// The createdAt of the oldest row held; empty while the window holds the whole room.
  std::optional<double> floor_;
  Messages messages_;
  std::vector<Unreadable> unreadable_;
};

}  // namespace tovanel::chat::store::detail
