#pragma once
// What the store's tests share: a temporary folder per test, a transport that the test settles
// by hand, a recorder of what a publisher delivered, raw SQL on the file, and messages to store.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CorpusGenerator.hpp"
#include "Schema.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"
#include "tovanel/chat/store/Wait.hpp"

namespace tovanel::chat::store::test {

namespace fs = std::filesystem;
using Messages = std::vector<ChatMessage>;
using Repository = std::unique_ptr<SqliteChatMessageRepository>;

inline const ChatMessageUser kMe("u-me", "me", "Mia", "Ek", std::nullopt, std::nullopt, 1, 2);
inline const ChatMessageUser kAnna("u-anna", "anna", "Anna", "Berg", "Climbs.",
                                   "https://cdn.example.chat/anna.jpg", 1284, 311);

/// A folder of the test's own under the system's temporary folder, removed afterwards.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "tovanel-store-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
    fs::permissions(path_, fs::perms(0755));  // as create_directories makes it, for other users
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  fs::path operator/(const std::string& name) const { return path_ / name; }

 private:
  fs::path path_;
};

/// The service's side of sends. Each send waits until the test settles it, unless the test asked
/// for an answer before the transport returns, or for a transport that throws. Copies share sends.
class ManualTransport {
 public:
  enum class Answer { later, atOnce, throws };

  Transport transport() const {
    return [state = state_](const ChatMessage& message) {
      Promise<std::string> outcome;
      std::lock_guard lock(state->mutex);
      state->sent.push_back(message);
      state->outcomes.push_back(outcome);
      if (state->answer == Answer::throws) throw std::runtime_error("no route to the service");
      if (state->answer == Answer::atOnce) outcome.resolve(atOnceID(state->sent.size()));
      return outcome.future();
    };
  }
  /// The identifier that the `count`th send gets when answered at once.
  static std::string atOnceID(std::size_t count) { return "a" + std::to_string(count); }

  void answer(Answer answer) const {
    std::lock_guard lock(state_->mutex);
    state_->answer = answer;
  }
  Messages sent() const {
    std::lock_guard lock(state_->mutex);
    return state_->sent;
  }
  /// Acknowledges the `index`th send with the service's identifier, or fails it without one.
  void settle(std::size_t index, const std::optional<std::string>& messageID) const {
    std::unique_lock lock(state_->mutex);
    Promise<std::string> outcome = state_->outcomes.at(index);
    lock.unlock();
    if (messageID) outcome.resolve(*messageID);
    if (!messageID) outcome.reject(std::make_exception_ptr(std::runtime_error("network down")));
  }

 private:
  struct State {
    std::mutex mutex;
    Answer answer = Answer::later;
    Messages sent;
    std::vector<Promise<std::string>> outcomes;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// "done", or "code (lasting): description" for the StoreError that `operation` threw, with the
/// tests' temporary folders in the description shown as "DIR".
inline std::string outcome(const std::function<void()>& operation) {
  static constexpr const char* kNames[] = {
      "unknownMessage", "schemaTooNew", "notAStore", "database", "closed",
      "invalidDate",    "full",         "readOnly",  "busy",     "invalidQuery"};
  try {
    operation();
    return "done";
  } catch (const StoreError& error) {
    std::string description = error.what();
    const std::string folder = (fs::temp_directory_path() / "tovanel-store-").string();
    for (auto at = description.find(folder); at != std::string::npos; at = description.find(folder))
      description.replace(at, folder.size() + 6, "DIR");
    return std::string(kNames[static_cast<std::size_t>(error.code())]) +
           (error.isLasting() ? " (lasting): " : ": ") + description;
  }
}

/// Keeps everything a publisher delivers, and how it ended, for the test's thread to look at.
template <class T>
class Recorder {
 public:
  [[nodiscard]] Cancellable subscribeTo(const Publisher<T>& publisher) {
    return publisher.subscribe(
        [this](const T& value) {
          std::lock_guard lock(mutex_);
          values_.push_back(value);
        },
        [this](std::exception_ptr error) {
          std::lock_guard lock(mutex_);
          end_ = std::move(error);
        });
  }

  std::vector<T> values() const {
    std::lock_guard lock(mutex_);
    return values_;
  }
  /// "going on", "completed", or the failure as outcome() tells it.
  std::string ending() const {
    std::lock_guard lock(mutex_);
    if (!end_) return "going on";
    return *end_ ? outcome([&] { std::rethrow_exception(*end_); }) : "completed";
  }

