#include "Errors.hpp"

#include <cstdio>

#include "Output.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"

namespace tovanel::chat::tool {

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

int reportFailure(const std::exception_ptr& failure, const std::string& about) {
  const std::string line = "error: " + about + describeFailure(failure);
  flushStandardOutput();  // the library's own lines come first
  writeLine(stderr, line);
  return 1;
}

}  // namespace tovanel::chat::tool
