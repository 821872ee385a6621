#pragma once
// Writes a room export that ExportReader reads back: newline-delimited envelopes, or a JSON array
// of them with one element per line.

#include <ostream>
#include <string_view>

#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/export/Export.hpp"
#include "tovanel/chat/export/ExportReader.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::exports {

class TOVANEL_CHAT_EXPORT_API ExportWriter {
 public:
  /// Writes to `out`, which must outlive the writer, in `format`.
  ExportWriter(std::ostream& out, ExportFormat format);
  /// Ends the export, as finish() does.
  ~ExportWriter();
  ExportWriter(const ExportWriter&) = delete;
  ExportWriter& operator=(const ExportWriter&) = delete;

  /// Adds one envelope given as JSON text on one line.
  void add(std::string_view envelopeJson);
  /// Adds `message` as its envelope (ISO 8601 dates). Throws EncodingError when it cannot be
  /// written; the export is left as it was.
  void add(const ChatMessage& message);
  /// Ends the export (an array's closing bracket); nothing may be added after.
  void finish();

 private:
  std::ostream& out_;
  ExportFormat format_;
  JSONEncoder encoder_;
  std::string text_;
  bool first_ = true;
  bool finished_ = false;
};

}  // namespace tovanel::chat::exports
