// Reads an input as a room export, as the tool's check command does: newline-delimited envelopes
// or a JSON array. The split into messages must not depend on the size of the blocks read; each
// envelope gives a message or a decoding failure, numbered from 1 in order; a message's body is of
// the kind its envelope names. Only a broken array frame may end the reading, with a DecodingError.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "FuzzSupport.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"

using namespace tovanel::chat;

namespace {

using Item = std::tuple<std::size_t, std::uint64_t, std::string, std::uint64_t, bool>;

// Every item of the input and how reading ended ("" at its end, else the frame's error).
std::tuple<std::vector<Item>, std::string> split(std::string_view text, std::size_t blockSize) {
  auto input = exports::Input::fromText(text);
  exports::ExportReader reader(input, {.maximumMessageSize = 256, .blockSize = blockSize});
  std::vector<Item> items;
  try {
    while (const auto item = reader.next()) {
      TOVANEL_FUZZ_CHECK(item->number == items.size() + 1);
      TOVANEL_FUZZ_CHECK(item->oversized == (item->size > 256));
      TOVANEL_FUZZ_CHECK(item->oversized || item->text.size() <= item->size);
      items.emplace_back(item->number, item->place, std::string(item->text), item->size,
                         item->oversized);
    }
  } catch (const DecodingError& error) {
    return {items, error.what()};
  }
  return {items, ""};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TOVANEL_FUZZ_CHECK(split(text, 16) == split(text, 1 << 16));

  auto input = exports::Input::fromText(text);
  exports::EnvelopeReader reader(input);
  std::size_t expectedNumber = 0;
  try {
    while (const auto result = reader.next()) {
      TOVANEL_FUZZ_CHECK(result->number == ++expectedNumber);
      TOVANEL_FUZZ_CHECK(result->message.has_value() != (result->failure != nullptr));
      if (!result->message) {
        fuzz::checkDecodingFailure(result->failure);
        continue;
      }
      const ChatMessage& message = *result->message;
      TOVANEL_FUZZ_CHECK(result->messageId == message.messageID);
      TOVANEL_FUZZ_CHECK(message.body.bodyType() == message.type);
      fuzz::checkValue(message);
    }
  } catch (...) {
    fuzz::checkDecodingFailure(std::current_exception());  // a broken array frame
  }
  return 0;
}
