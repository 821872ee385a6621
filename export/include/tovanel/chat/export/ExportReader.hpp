#pragma once
// Splits a room export into the texts of its messages, in bounded memory: newline-delimited JSON
// (one message per line) or a JSON array (one message per element), told apart by the first
// character that is not blank, after a UTF-8 byte-order mark if there is one. LF and CRLF line
// ends alike.
//
// The input is read in blocks, and no more than `maximumMessageSize` bytes of one message are kept
// besides the block, so neither a long export nor an endless stream makes memory grow. A line or
// element longer than the limit is skipped to its end and handed over as oversized; reading goes
// on after it. An element of an array ends at the first comma or closing bracket outside strings
// and outside nested arrays and objects; its text is parsed by the caller, alone, so a malformed
// element fails alone. Only the array's own frame can fail the rest of the input: an array whose
// input ends before its closing bracket, or that is followed by more than blanks.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tovanel/chat/export/Export.hpp"
#include "tovanel/chat/export/Input.hpp"

namespace tovanel::chat::exports {

/// How an export lays out its messages.
enum class ExportFormat : std::uint8_t {
  lines,  ///< newline-delimited: one message per line, blank lines skipped
  array,  ///< a JSON array of messages
};

/// How an export is read.
struct ReadingOptions {
  /// The default per-message limit: the decoder's default document limit.
  static constexpr std::size_t kDefaultMaximumMessageSize = std::size_t{64} << 20;

  /// The longest line or element that is parsed, in bytes: a line without its line end, an
  /// element with the blanks before the comma or bracket that ends it.
  std::size_t maximumMessageSize = kDefaultMaximumMessageSize;
  /// How many bytes are read at a time.
  std::size_t blockSize = std::size_t{64} << 10;
};

/// The text of one message of an export.
struct ExportItem {
  std::size_t number = 0;   ///< from 1, in input order; blank lines are not counted
  std::uint64_t place = 0;  ///< lines: its physical line, from 1; arrays: its first byte, from 0
  /// Without line end or ending blanks; valid until the next read; empty when oversized.
  /// Unless oversized, followed by at least JSONDecoder::kTextPadding readable bytes, so that it
  /// decodes in place as a PaddedText.
  std::string_view text;
  std::uint64_t size = 0;  ///< its length as the limit counts it, also when oversized
  bool oversized = false;  ///< longer than the limit: skipped, not kept
};

/// "line L" or "byte B": where an item of this format is.
TOVANEL_CHAT_EXPORT_API std::string describePlace(ExportFormat format, std::uint64_t place);

/// Reads the messages' texts of one export, one at a time.
class TOVANEL_CHAT_EXPORT_API ExportReader {
 public:
  /// Reads `input`, which must outlive the reader. `options.maximumMessageSize` and
  /// `options.blockSize` must not be 0.
  explicit ExportReader(Input& input, ReadingOptions options = {});

  /// The next message's text, or nothing at the end of the input. Throws InputError when a read
  /// fails, and DecodingError (dataCorrupted, "the data is not valid JSON: ...", naming the byte)
  /// when an array's frame is broken; the input ends there.
  std::optional<ExportItem> next();

  /// The export's layout; reads up to its first character that is not blank when not yet known.
  ExportFormat format();

  const ReadingOptions& options() const noexcept { return options_; }

 private:
  enum class Stage : std::uint8_t { start, lines, arrayElements, arrayClosed, done };

  bool fill();
  void begin();
  std::optional<ExportItem> nextLine();
  std::optional<ExportItem> nextElement();
  std::optional<ExportItem> finishItem(std::uint64_t place, std::string_view text,
                                       std::uint64_t size, bool oversized);
  std::size_t blockCapacity() const noexcept;
  void keep(std::string_view part, bool& oversized);
  [[noreturn]] void frameError(const std::string& what);

  Input& input_;
  ReadingOptions options_;
  std::vector<char> block_;        // the block's bytes, then JSONDecoder::kTextPadding more
  std::size_t at_ = 0;             // next unread byte of the block
  std::size_t end_ = 0;            // end of the block's bytes
  std::uint64_t blockOffset_ = 0;  // offset in the input of the block's first byte
  bool ended_ = false;
  Stage stage_ = Stage::start;
  ExportFormat format_ = ExportFormat::lines;
  std::string pending_;  // the message so far, when it spans blocks
  std::size_t number_ = 0;
  std::uint64_t line_ = 1;
  bool afterComma_ = false;
};

}  // namespace tovanel::chat::exports
