#include "StoreCommands.hpp"

#include "Input.hpp"

#ifndef TOVANEL_CHAT_HAS_STORE

namespace tovanel::chat::tool {

namespace {
[[noreturn]] void refuse() {
  throw UsageError("this tovanel-chat was built without the message store");
}
}  // namespace

int runImport(const std::string&, const std::string&) { refuse(); }
int runStoredRoom(const std::string&, const std::string&) { refuse(); }

}  // namespace tovanel::chat::tool

#else

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

#include "Check.hpp"
#include "Envelope.hpp"
#include "Transcript.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"
#include "tovanel/chat/store/Wait.hpp"

namespace tovanel::chat::tool {

namespace {

using store::SqliteChatMessageRepository;

// Messages per transaction when importing; pages when rendering.
constexpr std::size_t kBatch = 1000;
constexpr std::uint64_t kPage = 1000;

void writeLine(std::FILE* stream, const std::string& text) {
  const std::string line = text + '\n';
  std::fwrite(line.data(), 1, line.size(), stream);
}

int reportStoreFailure(const std::exception& error) {
  std::fflush(stdout);
  writeLine(stderr, std::string("error: ") + error.what());
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

int runImport(const std::string& file, const std::string& database) {
  InputStream input(file);
  std::unique_ptr<SqliteChatMessageRepository> repository;
  try {
    repository = openStore(database);
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error);
  }
  std::size_t imported = 0;
  std::size_t failed = 0;
  // One batch is written while the next is decoded, so memory stays bounded by two batches.
  std::optional<Future<store::ReceiveCounts> > writing;
  std::size_t writingCount = 0;
  const auto finishWriting = [&] {
    if (!writing) return;
    try {
      store::waitFor(*writing);
      imported += writingCount;
    } catch (const store::StoreError& error) {
      failed += writingCount;
      reportStoreFailure(error);
    }
    writing.reset();
  };
  std::vector<ChatMessage> batch;
  const auto write = [&] {
    finishWriting();
    writingCount = batch.size();
    writing = repository->receive(std::exchange(batch, {}));
  };
  try {
    forEachEnvelope(input.stream(), [&](const EnvelopeResult& result) {
      if (!result.message) {
        ++failed;
        writeLine(stdout, envelopeFailureLine(result));
        return;
      }
      batch.push_back(*result.message);
      if (batch.size() == kBatch) write();
    });
  } catch (...) {
    finishWriting();
    return reportFailure(std::current_exception());  // an array that is not JSON at all
  }
  if (!batch.empty()) write();
  finishWriting();
  writeLine(stdout, "imported " + std::to_string(imported) + " messages, " +
                        std::to_string(failed) + " failed");
  return failed == 0 ? 0 : 1;
}

int runStoredRoom(const std::string& database, const std::string& roomID) {
  // Reading must not leave a new, empty store behind.
  if (!std::filesystem::exists(database)) {
    throw UsageError("cannot read " + database + ": " + std::strerror(ENOENT));
  }
  std::unique_ptr<SqliteChatMessageRepository> repository;
  // Newest page first; each page oldest first.
  std::vector<std::vector<ChatMessage> > pages;
  std::mutex mutex;
  std::vector<store::UnreadableRow> unreadable;
  try {
    repository = openStore(database);
    const auto reports = repository->observeUnreadableRows().subscribe(
        [&](const std::vector<store::UnreadableRow>& rows) {
          std::lock_guard lock(mutex);
          unreadable.insert(unreadable.end(), rows.begin(), rows.end());
        });
    std::optional<Date> from;
    for (;;) {
      auto page =
          store::waitFor(repository->retrieveChatMessages(roomID, from, std::nullopt, kPage));
      if (page.empty()) break;
      from = page.front().createdAt;
      pages.push_back(std::move(page));
      if (!from) break;
    }
    repository.reset();  // every report has arrived
  } catch (const store::StoreError& error) {
    return reportStoreFailure(error);
  }
  if (pages.empty() && unreadable.empty()) {
    return reportStoreFailure(
        std::runtime_error("room \"" + roomID + "\" has no messages in " + database));
  }

  // Unreadable rows take their place in the room's order; a row met by two pages shows once.
  const auto key = [](const std::optional<Date>& createdAt, const std::string& messageID) {
    return std::tuple(createdAt.has_value(),
                      createdAt ? createdAt->timeIntervalSinceReferenceDate() : 0.0, messageID);
  };
  std::sort(unreadable.begin(), unreadable.end(), [&](const auto& a, const auto& b) {
    return key(a.createdAt, a.messageID) < key(b.createdAt, b.messageID);
  });
  unreadable.erase(
      std::unique(unreadable.begin(), unreadable.end(),
                  [](const auto& a, const auto& b) { return a.messageID == b.messageID; }),
      unreadable.end());
  Transcript transcript(stdout, Transcript::wantsColour(stdout));
  std::size_t number = 0;
  auto next = unreadable.begin();
  const auto addUnreadableBefore = [&](const ChatMessage* message) {
    for (; next != unreadable.end() &&
           (message == nullptr ||
            key(next->createdAt, next->messageID) < key(message->createdAt, message->messageID));
         ++next) {
      transcript.addFailure(++number, next->messageID, describeFailure(next->error));
    }
  };
  for (auto page = pages.rbegin(); page != pages.rend(); ++page) {
    for (const ChatMessage& message : *page) {
      addUnreadableBefore(&message);
      ++number;
      transcript.add(message);
    }
  }
  addUnreadableBefore(nullptr);
  return unreadable.empty() ? 0 : 1;
}

}  // namespace tovanel::chat::tool

#endif
