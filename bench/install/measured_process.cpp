#include "bench/install/measured_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "bench/install/measured_program.h"

namespace bench {
namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

pid_t start(std::string program, std::string terminal, const std::string& log) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0666);
  char* const arguments[] = {program.data(), terminal.data(), nullptr};
  pid_t process = -1;
  const int code = posix_spawn(&process, program.c_str(), &files, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&files);
  if (code != 0) throw std::runtime_error("cannot start " + program);
  return process;
}

std::string lastLine(const std::string& log) {
  std::ifstream file(log);
  std::string last;
  for (std::string line; std::getline(file, line);) last = line + "\n";
  return last;
}

}  // namespace

Measured measure(const std::string& program, const std::string& terminal, const std::string& log) {
  const pid_t process = start(program, terminal, log);
  int status = 0;
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process || !WIFEXITED(status) ||
      WEXITSTATUS(status) != 0) {
    throw std::runtime_error(program + " failed");
  }
  Measured measured;
  measured.seconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  if (std::sscanf(lastLine(log).c_str(), kLastLine, &measured.result, &measured.peakKB) != 2) {
    throw std::runtime_error(program + " did not say how its run ended");
  }
  return measured;
}

}  // namespace bench
