// The program browser_test_host, run beside the test: hosts that end in all the ways in which
// programs end.
#ifndef WZAPP_TESTS_PLATFORM_BROWSER_HOST_PROGRAM_H
#define WZAPP_TESTS_PLATFORM_BROWSER_HOST_PROGRAM_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace wzapp_test {

struct HostOptions {
  std::vector<std::string> environment;  // "NAME=value", beside the test's own
  std::string browser;                   // empty: the default one
  std::function<bool()> prepare;  // in the child before it becomes the program; false: give up
};

class HostProgram {
 public:
  // Its temporary files, the browser's profile among them, go to `temporary`.
  HostProgram(const std::string& application, const std::string& temporary,
              const HostOptions& options = HostOptions());
  ~HostProgram();
  HostProgram(const HostProgram&) = delete;
  HostProgram& operator=(const HostProgram&) = delete;

  // The next line that it prints; empty when it has ended or does not print in time.
  std::string readLine();
  void order(const std::string& line);
  void signal(int number) const;
  // Closes its input and waits for its end.
  void waitForEnd();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_PLATFORM_BROWSER_HOST_PROGRAM_H
