// tovanel-chat-floor FILE: the floor of `tovanel-chat check` as a process. It reads a
// newline-delimited export line by line with std::getline, copies each line into simdjson's
// parser, parses it and walks every value (FloorWalk), and builds nothing. It prints how many
// lines it read and exits 1 on the first line that is not JSON, 2 when the file cannot be read.

#include <simdjson.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "FloorWalk.hpp"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: tovanel-chat-floor FILE\n", stderr);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "tovanel-chat-floor: cannot open %s\n", argv[1]);
    return 2;
  }
  simdjson::dom::parser parser;
  std::string line;
  std::uint64_t lines = 0;
  std::uint64_t sum = 0;
  while (std::getline(in, line)) {
    ++lines;
    if (line.empty()) continue;
    if (!tovanel::chat::bench::parseAndWalk(parser, line, sum)) {
      std::fprintf(stderr, "tovanel-chat-floor: line %llu is not JSON\n",
                   static_cast<unsigned long long>(lines));
      return 1;
    }
  }
  if (in.bad()) {
    std::fprintf(stderr, "tovanel-chat-floor: cannot read %s\n", argv[1]);
    return 2;
  }
  std::printf("%llu lines read (walk sum %llx)\n", static_cast<unsigned long long>(lines),
              static_cast<unsigned long long>(sum));
  return 0;
}
