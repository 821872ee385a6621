#pragma once
// The observers of each room, grouped by the window they hold, and the changes of a write
// transaction that reach them. Observers that ask for the same window share one; each window is
// brought up to date by what a commit changed in its room, never by reading the room again.

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Window.hpp"
#include "tovanel/chat/async/Publisher.hpp"

namespace tovanel::chat::store::detail {

class ObservedRooms;

/// What a write transaction does to the rows of observed rooms, recorded as it runs. Rooms that
/// nobody observes cost one look-up per row and are not recorded.
class Changes {
 public:
  explicit Changes(const ObservedRooms& observed) noexcept : observed_(observed) {}

  /// The row with `messageID` is now in `roomID`, created at `createdAt`.
  void wrote(std::string_view roomID, std::string_view messageID, std::optional<double> createdAt);
  /// The row with `messageID` left `roomID`: deleted, or moved to another room.
  void removed(std::string_view roomID, std::string_view messageID);

  const std::map<std::string, RoomChanges, std::less<>>& rooms() const noexcept { return rooms_; }

 private:
  void touch(std::string_view roomID, std::string_view messageID, Touch touch);

  const ObservedRooms& observed_;
  std::map<std::string, RoomChanges, std::less<>> rooms_;
};

class ObservedRooms {
 public:
  using Report = std::function<void(std::vector<UnreadableRow>)>;

  /// `report` receives the rows that a delivered list leaves out, before the list.
  explicit ObservedRooms(Report report) : report_(std::move(report)) {}

  bool observes(std::string_view roomID) const { return rooms_.find(roomID) != rooms_.end(); }
  bool any() const noexcept { return !rooms_.empty(); }

  /// Delivers the room's latest `size` rows to the subscriber and keeps it informed: from a
  /// window of that size already held for the room, or from a new one read with `reader`.
  void subscribe(const std::string& roomID, std::uint64_t size,
                 const Subscriber<Messages>& subscriber, RowReader& reader);

  /// After a commit: brings each window of the changed rooms up to date and delivers those that
  /// changed. A read that fails fails the room's observers, who are then forgotten.
  void publish(const Changes& changes, RowReader& reader);

  /// After a page of the room read before `from`: the windows it reaches take it in and are
  /// delivered.
  void takeIn(const std::string& roomID, double from, const Page& page);

  /// Finishes every observation.
  void finish();

 private:
  struct View {
    Window window;
    std::vector<Subscriber<Messages>> subscribers;
  };
  /// The windows of one room, by size.
  using Views = std::vector<View>;

  /// Forgets ended subscribers, and windows and rooms left without any.
  void sweep();
  /// One report of the rows the lists leave out, then each list to its subscribers.
  void deliver(const std::vector<const View*>& views, bool reportUnreadable);

  Report report_;
  std::map<std::string, Views, std::less<>> rooms_;
};

}  // namespace tovanel::chat::store::detail
