// Keeps the guide's code equal to compiled sources. Every ```cpp block of the guide, and any other
// fenced block that asks for it, is preceded by a line
//   <!-- snippet: PATH [NAME] -->
// and must equal the lines of PATH (from the repository root) between the two lines that mark the
// region NAME, such as `// [NAME]` or `# [NAME]`, less their common indentation.
//
// Usage: guide-check REPOSITORY_ROOT GUIDE (the guide's path from the root). Prints one line per
// block that differs and exits with 1 when any does.

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

std::string_view trimmed(std::string_view line) {
  const auto first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const auto last = line.find_last_not_of(" \t\r");
  return line.substr(first, last - first + 1);
}

std::optional<std::vector<std::string>> readLines(const std::string& path) {
  std::ifstream file(path);
  if (!file) return std::nullopt;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// True for a line that marks a region: comment leaders, then "[name]" and nothing else.
bool marksRegion(std::string_view line, std::string_view name) {
  std::string_view text = trimmed(line);
  const auto start = text.find_first_not_of("/#!; ");
  if (start == std::string_view::npos || start == 0) return false;
  text = text.substr(start);
  return text.size() == name.size() + 2 && text.front() == '[' && text.back() == ']' &&
         text.substr(1, name.size()) == name;
}

struct Region {
  std::vector<std::string> lines;
  std::string problem;  // why there is no region
};

Region regionOf(const std::vector<std::string>& source, std::string_view name) {
  std::vector<std::size_t> marks;
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (marksRegion(source[i], name)) marks.push_back(i);
  }
  if (marks.size() != 2) {
    return {{},
            "the region [" + std::string(name) + "] is marked " + std::to_string(marks.size()) +
                " times, not twice"};
  }
  std::vector<std::string> lines(source.begin() + static_cast<std::ptrdiff_t>(marks[0]) + 1,
                                 source.begin() + static_cast<std::ptrdiff_t>(marks[1]));
  std::size_t indent = std::string::npos;
  for (const auto& line : lines) {
    if (trimmed(line).empty()) continue;
    indent = std::min(indent, line.find_first_not_of(' '));
  }
  for (auto& line : lines) line = trimmed(line).empty() ? "" : line.substr(indent);
  return {lines, {}};
}

struct Snippet {
  std::string path;
  std::string name;
};

// "<!-- snippet: PATH [NAME] -->"
std::optional<Snippet> snippetIn(std::string_view line) {
  constexpr std::string_view kOpen = "<!-- snippet: ";
  constexpr std::string_view kClose = "] -->";
  line = trimmed(line);
  if (!line.starts_with(kOpen) || !line.ends_with(kClose)) return std::nullopt;
  line.remove_prefix(kOpen.size());
  line.remove_suffix(kClose.size());
  const auto bracket = line.rfind(" [");
  if (bracket == std::string_view::npos) return std::nullopt;
  return Snippet{std::string(line.substr(0, bracket)), std::string(line.substr(bracket + 2))};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: guide-check REPOSITORY_ROOT GUIDE\n";
    return 2;
  }
  const std::string root = argv[1];
  const std::string guidePath = argv[2];
  const auto guide = readLines(root + "/" + guidePath);
  if (!guide) {
    std::cerr << guidePath << ": cannot be read\n";
    return 2;
  }

  int blocks = 0;
  int failures = 0;
  const auto fail = [&](std::size_t line, const std::string& message) {
    std::cerr << guidePath << ':' << line + 1 << ": " << message << '\n';
    ++failures;
  };
  std::optional<Snippet> pending;
  for (std::size_t i = 0; i < guide->size(); ++i) {
    const std::string_view line = trimmed((*guide)[i]);
    if (auto snippet = snippetIn(line)) {
      pending = std::move(snippet);
      continue;
    }
    if (!line.starts_with("```")) {
      if (!line.empty()) pending.reset();
      continue;
    }
    // A fenced block: its lines up to the closing fence.
    const bool isCpp = line == "```cpp";
    const std::size_t open = i;
    std::vector<std::string> block;
    for (++i; i < guide->size() && trimmed((*guide)[i]) != "```"; ++i) block.push_back((*guide)[i]);
    const auto snippet = std::exchange(pending, std::nullopt);
    if (!snippet) {
      if (isCpp) fail(open, "a ```cpp block without a snippet line before it");
      continue;
    }
    ++blocks;
    const auto source = readLines(root + "/" + snippet->path);
    if (!source) {
      fail(open, snippet->path + " cannot be read");
      continue;
    }
    const Region region = regionOf(*source, snippet->name);
    if (!region.problem.empty()) {
      fail(open, snippet->path + ": " + region.problem);
      continue;
    }
    if (block == region.lines) continue;
    std::size_t at = 0;
    while (at < block.size() && at < region.lines.size() && block[at] == region.lines[at]) ++at;
    fail(open + 1 + at, "the block differs from " + snippet->path + " [" + snippet->name +
                            "]: the guide has \"" + (at < block.size() ? block[at] : "") +
                            "\", the source \"" +
                            (at < region.lines.size() ? region.lines[at] : "") + "\"");
  }
  if (blocks == 0) fail(0, "no snippet blocks: the guide quotes no source");
  std::cout << guidePath << ": " << blocks << " blocks checked, " << failures << " differ\n";
  return failures == 0 ? 0 : 1;
}
