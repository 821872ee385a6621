#pragma once
// Where an export's bytes come from: a file, standard input, a stream or text in memory, read in
// blocks. A failed read is an InputError, never the end of the input.

#include <cstddef>
#include <istream>
#include <memory>
#include <string>
#include <string_view>

#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/export/Export.hpp"

namespace tovanel::chat::exports {

/// An input that cannot be opened or read. what() is "cannot read NAME: REASON". A chat::Error,
/// as everything the libraries throw.
class TOVANEL_CHAT_EXPORT_API InputError : public Error {
 public:
  InputError(const std::string& name, const std::string& reason);
  /// The file's path, or "standard input".
  const std::string& name() const noexcept { return name_; }
  /// Why, as the system says it ("Is a directory", "Bad file descriptor"...).
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string name_;
  std::string reason_;
};

/// A source of bytes, read front to back once.
class TOVANEL_CHAT_EXPORT_API Input {
 public:
  /// The file at `path`, or standard input for "" and "-". InputError when it cannot be opened,
  /// is a directory, or (standard input) is closed.
  static Input open(const std::string& path);
  /// The rest of `stream`, which must outlive the input. A stream gone bad is an InputError.
  static Input fromStream(std::istream& stream, std::string name = "stream");
  /// `text`, which must outlive the input.
  static Input fromText(std::string_view text, std::string name = "text");

  Input(Input&&) noexcept;
  Input& operator=(Input&&) noexcept;
  ~Input();

  /// How errors name the input: the path, or "standard input".
  const std::string& name() const noexcept { return name_; }

  /// Reads up to `capacity` bytes into `buffer` and returns how many; 0 only at the end of the
  /// input. Throws InputError when the read fails.
  std::size_t read(char* buffer, std::size_t capacity);

  /// The rest of the input, when it holds at most `limit` bytes: reads no more than `limit` + 1
  /// bytes, so an endless input ends too. A longer input is DecodingError dataCorrupted, naming the
  /// limit; a failed read is InputError.
  std::string readAll(std::size_t limit);

  /// What a source does; public so that the sources can be defined out of line.
  struct Source;

 private:
  Input(std::unique_ptr<Source> source, std::string name);

  std::unique_ptr<Source> source_;
  std::string name_;
};

}  // namespace tovanel::chat::exports
