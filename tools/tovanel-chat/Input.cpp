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

InputStream::InputStream(const std::string& path) : stream_(&std::cin) {
  if (path.empty() || path == "-") return;
  auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!*file) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
  file_ = std::move(file);
  stream_ = file_.get();
}

namespace {
std::string describe(std::string_view kind, const std::string& description,
                     const CodingPath& path) {
  std::string text(kind);
  text.append(": ").append(description);
  if (!path.empty()) text.append(" (at ").append(tovanel::chat::describe(path)).append(")");
  return text;
}
}  // namespace

std::string describeFailure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const DecodingError& error) {
    return describe(DecodingError::kindName(error.kind()), error.debugDescription(),
                    error.codingPath());
  } catch (const Body::BodyDecodingError&) {
    return describe("bodyTypeMissing", "the body's kind was not handed to its decoder", {});
  } catch (const EncodingError& error) {
    return describe("invalidValue", error.debugDescription(), error.codingPath());
  }
}

int reportFailure(const std::exception_ptr& failure) {
  const std::string line = "error: " + describeFailure(failure) + "\n";
  std::fflush(stdout);  // the library's own lines come first
  std::fwrite(line.data(), 1, line.size(), stderr);
  return 1;
}

}  // namespace tovanel::chat::tool
