/// A program of this folder in a process of its own, inside the same terminal.
#ifndef WZAPP_TESTS_END_TO_END_CHILD_PROGRAM_H
#define WZAPP_TESTS_END_TO_END_CHILD_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/end_to_end/waiting.h"
#include "zelipc/zelipc.h"

namespace wzapp_test {

/// The folder in which this test program and its helpers lie.
std::string programFolder();

/// Talks with the program in lines through its standard input and output. The program is killed
/// with the object if it still runs then.
class ChildProgram {
 public:
  /// `environment` is added to this process's own, as NAME=VALUE, and counts before it.
  ChildProgram(const std::string& name, const std::vector<std::string>& arguments,
               const std::vector<std::string>& environment = {});
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  ~ChildProgram();

  pid_t id() const { return id_; }

  void tell(const std::string& line) const;
  void closeInput();

  /// Waits for the next line and stores it without its line feed. False when nothing comes.
  [[nodiscard]] bool awaitLine(std::string& line);

  /// Waits for a line that begins with `beginning`; what stands behind it is stored, lines before
  /// it are passed over.
  [[nodiscard]] bool awaitLine(const std::string& beginning, std::string& rest);

  /// Whether there is a line that has not been taken.
  [[nodiscard]] bool hasLine() const { return lines_.all().size() > linesTaken_; }

  void signal(int number) const;

  /// Waits for the end. The exit code, minus the signal's number, or -1000 when it does not come.
  int awaitEnd();

 private:
  void readOutput(int output);

  pid_t id_ = -1;
  int input_ = -1;
  Collected<std::string> lines_;
  std::size_t linesTaken_ = 0;
  std::thread reader_;  // so that the program never waits for the test
};

/// A program that knows nothing of the test but the bus: it listens at `address` for `name` and,
/// unless it only listens, answers.
class Partner {
 public:
  enum Manner { kListens, kAnswers };

  Partner(const std::string& address, const std::string& name, Manner manner = kAnswers);

  /// Waits for the next notification: its "from", "to", "name", "flags" and "payload".
  [[nodiscard]] bool awaitNotification(zelipc::JSObject& notification);

  /// Whether there is one to be had.
  [[nodiscard]] bool hasHeard() const { return program_.hasLine(); }

  /// Sends the answers that were asked to be held ({"hold": true}).
  void release() const { program_.tell("release"); }

 private:
  ChildProgram program_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_CHILD_PROGRAM_H
