/// A temporary folder that is gone with its program; what a program that was killed has left, the
/// next one of its kind removes.
#ifndef WZ_TERMINAL_SWEPT_FOLDER_H
#define WZ_TERMINAL_SWEPT_FOLDER_H

#include <string>

namespace wz {

class SweptFolder {
 public:
  SweptFolder() = default;
  ~SweptFolder();
  SweptFolder(const SweptFolder&) = delete;
  SweptFolder& operator=(const SweptFolder&) = delete;

  /// Makes one among temporary files, its name beginning with `prefix`, and removes those of this
  /// prefix that no living program holds. False with a line of text in `error`.
  [[nodiscard]] bool make(const std::string& prefix, std::string& error);

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
  int lock_ = -1;
};

}  // namespace wz

#endif  // WZ_TERMINAL_SWEPT_FOLDER_H
