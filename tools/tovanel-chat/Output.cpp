#include "Output.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace tovanel::chat::tool {

namespace {

// The length of the UTF-8 sequence at the start of `text` and its code point, or 0 when the
// bytes there are not UTF-8.
std::size_t decodeUtf8(std::string_view text, char32_t& codePoint) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  char32_t smallest = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, codePoint = lead & 0x1F, smallest = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, codePoint = lead & 0x0F, smallest = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, codePoint = lead & 0x07, smallest = 0x10000;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    codePoint = (codePoint << 6) | (byte(i) & 0x3F);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < smallest || codePoint > 0x10FFFF || surrogate) return 0;
  return length;
}

bool isBidirectionalControl(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string escapeControls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
      ++i;
    } else if (c == '\t' || c == '\n' || c == '\r') {
      out += c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\r";
      ++i;
    } else if (c < 0x80) {
      out += fmt::format("\\u{:04X}", c);
      ++i;
    } else {
      char32_t codePoint = 0;
      const std::size_t length = decodeUtf8(text.substr(i), codePoint);
      if (length == 0) {
        out += fmt::format("\\x{:02X}", c);
        ++i;
      } else if (codePoint <= 0x9F || isBidirectionalControl(codePoint)) {
        out += fmt::format("\\u{:04X}", static_cast<std::uint32_t>(codePoint));
        i += length;
      } else {
        out.append(text.substr(i, length));
        i += length;
      }
    }
  }
  return out;
}

OutputError::OutputError(int error)
    : std::runtime_error(std::string("cannot write the output: ") + std::strerror(error)) {}

void writeText(std::FILE* stream, std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() && !std::ferror(stream)) {
    return;
  }
  const int error = errno;
  if (error == EPIPE) {
    // The reader has gone (`| head`): end as a process that SIGPIPE ends, without a word.
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
  }
  std::clearerr(stream);
  throw OutputError(error);
}

void writeLine(std::FILE* stream, std::string_view line) {
  writeText(stream, escapeControls(line) + '\n');
}

void flushStandardOutput() {
  if (std::fflush(stdout) == 0) return;
  const int error = errno;
  if (error == EPIPE) {
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
  }
  throw OutputError(error);
}

DiagnosticSink diagnosticSinkTo(std::FILE* stream) {
  return [stream](std::string_view line) {
    if (line.ends_with('\n')) line.remove_suffix(1);
    writeLine(stream, line);
  };
}

bool wantsColour(std::FILE* stream) {
  const char* noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && noColour[0] != '\0') return false;
  const char* term = std::getenv("TERM");
  if (term != nullptr && std::strcmp(term, "dumb") == 0) return false;
  return isatty(fileno(stream)) != 0;
}

namespace {
long long millisecondsNow() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}
}  // namespace

Progress::Progress(std::string verb) : verb_(std::move(verb)), shown_(isatty(STDERR_FILENO) != 0) {}

void Progress::update(std::size_t count) {
  if (!shown_) return;
  const long long now = millisecondsNow();
  if (width_ > 0 && now - lastShown_ < 250) return;
  lastShown_ = now;
  const std::string line = fmt::format("\r{} {} messages...", verb_, count);
  width_ = line.size();
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void Progress::finish() {
  if (!shown_ || width_ == 0) return;
  const char* term = std::getenv("TERM");
  // Erase the line: with the terminal's own sequence, or with blanks on a dumb terminal.
  const std::string erase = term != nullptr && std::strcmp(term, "dumb") == 0
                                ? "\r" + std::string(width_, ' ') + "\r"
                                : std::string("\r\033[K");
  std::fwrite(erase.data(), 1, erase.size(), stderr);
  width_ = 0;
}

}  // namespace tovanel::chat::tool
