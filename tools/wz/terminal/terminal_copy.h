/// A copy of a terminal for trying things out, gone with the object or the program: its profile,
/// certificates and everything that installations look at, but none of its applications' own files.
#ifndef WZ_TERMINAL_TERMINAL_COPY_H
#define WZ_TERMINAL_TERMINAL_COPY_H

#include <cstdint>
#include <string>

namespace wz {

class TerminalCopy {
 public:
  TerminalCopy() = default;
  ~TerminalCopy();
  TerminalCopy(const TerminalCopy&) = delete;
  TerminalCopy& operator=(const TerminalCopy&) = delete;

  /// Copies the terminal in the folder `terminalDir`: into memory where `room` octets more fit,
  /// since what is tried synchronises every file; otherwise, or when TMPDIR names one, to the
  /// folder for temporary files. False with a line of text in `error`.
  [[nodiscard]] bool make(const std::string& terminalDir, std::uint64_t room, std::string& error);

  [[nodiscard]] const std::string& directory() const { return directory_; }

 private:
  std::string parent_, directory_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_TERMINAL_COPY_H
