#pragma once
// The commands on a message store file: importing a room export into it, and rendering a stored
// room. A build without the store (TOVANEL_BUILD_STORE=OFF) refuses them as a usage error.

#include <string>

namespace tovanel::chat::tool {

/// `tovanel-chat import [FILE] --db PATH`: stores every envelope that decodes, in batches of one
/// transaction each; reports each failing envelope as `check` does, then
/// `imported <N> messages, <F> failed`. Returns 0 when none failed, else 1.
int runImport(const std::string& file, const std::string& database);

/// `tovanel-chat room --db PATH --room ID`: the transcript of a stored room, paged back through
/// the store, the same as that of an export holding the room's messages in order. Stored
/// messages that no longer decode are shown as failures. Returns 0 when every message decoded,
/// 1 otherwise or when the store holds no message of the room.
int runStoredRoom(const std::string& database, const std::string& roomID);

}  // namespace tovanel::chat::tool
