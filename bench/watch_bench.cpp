// From a saved file to what the page makes of it, with `wz run --watch`: the median of 20. Goal:
// under 300 ms.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/median.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kSaves = 20;
constexpr double kGoalMs = 300;

// A terminal and an application's folder, gone at the end of the program.
class Workplace {
 public:
  Workplace() {
    char name[] = "/tmp/wz-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    root_ = name;
    const std::string command =
        std::string(WZ_PROGRAM) + " terminal create " + terminal() + " > /dev/null";
    if (std::system(command.c_str()) != 0) std::abort();
    fs::create_directory(folder());
    save("manifest.mft",
         R"({"application": {"id": "bench", "version": "1"}, "desktop": {"file": "index.html"}})");
    save("index.html", "<link rel=stylesheet href=app.css><p>x</p><script src=app.js></script>");
    save("app.css", "");
    saveScript(0);
  }
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;
  ~Workplace() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  std::string terminal() const { return root_ + "/terminal"; }
  std::string folder() const { return root_ + "/app"; }

  void saveScript(int number) const {
    save("app.js", "console.info('script " + std::to_string(number) +
                       "');let last = '';setInterval(() => {const now = "
                       "getComputedStyle(document.querySelector('p')).lineHeight;"
                       "if (now !== last) console.info('style', last = now); }, 5);");
  }

  void saveStyle(int number) const {
    save("app.css", "p { line-height: " + std::to_string(number) + "px }");
  }

 private:
  void save(const std::string& name, const std::string& content) const {
    std::ofstream(folder() + "/" + name) << content;
  }

  std::string root_;
};

class Program {
 public:
  explicit Program(const Workplace& place) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    std::vector<std::string> words = {WZ_PROGRAM,       "run",        "--watch",     "--terminal",
                                      place.terminal(), "--headless", place.folder()};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (posix_spawn(&process_, WZ_PROGRAM, &files, nullptr, arguments.data(), environ) != 0)
      std::abort();
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    kill(process_, SIGTERM);
    std::fclose(output_);
    waitpid(process_, nullptr, 0);
  }

  bool await(const std::string& text) const {
    char line[4096];
    while (std::fgets(line, sizeof line, output_) != nullptr) {
      if (std::string(line).find(text) != std::string::npos) return true;
    }
    return false;
  }

 private:
  pid_t process_ = -1;
  std::FILE* output_ = nullptr;
};

// False when the page has not shown what was saved, or too late.
bool measure(const char* name, const Program& program, const std::function<void(int)>& save,
             const std::function<std::string(int)>& shown) {
  std::vector<double> times;
  for (int i = 1; i <= kSaves; ++i) {
    const Clock::time_point begin = Clock::now();
    save(i);
    if (!program.await(shown(i))) {
      std::printf("%s: the page did not show what was saved\n", name);
      return false;
    }
    times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
  }
  const double middle = bench::median(times);
  std::printf("%s: median of %d %.0f ms, goal %.0f ms\n", name, kSaves, middle, kGoalMs);
  return middle < kGoalMs;
}

}  // namespace

int main() {
  const Workplace place;
  const Program program(place);
  if (!program.await("style")) return 1;
  const bool script = measure(
      "Watch/script", program, [&](int i) { place.saveScript(i); },
      [](int i) { return "script " + std::to_string(i) + " "; });
  const bool style = measure(
      "Watch/style", program, [&](int i) { place.saveStyle(i); },
      [](int i) { return "style " + std::to_string(i) + "px"; });
  return script && style ? 0 : 1;
}
