// An application's first use of TovanelChatExport: it reads a room export message by message,
// counts the messages of each kind, names those that fail, and writes the first two messages back
// as an export of their own.
//
//   export-consumer EXPORT
//
// EXPORT is newline-delimited envelopes or a JSON array of them. Exit status 0 when every message
// decoded, 1 when one did not or the export's frame is broken, 2 when EXPORT cannot be read.

#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

// [include]
#include <tovanel/chat.hpp>
#include <tovanel/chat/export/EnvelopeReader.hpp>
#include <tovanel/chat/export/ExportWriter.hpp>

namespace chat = tovanel::chat;
namespace exports = tovanel::chat::exports;
// [include]

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: export-consumer EXPORT\n";
    return 2;
  }
  try {
    // [read]
    auto input = exports::Input::open(argv[1]);  // a file, or "-" for standard input
    exports::EnvelopeReader reader(input);       // 64 MiB per message unless set
    std::map<std::string, int> kinds;
    std::vector<chat::ChatMessage> firstTwo;
    int failed = 0;
    while (const auto result = reader.next()) {
      if (!result->message) {
        ++failed;
        std::cout << "message " << result->number << " (" << result->describePlace()
                  << ") does not decode\n";
        continue;
      }
      ++kinds[std::string(chat::rawValue(result->message->type))];
      if (firstTwo.size() < 2) firstTwo.push_back(*result->message);
    }
    // [read]
    for (const auto& [kind, count] : kinds) std::cout << kind << ": " << count << '\n';
    // [write]
    exports::ExportWriter writer(std::cout, exports::ExportFormat::lines);
    for (const auto& message : firstTwo) writer.add(message);
    // [write]
    return failed == 0 ? 0 : 1;
  } catch (const exports::InputError& error) {
    std::cerr << error.what() << '\n';
    return 2;
  } catch (const chat::DecodingError& error) {  // the array's frame is broken
    std::cerr << error.what() << '\n';
    return 1;
  }
}
