#pragma once
// What the store's tests share: a temporary folder per test, a transport that the test settles
// by hand, a recorder of what a publisher delivered, raw SQL on the file, and messages to store.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
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

  const fs::path& path() const noexcept { return path_; }
  fs::path operator/(const std::string& name) const { return path_ / name; }

 private:
  fs::path path_;
};

/// The service's side of sends, settled by the test: each send waits until the test acknowledges
/// or fails it. Copies share the sends.
class ManualTransport {
 public:
  Transport transport() const {
    return [state = state_](const ChatMessage& message) {
      Promise<std::string> outcome;
      std::lock_guard lock(state->mutex);
      state->sent.push_back(message);
      state->outcomes.push_back(outcome);
      return outcome.future();
    };
  }

  /// The messages handed to the transport, in order.
  Messages sent() const {
    std::lock_guard lock(state_->mutex);
    return state_->sent;
  }
  void acknowledge(std::size_t index, const std::string& messageID) const {
    outcome(index).resolve(messageID);
  }
  void fail(std::size_t index) const {
    outcome(index).reject(std::make_exception_ptr(std::runtime_error("the network is down")));
  }

 private:
  Promise<std::string> outcome(std::size_t index) const {
    std::lock_guard lock(state_->mutex);
    return state_->outcomes.at(index);
  }
  struct State {
    std::mutex mutex;
    Messages sent;
    std::vector<Promise<std::string>> outcomes;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

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
          ended_ = true;
          error_ = std::move(error);
        });
  }

  std::vector<T> values() const {
    std::lock_guard lock(mutex_);
    return values_;
  }
  bool ended() const {
    std::lock_guard lock(mutex_);
    return ended_;
  }
  std::exception_ptr error() const {
    std::lock_guard lock(mutex_);
    return error_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<T> values_;
  bool ended_ = false;
  std::exception_ptr error_;
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

/// A room's messages, all of them, oldest first.
inline Messages wholeRoom(SqliteChatMessageRepository& repository, const std::string& roomID) {
  return waitFor(repository.retrieveChatMessages(roomID, std::nullopt, std::nullopt, 1 << 20));
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

/// "done", or "code (lasting): description" for the StoreError that `operation` threw, with
/// `folder` in the description shown as "DIR".
inline std::string outcome(const std::function<void()>& operation, const fs::path& folder = {}) {
  static constexpr const char* kNames[] = {
      "unknownMessage", "schemaTooNew", "notAStore", "database", "closed",
      "invalidDate",    "full",         "readOnly",  "busy",     "invalidQuery"};
  try {
    operation();
    return "done";
  } catch (const StoreError& error) {
    std::string description = error.what();
    const std::string path = folder.string();
    for (auto at = description.find(path); !path.empty() && at != std::string::npos;
         at = description.find(path)) {
      description.replace(at, path.size(), "DIR");
    }
    return std::string(kNames[static_cast<std::size_t>(error.code())]) +
           (error.isLasting() ? " (lasting): " : ": ") + description;
  }
}

inline std::vector<std::string> idsOf(const Messages& messages) {
  std::vector<std::string> ids;
  for (const auto& message : messages) ids.push_back(message.messageID);
  return ids;
}

/// The messages' identifiers, separated by spaces.
inline std::string idsIn(const Messages& messages) { return joined(idsOf(messages)); }

/// Raw SQL on a store's file while no repository has it open, as another program would.
class RawDatabase {
 public:
  explicit RawDatabase(const fs::path& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) throw std::runtime_error("cannot open");
  }
  ~RawDatabase() { sqlite3_close(db_); }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  void execute(const std::string& sql) {
    char* error = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      const std::string text = error != nullptr ? error : "?";
      sqlite3_free(error);
      throw std::runtime_error(sql + ": " + text);
    }
  }
  std::int64_t integer(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr);
    const std::int64_t value =
        sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : -1;
    sqlite3_finalize(statement);
    return value;
  }

 private:
  sqlite3* db_ = nullptr;
};

// A file as the first version of the store left it, with one message in it.
inline void writeFirstVersion(const fs::path& path) {
  RawDatabase raw(path);
  raw.execute(detail::schemaSteps()[0]);
  raw.execute("PRAGMA user_version = 1");
  raw.execute(
      "INSERT INTO rooms (id) VALUES ('r1');"
      "INSERT INTO messages (message_id, room_id, client_id, type, body_kind, body, created_at,"
      " updated_at, author, view_count, sent_status, unconfirmed) VALUES ('m1', 'r1', NULL,"
      " 'text', 'text', '{\"text\":\"from version one\"}', 100, NULL,"
      " '{\"id\":\"u-anna\",\"firstName\":\"Anna\",\"lastName\":\"Berg\",\"followerCount\":1,"
      "\"followingCount\":2}', NULL, 0, 0)");
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
