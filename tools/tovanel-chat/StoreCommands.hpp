#pragma once
// The commands on a message store file: importing a room export into it, and rendering a stored
// room. A build without the store (TOVANEL_BUILD_STORE=OFF) refuses them as a usage error.

#include <string>

#include "Reading.hpp"

namespace tovanel::chat::tool {

/// Refuses, as a usage error that says why, a --db that names no store file: an empty path,
/// SQLite's in-memory or URI names, a path whose folder does not exist, a folder, and when
/// `mustExist`, a file that does not exist. The same for every command.
void checkStorePath(const std::string& path, bool mustExist);

/// `tovanel-chat import [FILE] --db PATH`: stores every envelope that decodes, in batches of one
/// transaction each; reports each failing envelope as `check` does, then
/// `imported <N> messages (<A> new, <R> replaced), <F> failed`. Returns 0 when none failed, else
/// 1. The first batch that fails for good (a full disk, a read-only file) stops the import with
/// one error and status 1; what was stored before stays.
int runImport(const std::string& file, const std::string& database,
              const ReadingSettings& settings);

/// `tovanel-chat room --db PATH --room ID`: the transcript of a stored room, read page by page
/// from the store opened read-only, the same as that of an export holding the room's messages in
/// order. Stored messages that no longer decode are shown as failures, the library's lines for
/// them go to stderr. Returns 0 when every message decoded, 1
/// otherwise or when the store holds no message of the room.
int runStoredRoom(const std::string& database, const std::string& roomID);

}  // namespace tovanel::chat::tool
