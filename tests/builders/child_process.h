// Runs part of a test in a process of its own: what a process does only once (fill a cache, enter a
// namespace) can then be tested from a fresh start any number of times.
#ifndef WZAPP_TESTS_BUILDERS_CHILD_PROCESS_H
#define WZAPP_TESTS_BUILDERS_CHILD_PROCESS_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sstream>
#include <string>

namespace wzapp_test {

// fork(2) of a process with one thread, which the child is to have as well: ThreadSanitizer's own
// fork() gives it a second one, and a process with two cannot enter a user namespace.
inline pid_t forkSingleThread() {
#ifdef __SANITIZE_THREAD__
  return _Fork();
#else
  return fork();
#endif
}

namespace child_process_detail {

// Writes the failures of the child's assertions to a pipe instead of the test's output.
class FailurePipe : public testing::EmptyTestEventListener {
 public:
  explicit FailurePipe(int descriptor) : descriptor_(descriptor) {}

  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (!result.failed()) return;
    hasFailed_ = true;
    std::ostringstream text;
    if (result.file_name() != nullptr) text << result.file_name() << ':' << result.line_number();
    text << '\n' << result.message() << '\n';
    write(text.str());
  }

  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  void write(const std::string& text) const {
    std::size_t written = 0;
    while (written < text.size()) {
      const ssize_t count = ::write(descriptor_, text.data() + written, text.size() - written);
      if (count < 0 && errno != EINTR) return;  // the parent is gone
      if (count > 0) written += static_cast<std::size_t>(count);
    }
  }

  int descriptor_;
  bool hasFailed_ = false;
};

// Ends the child. Not by _exit: the leak check and the coverage counters are written on the way
// out.
template <class Body>
[[noreturn]] void runBody(const Body& body, int descriptor) {
  testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  auto* const failures = new FailurePipe(descriptor);
  listeners.Append(failures);
  try {
    body();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "exception: " << error.what();
  } catch (...) {
    ADD_FAILURE() << "exception of an unknown type";
  }
  std::exit(failures->hasFailed() ? EXIT_FAILURE : EXIT_SUCCESS);
}

inline std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> block;
  while (true) {
    const ssize_t count = read(descriptor, block.data(), block.size());
    if (count == 0 || (count < 0 && errno != EINTR)) return text;
    if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
  }
}

inline std::string describeEnd(int status) {
  if (WIFSIGNALED(status)) {
    return "child process ended by signal " + std::to_string(WTERMSIG(status));
  }
  return "child process ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace child_process_detail

// How a child process ended, and the failures of its assertions as text.
struct ChildResult {
  int status = -1;  // as waitpid(2) gives it
  std::string failures;
};

// Runs `body` as runInChild() does, but leaves the judgement to the caller.
template <class Body>
ChildResult tryInChild(const Body& body) {
  namespace detail = child_process_detail;
  ChildResult result;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    result.failures = std::string("pipe2: ") + std::strerror(errno);
    return result;
  }
  std::fflush(nullptr);  // or the child would write what is still buffered a second time
  const pid_t child = forkSingleThread();
  if (child == 0) {
    close(ends[0]);
    detail::runBody(body, ends[1]);
  }
  const int error = errno;
  close(ends[1]);
  result.failures =
      child > 0 ? detail::readAll(ends[0]) : std::string("fork: ") + std::strerror(error);
  close(ends[0]);
  while (child > 0 && waitpid(child, &result.status, 0) < 0 && errno == EINTR) {
  }
  return result;
}

// Runs `body`, a callable without arguments, in a child process and waits for its end. Failed
// assertions and exceptions in the child become failures of the calling test, as do a signal and a
// status other than 0, such as a sanitizer's. The child is a copy of the caller: what it changes in
// memory is not seen here, and what belongs to the caller (files, directories) is not cleaned up
// there. Call it while no other thread runs. True if the child had no failure.
template <class Body>
bool runInChild(const Body& body) {
  const ChildResult result = tryInChild(body);
  if (result.status == 0 && result.failures.empty()) return true;
  ADD_FAILURE() << child_process_detail::describeEnd(result.status) << '\n' << result.failures;
  return false;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_CHILD_PROCESS_H
