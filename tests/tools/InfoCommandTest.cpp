// The tool's commands for system events: `info`, `equal --info` and `body --type info`, run as a
// user runs them.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace {

struct ToolRun {
  std::string output;  // standard output only
  int status = -1;
};

ToolRun runTool(const std::string& arguments) {
  const std::string command = std::string(TOVANEL_CHAT_TOOL) + " " + arguments + " 2>/dev/null";
  ToolRun run;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 512> buffer{};
  std::size_t read = 0;
  while ((read = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
    run.output.append(buffer.data(), read);
  }
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::string inputFile(std::string_view name, std::string_view json) {
  const std::string path = testing::TempDir() + "tovanel-info-" + std::string(name) + ".json";
  std::ofstream(path) << json;
  return path;
}

constexpr std::string_view kAdded = R"({"recipients":[],"type":"added"})";
constexpr std::string_view kBanned = R"({"type":"banned","recipients":[]})";
constexpr std::string_view kFailing = R"({"type":"joined","recipients":"u1"})";
constexpr std::string_view kPresence =
    R"({"type":"user_present","media":{"type":"text","body":{"text":"hi"}}})";

struct CommandRow {
  std::string_view name;
  std::string arguments;  // FILE stands for the input file
  std::string_view input;
  std::string_view expectedOutput;
  int expectedStatus;
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

class InfoCommands : public testing::TestWithParam<CommandRow> {};

TEST_P(InfoCommands, PrintWhatTheEventBecomes) {
  const CommandRow& row = GetParam();
  std::string arguments = row.arguments;
  const std::string path =
      inputFile(std::to_string(std::hash<std::string_view>{}(row.name)), row.input);
  arguments.replace(arguments.find("FILE"), 4, path);
  const ToolRun run = runTool(arguments);
  EXPECT_EQ(run.output, row.expectedOutput);
  EXPECT_EQ(run.status, row.expectedStatus);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, InfoCommands,
    testing::Values(
        CommandRow{"an event re-encoded", "info FILE", kAdded,
                   "{\"type\":\"added\",\"recipients\":[]}\n", 0},
        CommandRow{"an event read from standard input", "info < FILE", kAdded,
                   "{\"type\":\"added\",\"recipients\":[]}\n", 0},
        CommandRow{"a media body decoded through the prepared box", "info FILE", kPresence,
                   "{\"type\":\"user_present\",\"media\":{\"type\":\"text\",\"body\":{\"text\":"
                   "\"hi\"}}}\n",
                   0},
        CommandRow{"a failing record writes the event's line", "info FILE", kFailing,
                   "[Body][InfoBody] Can't decode: typeMismatch at recipients: expected an array, "
                   "found a string\n",
                   1},
        CommandRow{"an unknown kind writes nothing", "info FILE", R"({"type":"left"})", "", 1},
        CommandRow{"an info body writes the event's line, then the body's", "body --type info FILE",
                   kFailing,
                   "[Body][InfoBody] Can't decode: typeMismatch at recipients: expected an array, "
                   "found a string\n"
                   "[Body] Can't decode due to error: typeMismatch at recipients: expected an "
                   "array, found a string\n",
                   1},
        CommandRow{"an info body re-encoded", "body --type info FILE", kAdded,
                   "{\"type\":\"added\",\"recipients\":[]}\n", 0}));

TEST(EqualInfo, ComparesEventsAndTheirHashes) {
  const std::string added = inputFile("equal-added", kAdded);
  const std::string reordered = inputFile("equal-reordered", R"({"type":"added","recipients":[]})");
  const std::string banned = inputFile("equal-banned", kBanned);
  EXPECT_EQ(runTool("equal --info " + added + " " + reordered).output, "equal\nhashes equal\n");
  EXPECT_EQ(runTool("equal --info " + added + " " + banned).output, "different\nhashes differ\n");
}

}  // namespace
