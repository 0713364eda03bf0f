#include "wz/host/programs.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <set>
#include <thread>
#include <utility>

#include "support/file_system.h"
#include "support/mutex.h"

extern char** environ;

namespace wz {
namespace {

constexpr std::size_t kThreads = 8;
constexpr std::size_t kLargestOutput = std::size_t{1} << 20;  // octets

using Clock = std::chrono::steady_clock;

struct Job {
  std::vector<std::string> program;
  std::string folder, input;
  std::chrono::milliseconds timeout;
  std::function<void(ProgramOutput)> done;
};

// In memory, so that a program that does not read it holds up nobody.
int fileWith(const std::string& content) {
  const int file = memfd_create("notification", MFD_CLOEXEC);
  if (file < 0) return -1;
  if (wzapp::writeWhole(file, wzapp::viewOf(content)) && lseek(file, 0, SEEK_SET) == 0) return file;
  close(file);
  return -1;
}

// A process group of its own, so that what it has started can be ended with it. 0, or an error.
int spawn(const Job& job, int input, int output, pid_t& process) {
  std::vector<char*> arguments;
  for (const std::string& argument : job.program) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addchdir_np(&actions, job.folder.c_str());
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  const int failure =
      posix_spawnp(&process, arguments.front(), &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

enum class Reading { kEnd, kTooMuch, kTimeout };

Reading readUntilEnd(int pipe, Clock::time_point deadline, std::string& output) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return Reading::kTimeout;
    pollfd readable{pipe, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(left.count())) <= 0) continue;
    std::array<char, 4096> block;
    const ssize_t count = read(pipe, block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return Reading::kEnd;
    output.append(block.data(), static_cast<std::size_t>(count));
    if (output.size() > kLargestOutput) return Reading::kTooMuch;
  }
}

std::string describeEnd(int status) {
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : "ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

struct Programs::Shared {
  wzapp::Mutex mutex;
  pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
  std::deque<Job> jobs WZAPP_GUARDED_BY(mutex);
  std::set<pid_t> running WZAPP_GUARDED_BY(mutex);
  bool stopping WZAPP_GUARDED_BY(mutex) = false;
  std::size_t idle WZAPP_GUARDED_BY(mutex) = 0;
  std::vector<std::thread> threads;  // the owner's own

  void work();
  ProgramOutput run(const Job& job);
};

Programs::Programs() : shared_(std::make_shared<Shared>()) {}

Programs::~Programs() {
  {
    const wzapp::MutexLock lock(shared_->mutex);
    shared_->stopping = true;
    for (const pid_t process : shared_->running) kill(-process, SIGKILL);
  }
  pthread_cond_broadcast(&shared_->changed);
  for (std::thread& thread : shared_->threads) thread.join();
}

void Programs::start(std::vector<std::string> program, std::string folder, std::string input,
                     std::chrono::milliseconds timeout, std::function<void(ProgramOutput)> done) {
  bool needsThread = false;
  {
    const wzapp::MutexLock lock(shared_->mutex);
    shared_->jobs.push_back(
        {std::move(program), std::move(folder), std::move(input), timeout, std::move(done)});
    needsThread = shared_->idle < shared_->jobs.size() && shared_->threads.size() < kThreads;
  }
  if (needsThread) shared_->threads.emplace_back([shared = shared_.get()] { shared->work(); });
  pthread_cond_signal(&shared_->changed);
}

void Programs::Shared::work() {
  for (;;) {
    Job job;
    {
      const wzapp::MutexLock lock(mutex);
      ++idle;
      while (!stopping && jobs.empty()) pthread_cond_wait(&changed, mutex.native());
      --idle;
      if (stopping) return;
      job = std::move(jobs.front());
      jobs.pop_front();
    }
    job.done(run(job));
  }
}

ProgramOutput Programs::Shared::run(const Job& job) {
  const int input = fileWith(job.input);
  int ends[2] = {-1, -1};
  if (input < 0 || pipe2(ends, O_CLOEXEC) != 0) {
    if (input >= 0) close(input);
    return {"", std::string("could not be started: ") + std::strerror(errno)};
  }
  pid_t process = -1;
  int failure = 0;
  {
    // Under the lock, so that none is started behind the back of who ends them all.
    const wzapp::MutexLock lock(mutex);
    failure = stopping ? ECANCELED : spawn(job, input, ends[1], process);
    if (failure == 0) running.insert(process);
  }
  close(input);
  close(ends[1]);
  ProgramOutput result;
  Reading reading = Reading::kEnd;
  if (failure == 0) reading = readUntilEnd(ends[0], Clock::now() + job.timeout, result.output);
  close(ends[0]);
  if (failure != 0) return {"", std::string("could not be started: ") + std::strerror(failure)};
  // Also what it has left running: nobody reads what that writes.
  if (reading != Reading::kEnd) kill(-process, SIGKILL);
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  {
    const wzapp::MutexLock lock(mutex);
    running.erase(process);
  }
  result.failure = reading == Reading::kTimeout   ? "did not end in time"
                   : reading == Reading::kTooMuch ? "wrote more than 1 MiB"
                                                  : describeEnd(status);
  return result;
}

}  // namespace wz
