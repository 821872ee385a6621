#pragma once
// Renders chat messages as a transcript a person reads: a header for each room, day separators,
// local times, authors, each body kind in a form that suits it, system events as sentences, the
// sent status of messages that are not sent, and messages that failed to decode as clearly marked
// lines. Everything taken from the messages is escaped (see escapeControls): the only control
// sequences written are the transcript's own colours, and its only line breaks its own.

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

#include "Reading.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat {
class InfoBody;
}

namespace tovanel::chat::tool {

class Transcript {
 public:
  /// Writes to `out`, with colours when `colour` is set (see wantsColour).
  Transcript(std::FILE* out, bool colour) : out_(out), colour_(colour) {}

  void add(const ChatMessage& message);
  /// A message that could not be read: shown, and the transcript goes on. `place` says where it
  /// is in its input ("" when it has none).
  void addFailure(std::size_t number, const std::string& messageId, const std::string& error,
                  const std::string& place = "");

  /// One body as it reads in the transcript (public for the tests).
  std::string renderBody(const Body& body, const ChatMessageUser& author) const;

 private:
  std::string renderEvent(const InfoBody& event, const ChatMessageUser& author) const;
  std::string rendered(const Body& body, const ChatMessageUser& author) const;
  std::string finish(std::string_view line) const;
  void enterRoom(const std::string& roomID);
  void separateDay(const std::optional<Date>& when);
  void writeLine(std::string_view line);

  std::FILE* out_;
  bool colour_;
  std::optional<std::string> room_;
  std::optional<std::string> day_;
};

/// `tovanel-chat room [FILE]`: the transcript of a room export. Returns 0 when every message
/// decoded, else 1 (every message is still shown).
int runRoom(const std::string& file, const ReadingSettings& settings);

}  // namespace tovanel::chat::tool
