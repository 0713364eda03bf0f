/// Where the lines of a matrix go while it is being tried: standard output, a file, both or
/// neither.
#ifndef WZ_MATRIX_LINES_OUTPUT_H
#define WZ_MATRIX_LINES_OUTPUT_H

#include <cstdint>
#include <string>

namespace wz {

class LinesOutput {
 public:
  explicit LinesOutput(bool toStandardOutput) : toStandardOutput_(toStandardOutput) {}
  ~LinesOutput();
  LinesOutput(const LinesOutput&) = delete;
  LinesOutput& operator=(const LinesOutput&) = delete;

  /// Begins a file anew, or goes on behind its first `kept` octets. False with a line of text in
  /// `error`.
  [[nodiscard]] bool open(const std::string& file, std::uint64_t kept, std::string& error);

  /// Writes a line of text without its end. False after a message when it cannot be written.
  [[nodiscard]] bool write(const std::string& line);
  /// The same of a line that the file has from an earlier run.
  [[nodiscard]] bool writeEarlier(const std::string& line) const;

 private:
  bool toStandardOutput_;
  int file_ = -1;
  std::string name_;
};

}  // namespace wz

#endif  // WZ_MATRIX_LINES_OUTPUT_H
