#include "StoreCommands.hpp"

#include <filesystem>

#include "Errors.hpp"

namespace tovanel::chat::tool {

void checkStorePath(const std::string& path, bool mustExist) {
  namespace fs = std::filesystem;
  if (path.empty()) throw UsageError("--db needs the path of a store file; it is empty");
  if (path == ":memory:" || path.starts_with("file:")) {
    throw UsageError("--db needs the path of a store file; \"" + path +
                     "\" would name SQLite's own kind of database, not a file");
  }
  const std::string cannot = "cannot open the store " + path + ": ";
  std::error_code error;
  const fs::path file(path);
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  if (!fs::is_directory(folder, error)) {
    throw UsageError(cannot + "its folder " + folder.string() + " does not exist");
  }
  const auto status = fs::status(file, error);
  if (fs::is_directory(status)) throw UsageError(cannot + "it is a folder");
  if (mustExist && !fs::exists(status)) throw UsageError(cannot + "it does not exist");
}

}  // namespace tovanel::chat::tool

#ifndef TOVANEL_CHAT_HAS_STORE

namespace tovanel::chat::tool {

namespace {
[[noreturn]] void refuse() {
  throw UsageError("this tovanel-chat was built without the message store");
}
}  // namespace

int runImport(const std::string&, const std::string&, const ReadingSettings&) { refuse(); }
int runStoredRoom(const std::string&, const std::string&) { refuse(); }
int runSearch(const std::string&, const std::optional<std::string>&, std::uint64_t,
              const std::string&) {
  refuse();
}

}  // namespace tovanel::chat::tool

#else

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

#include "Check.hpp"
#include "Output.hpp"
#include "Transcript.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"
#include "tovanel/chat/store/Wait.hpp"

namespace tovanel::chat::tool {

namespace {

using store::SqliteChatMessageRepository;

// Messages per transaction when importing; pages when rendering.
constexpr std::size_t kBatch = 1000;
constexpr std::uint64_t kPage = 1000;

int reportStoreFailure(const std::string& what) {
  flushStandardOutput();
  writeLine(stderr, "error: " + what);
  return 1;
}

// The tool imports and reads: nothing it does sends a message.
std::unique_ptr<SqliteChatMessageRepository> openStore(const std::string& path) {
  return SqliteChatMessageRepository::open(
      path, ChatMessageUser("tovanel-chat", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0),
      [](const ChatMessage&) -> Future<std::string> {
        throw std::logic_error("tovanel-chat sends nothing");
      });
}

}  // namespace

int runImport(const std::string& file, const std::string& database,
              const ReadingSettings& settings) {
  checkStorePath(database, false);
  auto input = exports::Input::open(file);
  exports::EnvelopeReader reader(input, readingOptions(settings));
  reader.decoder().diagnosticSink = diagnosticSinkTo(stderr);
  std::unique_ptr<SqliteChatMessageRepository> repository;
  try {
    repository = openStore(database);
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error.what());
  }
  Progress progress("imported");
  store::ReceiveCounts stored;
  std::size_t failed = 0;
  // One batch is written while the next is decoded, so memory stays bounded by two batches. A
  // batch that fails for good (a full disk, a read-only file) ends the import: every later one
  // would fail the same way. One that fails for its own sake (a message the file cannot hold, a
  // file busy for too long) is reported, and the import goes on.
  std::optional<Future<store::ReceiveCounts> > writing;
  std::size_t writingCount = 0;
  std::optional<std::string> stopped;
  const auto finishWriting = [&] {
    if (!writing) return;
    try {
      const auto counts = store::waitFor(*writing);
      stored.added += counts.added;
      stored.replaced += counts.replaced;
      progress.update(stored.added + stored.replaced);
    } catch (const store::StoreError& error) {
      if (error.isLasting()) {
        stopped = error.what();
      } else {
        failed += writingCount;
        reportStoreFailure(error.what());
      }
    } catch (const EncodingError& error) {
      failed += writingCount;
      reportStoreFailure(error.what());
    }
    writing.reset();
  };
  std::vector<ChatMessage> batch;
  const auto write = [&] {
    finishWriting();
    if (stopped) return;
    writingCount = batch.size();
    writing = repository->receive(std::exchange(batch, {}));
  };
  std::exception_ptr broken;
  try {
    while (!stopped) {
      auto result = reader.next();
      if (!result) break;
      if (!result->message) {
        ++failed;
        writeLine(stdout, envelopeFailureLine(*result));
        continue;
      }
      batch.push_back(std::move(*result->message));
      if (batch.size() == kBatch) write();
    }
  } catch (const DecodingError&) {
    broken = std::current_exception();  // an array whose frame is broken: the rest is lost
  }
  if (!batch.empty() && !stopped) write();
  finishWriting();
  progress.finish();
  const std::uint64_t imported = stored.added + stored.replaced;
  if (stopped) {
    return reportStoreFailure(*stopped + " (the import stopped: " + std::to_string(imported) +
                              " messages were stored before)");
  }
  writeLine(stdout, "imported " + std::to_string(imported) + " messages (" +
                        std::to_string(stored.added) + " new, " + std::to_string(stored.replaced) +
                        " replaced), " + std::to_string(failed) + " failed");
  if (broken) return reportFailure(broken);
  return failed == 0 ? 0 : 1;
}

