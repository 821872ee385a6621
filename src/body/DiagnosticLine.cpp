#include "body/DiagnosticLine.hpp"

#include <cstdio>
#include <string>

namespace tovanel::chat::detail {

void writeDiagnosticLine(std::string_view text, std::string_view appended) {
  std::string line;
  line.reserve(text.size() + appended.size() + 1);
  line.append(text).append(appended).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace tovanel::chat::detail
