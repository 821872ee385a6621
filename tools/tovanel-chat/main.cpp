// tovanel-chat: decodes and re-encodes chat values from the command line.
//   tovanel-chat body --type KIND [FILE]
//   tovanel-chat user [FILE]
//   tovanel-chat info [FILE]
//   tovanel-chat equal (--type KIND | --user | --info) FILE1 FILE2
//   tovanel-chat duration TEXT
//   tovanel-chat check [FILE]
//   tovanel-chat room [FILE]
//   tovanel-chat room --db PATH --room ID
//   tovanel-chat import [FILE] --db PATH
//   tovanel-chat search --db PATH [--room ID] [--limit N] QUERY
// Input is FILE, or standard input when FILE is absent or "-". Exit status: 0 success, 1 the input
// did not decode or the output could not be written, 2 usage error or unreadable input.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Check.hpp"
#include "Errors.hpp"
#include "Output.hpp"
#include "Reading.hpp"
#include "StoreCommands.hpp"
#include "Subject.hpp"
#include "Transcript.hpp"
#include "tovanel/chat/Version.hpp"
#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/duration/DurationConversion.hpp"
#include "tovanel/chat/duration/ISO8601DurationFormatter.hpp"
#include "tovanel/chat/export/Input.hpp"

namespace tool = tovanel::chat::tool;
namespace chat = tovanel::chat;

namespace {

constexpr std::array<std::string_view, 9> kCommands{"body", "check", "duration", "equal", "import",
                                                    "info", "room",  "search",   "user"};

// The name of the input for messages: its path, or "standard input".
std::string nameOf(const std::string& file) {
  return file.empty() || file == "-" ? "standard input" : file;
}

// One value of FILE decoded as the subject, with a decoder that keeps to the message limit and
// writes the library's lines to standard output.
tool::DecodedValue decodeOne(const tool::Subject& subject, const std::string& file,
                             const tool::ReadingSettings& settings) {
  auto input = chat::exports::Input::open(file);
  const std::string json = input.readAll(settings.maximumMessageSize);
  chat::JSONDecoder decoder;
  decoder.maximumDocumentSize = settings.maximumMessageSize;
  decoder.diagnosticSink = tool::diagnosticSinkTo(stdout);
  return subject(decoder, json);
}

int runBody(const tool::Subject& subject, const std::string& file,
            const tool::ReadingSettings& settings) {
  std::string json;
  try {
    json = decodeOne(subject, file, settings).json();
  } catch (const chat::Error&) {
    return tool::reportFailure(std::current_exception());
  }
  tool::writeLine(stdout, json);
  return 0;
}

// The two values; a failure names the file it came from.
int runEqual(const tool::Subject& subject, const std::string& first, const std::string& second,
             const tool::ReadingSettings& settings) {
  std::optional<tool::DecodedValue> values[2];
  const std::string* files[2] = {&first, &second};
  for (int i = 0; i < 2; ++i) {
    try {
      values[i].emplace(decodeOne(subject, *files[i], settings));
    } catch (const chat::Error&) {
      return tool::reportFailure(std::current_exception(), nameOf(*files[i]) + ": ");
    }
  }
  tool::writeLine(stdout, *values[0] == *values[1] ? "equal" : "different");
  tool::writeLine(
      stdout, values[0]->hashValue() == values[1]->hashValue() ? "hashes equal" : "hashes differ");
  return 0;
}

// Prints "<seconds>\t<the components written back as text>", seconds as the JSON output writes
// numbers.
int runDuration(const std::string& text) {
  const auto components = chat::ISO8601DurationFormatter().dateComponents(text);
  if (!components) {
    return tool::reportFailure(std::make_exception_ptr(
        chat::DecodingError(chat::DecodingError::Kind::dataCorrupted, {},
                            "the text \"" + text + "\" is not an ISO 8601 duration")));
  }
  // Digits and the formatter's own letters: nothing to escape, and the tab is the tool's.
  tool::writeText(stdout, chat::JSONEncoder().encode(chat::toTimeInterval(*components)) + '\t' +
                              chat::toISO8601Duration(*components) + '\n');
  return 0;
}

// A first word that names no command, named in the error (CLI11 would only say that a command is
// required). Options before it and their values are skipped.
void refuseUnknownCommand(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "--max-message-size") {
      ++i;
      continue;
    }
    if (word.starts_with("-")) continue;
    if (std::find(kCommands.begin(), kCommands.end(), word) != kCommands.end()) return;
    std::string commands;
    for (const auto command : kCommands)
      commands.append(commands.empty() ? "" : ", ").append(command);
    throw tool::UsageError("unknown command \"" + std::string(word) +
                           "\" (the commands: " + commands + ")");
  }
}

