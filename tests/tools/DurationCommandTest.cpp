// The tool's duration command and its youtube bodies, run as a user would run them.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>
#include <utility>

#include "support/ToolRun.hpp"

namespace {

using tovanel::chat::test::quoted;
using tovanel::chat::test::runTool;
using tovanel::chat::test::ToolRun;

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
                    DurationCommandCase{"P2D1Y", 0, "31708800\tP1Y0M0W2DT0H0M0S\n", ""},
                    DurationCommandCase{"PT0.5S", 1, "", notADuration("PT0.5S")},
                    DurationCommandCase{"", 1, "", notADuration("")}));

TEST(DurationCommand, WithoutTextIsAUsageError) { EXPECT_EQ(runTool("duration").status, 2); }

}  // namespace
