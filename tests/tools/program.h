/// Runs `wz`, or a tool of the build, as a user does: as a program of its own, with its output read
/// back.
#ifndef WZAPP_TESTS_TOOLS_PROGRAM_H
#define WZAPP_TESTS_TOOLS_PROGRAM_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace wzapp_test {

/// How the tools end; what 1 means is the tool's to say.
inline constexpr int kDone = 0, kFailed = 1, kRejected = 1, kNothingCame = 1, kUsage = 2,
                     kEnvironment = 3;

/// A running program. What it writes is collected; it is killed when the object goes first.
class Program {
 public:
  /// `prepare` runs in the new process before the program does, which is `wz` unless told.
  explicit Program(const std::vector<std::string>& arguments,
                   const std::function<void()>& prepare = nullptr,
                   const std::string& program = WZ_PROGRAM);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t id() const { return id_; }

  /// Reads until `text` has been written to either output. False when the program ends, or a minute
  /// passes, without it.
  bool awaitOutput(const std::string& text);

  void signal(int number) const;

  /// Waits for the end, at most a minute. The exit code; minus the signal's number after a signal.
  int wait();

  const std::string& out() const { return out_; }        // so far
  const std::string& errors() const { return errors_; }  // so far

 private:
  bool readSome();
  std::string outputs() const { return out_ + errors_; }

  pid_t id_ = -1;
  int outPipe_ = -1, errorPipe_ = -1;
  std::string out_, errors_;
};

struct ProgramResult {
  int code;
  std::string out, errors;
};

ProgramResult runWz(const std::vector<std::string>& arguments,
                    const std::function<void()>& prepare = nullptr);

/// The same for another program.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::function<void()>& prepare = nullptr);

/// For `prepare`: standard output becomes a pipe that nobody reads any more.
void closeReader();

/// The lines of `text`, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_TOOLS_PROGRAM_H
