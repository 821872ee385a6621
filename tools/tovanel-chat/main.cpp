// tovanel-chat: decodes and re-encodes chat values from the command line.
//   tovanel-chat body --type KIND [FILE]
//   tovanel-chat equal --type KIND FILE1 FILE2
// Input is FILE, or standard input when FILE is absent or "-". Exit status: 0 success, 1 the input
// did not decode, 2 usage error.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "Input.hpp"
#include "Subject.hpp"

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

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Decodes and re-encodes chat values.", "tovanel-chat"};
  app.require_subcommand(1);

  std::string kind;
  std::string file = "-";
  auto* body = app.add_subcommand("body", "decode one body of KIND and print it re-encoded");
  body->add_option("--type", kind, "the body's kind (text, images, vimeo...)")->required();
  body->add_option("FILE", file, "the JSON input; standard input when absent or -");

  std::string equalKind;
  std::string first;
  std::string second;
  auto* equal = app.add_subcommand("equal", "compare two values and their hashes");
  equal->add_option("--type", equalKind, "decode both as bodies of KIND")->required();
  equal->add_option("FILE1", first, "the first JSON input")->required();
  equal->add_option("FILE2", second, "the second JSON input")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help
    std::fprintf(stderr, "error: %s\n", error.what());
    return 2;
  }

  try {
    if (body->parsed()) return runBody(tool::bodySubject(kind), file);
    return runEqual(tool::bodySubject(equalKind), first, second);
  } catch (const tool::UsageError& error) {
    std::fprintf(stderr, "error: %s\n", error.what());
    return 2;
  }
}
