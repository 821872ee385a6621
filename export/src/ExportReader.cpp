#include "tovanel/chat/export/ExportReader.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat::exports {

namespace {

constexpr bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Room for a byte-order mark at the start of the first block.
constexpr std::size_t kSmallestBlock = 16;

}  // namespace

std::string describePlace(ExportFormat format, std::uint64_t place) {
  return (format == ExportFormat::lines ? "line " : "byte ") + std::to_string(place);
}

ExportReader::ExportReader(Input& input, ReadingOptions options)
    : input_(input),
      options_(options),
      block_(std::max(options.blockSize, kSmallestBlock) + JSONDecoder::kTextPadding) {
  // Room for the byte that shows a message is too long.
  options_.maximumMessageSize = std::min(options_.maximumMessageSize, SIZE_MAX - 1);
}

std::size_t ExportReader::blockCapacity() const noexcept {
  return block_.size() - JSONDecoder::kTextPadding;
}

ExportFormat ExportReader::format() {
  if (stage_ == Stage::start) begin();
  return format_;
}

bool ExportReader::fill() {
  if (at_ < end_) return true;
  if (ended_) return false;
  blockOffset_ += end_;
  at_ = end_ = 0;
  end_ = input_.read(block_.data(), blockCapacity());
  ended_ = end_ == 0;
  return !ended_;
}

void ExportReader::begin() {
  // The first three bytes may arrive in several reads (a pipe); a mark needs them together.
  while (end_ < 3 && !ended_) {
    const std::size_t got = input_.read(block_.data() + end_, blockCapacity() - end_);
    ended_ = got == 0;
    end_ += got;
  }
  if (end_ >= 3 && std::memcmp(block_.data(), "\xEF\xBB\xBF", 3) == 0) at_ = 3;
  stage_ = Stage::lines;
  for (;;) {
    if (!fill()) return;
    const char c = block_[at_];
    if (!isBlank(c)) break;
    if (c == '\n') ++line_;
    ++at_;
  }
  if (block_[at_] == '[') {
    ++at_;
    format_ = ExportFormat::array;
    stage_ = Stage::arrayElements;
  }
}

std::optional<ExportItem> ExportReader::next() {
  if (stage_ == Stage::start) begin();
  try {
    switch (stage_) {
      case Stage::lines:
        return nextLine();
      case Stage::arrayElements:
        return nextElement();
      case Stage::arrayClosed:
        for (; fill(); ++at_) {
          if (!isBlank(block_[at_])) frameError("more than blanks follow the array");
        }
        stage_ = Stage::done;
        return std::nullopt;
      default:
        return std::nullopt;
    }
  } catch (...) {
    stage_ = Stage::done;
    throw;
  }
}

void ExportReader::keep(std::string_view part, bool& oversized) {
  if (oversized) return;
  // One byte beyond the limit leaves room for the CR of a CRLF line end.
  const std::size_t most = options_.maximumMessageSize + 1;
  const std::size_t needed = pending_.size() + part.size();
  if (needed > most) {
    oversized = true;
    std::string().swap(pending_);  // what the message took goes back
    return;
  }
  // Room is kept for the padding that finishItem appends.
  if (needed + JSONDecoder::kTextPadding > pending_.capacity()) {
    // A long message gets the whole limit at once (up to a size any machine can promise): its
    // pages are taken only as they are written, and growing never holds the message twice.
    constexpr std::size_t kGrowing = std::size_t{1} << 20;
    constexpr std::size_t kReservedAtOnce = std::size_t{256} << 20;
    const std::size_t doubled = std::max(2 * pending_.capacity(), needed);
    pending_.reserve(
        (doubled > kGrowing && most <= kReservedAtOnce ? most : std::min(most, doubled)) +
        JSONDecoder::kTextPadding);
  }
  pending_.append(part);
}

std::optional<ExportItem> ExportReader::finishItem(std::uint64_t place, std::string_view text,
                                                   std::uint64_t size, bool oversized) {
  oversized = oversized || size > options_.maximumMessageSize;
  if (!oversized && text.data() == pending_.data()) {
    // A message gathered across blocks gets its padding here; one inside the block has the rest
    // of the block and the padding after it.
    pending_.resize(text.size());
    pending_.append(JSONDecoder::kTextPadding, ' ');
    text = std::string_view(pending_.data(), text.size());
  }
  ExportItem item;
  item.number = ++number_;
  item.place = place;
  item.text = oversized ? std::string_view() : text;
  item.size = size;
  item.oversized = oversized;
  return item;
}

