/// A file without a name in the machine's folder for temporary files: it is gone whatever happens.
#ifndef WZ_REPORTS_UNNAMED_FILE_H
#define WZ_REPORTS_UNNAMED_FILE_H

#include <string>

namespace wz {

class UnnamedFile {
 public:
  UnnamedFile();
  ~UnnamedFile();
  UnnamedFile(const UnnamedFile&) = delete;
  UnnamedFile& operator=(const UnnamedFile&) = delete;

  /// Its descriptor; negative when it could not be made.
  [[nodiscard]] int get() const { return number_; }
  /// By which those who only know paths can read it.
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

 private:
  int number_ = -1;
};

}  // namespace wz

#endif  // WZ_REPORTS_UNNAMED_FILE_H
