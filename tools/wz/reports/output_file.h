/// A file that a command writes from inside a terminal, where some folders are others than outside.
#ifndef WZ_REPORTS_OUTPUT_FILE_H
#define WZ_REPORTS_OUTPUT_FILE_H

#include <string>
#include <string_view>

namespace wz {

/// Whether `written`, a path or nothing, is another file than `read`, which writing would destroy.
/// False after a message.
[[nodiscard]] bool isOtherFile(const std::string& read, const std::string& written);

class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Chooses the file by its path, "-" for standard output; to be called before the terminal is
  /// entered. False with a line of text in `error` when its folder cannot be opened.
  [[nodiscard]] bool choose(const std::string& path, std::string& error);

  /// Writes the whole file: it is replaced once the content is complete, or left as it is. False
  /// with a line of text in `error`.
  [[nodiscard]] bool write(std::string_view content, std::string& error);

  [[nodiscard]] bool isStandardOutput() const { return isStandardOutput_; }

 private:
  bool replace(std::string_view content) const;  // false with errno

  bool isStandardOutput_ = false;
  int folder_ = -1;  // stays the one outside, whatever its path leads to later
  std::string path_, name_;
};

}  // namespace wz

#endif  // WZ_REPORTS_OUTPUT_FILE_H
