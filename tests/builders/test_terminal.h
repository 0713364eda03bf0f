/// A temporary terminal for tests that need the fixed paths /mnt/flash and /home/sys13.
///
/// Entering a terminal can be done once in a process and not be undone, so there are two ways:
///
/// - A test program that lists wzapp_test_terminal_main among its LIBS enters one temporary
///   terminal before GoogleTest starts; every test in it begins with `TestTerminal terminal;`,
///   which puts the terminal back into its first state. The folder is gone when the program ends,
///   however it ends. A program of another processor cannot enter, because its emulator has a
///   second thread: there the program inside_test_terminal, this machine's own, enters and becomes
///   the emulator.
/// - A test program that stays outside (wzapp_test_terminal) makes a `TemporaryTerminal` and runs
///   what is to happen inside in a child process, by `runInTerminal`.
#ifndef TESTS_BUILDERS_TEST_TERMINAL_H
#define TESTS_BUILDERS_TEST_TERMINAL_H

#include <functional>
#include <string>

#include "tests/builders/test_profile.h"
#include "workstation/terminal/terminal_profile.h"

namespace wzapp_test {

/// A terminal directory in the machine's temporary folder, removed with the object.
class TemporaryTerminal {
 public:
  explicit TemporaryTerminal(const workstation::TerminalProfile& profile = testProfile());
  ~TemporaryTerminal();
  TemporaryTerminal(const TemporaryTerminal&) = delete;
  TemporaryTerminal& operator=(const TemporaryTerminal&) = delete;

  const std::string& directory() const { return directory_; }  // absolute, without links

 private:
  std::string directory_;
};

/// Runs `body` in a child process that has entered the terminal (child_process.h tells the rest).
/// True when `body` returned and no assertion had failed in the child; its failures are this
/// test's.
bool runInTerminal(const std::string& directory, const std::function<void()>& body);

/// The terminal that this test program has entered (wzapp_test_terminal_main), emptied.
class TestTerminal {
 public:
  explicit TestTerminal(const workstation::TerminalProfile& profile = testProfile());
  TestTerminal(const TestTerminal&) = delete;
  TestTerminal& operator=(const TestTerminal&) = delete;

  const std::string& directory() const { return directory_; }

  void setProfile(const workstation::TerminalProfile& profile);

  /// Writes a file, its folders made where they are missing. `path` is one that the terminal's
  /// programs use ("/mnt/flash/system/wz/shop.zip"), or relative to the terminal directory.
  void writeFile(const std::string& path, const std::string& content);
  void makeFolder(const std::string& path);

  /// The whole file; empty when there is none.
  std::string readFile(const std::string& path) const;
  bool exists(const std::string& path) const;  // links are not followed

 private:
  std::string inside(const std::string& path) const;

  std::string directory_;
};

/// Main function of a test program that runs inside a temporary terminal.
int testTerminalMain(int argc, char** argv);

/// Enters a temporary terminal and becomes the program, whose main function above finds itself
/// inside. Returns where that fails, with a message on standard error: what main is to return.
int becomeInsideTerminal(char** program);

}  // namespace wzapp_test

#endif  // TESTS_BUILDERS_TEST_TERMINAL_H
