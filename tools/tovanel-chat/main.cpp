// tovanel-chat: decodes and re-encodes chat values from the command line.
//   tovanel-chat body --type KIND [FILE]
//   tovanel-chat user [FILE]
//   tovanel-chat info [FILE]
//   tovanel-chat equal (--type KIND | --user | --info) FILE1 FILE2
//   tovanel-chat duration TEXT
//   tovanel-chat check [FILE]
//   tovanel-chat room [FILE]
// Input is FILE, or standard input when FILE is absent or "-". Exit status: 0 success, 1 the input
// did not decode, 2 usage error.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "Check.hpp"
#include "Input.hpp"
#include "Subject.hpp"
#include "Transcript.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"

namespace tool = tovanel::chat::tool;

namespace {

void printLine(const std::string& text) {
  std::string line = text + '\n';
  std::fwrite(line.data(), 1, line.size(), stdout);
}

int runBody(const tool::Subject& subject, const std::string& file) {
  const std::string json = tool::readInput(file);
  try {
    printLine(subject(json).json());
    return 0;
  } catch (...) {
    return tool::reportFailure(std::current_exception());
  }
}

int runEqual(const tool::Subject& subject, const std::string& first, const std::string& second) {
  const std::string firstJson = tool::readInput(first);
  const std::string secondJson = tool::readInput(second);
  try {
    const auto a = subject(firstJson);
    const auto b = subject(secondJson);
    printLine(a == b ? "equal" : "different");
    printLine(a.hashValue() == b.hashValue() ? "hashes equal" : "hashes differ");
    return 0;
  } catch (...) {
    return tool::reportFailure(std::current_exception());
  }
}

// Prints "<seconds>\t<the components written back as text>", seconds as the JSON output writes
// numbers.
int runDuration(const std::string& text) {
  namespace chat = tovanel::chat;
  const auto components = chat::ISO8601DurationFormatter().dateComponents(text);
  if (!components) {
    return tool::reportFailure(std::make_exception_ptr(
        chat::DecodingError(chat::DecodingError::Kind::dataCorrupted, {},
                            "the text \"" + text + "\" is not an ISO 8601 duration")));
  }
  printLine(chat::JSONEncoder().encode(chat::toTimeInterval(*components)) + '\t' +
            chat::toISO8601Duration(*components));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Decodes and re-encodes chat values.", "tovanel-chat"};
  app.require_subcommand(1);

  std::string kind;
  std::string file = "-";
  auto* body = app.add_subcommand("body", "decode one body of KIND and print it re-encoded");
  body->add_option("--type", kind, "the body's kind (text, images, vimeo...)")->required();
  body->add_option("FILE", file, "the JSON input; standard input when absent or -");

  std::string userFile = "-";
  auto* user = app.add_subcommand("user", "decode one user and print it re-encoded");
  user->add_option("FILE", userFile, "the JSON input; standard input when absent or -");

  std::string infoFile = "-";
  auto* info = app.add_subcommand("info", "decode one system event and print it re-encoded");
  info->add_option("FILE", infoFile, "the JSON input; standard input when absent or -");

  std::string equalKind;
  bool equalUsers = false;
  bool equalInfos = false;
  std::string first;
  std::string second;
  auto* equal = app.add_subcommand("equal", "compare two values and their hashes");
  auto* subjects = equal->add_option_group("subject", "what both files hold");
  subjects->add_option("--type", equalKind, "bodies of KIND");
  subjects->add_flag("--user", equalUsers, "users");
  subjects->add_flag("--info", equalInfos, "system events");
  subjects->require_option(1);
  equal->add_option("FILE1", first, "the first JSON input")->required();
  equal->add_option("FILE2", second, "the second JSON input")->required();

  std::string checkFile = "-";
  auto* check = app.add_subcommand("check", "decode every message of a room export");
  check->add_option("FILE", checkFile, "a JSON array or newline-delimited envelopes; - for stdin");

  std::string roomFile = "-";
  auto* room = app.add_subcommand("room", "render a room export as a transcript");
  room->add_option("FILE", roomFile, "a JSON array or newline-delimited envelopes; - for stdin");

  std::string durationText;
  auto* duration = app.add_subcommand(
      "duration", "parse ISO 8601 duration text and print its seconds and its text written back");
  duration->add_option("TEXT", durationText, "the duration text, such as PT4M13S")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help
    std::fprintf(stderr, "error: %s\n", error.what());
    return 2;
  }

  try {
    if (body->parsed()) return runBody(tool::bodySubject(kind), file);
    if (user->parsed()) return runBody(tool::userSubject(), userFile);
    if (info->parsed()) return runBody(tool::infoSubject(), infoFile);
    if (duration->parsed()) return runDuration(durationText);
    if (check->parsed()) return tool::runCheck(checkFile);
    if (room->parsed()) return tool::runRoom(roomFile);
    const auto subject = equalUsers   ? tool::userSubject()
                         : equalInfos ? tool::infoSubject()
                                      : tool::bodySubject(equalKind);
    return runEqual(subject, first, second);
  } catch (const tool::UsageError& error) {
    std::fprintf(stderr, "error: %s\n", error.what());
    return 2;
  }
}
