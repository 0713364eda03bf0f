/// The files of an installed application as its pages see them.
#ifndef WORKSTATION_BROWSER_ENGINE_APPLICATION_FILES_H
#define WORKSTATION_BROWSER_ENGINE_APPLICATION_FILES_H

#include <memory>
#include <string>
#include <vector>

#include "workstation/browser/engine/process/unique_fd.h"

namespace workstation {

enum class FileResult { kFound, kMissing, kTooLarge };

/// One application's folder, held open. Any thread may read from it.
class ApplicationFiles {
 public:
  /// \param directory  the application's folder.
  /// \param fallbacks  folders that are looked in, in this order, for what the application's own
  ///                   folder lacks; those that do not lie below it by name are ignored.
  /// Null, with the reason in `error`, when the folder cannot be opened.
  static std::shared_ptr<ApplicationFiles> open(const std::string& directory,
                                                const std::vector<std::string>& fallbacks,
                                                std::string& error);

  /// Reads the regular file `name`, relative to the folder. Nothing outside of the folder is ever
  /// opened, whatever the name is and wherever links point to; links that stay inside are followed.
  FileResult read(const std::string& name, std::string& content) const;

  /// Whether read() would find it.
  bool contains(const std::string& name) const;

 private:
  ApplicationFiles() = default;
  UniqueFd openFile(const std::string& name, long long& size) const;

  UniqueFd directory_;
  std::vector<std::string> prefixes_;  // "" for the folder itself, "default/" ...
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_APPLICATION_FILES_H