int run(int argc, char** argv) {
  CLI::App app{"Decodes and re-encodes chat values.", "tovanel-chat"};
  app.require_subcommand(1);
  app.fallthrough();  // the options below may come after the command too
  app.set_version_flag("--version", std::string("tovanel-chat ") + TOVANEL_CHAT_VERSION);
  tool::ReadingSettings settings;
  app.add_option("--max-message-size", settings.maximumMessageSize,
                 "the longest message read, in bytes: a line or element of an export, or a whole "
                 "single value (units k, M, G of 1024; 64M unless set)")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Validator(
          [](const std::string& bytes) {
            return bytes == "0" ? std::string("a message of 0 bytes is no message") : std::string();
          },
          "at least 1"));

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
  auto* room =
      app.add_subcommand("room", "render a room export, or a stored room, as a transcript");
  auto* roomInput = room->add_option("FILE", roomFile,
                                     "a JSON array or newline-delimited envelopes; - for stdin");
  std::string roomDatabase;
  std::string roomID;
  auto* roomStore = room->add_option("--db", roomDatabase, "render a room of this message store");
  auto* roomName = room->add_option("--room", roomID, "the stored room's ID");
  roomStore->excludes(roomInput)->needs(roomName);
  roomName->needs(roomStore);

  std::string importFile = "-";
  std::string importDatabase;
  auto* import = app.add_subcommand("import", "store the messages of a room export");
  import->add_option("FILE", importFile,
                     "a JSON array or newline-delimited envelopes; - for stdin");
  import->add_option("--db", importDatabase, "the message store; created when absent")->required();

  std::string searchDatabase;
  std::string searchRoom;
  std::uint64_t searchLimit = 50;
  std::vector<std::string> searchWords;
  auto* search = app.add_subcommand("search", "find the stored messages that hold a query");
  search->add_option("--db", searchDatabase, "the message store")->required();
  auto* searchIn = search->add_option("--room", searchRoom, "search this room only");
  search->add_option("--limit", searchLimit, "the most messages shown (50 unless set)")
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1000000}));
  search
      ->add_option("QUERY", searchWords,
                   "words, \"quoted phrases\" and a star after a word for a prefix (lisb*); "
                   "several arguments are one query")
      ->required();

  std::string durationText;
  auto* duration = app.add_subcommand(
      "duration", "parse ISO 8601 duration text and print its seconds and its text written back");
  duration->add_option("TEXT", durationText, "the duration text, such as PT4M13S")->required();

  try {
    refuseUnknownCommand(argc, argv);
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // --help, --version
      app.exit(error);
      tool::flushStandardOutput();
      return 0;
    }
    throw tool::UsageError(error.what());
  }

  if (body->parsed()) return runBody(tool::bodySubject(kind), file, settings);
  if (user->parsed()) return runBody(tool::userSubject(), userFile, settings);
  if (info->parsed()) return runBody(tool::infoSubject(), infoFile, settings);
  if (duration->parsed()) return runDuration(durationText);
  if (check->parsed()) return tool::runCheck(checkFile, settings);
  if (room->parsed()) {
    return roomStore->count() == 0 ? tool::runRoom(roomFile, settings)
                                   : tool::runStoredRoom(roomDatabase, roomID);
  }
  if (import->parsed()) return tool::runImport(importFile, importDatabase, settings);
  if (search->parsed()) {
    std::string query;
    for (const auto& words : searchWords) query.append(query.empty() ? "" : " ").append(words);
    return tool::runSearch(searchDatabase,
                           searchIn->count() == 0 ? std::nullopt : std::optional(searchRoom),
                           searchLimit, query);
  }
  const auto subject = equalUsers   ? tool::userSubject()
                       : equalInfos ? tool::infoSubject()
                                    : tool::bodySubject(equalKind);
  return runEqual(subject, first, second, settings);
}

// `error: <what>` on stderr, after what standard output still holds; returns `status`.
int fail(const std::exception& error, int status) {
  std::fflush(stdout);
  try {
    tool::writeLine(stderr, std::string("error: ") + error.what());
  } catch (const tool::OutputError&) {
    // Nowhere left to say it: the status says it.
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int status = run(argc, argv);
    tool::flushStandardOutput();
    return status;
  } catch (const tool::UsageError& error) {
    return fail(error, 2);
  } catch (const chat::exports::InputError& error) {
    return fail(error, 2);
  } catch (const tool::OutputError& error) {
    return fail(error, 1);
  }
}
