/// Single keys that the user types while a command runs.
#ifndef WZ_TERMINAL_KEY_READER_H
#define WZ_TERMINAL_KEY_READER_H

#include <functional>
#include <thread>

namespace wz {

/// Takes keys from standard input, on a thread of its own, where that is a terminal in whose
/// foreground the program runs. The terminal is as it was when this has gone, while the program is
/// stopped by the terminal (SIGTSTP), and when a second
/// signal ends the program at once.
class KeyReader {
 public:
  KeyReader() = default;
  ~KeyReader();
  KeyReader(const KeyReader&) = delete;
  KeyReader& operator=(const KeyReader&) = delete;

  /// False, and nothing happens, where there is no such terminal. There is one reader in a process.
  bool begin(std::function<void(char key)> onKey);

 private:
  void run();

  std::function<void(char key)> onKey_;
  int stop_ = -1;
  std::thread thread_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_KEY_READER_H