 private:
  mutable std::mutex mutex_;
  std::vector<T> values_;
  std::optional<std::exception_ptr> end_;
};

/// Returns once every piece of work queued on the store before the call has run, deliveries
/// included: the store runs its work in order.
inline void drain(SqliteChatMessageRepository& repository) {
  waitFor(repository.lurkerToken("barrier"));
}

/// A text message from Anna; `since1970` empty for one without createdAt.
inline ChatMessage textMessage(const std::string& messageID, const std::string& roomID,
                               std::optional<double> since1970, const std::string& text,
                               std::optional<std::string> clientID = std::nullopt) {
  std::optional<Date> createdAt;
  if (since1970) createdAt = Date::since1970(*since1970);
  return ChatMessage(Body(TextBody(text, std::nullopt)), createdAt, std::move(clientID), messageID,
                     roomID, BodyType::text, std::nullopt, kAnna, 7, MessageSentStatus::sent);
}

inline std::string textOf(const ChatMessage& message) { return message.body.get<TextBody>()->text; }

/// `count` messages of every kind (events, media, embeds, payload-less kinds), decoded from
/// the benchmarks' generated export, all in one room.
inline Messages corpusMessages(std::size_t count) {
  const std::string text = bench::generateCorpus(count);
  auto input = exports::Input::fromText(text);
  Messages messages;
  exports::forEachEnvelope(input, [&](const exports::EnvelopeResult& result) {
    if (!result.message) std::rethrow_exception(result.failure);
    messages.push_back(*result.message);
  });
  return messages;
}

inline Messages wholeRoom(SqliteChatMessageRepository& repository, const std::string& roomID) {
  return waitFor(repository.retrieveChatMessages(roomID, std::nullopt, std::nullopt, 1 << 20));
}

/// The hits of every page of a search in turn, from the first; no page longer than the limit.
inline Messages searchAll(SqliteChatMessageRepository& repository, const std::string& query,
                          SearchOptions options) {
  Messages found;
  for (int page = 0; page < 10000; ++page) {
    const SearchResults results = waitFor(repository.search(query, options));
    EXPECT_LE(results.hits.size(), options.limit);
    for (const SearchHit& hit : results.hits) found.push_back(hit.message);
    if (!results.next) break;
    options.after = results.next;
  }
  return found;
}

inline std::string joined(const std::vector<std::string>& parts, const char* separator = " ") {
  std::string text;
  for (const auto& part : parts) text += (text.empty() ? "" : separator) + part;
  return text;
}

/// The names in a folder, sorted; "nothing" when it is empty.
inline std::string listing(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names.empty() ? "nothing" : joined(names);
}

/// The identifiers of messages, or of unreadable rows, separated by spaces.
template <class Rows>
std::string idsIn(const Rows& rows) {
  std::vector<std::string> ids;
  for (const auto& row : rows) ids.push_back(row.messageID);
  return joined(ids);
}

/// SQL on a store's file from a connection of its own, as another program would run it.
class RawDatabase {
 public:
  explicit RawDatabase(const fs::path& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) throw std::runtime_error("cannot open");
  }
  ~RawDatabase() { sqlite3_close(db_); }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  /// Runs `sql`; returns the first column of the last row it gave, "" when none.
  std::string operator()(const std::string& sql) {
    std::string last;
    char* error = nullptr;
    const auto keep = [](void* out, int, char** values, char**) {
      *static_cast<std::string*>(out) = values[0] != nullptr ? values[0] : "NULL";
      return 0;
    };
    if (sqlite3_exec(db_, sql.c_str(), keep, &last, &error) == SQLITE_OK) return last;
    const std::string text = error != nullptr ? error : "?";
    sqlite3_free(error);
    throw std::runtime_error(sql + ": " + text);
  }

 private:
  sqlite3* db_ = nullptr;
};

inline std::string sql(const fs::path& file, const std::string& statements) {
  return RawDatabase(file)(statements);
}

/// A test with a store file of its own, opened with the local user kMe and a manual transport.
class StoreTest : public ::testing::Test {
 protected:
  Repository open() {
    return SqliteChatMessageRepository::open(file(), kMe, transport.transport());
  }
  fs::path file() const { return folder / "messages.db"; }

  TemporaryFolder folder;
  ManualTransport transport;
};

}  // namespace tovanel::chat::store::test
