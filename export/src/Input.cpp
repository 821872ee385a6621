#include "tovanel/chat/export/Input.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::exports {

InputError::InputError(const std::string& name, const std::string& reason)
    : Error("cannot read " + name + ": " + reason), name_(name), reason_(reason) {}

struct Input::Source {
  virtual ~Source() = default;
  /// As Input::read; `name` is for errors.
  virtual std::size_t read(char* buffer, std::size_t capacity, const std::string& name) = 0;
};

// The sources, out of the headers; a shared library keeps them to itself.
namespace detail {

class FileSource final : public Input::Source {
 public:
  FileSource(int descriptor, bool owned) : descriptor_(descriptor), owned_(owned) {}
  ~FileSource() override {
    if (owned_) ::close(descriptor_);
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  std::size_t read(char* buffer, std::size_t capacity, const std::string& name) override {
    for (;;) {
      const ssize_t got = ::read(descriptor_, buffer, capacity);
      if (got >= 0) return static_cast<std::size_t>(got);
      if (errno != EINTR) throw InputError(name, std::strerror(errno));
    }
  }

 private:
  int descriptor_;
  bool owned_;
};

class StreamSource final : public Input::Source {
 public:
  explicit StreamSource(std::istream& stream) : stream_(stream) {}
  std::size_t read(char* buffer, std::size_t capacity, const std::string& name) override {
    // What a read gave before the stream failed is handed over; the failure comes next time.
    if (stream_.bad()) throw InputError(name, "the stream failed");
    stream_.read(buffer, static_cast<std::streamsize>(capacity));
    const auto got = static_cast<std::size_t>(stream_.gcount());
    if (got == 0 && stream_.bad()) throw InputError(name, "the stream failed");
    return got;
  }

 private:
  std::istream& stream_;
};

class TextSource final : public Input::Source {
 public:
  explicit TextSource(std::string_view text) : rest_(text) {}
  std::size_t read(char* buffer, std::size_t capacity, const std::string&) override {
    const std::size_t count = std::min(capacity, rest_.size());
    std::copy_n(rest_.data(), count, buffer);
    rest_.remove_prefix(count);
    return count;
  }

 private:
  std::string_view rest_;
};

// A directory opens but cannot be read; say so before the first read.
void refuseDirectory(int descriptor, const std::string& name) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) {
    throw InputError(name, errno == EBADF ? "it is closed" : std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) throw InputError(name, std::strerror(EISDIR));
}

}  // namespace detail

using detail::FileSource;
using detail::StreamSource;
using detail::TextSource;

Input::Input(std::unique_ptr<Source> source, std::string name)
    : source_(std::move(source)), name_(std::move(name)) {}
Input::Input(Input&&) noexcept = default;
Input& Input::operator=(Input&&) noexcept = default;
Input::~Input() = default;

Input Input::open(const std::string& path) {
  if (path.empty() || path == "-") {
    const std::string name = "standard input";
    detail::refuseDirectory(STDIN_FILENO, name);
    return Input(std::make_unique<FileSource>(STDIN_FILENO, false), name);
  }
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw InputError(path, std::strerror(errno));
  auto source = std::make_unique<FileSource>(descriptor, true);
  detail::refuseDirectory(descriptor, path);
  return Input(std::move(source), path);
}

Input Input::fromStream(std::istream& stream, std::string name) {
  return Input(std::make_unique<StreamSource>(stream), std::move(name));
}

Input Input::fromText(std::string_view text, std::string name) {
  return Input(std::make_unique<TextSource>(text), std::move(name));
}

std::size_t Input::read(char* buffer, std::size_t capacity) {
  return source_->read(buffer, capacity, name_);
}

std::string Input::readAll(std::size_t limit) {
  constexpr std::size_t kBlock = std::size_t{64} << 10;
  limit = std::min(limit, SIZE_MAX - 1);  // room for the byte beyond it
  std::string text;
  for (;;) {
    const std::size_t room = std::min(kBlock, limit + 1 - text.size());
    const std::size_t at = text.size();
    text.resize(at + room);
    const std::size_t got = read(text.data() + at, room);
    text.resize(at + got);
    if (got == 0) return text;
    if (text.size() > limit) {
      throw DecodingError(
          DecodingError::Kind::dataCorrupted, {},
          "the input is longer than the limit of " + std::to_string(limit) + " bytes");
    }
  }
}

}  // namespace tovanel::chat::exports
