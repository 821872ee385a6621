#include "ObservedRooms.hpp"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "Delivery.hpp"

namespace tovanel::chat::store::detail {

namespace {

// Several windows of one room read each touched row once.
class SharedReads final : public RowReader {
 public:
  explicit SharedReads(RowReader& reader) : reader_(reader) {}

  Page page(const std::string& roomID, std::optional<double> before, std::uint64_t limit) override {
    return reader_.page(roomID, before, limit);
  }
  std::optional<Row> row(const std::string& messageID) override {
    auto found = rows_.find(messageID);
    if (found == rows_.end()) found = rows_.emplace(messageID, reader_.row(messageID)).first;
    return found->second;
  }

 private:
  RowReader& reader_;
  std::unordered_map<std::string, std::optional<Row>> rows_;
};

}  // namespace

// ---- Changes ----

void Changes::wrote(std::string_view roomID, std::string_view messageID,
                    std::optional<double> createdAt) {
  touch(roomID, messageID, Touch{true, createdAt});
}

void Changes::removed(std::string_view roomID, std::string_view messageID) {
  touch(roomID, messageID, Touch{});
}

void Changes::touch(std::string_view roomID, std::string_view messageID, Touch touch) {
  if (!observed_.observes(roomID)) return;
  auto room = rooms_.find(roomID);
  if (room == rooms_.end()) room = rooms_.emplace(std::string(roomID), RoomChanges{}).first;
  // The last thing the transaction did to the row is what it left.
  room->second.insert_or_assign(std::string(messageID), touch);
}

// ---- ObservedRooms ----

void ObservedRooms::subscribe(const std::string& roomID, std::uint64_t size,
                              const Subscriber<Messages>& subscriber, RowReader& reader) {
  if (subscriber.ended()) return;
  sweep();
  const Window fresh(size);
  auto room = rooms_.find(roomID);
  View* view = nullptr;
  if (room != rooms_.end()) {
    const auto same = std::find_if(room->second.begin(), room->second.end(),
                                   [&](const View& v) { return v.window.size() == fresh.size(); });
    if (same != room->second.end()) view = &*same;
  }
  if (view == nullptr) {
    View made{fresh, {}};
    made.window.fill(reader, roomID);
    if (room == rooms_.end()) room = rooms_.emplace(roomID, Views{}).first;
    view = &room->second.emplace_back(std::move(made));
  }
  view->subscribers.push_back(subscriber);
  if (!view->window.unreadable().empty()) report_(reportsOf(view->window.unreadable()));
  shielded([&] { subscriber.receive(view->window.messages()); });
}

void ObservedRooms::publish(const Changes& changes, RowReader& reader) {
  sweep();
  for (const auto& [roomID, roomChanges] : changes.rooms()) {
    const auto room = rooms_.find(roomID);
    if (room == rooms_.end()) continue;
    Views& views = room->second;
    std::vector<const View*> changed;
    try {
      SharedReads shared(reader);
      RowReader& rows = views.size() > 1 ? shared : reader;
      for (View& view : views) {
        if (view.window.apply(roomID, roomChanges, rows)) changed.push_back(&view);
      }
    } catch (...) {
      const auto error = std::current_exception();
      for (const View& view : views) {
        for (const auto& subscriber : view.subscribers) shielded([&] { subscriber.fail(error); });
      }
      rooms_.erase(room);
      continue;
    }
    deliver(changed, true);
  }
}

void ObservedRooms::takeIn(const std::string& roomID, double from, const Page& page) {
  sweep();
  const auto room = rooms_.find(roomID);
  if (room == rooms_.end()) return;
  std::vector<const View*> grown;
  for (View& view : room->second) {
    if (view.window.takeIn(from, page)) grown.push_back(&view);
  }
  // The page has reported its own unreadable rows already.
  deliver(grown, false);
}

void ObservedRooms::finish() {
  for (auto& [roomID, views] : rooms_) {
    for (const View& view : views) {
      for (const auto& subscriber : view.subscribers) shielded([&] { subscriber.finish(); });
    }
  }
  rooms_.clear();
}

void ObservedRooms::sweep() {
  for (auto room = rooms_.begin(); room != rooms_.end();) {
    std::erase_if(room->second, [](View& view) {
      dropEnded(view.subscribers);
      return view.subscribers.empty();
    });
    room = room->second.empty() ? rooms_.erase(room) : std::next(room);
  }
}

void ObservedRooms::deliver(const std::vector<const View*>& views, bool reportUnreadable) {
  if (views.empty()) return;
  if (reportUnreadable) {
    // The windows of a room nest: the largest leaves out every row that the others do.
    const View* largest = *std::max_element(views.begin(), views.end(), [](auto* a, auto* b) {
      return a->window.size() < b->window.size();
    });
    if (!largest->window.unreadable().empty()) report_(reportsOf(largest->window.unreadable()));
  }
  for (const View* view : views) {
    for (const auto& subscriber : view->subscribers) {
      shielded([&] { subscriber.receive(view->window.messages()); });
    }
  }
}

}  // namespace tovanel::chat::store::detail
