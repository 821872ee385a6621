// An application's first use of TovanelChatStore: it opens a message store, receives two messages
// from the service, pages them back and prints them, oldest first; observes the room's latest
// message and pages back from it; searches the room and prints what it found; then asks to delete
// a message that the room does not hold and prints the store's error; last, it opens the closed
// store read-only, reads the room again and is refused a deletion.
//
//   store-consumer FOLDER
//
// The store is the file FOLDER/messages.db, created (with the folder) when absent; running again
// gives the same output, since a received message replaces the one with its messageID. Exit status
// 0 on success, 1 when the store fails (the error on stderr), 2 on a usage error.

#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// [include]
#include <tovanel/chat.hpp>
#include <tovanel/chat/store/SqliteChatMessageRepository.hpp>
#include <tovanel/chat/store/Wait.hpp>

namespace chat = tovanel::chat;
namespace store = tovanel::chat::store;
// [include]

namespace {

const std::string kRoom = "r-lisbon-weekend";

chat::ChatMessage textMessage(const std::string& messageID, const char* createdAt,
                              const std::string& username, const std::string& text) {
  return chat::ChatMessage(chat::Body(chat::TextBody(text, std::nullopt)),
                           chat::Date::fromISO8601(createdAt), std::nullopt, messageID, kRoom,
                           chat::BodyType::text, std::nullopt,
                           chat::ChatMessageUser("u-" + username, username, username, "",
                                                 std::nullopt, std::nullopt, 0, 0),
                           std::nullopt, chat::MessageSentStatus::sent);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: store-consumer FOLDER\n";
    return 2;
  }
  try {
    // [open]
    // This program only reads: its transport fails every send, as if offline.
    const chat::ChatMessageUser me("u-me", "me", "Mia", "Ek", std::nullopt, std::nullopt, 0, 0);
    const std::filesystem::path folder(argv[1]);
    std::filesystem::create_directories(folder);
    auto repository = store::SqliteChatMessageRepository::open(
        folder / "messages.db", me, [](const chat::ChatMessage&) {
          chat::Promise<std::string> serviceID;
          serviceID.reject(std::make_exception_ptr(std::runtime_error("offline")));
          return serviceID.future();
        });
    // [open]

    // [receive]
    store::waitFor(repository->receive(
        {textMessage("m002", "2026-11-17T09:05:31Z", "bob", "Welcome! Breakfast at nine?"),
         textMessage("m001", "2026-11-17T09:00:00Z", "anna", "Landed in Lisbon!")}));
    const std::vector<chat::ChatMessage> page =
        store::waitFor(repository->retrieveChatMessages(kRoom, std::nullopt, std::nullopt, 50));
    // [receive]

    std::cout << page.size() << " messages in " << kRoom << '\n';
    for (const chat::ChatMessage& message : page) {
      std::cout << message.messageID << " at " << message.createdAt->iso8601() << " by "
                << message.user.atUsername().value_or("a deleted user") << ": "
                << message.body.get<chat::TextBody>()->text << '\n';
    }

    // [observe]
    // The room's latest message, then the list again after every change to it, delivered on the
    // store's thread until `observing` is cancelled or destroyed.
    const chat::Cancellable observing = repository->observeChatMessages(kRoom, 1).subscribe(
        [](const std::vector<chat::ChatMessage>& list) {
          std::string line = "observed:";
          for (const chat::ChatMessage& message : list) line += ' ' + message.messageID;
          std::cout << line + '\n';
        });
    // Paging back from the oldest message observed widens the window: the observer has the
    // wider list before the page's future completes.
    store::waitFor(
        repository->retrieveChatMessages(kRoom, page.back().createdAt, std::nullopt, 50));
    // [observe]

    // [search]
    // Every word of the query, whatever its case and accents; a star makes the word a prefix.
    store::SearchOptions options;
    options.roomID = kRoom;
    const store::SearchResults found = store::waitFor(repository->search("lisb*", options));
    for (const store::SearchHit& hit : found.hits) {  // newest first
      for (const store::SearchMatch& match : hit.matches) {
        for (const chat::Range& range : match.ranges) {  // bytes of the field's text
          std::cout << "found in " << hit.message.messageID << ": "
                    << match.text.substr(static_cast<std::size_t>(range.location),
                                         static_cast<std::size_t>(range.length))
                    << '\n';
        }
      }
    }
    // [search]

    // [error]
    try {
      store::waitFor(repository->deleteMessage("m009", kRoom));
    } catch (const store::StoreError& error) {
      if (error.code() != store::StoreError::Code::unknownMessage) throw;
      std::cout << "not deleted: " << error.what() << '\n';
    }
    // [error]

    // [read-only]
    repository.reset();  // a clean close: the file alone holds every message
    auto reader = store::SqliteChatMessageRepository::openReadOnly(folder / "messages.db");
    const auto again =
        store::waitFor(reader->retrieveChatMessages(kRoom, std::nullopt, std::nullopt, 50));
    std::cout << again.size() << " messages read back read-only\n";
    try {
      store::waitFor(reader->deleteMessage("m001", kRoom));
    } catch (const store::StoreError& error) {
      if (error.code() != store::StoreError::Code::readOnly) throw;
      std::cout << "not deleted: the store is open read-only\n";
    }
    // [read-only]
  } catch (const std::exception& error) {  // StoreError, or EncodingError for an unwritable body
    std::cerr << "error: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