int runStoredRoom(const std::string& database, const std::string& roomID) {
  checkStorePath(database, true);
  // The first pass meets the same rows as the second: the library's lines are written once.
  std::atomic<bool> quiet = true;
  const DiagnosticSink toStandardError = diagnosticSinkTo(stderr);
  std::unique_ptr<SqliteChatMessageRepository> repository;
  std::mutex mutex;
  std::vector<store::UnreadableRow> unreadable;  // those of the last read
  struct Page {
    std::vector<ChatMessage> messages;
    std::vector<store::UnreadableRow> unreadable;
  };
  const auto read = [&](const std::optional<Date>& from) {
    {
      std::lock_guard lock(mutex);
      unreadable.clear();
    }
    Page page;
    page.messages =
        store::waitFor(repository->retrieveChatMessages(roomID, from, std::nullopt, kPage));
    // The store reports a read's unreadable rows before it settles the read.
    std::lock_guard lock(mutex);
    page.unreadable.swap(unreadable);
    return page;
  };
  // The pages go back in time and the transcript forward: a first pass finds where each page
  // starts, a second reads them again, oldest first, and renders them. Memory holds one page.
  std::vector<std::optional<Date> > starts;
  Cancellable reports;
  try {
    repository = SqliteChatMessageRepository::openReadOnly(database);
    repository->setDiagnosticSink([&quiet, toStandardError](std::string_view line) {
      if (!quiet) toStandardError(line);
    });
    reports = repository->observeUnreadableRows().subscribe(
        [&](const std::vector<store::UnreadableRow>& rows) {
          std::lock_guard lock(mutex);
          unreadable.insert(unreadable.end(), rows.begin(), rows.end());
        });
    for (std::optional<Date> from;;) {
      const Page page = read(from);
      if (page.messages.empty() && page.unreadable.empty()) break;
      starts.push_back(from);
      if (page.messages.empty() || !page.messages.front().createdAt) break;
      from = page.messages.front().createdAt;
    }
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error.what());
  }
  if (starts.empty()) {
    return reportStoreFailure("room \"" + roomID + "\" has no messages in " + database);
  }

  quiet = false;
  const auto key = [](const std::optional<Date>& createdAt, const std::string& messageID) {
    return std::tuple(createdAt.has_value(),
                      createdAt ? createdAt->timeIntervalSinceReferenceDate() : 0.0, messageID);
  };
  Transcript transcript(stdout, wantsColour(stdout));
  std::size_t number = 0;
  std::set<std::string> shownUnreadable;  // a row that two pages meet shows once
  try {
    for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
      Page page = read(*start);
      auto& rows = page.unreadable;
      // Unreadable rows take their place in the room's order.
      std::sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
        return key(a.createdAt, a.messageID) < key(b.createdAt, b.messageID);
      });
      auto next = rows.begin();
      const auto addUnreadableBefore = [&](const ChatMessage* message) {
        for (; next != rows.end() &&
               (message == nullptr || key(next->createdAt, next->messageID) <
                                          key(message->createdAt, message->messageID));
             ++next) {
          if (!shownUnreadable.insert(next->messageID).second) continue;
          transcript.addFailure(++number, next->messageID, describeFailure(next->error));
        }
      };
      for (const ChatMessage& message : page.messages) {
        addUnreadableBefore(&message);
        ++number;
        transcript.add(message);
      }
      addUnreadableBefore(nullptr);
    }
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error.what());
  }
  return shownUnreadable.empty() ? 0 : 1;
}

