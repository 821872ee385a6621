#pragma once
// The base of formatters that turn values into text and text into values. Both directions take
// any value; the base converts nothing, subclasses override what they support.

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// An archive that a formatter is restored from. Formatters keep nothing of their own in one;
/// all that restoring asks of it is whether decoding the archive has failed.
class Coder {
 public:
  /// Marks the archive as failed: restoring a formatter from it then gives nothing.
  void failWithError(std::string description) { error_ = std::move(description); }
  /// The failure's description, or nothing while the archive has not failed.
  const std::optional<std::string>& error() const noexcept { return error_; }

 private:
  std::optional<std::string> error_;
};

/// Turns values into text and back; the base converts nothing.
class TOVANEL_CHAT_API Formatter {
 public:
  Formatter() = default;
  virtual ~Formatter() = default;

  /// Restores a formatter from an archive; nothing when the archive refuses.
  static std::unique_ptr<Formatter> make(const Coder& coder) { return restore<Formatter>(coder); }

  /// The text for a value; nothing when the formatter cannot write it (the base writes nothing).
  virtual std::optional<std::string> string(const std::any& object) const;
  /// Reads `text`. On success returns true and, when `object` is given, stores the value there;
  /// on failure returns false and may describe why in `errorDescription`. The base reads
  /// nothing.
  virtual bool getObjectValue(std::any* object, std::string_view text,
                              std::string* errorDescription) const;

 protected:
  /// Copies a formatter's state (for subclasses only: copying through the base would slice).
  Formatter(const Formatter&) = default;
  /// Assigns a formatter's state (for subclasses only).
  Formatter& operator=(const Formatter&) = default;

  /// Restoring a formatter of class F: F's own state is made first (by its default
  /// constructor), then the base part takes the archive and refuses one that has failed.
  template <class F>
  static std::unique_ptr<F> restore(const Coder& coder) {
    auto formatter = std::make_unique<F>();
    if (coder.error()) return nullptr;
    return formatter;
  }
};

}  // namespace tovanel::chat
