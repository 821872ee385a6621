#pragma once
// Encodes values as JSON text: compact by default, keys in the order written, UTF-8 as is,
// "/" not escaped, integers in decimal and doubles in their shortest round-trip form.

#include <string>

#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/DateStrategy.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat {

/// Encodes values as JSON text. Each encode keeps its state in the call.
class JSONEncoder {
 public:
  OutputFormatting outputFormatting;  ///< compact unless set
  UserInfo userInfo;                  ///< seen by every encoder of a run
  /// How dates are written; seconds since the reference date unless set.
  DateEncodingStrategy dateEncodingStrategy;

  /// The JSON text of a value; a value that writes nothing gives `{}`.
  template <class T>
  std::string encode(const T& value) const {
    std::string out;
    encode(value, out);
    return out;
  }

  /// Appends the JSON text of a value to `out` (reuse one buffer across calls). When encoding
  /// fails, `out` is left as it was.
  template <class T>
  void encode(const T& value, std::string& out) const {
    const auto start = out.size();
    try {
      coding::detail::EncodingRun run(*this, out);
      Encoder root(run);
      root.encode(value);
      root.end();
      run.finish();
    } catch (...) {
      out.resize(start);
      throw;
    }
  }
};

}  // namespace tovanel::chat
