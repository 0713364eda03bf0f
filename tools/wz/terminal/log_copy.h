/// The log of an installation as a file of its own, for those who follow it.
#ifndef WZ_TERMINAL_LOG_COPY_H
#define WZ_TERMINAL_LOG_COPY_H

#include <cstddef>
#include <string>
#include <vector>

namespace wz {

/// Written line by line. A full disk, or a reader who has gone, is no reason to stop the
/// installation, but is told.
class LogCopy {
 public:
  LogCopy() = default;
  LogCopy(const LogCopy&) = delete;
  LogCopy& operator=(const LogCopy&) = delete;
  ~LogCopy();

  /// Before anything waits to be installed. An empty path: no copy. False after a message.
  [[nodiscard]] bool open(const std::string& path);

  /// Writes those of all lines so far that it has not written yet.
  void follow(const std::vector<std::string>& lines);

  /// Whether everything has been written; false after a message.
  [[nodiscard]] bool isWhole() const;

 private:
  std::string path_;
  int file_ = -1;
  int failure_ = 0;  // errno of the first that failed
  std::size_t count_ = 0;
};

}  // namespace wz

#endif  // WZ_TERMINAL_LOG_COPY_H
