// `tovanel-chat check` over generated room exports, run as its own process: messages and bytes
// per second, and the process's peak resident memory. The peak must not grow with the size of the
// file, since the tool streams it, nor with its layout: an array is read element by element in the
// same flat memory as newline-delimited envelopes (within 1.5x, for 200,000 messages). Beside it,
// its floor as a process (tovanel-chat-floor) on the same newline-delimited files.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Corpus.hpp"
#include "tovanel/chat/export/ExportWriter.hpp"

extern char** environ;

namespace tovanel::chat::bench {
namespace {

namespace fs = std::filesystem;

// A generated export on disk, removed when the process ends.
class ExportFile {
 public:
  ExportFile(std::size_t messages, exports::ExportFormat format)
      : path_(fs::temp_directory_path() /
              ("tovanel-bench-" + std::to_string(::getpid()) + "-" + std::to_string(messages) +
               (format == exports::ExportFormat::array ? ".json" : ".ndjson"))) {
    std::ofstream out(path_, std::ios::binary);
    {
      exports::ExportWriter writer(out, format);
      for (std::size_t i = 0; i < messages; ++i) writer.add(generateEnvelope(2026, i, roomMix()));
    }
    bytes_ = static_cast<std::size_t>(out.tellp());
  }
  ~ExportFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  ExportFile(const ExportFile&) = delete;
  ExportFile& operator=(const ExportFile&) = delete;

  const fs::path& path() const noexcept { return path_; }
  std::size_t bytes() const noexcept { return bytes_; }

 private:
  fs::path path_;
  std::size_t bytes_ = 0;
};

const ExportFile& exportOf(std::size_t messages, exports::ExportFormat format) {
  static std::map<std::pair<std::size_t, exports::ExportFormat>, std::unique_ptr<ExportFile>> made;
  auto& slot = made[{messages, format}];
  if (!slot) slot = std::make_unique<ExportFile>(messages, format);
  return *slot;
}

// The high-water mark of the process's resident memory, in bytes (0 once it has exited). Read from
// /proc because the rusage of a child started from this large process counts this process's
// memory too.
long long residentPeak(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::atoll(line.c_str() + 6) * 1024;  // in kB
  }
  return 0;
}

// What a run of a program used: its peak resident memory in bytes (-1 when it could not run or
// did not succeed), sampled while it runs, and the CPU time it took (user and system), which holds
// better than the wall time when other work shares the machine.
struct ProcessUse {
  long long peak = -1;
  double cpuSeconds = 0;
};

// Runs `program` with `arguments` and its output discarded.
ProcessUse runProcess(const std::string& program, std::vector<std::string> arguments) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  arguments.insert(arguments.begin(), program);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return {};
  long long peak = 0;
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, WNOHANG, &usage) == 0) {
    peak = std::max(peak, residentPeak(child));
    usleep(1000);
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return {peak, seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

// Times `run` on the export of state.range(0) messages in the layout state.range(1), once per
// iteration, and reports its rates, the highest peak of resident memory it returned and its mean
// CPU time per run.
template <class Run>
void measureProcess(benchmark::State& state, Run run) {
  const auto messages = static_cast<std::size_t>(state.range(0));
  const auto format = static_cast<exports::ExportFormat>(state.range(1));
  const ExportFile& file = exportOf(messages, format);
  state.SetLabel(format == exports::ExportFormat::array ? "array" : "lines");
  long long peak = 0;
  double cpuSeconds = 0;
  for (auto _ : state) {
    const ProcessUse used = run(file.path());
    if (used.peak < 0) {
      state.SkipWithError("the program did not succeed on the export");
      return;
    }
    peak = std::max(peak, used.peak);
    cpuSeconds += used.cpuSeconds;
  }
  const auto runs = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(runs * static_cast<double>(file.bytes())));
  state.counters["msgs/s"] =
      benchmark::Counter(runs * static_cast<double>(messages), benchmark::Counter::kIsRate);
  state.counters["cpu_ms"] = benchmark::Counter(1000.0 * cpuSeconds / runs);
  state.counters["peak_MiB"] = benchmark::Counter(static_cast<double>(peak) / (1024.0 * 1024.0));
  state.counters["file_MiB"] =
      benchmark::Counter(static_cast<double>(file.bytes()) / (1024.0 * 1024.0));
}

void BM_CheckTool(benchmark::State& state) {
  measureProcess(state, [](const fs::path& file) {
    return runProcess(TOVANEL_CHAT_TOOL, {"check", file.string()});
  });
}

// The floor of BM_CheckTool: tovanel-chat-floor reads the same newline-delimited export with
// getline, copies each line into the parser, parses it and walks every value.
void BM_FloorTool(benchmark::State& state) {
  measureProcess(
      state, [](const fs::path& file) { return runProcess(TOVANEL_CHAT_FLOOR, {file.string()}); });
}

// The corpus size and twice it, newline-delimited and as an array: the peak must stay put.
BENCHMARK(BM_CheckTool)
    ->ArgNames({"messages", "array"})
    ->Args({static_cast<std::int64_t>(benchMessageCount()), 0})
    ->Args({static_cast<std::int64_t>(benchMessageCount()), 1})
    ->Args({static_cast<std::int64_t>(2 * benchMessageCount()), 0})
    ->Args({static_cast<std::int64_t>(2 * benchMessageCount()), 1})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FloorTool)
    ->ArgNames({"messages", "array"})
    ->Args({static_cast<std::int64_t>(benchMessageCount()), 0})
    ->Args({static_cast<std::int64_t>(2 * benchMessageCount()), 0})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovanel::chat::bench
