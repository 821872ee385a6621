#pragma once
// Runs the tovanel-chat tool as a user runs it, for tests of its commands: the arguments as the
// shell reads them, some text on standard input, and what came out; or a shell command line in
// which "$TOOL" is the tool; or the same on a terminal of its own.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "support/Capture.hpp"

namespace tovanel::chat::test {

struct ToolRun {
  int status;  ///< the exit status, 128 + the signal for a process a signal ended
  std::string out;
  std::string err;           ///< empty for a run on a terminal: it all goes to out
  long peakResidentKiB = 0;  ///< the largest resident memory of the shell and what it ran
};

/// `argument` quoted for the shell.
inline std::string quoted(const std::string& argument) {
  std::string text = "'";
  for (const char c : argument) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

/// The path of a file named `name` that holds `content`, in a directory of this test process's
/// own that goes away when it ends: test processes run in parallel, and a shared name would let
/// one truncate what another reads. No `content`: the path alone.
inline std::string scratchFile(const std::string& name,
                               const std::optional<std::string>& content = std::nullopt) {
  static const struct Directory {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("tovanel-test-" + std::to_string(getpid()));
    Directory() { std::filesystem::create_directories(path); }
    ~Directory() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  } directory;
  const auto path = directory.path / name;
  if (content) std::ofstream(path, std::ios::binary) << *content;
  return path.string();
}

/// Runs `command`, a shell command line in which "$TOOL" is the tool, with `input` on standard
/// input, in a child forked here (not spawned: a spawned child would count this process's memory as
/// its own).
inline ToolRun runCommand(const std::string& command, const std::string& input = "") {
  static int runs = 0;
  const std::string base = "run-" + std::to_string(++runs);
  const auto in = scratchFile(base + ".in", input), out = scratchFile(base + ".out"),
             err = scratchFile(base + ".err");
  const std::string line =
      "{ " + command + "\n} <" + quoted(in) + " >" + quoted(out) + " 2>" + quoted(err);
  const pid_t child = fork();
  if (child == 0) {
#ifdef TOVANEL_CHAT_TOOL  // absent from a build without the tool
    setenv("TOOL", TOVANEL_CHAT_TOOL, 1);
#endif
    execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err),
          usage.ru_maxrss};
}

/// Runs the tool with `arguments` (as the shell reads them: quote what needs it) and `input` on
/// standard input.
inline ToolRun runTool(const std::string& arguments, const std::string& input = "") {
  return runCommand("\"$TOOL\" " + arguments, input);
}

/// Runs `command` as runCommand does, on a terminal of its own (the `script` utility's) for
/// standard input, output and error alike, with TERM=xterm unless the command sets it; what the
/// terminal showed is `out`, with newlines as written (not as CR LF).
inline ToolRun runOnTerminal(const std::string& command) {
  return runCommand("SHELL=/bin/sh TERM=xterm script -qec " +
                    quoted("unset NO_COLOR; stty -onlcr; " + command) + " /dev/null");
}

}  // namespace tovanel::chat::test
