#pragma once
// Runs the tovanel-chat tool as a user runs it, for tests of its commands: the arguments as the
// shell reads them, some text on standard input, and what came out.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace tovanel::chat::test {

struct ToolRun {
  int status;  ///< the exit status, or -1 when the tool did not exit normally
  std::string out;
  std::string err;
};

/// `argument` quoted for the shell.
inline std::string quoted(const std::string& argument) {
  std::string text = "'";
  for (const char c : argument) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

inline std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

/// Scratch files for one test process, in a directory of its own that goes away when the process
/// ends. Test processes run in parallel, so a shared name would let one truncate what another
/// reads.
class ScratchFiles {
 public:
  static ScratchFiles& instance() {
    static ScratchFiles files;
    return files;
  }
  ScratchFiles(const ScratchFiles&) = delete;
  ScratchFiles& operator=(const ScratchFiles&) = delete;
  ~ScratchFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  /// The path of a file named `name` that holds `content`.
  std::string write(const std::string& name, const std::string& content) {
    const auto path = directory_ / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }

 private:
  ScratchFiles()
      : directory_(std::filesystem::temp_directory_path() /
                   ("tovanel-test-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(directory_);
  }
  std::filesystem::path directory_;
};

/// Runs the tool with `arguments` (as the shell reads them: quote what needs it) and `input` on
/// standard input.
inline ToolRun runTool(const std::string& arguments, const std::string& input = "") {
  static int runs = 0;
  const auto base = std::filesystem::temp_directory_path() /
                    ("tovanel-tool-" + std::to_string(getpid()) + "-" + std::to_string(++runs));
  const auto in = base.string() + ".in";
  const auto out = base.string() + ".out";
  const auto err = base.string() + ".err";
  std::ofstream(in, std::ios::binary) << input;
  const std::string command = quoted(TOVANEL_CHAT_TOOL) + " " + arguments + " <" + quoted(in) +
                              " >" + quoted(out) + " 2>" + quoted(err);
  const int status = std::system(command.c_str());
  ToolRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
  std::filesystem::remove(in), std::filesystem::remove(out), std::filesystem::remove(err);
  return run;
}

}  // namespace tovanel::chat::test
