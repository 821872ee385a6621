#include "Window.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace tovanel::chat::store::detail {

namespace {

std::optional<double> secondsOf(const std::optional<Date>& date) noexcept {
  if (!date) return std::nullopt;
  return date->timeIntervalSinceReferenceDate();
}

const std::string& idOf(const ChatMessage& message) noexcept { return message.messageID; }
const std::string& idOf(const Unreadable& unreadable) noexcept { return unreadable.row.messageID; }

template <class R>
bool inRoomOrder(const R& a, const R& b) noexcept {
  return placeOf(a) < placeOf(b);
}

// Adds rows, in any order, to a vector held in the room's order.
template <class R>
void mergeIn(std::vector<R>& held, std::vector<R>& arrived) {
  if (arrived.empty()) return;
  std::sort(arrived.begin(), arrived.end(), inRoomOrder<R>);
  const auto middle = static_cast<std::ptrdiff_t>(held.size());
  held.insert(held.end(), std::make_move_iterator(arrived.begin()),
              std::make_move_iterator(arrived.end()));
  std::inplace_merge(held.begin(), held.begin() + middle, held.end(), inRoomOrder<R>);
}

// How many of the first rows, in the room's order, are older than `floor`.
template <class R>
std::size_t countOlder(const std::vector<R>& rows, double floor) {
  return static_cast<std::size_t>(
      std::partition_point(rows.begin(), rows.end(),
                           [&](const R& row) { return placeOf(row).olderThan(floor); }) -
      rows.begin());
}

template <class R>
void putInFront(std::vector<R>& held, const std::vector<R>& older, std::size_t count) {
  held.insert(held.begin(), older.begin(), older.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

Place placeOf(const ChatMessage& message) noexcept {
  return {secondsOf(message.createdAt), message.messageID};
}

Place placeOf(const Unreadable& unreadable) noexcept {
  return {secondsOf(unreadable.row.createdAt), unreadable.row.messageID, unreadable.afterDates};
}

std::vector<UnreadableRow> reportsOf(const std::vector<Unreadable>& rows) {
  std::vector<UnreadableRow> reports;
  reports.reserve(rows.size());
  for (const Unreadable& unreadable : rows) reports.push_back(unreadable.row);
  return reports;
}

void Window::fill(RowReader& reader, const std::string& roomID) {
  Page page = reader.page(roomID, std::nullopt, size_);
  messages_ = std::move(page.messages);
  unreadable_ = std::move(page.unreadable);
  floor_ = page.reachesStart ? std::nullopt : page.oldest;
}

bool Window::apply(const std::string& roomID, const RoomChanges& changes, RowReader& reader) {
  // Every touched row leaves; those the commit left in the room come back as they now are.
  const auto touched = [&](const auto& row) { return changes.contains(idOf(row)); };
  bool changed = std::erase_if(messages_, touched) + std::erase_if(unreadable_, touched) > 0;

  std::vector<Place> arriving;
  for (const auto& [messageID, touch] : changes) {
    if (touch.present && admits(touch.createdAt)) arriving.push_back({touch.createdAt, messageID});
  }

  // Past its size, the window starts at its size-th newest row: what is older leaves, and rows
  // arriving below it are never read.
  const std::size_t total = held() + arriving.size();
  if (total > size_) {
    std::vector<Place> places;
    places.reserve(total);
    for (const auto& message : messages_) places.push_back(placeOf(message));
    for (const auto& row : unreadable_) places.push_back(placeOf(row));
    places.insert(places.end(), arriving.begin(), arriving.end());
    const auto start = places.begin() + static_cast<std::ptrdiff_t>(total - size_);
    std::nth_element(places.begin(), start, places.end());
    // Without a date the start is older than any date: the window keeps the whole room.
    if (start->createdAt || start->afterDates) {
      const double floor =
          start->afterDates ? std::numeric_limits<double>::infinity() : *start->createdAt;
      changed |= cutBelow(floor);
      std::erase_if(arriving, [&](const Place& place) { return place.olderThan(floor); });
      floor_ = floor;
    }
  }

  Messages arrived;
  std::vector<Unreadable> arrivedUnreadable;
  for (const Place& place : arriving) {
    std::optional<Row> row = reader.row(std::string(place.messageID));
    if (!row) continue;
    if (auto* message = std::get_if<ChatMessage>(&*row)) {
      if (message->roomID == roomID) arrived.push_back(std::move(*message));
    } else if (auto* unreadable = std::get_if<Unreadable>(&*row)) {
      if (unreadable->row.roomID == roomID) arrivedUnreadable.push_back(std::move(*unreadable));
    }
  }
  changed |= !arrived.empty() || !arrivedUnreadable.empty();
  mergeIn(messages_, arrived);
  mergeIn(unreadable_, arrivedUnreadable);

  // Short of its size, the window takes in the rows just before it: one bounded read.
  if (floor_ && held() < size_) {
    const Page before = reader.page(roomID, floor_, size_ - held());
    changed |= !before.messages.empty() || !before.unreadable.empty();
    putInFront(messages_, before.messages, before.messages.size());
    putInFront(unreadable_, before.unreadable, before.unreadable.size());
    floor_ = before.reachesStart ? std::nullopt : before.oldest;
  }
  tighten();
  return changed;
}

bool Window::takeIn(double from, const Page& page) {
  if (!floor_ || from < *floor_) return false;
  const std::size_t messages = countOlder(page.messages, *floor_);
  const std::size_t unreadable = countOlder(page.unreadable, *floor_);
  if (messages + unreadable == 0) return false;
  putInFront(messages_, page.messages, messages);
  putInFront(unreadable_, page.unreadable, unreadable);
  floor_ = page.reachesStart ? std::nullopt : page.oldest;
  size_ = held();
  return true;
}

bool Window::cutBelow(double floor) {
  const std::size_t messages = countOlder(messages_, floor);
  const std::size_t unreadable = countOlder(unreadable_, floor);
  messages_.erase(messages_.begin(), messages_.begin() + static_cast<std::ptrdiff_t>(messages));
  unreadable_.erase(unreadable_.begin(),
                    unreadable_.begin() + static_cast<std::ptrdiff_t>(unreadable));
  return messages + unreadable > 0;
}

void Window::tighten() {
  // Rows deleted at the bottom leave no row between the old floor and the new oldest, so the
  // oldest row held is the floor.
  if (!floor_ || held() == 0) return;
  std::optional<Place> oldest;
  if (!messages_.empty()) oldest = placeOf(messages_.front());
  if (!unreadable_.empty() && (!oldest || placeOf(unreadable_.front()) < *oldest)) {
    oldest = placeOf(unreadable_.front());
  }
  floor_ = oldest->afterDates ? std::numeric_limits<double>::infinity() : oldest->createdAt;
}

}  // namespace tovanel::chat::store::detail
