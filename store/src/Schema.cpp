#include "Schema.hpp"

#include <array>
#include <string>

#include "SearchIndex.hpp"

namespace tovanel::chat::store::detail {

namespace {

// Dates are REAL seconds since 2001-01-01T00:00:00Z, the Date's own value, so that they come
// back bit for bit. Bodies and authors are the library's JSON; body_kind is the kind the body
// decodes as, event_kind the case of a system event (whose JSON need not name it), `type` the
// message's own kind. `unconfirmed` marks a send of ours that the service has not confirmed: a
// received message with its client_id replaces it.
constexpr std::array<const char*, 3> kSteps{
    R"sql(
CREATE TABLE rooms (
  id TEXT PRIMARY KEY NOT NULL
);
CREATE TABLE messages (
  message_id TEXT NOT NULL UNIQUE,
  room_id TEXT NOT NULL REFERENCES rooms(id) ON DELETE CASCADE,
  client_id TEXT,
  type TEXT NOT NULL,
  body_kind TEXT NOT NULL,
  event_kind TEXT,
  body TEXT NOT NULL,
  created_at REAL,
  updated_at REAL,
  author TEXT NOT NULL,
  view_count INTEGER,
  sent_status INTEGER NOT NULL,
  unconfirmed INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX messages_by_room ON messages(room_id, created_at, message_id);
CREATE INDEX unconfirmed_sends ON messages(client_id) WHERE unconfirmed = 1;
PRAGMA application_id = 1414939441;
)sql",
    // The lurker token last given for a room's history, kept for the transport.
    R"sql(
ALTER TABLE rooms ADD COLUMN lurker_token TEXT;
)sql",
    // Full-text search (see SearchIndex.hpp): each message's key in the index, and the index:
    // one token made from the room's identifier, so that a search in one room is an intersection
    // inside the index rather than a filter over every room's hits; the author's names; and the
    // searchable text of the body. columnsize=0: nothing ranks hits by length, so the sizes are
    // not kept. Segments are merged eight at a time rather than four: an import of a thousand
    // messages per transaction writes each posting fewer times, for a few more segments to read.
    // The trigger forgets the entry of a deleted row, whatever deletes it.
    // search_terms lists every word indexed, to read a prefix as the words it begins.
    R"sql(
ALTER TABLE messages ADD COLUMN search_key INTEGER;
CREATE INDEX messages_by_search_key ON messages(search_key) WHERE search_key IS NOT NULL;
CREATE VIRTUAL TABLE message_search USING fts5(
  room, author, content, tokenize = 'unicode61 remove_diacritics 2', columnsize = 0);
INSERT INTO message_search (message_search, rank) VALUES ('automerge', 8);
CREATE TABLE search_terms (term TEXT PRIMARY KEY NOT NULL) WITHOUT ROWID;
CREATE TRIGGER message_search_forget AFTER DELETE ON messages
  WHEN old.search_key IS NOT NULL
  BEGIN DELETE FROM message_search WHERE rowid = old.search_key; END;
)sql",
};

/// The step after which the stored messages are indexed.
constexpr int kSearchStep = 2;

static_assert(kApplicationID == 1414939441, "the first step writes the same identifier");

}  // namespace

std::span<const char* const> schemaSteps() { return kSteps; }

int currentSchemaVersion() { return static_cast<int>(kSteps.size()); }

int checkSchema(Database& database) {
  const auto version = database.queryInteger("PRAGMA user_version");
  const auto name = database.path().string();
  if (version > currentSchemaVersion()) {
    throw StoreError(StoreError::Code::schemaTooNew,
                     name + ": the message store has schema version " + std::to_string(version) +
                         ", newer than this build reads (" +
                         std::to_string(currentSchemaVersion()) + "); open it with a newer build");
  }
  if (version == 0) {
    if (database.queryInteger("SELECT count(*) FROM sqlite_schema") != 0) {
      throw StoreError(StoreError::Code::notAStore,
                       name + ": not a message store (a database of something else)");
    }
  } else if (database.queryInteger("PRAGMA application_id") != kApplicationID) {
    throw StoreError(StoreError::Code::notAStore,
                     name + ": not a message store (another application's database)");
  }
  return static_cast<int>(version);
}

void prepareSchema(Database& database) {
  // One transaction from the version check to the last step: of two processes opening a new file
  // at once, the second waits for the lock, then finds the file made and leaves it as it is.
  Transaction transaction(database);
  for (auto step = checkSchema(database); step < currentSchemaVersion(); ++step) {
    database.execute(kSteps[static_cast<std::size_t>(step)]);
    if (step == kSearchStep) buildSearchIndex(database);
    database.execute(("PRAGMA user_version = " + std::to_string(step + 1)).c_str());
  }
  transaction.commit();
}

}  // namespace tovanel::chat::store::detail
