#include "Input.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"

namespace tovanel::chat::tool {

std::string readInput(const std::string& path) {
  if (path.empty() || path == "-") {
    std::ostringstream text;
    text << std::cin.rdbuf();
    return std::move(text).str();
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
  return text;
}

namespace {
void printFailure(std::string_view kind, const std::string& description, const CodingPath& path) {
  std::string line = "error: ";
  line.append(kind).append(": ").append(description);
  if (!path.empty()) line.append(" (at ").append(describe(path)).append(")");
  line += '\n';
  std::fflush(stdout);  // the library's own lines come first
  std::fwrite(line.data(), 1, line.size(), stderr);
}
}  // namespace

int reportFailure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const DecodingError& error) {
    printFailure(DecodingError::kindName(error.kind()), error.debugDescription(),
                 error.codingPath());
  } catch (const Body::BodyDecodingError& error) {
    printFailure("bodyTypeMissing", "the body's kind was not handed to its decoder", {});
  } catch (const EncodingError& error) {
    printFailure("invalidValue", error.debugDescription(), error.codingPath());
  }
  return 1;
}

}  // namespace tovanel::chat::tool