namespace {

// A hit's matches as the transcript highlights them.
std::vector<Highlight> highlightsOf(const store::SearchHit& hit) {
  static constexpr const char* kFields[] = {"text",    "title", "description", "channel",   "place",
                                            "address", "topic", "username",    "authorName"};
  std::vector<Highlight> highlights;
  for (const store::SearchMatch& match : hit.matches) {
    Highlight highlight{kFields[static_cast<std::size_t>(match.field)], match.text, {}};
    for (const Range& range : match.ranges) {
      highlight.spans.emplace_back(static_cast<std::size_t>(range.location),
                                   static_cast<std::size_t>(range.location + range.length));
    }
    highlights.push_back(std::move(highlight));
  }
  return highlights;
}

}  // namespace

int runSearch(const std::string& database, const std::optional<std::string>& roomID,
              std::uint64_t limit, const std::string& query) {
  checkStorePath(database, true);
  std::unique_ptr<SqliteChatMessageRepository> repository;
  std::mutex mutex;
  std::vector<store::UnreadableRow> unreadable;  // those of the last page
  Cancellable reports;
  Transcript transcript(stdout, wantsColour(stdout));
  std::uint64_t shown = 0;
  bool failed = false;
  try {
    repository = SqliteChatMessageRepository::openReadOnly(database);
    repository->setDiagnosticSink(diagnosticSinkTo(stderr));
    reports = repository->observeUnreadableRows().subscribe(
        [&](const std::vector<store::UnreadableRow>& rows) {
          std::lock_guard lock(mutex);
          unreadable.insert(unreadable.end(), rows.begin(), rows.end());
        });
    store::SearchOptions options;
    options.roomID = roomID;
    while (shown < limit) {
      options.limit = std::min<std::uint64_t>(limit - shown, kPage);
      const store::SearchResults page = store::waitFor(repository->search(query, options));
      // The store reports a read's unreadable rows before it settles the read; they take their
      // place among the hits, which come newest first.
      std::vector<store::UnreadableRow> rows;
      {
        std::lock_guard lock(mutex);
        rows.swap(unreadable);
      }
      const auto newer = [](const std::optional<Date>& a, const std::string& aID,
                            const std::optional<Date>& b, const std::string& bID) {
        const auto key = [](const std::optional<Date>& date, const std::string& id) {
          return std::tuple(date.has_value(), date ? date->timeIntervalSinceReferenceDate() : 0.0,
                            id);
        };
        return key(a, aID) > key(b, bID);
      };
      std::sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
        return newer(a.createdAt, a.messageID, b.createdAt, b.messageID);
      });
      auto row = rows.begin();
      const auto showUnreadableBefore = [&](const ChatMessage* message) {
        for (; row != rows.end() &&
               (message == nullptr ||
                newer(row->createdAt, row->messageID, message->createdAt, message->messageID));
             ++row) {
          failed = true;
          transcript.addFailure(++shown, row->messageID, describeFailure(row->error));
        }
      };
      for (const store::SearchHit& hit : page.hits) {
        showUnreadableBefore(&hit.message);
        ++shown;
        transcript.addFound(hit.message, highlightsOf(hit));
      }
      showUnreadableBefore(nullptr);
      if (!page.next) break;
      options.after = page.next;
    }
  } catch (const store::StoreError& error) {
    if (error.code() == store::StoreError::Code::invalidQuery) throw UsageError(error.what());
    return reportStoreFailure(error.what());
  }
  if (shown == 0) {
    flushStandardOutput();
    writeLine(stderr, "no message matches " + query);
    return 1;
  }
  return failed ? 1 : 0;
}

}  // namespace tovanel::chat::tool

#endif
