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

}  // namespace tovanel::chat::tool

#else

#include <algorithm>
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

// The tool only reads and imports: nothing it does sends a message.
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
  std::size_t imported = 0;
  std::size_t failed = 0;
  // One batch is written while the next is decoded, so memory stays bounded by two batches. The
  // first batch the store refuses ends the import: the next would meet the same full disk or
  // read-only file.
  std::optional<Future<void> > writing;
  std::size_t writingCount = 0;
  std::optional<std::string> refused;
  const auto finishWriting = [&] {
    if (!writing) return;
    try {
      store::waitFor(*writing);
      imported += writingCount;
      progress.update(imported);
    } catch (const std::exception& error) {
      refused = error.what();
    }
    writing.reset();
  };
  std::vector<ChatMessage> batch;
  const auto write = [&] {
    finishWriting();
    if (refused) return;
    writingCount = batch.size();
    writing = repository->receive(std::exchange(batch, {}));
  };
  std::exception_ptr broken;
  try {
    while (!refused) {
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
  if (!batch.empty() && !refused) write();
  finishWriting();
  progress.finish();
  if (refused) {
    return reportStoreFailure(*refused + " (the import stopped: " + std::to_string(imported) +
                              " messages were stored before)");
  }
  writeLine(stdout, "imported " + std::to_string(imported) + " messages, " +
                        std::to_string(failed) + " failed");
  if (broken) return reportFailure(broken);
  return failed == 0 ? 0 : 1;
}

int runStoredRoom(const std::string& database, const std::string& roomID) {
  checkStorePath(database, true);
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
  Cancellable reports;
  // The pages go back in time and the transcript forward: the pages are read newest first and
  // rendered oldest first.
  std::vector<Page> pages;
  try {
    repository = openStore(database);
    reports = repository->observeUnreadableRows().subscribe(
        [&](const std::vector<store::UnreadableRow>& rows) {
          std::lock_guard lock(mutex);
          unreadable.insert(unreadable.end(), rows.begin(), rows.end());
        });
    for (std::optional<Date> from;;) {
      Page page = read(from);
      if (page.messages.empty() && page.unreadable.empty()) break;
      const bool last = page.messages.empty() || !page.messages.front().createdAt;
      if (!last) from = page.messages.front().createdAt;
      pages.push_back(std::move(page));
      if (last) break;
    }
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error.what());
  }
  if (pages.empty()) {
    return reportStoreFailure("room \"" + roomID + "\" has no messages in " + database);
  }

  const auto key = [](const std::optional<Date>& createdAt, const std::string& messageID) {
    return std::tuple(createdAt.has_value(),
                      createdAt ? createdAt->timeIntervalSinceReferenceDate() : 0.0, messageID);
  };
  Transcript transcript(stdout, wantsColour(stdout));
  std::size_t number = 0;
  std::set<std::string> shownUnreadable;  // a row that two pages meet shows once
  for (auto page = pages.rbegin(); page != pages.rend(); ++page) {
    auto& rows = page->unreadable;
    // Unreadable rows take their place in the room's order.
    std::sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
      return key(a.createdAt, a.messageID) < key(b.createdAt, b.messageID);
    });
    auto next = rows.begin();
    const auto addUnreadableBefore = [&](const ChatMessage* message) {
      for (; next != rows.end() &&
             (message == nullptr ||
              key(next->createdAt, next->messageID) < key(message->createdAt, message->messageID));
           ++next) {
        if (!shownUnreadable.insert(next->messageID).second) continue;
        transcript.addFailure(++number, next->messageID, describeFailure(next->error));
      }
    };
    for (const ChatMessage& message : page->messages) {
      addUnreadableBefore(&message);
      ++number;
      transcript.add(message);
    }
    addUnreadableBefore(nullptr);
  }
  return shownUnreadable.empty() ? 0 : 1;
}

}  // namespace tovanel::chat::tool

#endif
