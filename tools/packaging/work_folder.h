/// A folder for what is on its way to become a file, gone with the object, or with the program when
/// a signal ends it (temporary_folders.h).
#ifndef PACKAGING_WORK_FOLDER_H
#define PACKAGING_WORK_FOLDER_H

#include <string>

namespace packaging {

class WorkFolder {
 public:
  WorkFolder() = default;
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  /// Makes the folder, readable by its owner alone, beside the file `target`: on the same file
  /// system, so that a rename is enough. False with a line of text in `error`.
  [[nodiscard]] bool makeBeside(const std::string& target, std::string& error);

  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  /// Makes the file `name` the target, in place of what lies there.
  [[nodiscard]] bool moveToTarget(const std::string& name, std::string& error) const;

 private:
  std::string target_, path_;
};

}  // namespace packaging

#endif  // PACKAGING_WORK_FOLDER_H
