// The tool's duration command and its youtube bodies, run as a user would run them.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>

namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

std::string quoted(const std::string& argument) {
  std::string text = "'";
  for (const char c : argument) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

/// Runs the tool with `arguments` (each quoted for the shell) and `input` on standard input.
ToolRun runTool(const std::string& arguments, const std::string& input = "") {
  static int runs = 0;
  const auto base = std::filesystem::temp_directory_path() /
                    ("tovanel-duration-" + std::to_string(getpid()) + "-" + std::to_string(++runs));
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

struct DurationCommandCase {
  std::string text;
  int status;
  std::string out;
  std::string err;
};
void PrintTo(const DurationCommandCase& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class DurationCommand : public testing::TestWithParam<DurationCommandCase> {};

TEST_P(DurationCommand, PrintsSecondsAndTheTextWrittenBackOrADataCorruptedError) {
  const auto& row = GetParam();
  const ToolRun run = runTool("duration " + quoted(row.text));
  EXPECT_EQ(std::tie(run.status, run.out, run.err), std::tie(row.status, row.out, row.err));
}

std::string notADuration(const std::string& text) {
  return "error: dataCorrupted: the text \"" + text + "\" is not an ISO 8601 duration\n";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DurationCommand,
    testing::Values(DurationCommandCase{"PT4M13S", 0, "253\tP0Y0M0W0DT0H4M13S\n", ""},
                    DurationCommandCase{"PT1H30M", 0, "5400\tP0Y0M0W0DT1H30M0S\n", ""},
                    DurationCommandCase{"PT-5M", 0, "-300\tP0Y0M0W0DT0H-5M0S\n", ""},
                    DurationCommandCase{"P2D1Y", 0, "31708800\tP1Y0M0W2DT0H0M0S\n", ""},
                    DurationCommandCase{"P", 0, "0\tP0Y0M0W0DT0H0M0S\n", ""},
                    DurationCommandCase{"PT0.5S", 1, "", notADuration("PT0.5S")},
                    DurationCommandCase{"P1YM", 1, "", notADuration("P1YM")},
                    DurationCommandCase{"", 1, "", notADuration("")}));

TEST(DurationCommand, WithoutTextIsAUsageError) { EXPECT_EQ(runTool("duration").status, 2); }

TEST(BodyCommand, ReencodesAYoutubeBodyWithItsDurationInSeconds) {
  const ToolRun run =
      runTool("body --type youtube", R"({"duration":"PT4M13S","title":5,"id":"x"})");
  EXPECT_EQ(std::make_pair(run.status, run.out),
            std::make_pair(0, std::string(R"({"id":"x","duration":253})"
                                          "\n")));
}

}  // namespace
