#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"

#include <future>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "Store.hpp"
#include "Worker.hpp"

namespace tovanel::chat::store {

namespace {

std::exception_ptr closedError() {
  return std::make_exception_ptr(
      StoreError(StoreError::Code::closed, "the message store is closed"));
}

}  // namespace

/// What the repository and its publishers share: the worker and the store it runs. Publishers
/// hold it weakly, so that one subscribed to after the repository is gone fails as closed.
struct SqliteChatMessageRepository::Shared {
  Shared(ChatMessageUser localUser, Transport transport, bool readOnly)
      : readOnly(readOnly), store(worker, std::move(localUser), std::move(transport)) {}

  /// Runs `work` on the worker and settles the returned future with what it returns or throws;
  /// fails it as closed when the store has been closed.
  template <class T, class Work>
  Future<T> schedule(Work work) {
    Promise<T> promise;
    const bool queued = worker.post([this, promise, work = std::move(work)]() mutable {
      if (!store.isOpen()) {
        promise.reject(closedError());
        return;
      }
      try {
        if constexpr (std::is_void_v<T>) {
          work(store);
          promise.resolve();
        } else {
          promise.resolve(work(store));
        }
      } catch (...) {
        promise.reject(std::current_exception());
      }
    });
    if (!queued) promise.reject(closedError());
    return promise.future();
  }

  /// A publisher whose every subscription is registered on the worker by `registerOn`.
  template <class T, class Register>
  static Publisher<T> publisher(const std::weak_ptr<Shared>& weak, Register registerOn) {
    return Publisher<T>([weak, registerOn](Subscriber<T> subscriber) {
      const auto shared = weak.lock();
      const bool queued =
          shared && shared->worker.post([self = shared.get(), registerOn, subscriber] {
            if (!self->store.isOpen()) {
              subscriber.fail(closedError());
              return;
            }
            try {
              registerOn(self->store, subscriber);
            } catch (...) {
              subscriber.fail(std::current_exception());
            }
          });
      if (!queued) subscriber.fail(closedError());
    });
  }

  const bool readOnly;
  detail::Worker worker;
  detail::Store store;
};

std::unique_ptr<SqliteChatMessageRepository> SqliteChatMessageRepository::openWith(
    std::shared_ptr<Shared> shared, const std::filesystem::path& path) {
  std::promise<void> opened;
  shared->worker.post([&] {
    try {
      shared->store.open(path, shared->readOnly ? detail::Database::Access::readOnly
                                                : detail::Database::Access::readWrite);
      opened.set_value();
    } catch (...) {
      opened.set_exception(std::current_exception());
    }
  });
  try {
    opened.get_future().get();
  } catch (...) {
    shared->worker.stop();
    throw;
  }
  return std::unique_ptr<SqliteChatMessageRepository>(
      new SqliteChatMessageRepository(std::move(shared)));
}

std::unique_ptr<SqliteChatMessageRepository> SqliteChatMessageRepository::open(
    const std::filesystem::path& path, ChatMessageUser localUser, Transport transport) {
  if (!transport) throw std::invalid_argument("SqliteChatMessageRepository::open: no transport");
  return openWith(std::make_shared<Shared>(std::move(localUser), std::move(transport), false),
                  path);
}

std::unique_ptr<SqliteChatMessageRepository> SqliteChatMessageRepository::openReadOnly(
    const std::filesystem::path& path) {
  // A read-only store sends nothing: it needs neither an author nor a transport.
  return openWith(std::make_shared<Shared>(
                      ChatMessageUser("", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0),
                      Transport(), true),
                  path);
}

SqliteChatMessageRepository::SqliteChatMessageRepository(std::shared_ptr<Shared> shared)
    : shared_(std::move(shared)) {}

SqliteChatMessageRepository::~SqliteChatMessageRepository() {
  shared_->worker.post([self = shared_.get()] { self->store.close(); });
  shared_->worker.stop();
}

void SqliteChatMessageRepository::send(NewChatMessage message) {
  // The time of the call, not of the queue's turn.
  shared_->worker.post([self = shared_.get(), message = std::move(message), now = Date::now()] {
    if (self->store.isOpen()) self->store.send(message, now);
  });
}

Future<ReceiveCounts> SqliteChatMessageRepository::receive(std::vector<ChatMessage> messages) {
  return shared_->schedule<ReceiveCounts>(
      [messages = std::move(messages)](detail::Store& store) { return store.receive(messages); });
}

Future<ReceiveCounts> SqliteChatMessageRepository::receive(ChatMessage message) {
  std::vector<ChatMessage> messages;
  messages.push_back(std::move(message));
  return receive(std::move(messages));
}

Publisher<SqliteChatMessageRepository::Messages> SqliteChatMessageRepository::observeChatMessages(
    std::string roomID) {
  return observeChatMessages(std::move(roomID), kDefaultWindow);
}

Publisher<SqliteChatMessageRepository::Messages> SqliteChatMessageRepository::observeChatMessages(
    std::string roomID, std::uint64_t window) {
  return Shared::publisher<Messages>(
      shared_, [roomID = std::move(roomID), window](detail::Store& store,
                                                    const Subscriber<Messages>& subscriber) {
        store.observe(roomID, window, subscriber);
      });
}

Future<SqliteChatMessageRepository::Messages> SqliteChatMessageRepository::retrieveChatMessages(
    std::string roomID, std::optional<Date> from, std::optional<std::string> lurkerToken,
    std::uint64_t limit) {
  return shared_->schedule<Messages>(
      [roomID = std::move(roomID), from, lurkerToken = std::move(lurkerToken),
       limit](detail::Store& store) { return store.retrieve(roomID, from, lurkerToken, limit); });
}

Future<void> SqliteChatMessageRepository::deleteMessage(std::string messageID, std::string roomID) {
  return shared_->schedule<void>([messageID = std::move(messageID), roomID = std::move(roomID)](
                                     detail::Store& store) { store.remove(messageID, roomID); });
}

Future<std::optional<std::string>> SqliteChatMessageRepository::lurkerToken(std::string roomID) {
  return shared_->schedule<std::optional<std::string>>(
      [roomID = std::move(roomID)](detail::Store& store) { return store.lurkerToken(roomID); });
}

Future<SearchResults> SqliteChatMessageRepository::search(std::string query,
                                                          SearchOptions options) {
  return shared_->schedule<SearchResults>(
      [query = std::move(query), options = std::move(options)](detail::Store& store) {
        return store.search(query, options);
      });
}

Publisher<std::vector<UnreadableRow>> SqliteChatMessageRepository::observeUnreadableRows() {
  return Shared::publisher<std::vector<UnreadableRow>>(
      shared_, [](detail::Store& store, const Subscriber<std::vector<UnreadableRow>>& subscriber) {
        store.observeUnreadable(subscriber);
      });
}

bool SqliteChatMessageRepository::isReadOnly() const noexcept { return shared_->readOnly; }

void SqliteChatMessageRepository::setDiagnosticSink(DiagnosticSink sink) {
  shared_->worker.post([self = shared_.get(), sink = std::move(sink)]() mutable {
    self->store.setDiagnosticSink(std::move(sink));
  });
}

}  // namespace tovanel::chat::store
