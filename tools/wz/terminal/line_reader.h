/// Lines that another program writes to standard input while a command runs.
#ifndef WZ_TERMINAL_LINE_READER_H
#define WZ_TERMINAL_LINE_READER_H

#include <functional>
#include <string>
#include <thread>

namespace wz {

/// Takes lines from standard input, on a thread of its own. There is one in a process.
class LineReader {
 public:
  LineReader() = default;
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// `onLine` gets each line without its end; `onEnd` is called once, after the last. False when
  /// there is no descriptor for it.
  [[nodiscard]] bool begin(std::function<void(std::string line)> onLine,
                           std::function<void()> onEnd);

 private:
  void run();

  std::function<void(std::string line)> onLine_;
  std::function<void()> onEnd_;
  int stop_ = -1;
  std::thread thread_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_LINE_READER_H
