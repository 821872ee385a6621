// End-to-end runs of the tovanel-chat tool: exit statuses, what goes to stdout and stderr.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/Capture.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat {
namespace {

namespace fs = std::filesystem;

struct ToolRun {
  int exit = -1;
  std::string out;
  std::string err;
};

std::string readAll(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::size_t lineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A scratch directory holding the inputs; the tool runs inside it.
class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = info->name();
    std::replace(name.begin(), name.end(), '/', '-');
    dir_ = fs::temp_directory_path() / ("tovanel-tool-" + std::to_string(::getpid()) + "-" + name);
    fs::create_directories(dir_);
    const std::vector<std::pair<const char*, const char*>> files{
        {"text.json", R"({"mentions":[],"text":"hi"})"},
        {"precomposed.json", "{\"text\":\"caf\xC3\xA9\"}"},
        {"decomposed.json", "{\"text\":\"cafe\xCC\x81\"}"},
        {"other.json", R"({"text":"bye"})"},
        {"bad-text.json", R"({"text":5})"},
        {"malformed.json", R"({"text":)"},
        {"number.json", "42"},
    };
    for (const auto& [name, content] : files) std::ofstream(dir_ / name) << content;
  }
  void TearDown() override { fs::remove_all(dir_); }

  ToolRun run(const std::string& args, const char* stdinFile = nullptr) const {
    const std::string command = "cd '" + dir_.string() + "' && '" TOVANEL_CHAT_TOOL "' " + args +
                                (stdinFile ? std::string(" <") + stdinFile : " </dev/null") +
                                " >out.txt 2>err.txt";
    const int status = std::system(command.c_str());
    ToolRun result;
    if (WIFEXITED(status)) result.exit = WEXITSTATUS(status);
    result.out = readAll(dir_ / "out.txt");
    result.err = readAll(dir_ / "err.txt");
    return result;
  }

  fs::path dir_;
};

struct ToolRow {
  const char* name;
  const char* args;
  const char* stdinFile;
  int exit;
  const char* out;        // the exact standard output
  const char* errPrefix;  // the one line on standard error starts with this ("" for no line)
};

class ToolRunTest : public ToolTest, public ::testing::WithParamInterface<ToolRow> {};

TEST_P(ToolRunTest, ExitsWithItsStatusAndPrintsWhereItShould) {
  const auto& row = GetParam();
  const ToolRun result = run(row.args, row.stdinFile);
  EXPECT_EQ(result.exit, row.exit) << result.err;
  EXPECT_EQ(result.out, row.out);
  EXPECT_EQ(result.err.rfind(row.errPrefix, 0), 0u) << result.err;
  EXPECT_EQ(lineCount(result.err), *row.errPrefix ? 1u : 0u) << result.err;
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ToolRunTest,
    ::testing::Values(
        ToolRow{"BodyReencodesCompactly", "body --type text text.json", nullptr, 0,
                "{\"text\":\"hi\",\"mentions\":[]}\n", ""},
        ToolRow{"BodyReadsStdinForDash", "body --type text -", "other.json", 0,
                "{\"text\":\"bye\"}\n", ""},
        ToolRow{"BodyReadsStdinWithoutFile", "body --type text", "other.json", 0,
                "{\"text\":\"bye\"}\n", ""},
        ToolRow{"SilentKindPrintsAnEmptyObject", "body --type vimeo number.json", nullptr, 0,
                "{}\n", ""},
        ToolRow{"HintIgnoresBadText", "body --type hint bad-text.json", nullptr, 0, "{}\n", ""},
        ToolRow{"MalformedJson", "body --type text malformed.json", nullptr, 1, "",
                "error: dataCorrupted: "},
        ToolRow{"UnknownKind", "body --type Text text.json", nullptr, 2, "", "error: "},
        ToolRow{"MissingType", "body text.json", nullptr, 2, "", "error: "},
        ToolRow{"UnreadableFile", "body --type text missing.json", nullptr, 2, "", "error: "},
        ToolRow{"UnknownCommand", "reencode text.json", nullptr, 2, "", "error: "},
        ToolRow{"CanonicallyEqualText", "equal --type text precomposed.json decomposed.json",
                nullptr, 0, "equal\nhashes equal\n", ""},
        ToolRow{"DifferentText", "equal --type text text.json other.json", nullptr, 0,
                "different\nhashes differ\n", ""},
        ToolRow{"EqualReadsStdinForDash", "equal --type text - other.json", "other.json", 0,
                "equal\nhashes equal\n", ""},
        ToolRow{"EqualFailsAsBodyDoes", "equal --type text text.json malformed.json", nullptr, 1,
                "", "error: dataCorrupted: "},
        ToolRow{"EqualNeedsTwoFiles", "equal --type text text.json", nullptr, 2, "", "error: "}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ToolTest, AFailingBodyPrintsTheLibrarysLineAndItsErrorKind) {
  const ToolRun result = run("body --type text bad-text.json");
  const auto library = test::captureStdout([&] {
    JSONDecoder decoder;
    decoder.decode(readAll(dir_ / "bad-text.json"),
                   [](const Decoder& root) { return Body::decode(root, BodyType::text); });
  });
  ASSERT_TRUE(library.error);
  EXPECT_EQ(result.exit, 1);
  EXPECT_EQ(result.out, library.out);  // the tool adds nothing to the library's line
  EXPECT_EQ(result.out.rfind("[Body] Can't decode due to error: ", 0), 0u) << result.out;
  EXPECT_EQ(result.err.rfind("error: typeMismatch: ", 0), 0u) << result.err;
  EXPECT_EQ(lineCount(result.err), 1u) << result.err;
}

}  // namespace
}  // namespace tovanel::chat
