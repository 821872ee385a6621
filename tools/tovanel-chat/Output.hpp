#pragma once
// What the tool prints, and where: text from the data made safe for a terminal, lines written or
// the failure to write them reported, colours and progress only on a terminal.

#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat::tool {

/// `text` with every character that a terminal would act on written visibly instead: C0 controls
/// (\t, \n, \r, else \u001B...), DEL, C1 controls and the bidirectional overrides and isolates as
/// \u escapes, and bytes that are not UTF-8 as \xFF. What it writes is also valid inside a JSON
/// string, so JSON output stays the same JSON value.
std::string escapeControls(std::string_view text);

/// Output that could not be written (a full disk, a closed descriptor).
struct OutputError : std::runtime_error {
  explicit OutputError(int error);
};

/// Writes `text` as it is. A reader that went away (EPIPE) ends the process quietly, as SIGPIPE
/// does; any other failure throws OutputError.
void writeText(std::FILE* stream, std::string_view text);

/// Writes `line`, escaped, and a newline.
void writeLine(std::FILE* stream, std::string_view line);

/// Flushes standard output; throws OutputError when what it held cannot be written.
void flushStandardOutput();

/// A sink for the library's diagnostic lines that writes them, escaped, to `stream`.
DiagnosticSink diagnosticSinkTo(std::FILE* stream);

/// Whether `stream` is a terminal that takes colours: not with NO_COLOR set or TERM=dumb.
bool wantsColour(std::FILE* stream);

/// "<verb> N messages..." on standard error while a long command runs, only when standard error
/// is a terminal; updated a few times a second and erased at the end.
class Progress {
 public:
  explicit Progress(std::string verb);
  ~Progress() { finish(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(std::size_t count);
  void finish();

 private:
  std::string verb_;
  bool shown_;
  std::size_t width_ = 0;
  long long lastShown_ = 0;
};

}  // namespace tovanel::chat::tool
