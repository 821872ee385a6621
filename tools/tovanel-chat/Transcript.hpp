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
#include <string_view>
#include <utility>
#include <vector>

#include "Reading.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat {
class InfoBody;
}

namespace tovanel::chat::tool {

/// Spans of one field of a message to highlight: a search's matches. `field` names the field as
/// the store does (text, title, description, channel, place, address, topic, username,
/// authorName), `text` is the field's text, and each span is a byte range [first, second) of it.
struct Highlight {
  std::string field;
  std::string text;
  std::vector<std::pair<std::size_t, std::size_t>> spans;
};

class Transcript {
 public:
  /// Writes to `out`, with colours when `colour` is set (see wantsColour).
  Transcript(std::FILE* out, bool colour) : out_(out), colour_(colour) {}

  void add(const ChatMessage& message);
  /// One line for a message that a search found: its room, date and time, and the line `add`
  /// writes for it, the highlighted spans marked (shown in reverse video with colours); a
  /// highlighted field that the line does not show follows it, labelled with its name.
  void addFound(const ChatMessage& message, const std::vector<Highlight>& highlights);
  /// A message that could not be read: shown, and the transcript goes on. `place` says where it
  /// is in its input ("" when it has none).
  void addFailure(std::size_t number, const std::string& messageId, const std::string& error,
                  const std::string& place = "");

  /// One body as it reads in the transcript (public for the tests).
  std::string renderBody(const Body& body, const ChatMessageUser& author) const;

 private:
  std::string renderEvent(const InfoBody& event, const ChatMessageUser& author) const;
  std::string messageLine(const ChatMessage& message, const std::string& when) const;
  /// The highlight of `field` when its text is `text`, taken as shown; null without one.
  const Highlight* highlightOf(std::string_view text, std::string_view field) const;
  /// `text`, the message's `field`, with its highlighted spans marked.
  std::string marked(std::string_view text, std::string_view field) const;
  std::string rendered(const Body& body, const ChatMessageUser& author) const;
  std::string finish(std::string_view line) const;
  void enterRoom(const std::string& roomID);
  void separateDay(const std::optional<Date>& when);
  void writeLine(std::string_view line);

  std::FILE* out_;
  bool colour_;
  std::optional<std::string> room_;
  std::optional<std::string> day_;
  /// Those of the message being written by addFound, and which of them its line showed.
  const std::vector<Highlight>* highlights_ = nullptr;
  mutable std::vector<bool> shown_;
};

/// `tovanel-chat room [FILE]`: the transcript of a room export. Returns 0 when every message
/// decoded, else 1 (every message is still shown).
int runRoom(const std::string& file, const ReadingSettings& settings);

}  // namespace tovanel::chat::tool
