// The tool's commands for system events: `info`, `equal --info` and `body --type info`, run as a
// user runs them.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

#include "support/ToolRun.hpp"

namespace tovanel::chat {
namespace {

using test::quoted;
using test::runTool;

constexpr std::string_view kAdded = R"({"recipients":[],"type":"added"})";
constexpr std::string_view kFailing = R"({"type":"joined","recipients":"u1"})";
constexpr std::string_view kPresence =
    R"({"type":"user_present","media":{"type":"text","body":{"text":"hi"}}})";
constexpr std::string_view kFailingDescription =
    "typeMismatch at recipients: expected an array, found a string\n";

struct CommandRow {
  std::string_view name;
  std::string_view arguments;
  std::string_view input;  // on standard input
  int status;
  std::string out;
};

void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

class InfoCommands : public testing::TestWithParam<CommandRow> {};

TEST_P(InfoCommands, PrintWhatTheEventBecomes) {
  const CommandRow& row = GetParam();
  const test::ToolRun run = runTool(std::string(row.arguments), std::string(row.input));
  EXPECT_EQ(std::make_pair(run.status, run.out), std::make_pair(row.status, row.out)) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    Commands, InfoCommands,
    testing::Values(
        CommandRow{"an event re-encoded", "info", kAdded, 0,
                   "{\"type\":\"added\",\"recipients\":[]}\n"},
        CommandRow{"a media body decoded through the prepared box", "info -", kPresence, 0,
                   "{\"type\":\"user_present\",\"media\":{\"type\":\"text\",\"body\":{\"text\":"
                   "\"hi\"}}}\n"},
        CommandRow{"a failing record writes the event's line", "info", kFailing, 1,
                   "[Body][InfoBody] Can't decode: " + std::string(kFailingDescription)},
        CommandRow{"an unknown kind writes nothing", "info", R"({"type":"left"})", 1, ""},
        CommandRow{"an info body writes the event's line, then the body's", "body --type info",
                   kFailing, 1,
                   "[Body][InfoBody] Can't decode: " + std::string(kFailingDescription) +
                       "[Body] Can't decode due to error: " + std::string(kFailingDescription)},
        CommandRow{"an info body re-encoded", "body --type info", kAdded, 0,
                   "{\"type\":\"added\",\"recipients\":[]}\n"}));

TEST(InfoCommand, ReportsTheRecordsErrorOnStandardError) {
  const test::ToolRun run = runTool("info", std::string(kFailing));
  EXPECT_EQ(run.err, "error: typeMismatch: expected an array, found a string (at recipients)\n");
}

// Two events in files, and what `equal --info` says of them.
struct EqualRow {
  std::string_view name;
  std::string_view first;
  std::string_view second;
  std::string_view out;
};

void PrintTo(const EqualRow& row, std::ostream* out) { *out << row.name; }

std::string inputFile(const std::string& name, std::string_view json) {
  return test::ScratchFiles::instance().write(name + ".json", std::string(json));
}

class EqualInfo : public testing::TestWithParam<EqualRow> {};

TEST_P(EqualInfo, ComparesEventsAndTheirHashes) {
  const std::string first = inputFile("first", GetParam().first);
  const std::string second = inputFile("second", GetParam().second);
  const test::ToolRun run = runTool("equal --info " + quoted(first) + " " + quoted(second));
  EXPECT_EQ(run.out, GetParam().out) << run.err;
}

INSTANTIATE_TEST_SUITE_P(Pairs, EqualInfo,
                         testing::Values(EqualRow{"keys in another order", kAdded,
                                                  R"({"type":"added","recipients":[]})",
                                                  "equal\nhashes equal\n"},
                                         EqualRow{"events of different cases", kAdded,
                                                  R"({"type":"banned","recipients":[]})",
                                                  "different\nhashes differ\n"}));

}  // namespace
}  // namespace tovanel::chat
