#pragma once
// Reads a room export message by message: each line or element is parsed alone and decoded as an
// envelope, so a message that fails fails alone and reading goes on. Memory stays flat whatever the
// size of the export (see ExportReader).

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/export/Export.hpp"
#include "tovanel/chat/export/ExportReader.hpp"
#include "tovanel/chat/export/Input.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::exports {

/// One envelope of an export, decoded or not.
struct EnvelopeResult {
  std::size_t number = 0;  ///< from 1, in input order; blank lines are not counted
  ExportFormat format = ExportFormat::lines;
  std::uint64_t place = 0;      ///< its line or byte, as in ExportItem
  std::string messageId = "?";  ///< "?" when the envelope has no readable messageId
  std::optional<ChatMessage> message;
  /// Set when message is empty: a DecodingError (dataCorrupted for text that is no JSON and for
  /// a line or element beyond the limit) or a Body::BodyDecodingError.
  std::exception_ptr failure;

  /// "line L" or "byte B".
  std::string describePlace() const { return exports::describePlace(format, place); }
};

/// Decodes the envelopes of one export, one at a time.
class TOVANEL_CHAT_EXPORT_API EnvelopeReader {
 public:
  /// Reads `input`, which must outlive the reader, with a decoder made by makeEnvelopeDecoder
  /// whose document limit is the per-message limit.
  explicit EnvelopeReader(Input& input, ReadingOptions options = {});

  /// The decoder of every envelope: set its diagnosticSink, for one, before the first read.
  JSONDecoder& decoder() noexcept { return decoder_; }

  /// The next envelope, or nothing at the end of the input. Throws what ExportReader::next throws.
  std::optional<EnvelopeResult> next();

  /// The next envelope decoded into `message`, reusing the storage of what it holds (a message
  /// of an earlier call, or emptyMessage()), as a reader that checks each message and keeps none
  /// does. Returns false at the end of the input. Otherwise `result` describes the envelope as
  /// next() would, except that `result.message` stays empty: the decoded message is `message`
  /// when `result.failure` is null (else `message` is valid but unspecified), and
  /// `result.messageId` names a failure only ("?" for a message, which holds its own). Throws what
  /// next() throws.
  bool nextInto(ChatMessage& message, EnvelopeResult& result);

 private:
  ExportReader reader_;
  JSONDecoder decoder_;
};

/// Calls `visit` for every envelope of the input, in order. Throws what ExportReader::next throws,
/// once the envelopes before the failure have been visited.
TOVANEL_CHAT_EXPORT_API void forEachEnvelope(
    Input& input, const std::function<void(const EnvelopeResult&)>& visit,
    ReadingOptions options = {});

}  // namespace tovanel::chat::exports
