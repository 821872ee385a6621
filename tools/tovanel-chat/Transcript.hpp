#pragma once
// Renders chat messages as a transcript a person reads: day separators, local times, authors,
// each body kind in a form that suits it, system events as sentences, the sent status of messages
// that are not sent, and messages that failed to decode as clearly marked lines.

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat {
class InfoBody;
}

namespace tovanel::chat::tool {

class Transcript {
 public:
  /// Writes to `out`, with colours when `colour` is set.
  Transcript(std::FILE* out, bool colour) : out_(out), colour_(colour) {}

  /// Colours when `out` is a terminal and NO_COLOR is not set.
  static bool wantsColour(std::FILE* out);

  void add(const ChatMessage& message);
  /// A message that could not be read: shown, and the transcript goes on.
  void addFailure(std::size_t number, const std::string& messageId, const std::string& error);

  /// One body as it reads in the transcript (public for the tests).
  std::string renderBody(const Body& body, const ChatMessageUser& author) const;

 private:
  std::string renderEvent(const InfoBody& event, const ChatMessageUser& author) const;
  std::string paint(const std::string& text, int style) const;
  void separateDay(const std::optional<Date>& when);
  void writeLine(const std::string& line);

  std::FILE* out_;
  bool colour_;
  std::optional<std::string> day_;
};

/// `tovanel-chat room [FILE]`: the transcript of a room export. Returns 0 when every message
/// decoded, else 1 (every message is still shown).
int runRoom(const std::string& file);

}  // namespace tovanel::chat::tool