std::optional<ExportItem> ExportReader::nextLine() {
  std::uint64_t place = line_;
  std::uint64_t size = 0;
  bool oversized = false;
  bool content = false;
  char last = '\0';
  pending_.clear();
  const auto finish = [&](std::string_view text) {
    if (last == '\r') {
      --size;
      if (!text.empty()) text.remove_suffix(1);
    }
    return finishItem(place, text, size, oversized);
  };
  for (;;) {
    if (!fill()) {
      stage_ = Stage::done;
      if (!content) return std::nullopt;  // blanks after the last line
      return finish(pending_);
    }
    const char* begin = block_.data() + at_;
    const char* stop = block_.data() + end_;
    const auto* newline = static_cast<const char*>(std::memchr(begin, '\n', stop - begin));
    const std::string_view part(begin, (newline != nullptr ? newline : stop) - begin);
    content = content || part.find_first_not_of(" \t\r") != std::string_view::npos;
    size += part.size();
    if (!part.empty()) last = part.back();
    const bool whole = newline != nullptr && pending_.empty() && !oversized;
    if (!whole) keep(part, oversized);
    at_ += part.size();
    if (newline == nullptr) continue;
    ++at_;
    ++line_;
    if (content) return finish(whole ? part : std::string_view(pending_));
    place = line_;  // a blank line: the next one starts here
    size = 0;
    oversized = false;
    last = '\0';
    pending_.clear();
  }
}

std::optional<ExportItem> ExportReader::nextElement() {
  for (;; ++at_) {
    if (!fill()) frameError("the input ends before the array's closing bracket");
    if (!isBlank(block_[at_])) break;
  }
  const std::uint64_t place = blockOffset_ + at_;
  const char first = block_[at_];
  if (first == ']' && number_ == 0 && !afterComma_) {  // []
    ++at_;
    stage_ = Stage::arrayClosed;
    return next();
  }
  std::uint64_t depth = 0;
  std::uint64_t size = 0;
  std::uint64_t trailingBlanks = 0;
  bool inString = false;
  bool escaped = false;
  bool oversized = false;
  pending_.clear();
  std::size_t partStart = at_;
  for (;; ++at_) {
    if (at_ == end_) {
      const std::string_view part(block_.data() + partStart, at_ - partStart);
      size += part.size();
      keep(part, oversized);
      if (!fill()) frameError("the input ends inside an element of the array");
      partStart = at_;
    }
    if (inString) {
      if (escaped) {
        escaped = false;
        continue;
      }
      // Jump to the string's next quote or backslash in this block, if any.
      const char* here = block_.data() + at_;
      const char* stop = block_.data() + end_;
      const auto* quote = static_cast<const char*>(std::memchr(here, '"', stop - here));
      const auto* escape = static_cast<const char*>(
          std::memchr(here, '\\', (quote != nullptr ? quote : stop) - here));
      if (escape != nullptr) {
        at_ = escape - block_.data();
        escaped = true;
      } else if (quote != nullptr) {
        at_ = quote - block_.data();
        inString = false;
      } else {
        at_ = end_ - 1;
      }
      continue;
    }
    const char c = block_[at_];
    if ((c == ']' || c == ',') && depth == 0) break;
    trailingBlanks = isBlank(c) ? trailingBlanks + 1 : 0;
    if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if ((c == '}' || c == ']') && depth > 0) {
      --depth;
    }
  }
  const std::string_view part(block_.data() + partStart, at_ - partStart);
  const bool whole = pending_.empty() && !oversized;
  if (!whole) keep(part, oversized);
  size += part.size();
  afterComma_ = block_[at_] == ',';
  if (!afterComma_) stage_ = Stage::arrayClosed;
  ++at_;
  std::string_view text = whole ? part : std::string_view(pending_);
  if (!oversized) text.remove_suffix(trailingBlanks);
  return finishItem(place, text, size, oversized);
}

void ExportReader::frameError(const std::string& what) {
  throw DecodingError(
      DecodingError::Kind::dataCorrupted, {},
      "the data is not valid JSON: " + what + " (byte " + std::to_string(blockOffset_ + at_) + ")");
}

}  // namespace tovanel::chat::exports
