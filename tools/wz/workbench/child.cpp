#include "wz/workbench/child.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/file_system.h"

namespace wz {
namespace {

constexpr std::chrono::seconds kPatience{10};  // for a child that was asked to end
constexpr std::size_t kLargestOutput = std::size_t{64} << 20;
constexpr std::size_t kLargestLine = std::size_t{40} << 20;  // a message of the bus and its escapes
constexpr std::size_t kKeptErrors = 16384;

// What a new process needs, made before the fork: behind it nothing may be allocated.
struct Start {
  std::vector<char*> arguments;
  const char* folder;
  int input, output, errors;
  pid_t parent;
};

[[noreturn]] void become(const Start& start) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != start.parent) _exit(1);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  dup2(start.input, STDIN_FILENO);
  dup2(start.output, STDOUT_FILENO);
  dup2(start.errors, STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  if (*start.folder == '\0' || chdir(start.folder) == 0) {
    execv("/proc/self/exe", start.arguments.data());
  }
  _exit(127);
}

// In memory, so that a child that does not read it holds up nobody.
int inputWith(const std::string& content) {
  if (content.empty()) return open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int file = memfd_create("input", MFD_CLOEXEC);
  if (file >= 0 && wzapp::writeWhole(file, wzapp::viewOf(content))) lseek(file, 0, SEEK_SET);
  return file;
}

// Hands the whole lines of `text` on and leaves the rest.
void takeLines(std::string& text, const std::function<void(const std::string& line)>& onLine) {
  std::size_t begin = 0;
  for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    onLine(text.substr(begin, end - begin));
  }
  text.erase(0, begin);
}

void setNonBlocking(int descriptor) {
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

}  // namespace

void prepareForChildren(const std::string& terminal) {
  setenv("WZ_TERMINAL", terminal.c_str(), 1);
  setenv("WZ_END_WITH_PARENT", "1", 1);
}

Child::Child(Loop& loop, Listener listener) : loop_(loop), listener_(std::move(listener)) {}

std::unique_ptr<Child> Child::start(Loop& loop, const ChildPlan& plan, Listener listener,
                                    std::string& error) {
  std::unique_ptr<Child> child(new Child(loop, std::move(listener)));
  Start start{{}, plan.folder.c_str(), -1, -1, -1, getpid()};
  std::string program = "wz";
  start.arguments.push_back(program.data());
  for (const std::string& argument : plan.arguments)
    start.arguments.push_back(const_cast<char*>(argument.c_str()));
  start.arguments.push_back(nullptr);

  int input[2] = {-1, -1}, output[2] = {-1, -1}, errors[2] = {-1, -1};
  const bool hasPipes =
      pipe2(output, O_CLOEXEC) == 0 && pipe2(errors, O_CLOEXEC) == 0 &&
      (plan.takesInput ? pipe2(input, O_CLOEXEC) == 0 : (input[0] = inputWith(plan.input)) >= 0);
  start.input = input[0];
  start.output = output[1];
  start.errors = errors[1];
  if (hasPipes) child->process_ = fork();
  if (child->process_ == 0) become(start);
  if (child->process_ < 0) error = std::string("cannot start wz: ") + std::strerror(errno);
  for (const int descriptor : {input[0], output[1], errors[1]}) {
    if (descriptor >= 0) close(descriptor);
  }
  child->input_ = input[1];
  child->output_ = output[0];
  child->errors_ = errors[0];
  if (child->process_ < 0) return nullptr;

  child->exit_ = static_cast<int>(syscall(SYS_pidfd_open, child->process_, 0));
  Child* const self = child.get();
  for (const int descriptor : {self->input_, self->output_, self->errors_}) {
    if (descriptor >= 0) setNonBlocking(descriptor);
  }
  loop.watch(self->output_, POLLIN, [self] { self->readOutput(); });
  loop.watch(self->errors_, POLLIN, [self] { self->readErrors(); });
  loop.watch(self->exit_, POLLIN, [self] { self->tryEnd(); });
  if (plan.limit.count() > 0) {
    self->timer_ = loop.after(plan.limit, [self] {
      self->end_.isLate = true;
      self->end();
    });
  }
  return child;
}

Child::~Child() {
  loop_.cancel(timer_);
  closePipe(input_);
  closePipe(output_);
  closePipe(errors_);
  closePipe(exit_);
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void Child::closePipe(int& pipe) {
  if (pipe < 0) return;
  loop_.forget(pipe);
  close(pipe);
  pipe = -1;
}

void Child::readOutput() {
  std::array<char, 65536> block;
  const ssize_t count = read(output_, block.data(), block.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    closePipe(output_);
    return tryEnd();
  }
  end_.output.append(block.data(), static_cast<std::size_t>(count));
  if (listener_.onLine) takeLines(end_.output, listener_.onLine);
  if (end_.output.size() <= (listener_.onLine ? kLargestLine : kLargestOutput)) return;
  end_.isTooLong = true;
  end_.output.clear();
  end();
}

void Child::readErrors() {
  std::array<char, 4096> block;
  const ssize_t count = read(errors_, block.data(), block.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    closePipe(errors_);
    return tryEnd();
  }
  const std::string text(block.data(), static_cast<std::size_t>(count));
  end_.errors += text;
  if (listener_.onError) {
    errorLine_ += text;
    takeLines(errorLine_, listener_.onError);
  }
  if (end_.errors.size() > kKeptErrors) end_.errors.erase(0, end_.errors.size() - kKeptErrors);
}

void Child::write(const std::string& line) {
  if (input_ < 0) return;
  toWrite_ += line + '\n';
  writeSome();
}

void Child::writeSome() {
  const ssize_t count = ::write(input_, toWrite_.data(), toWrite_.size());
  if (count < 0 && errno != EINTR && errno != EAGAIN) {
    toWrite_.clear();
    return closePipe(input_);
  }
  if (count > 0) toWrite_.erase(0, static_cast<std::size_t>(count));
  if (toWrite_.empty()) return loop_.forget(input_);
  loop_.watch(input_, POLLOUT, [this] { writeSome(); });
}

void Child::end() {
  if (isAsked_ || process_ <= 0) return;
  isAsked_ = true;
  kill(process_, SIGTERM);
  loop_.cancel(timer_);
  timer_ = loop_.after(kPatience, [this] { kill(process_, SIGKILL); });
}

// It has ended when its process has, and its pipes are read empty. What it leaves behind and
// what still holds them (there should be nothing) is not waited for.
void Child::tryEnd() {
  if (process_ > 0) {
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) != process_) return;
    process_ = -1;
    closePipe(exit_);
    closePipe(input_);
    loop_.cancel(timer_);
    end_.code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    constexpr std::chrono::milliseconds kDrain{500};
    timer_ = loop_.after(kDrain, [this] {
      closePipe(output_);
      closePipe(errors_);
      tryEnd();
    });
  }
  if (output_ >= 0 || errors_ >= 0) return;
  loop_.cancel(timer_);
  timer_ = 0;
  if (listener_.onLine && !end_.output.empty()) listener_.onLine(end_.output);
  const auto onEnd = std::move(listener_.onEnd);
  const ChildEnd end = std::move(end_);
  if (onEnd) onEnd(end);  // `this` may be gone behind it
}

}  // namespace wz
