// From the start of `wz run` to the first paint of a sample application, with a fresh browser
// profile each time. Goal: under 1.5 s.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

// A terminal that is gone at the end of the program.
class BenchTerminal {
 public:
  BenchTerminal() {
    char name[] = "/tmp/wz-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    directory_ = name;
    const std::string command = std::string(WZ_PROGRAM) + " terminal create " + directory_;
    if (std::system(command.c_str()) != 0) std::abort();
  }
  BenchTerminal(const BenchTerminal&) = delete;
  BenchTerminal& operator=(const BenchTerminal&) = delete;
  ~BenchTerminal() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;
};

// `wz run` with its output in a pipe.
struct Program {
  pid_t process = -1;
  std::FILE* output = nullptr;
};

bool start(const std::string& terminal, Program& program) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&files, ends[0]);
  posix_spawn_file_actions_addclose(&files, ends[1]);
  std::string words[] = {WZ_PROGRAM, "run", "--terminal", terminal, "--headless", EXAMPLES "/tip"};
  char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                             words[4].data(), words[5].data(), nullptr};
  const int code = posix_spawn(&program.process, WZ_PROGRAM, &files, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&files);
  close(ends[1]);
  program.output = fdopen(ends[0], "r");
  return code == 0 && program.output != nullptr;
}

bool awaitFirstPaint(const Program& program) {
  char line[4096];
  while (std::fgets(line, sizeof line, program.output) != nullptr) {
    if (std::string(line).find(" first paint") != std::string::npos) return true;
  }
  return false;
}

void stop(const Program& program) {
  kill(program.process, SIGTERM);  // an interrupt may be ignored, as in the background of a shell
  std::fclose(program.output);
  waitpid(program.process, nullptr, 0);
}

void FirstPaint(benchmark::State& state) {
  const BenchTerminal terminal;
  for (auto _ : state) {
    Program program;
    const Clock::time_point begin = Clock::now();
    const bool painted = start(terminal.directory(), program) && awaitFirstPaint(program);
    const std::chrono::duration<double> time = Clock::now() - begin;
    stop(program);
    if (!painted) {
      state.SkipWithError("wz run showed nothing");
      break;
    }
    state.SetIterationTime(time.count());
  }
}

BENCHMARK(FirstPaint)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(7)
    ->ReportAggregatesOnly();

}  // namespace

BENCHMARK_MAIN();
