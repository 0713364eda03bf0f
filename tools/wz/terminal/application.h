/// Finds the application that is to be run: an installed one, or a folder that is there for a while
/// like an installed one.
///
/// Everything here is for a process inside a terminal. An installed application's manifest lies in
/// the application root beside its folder, as NAME.MFT; a folder brings its own as `manifest.mft`.
#ifndef WZ_TERMINAL_APPLICATION_H
#define WZ_TERMINAL_APPLICATION_H

#include <string>

#include "packaging/application_folder.h"

namespace wz {

/// Name of the manifest in an application's folder.
using packaging::kFolderManifest;

/// Where the library finds one application.
struct Application {
  std::string id;
  std::string manifest;  // path
};

/// Looks `id` up among the installed applications. False when it is none of them.
[[nodiscard]] bool findInstalled(const std::string& id, Application& application);

/// A folder that stands in the application root, as a link of its application's id, for as long as
/// this object lives.
///
/// One program at a time runs an application from a folder: it holds a lock in the terminal's run
/// folder, which ends with the program. A link that was left by one that was killed is so
/// recognised and replaced.
class PlacedFolder {
 public:
  PlacedFolder() = default;
  ~PlacedFolder();
  PlacedFolder(const PlacedFolder&) = delete;
  PlacedFolder& operator=(const PlacedFolder&) = delete;

  /// Puts `folder` (an absolute path) in place. False with a line of text in `error` when its
  /// manifest cannot be used, when an application of that id is installed, or when the folder or
  /// another one is being run under that id.
  [[nodiscard]] bool place(const std::string& folder, std::string& error);

  const Application& application() const { return application_; }

 private:
  bool lock(std::string& error);
  bool link(const std::string& folder, std::string& error);

  Application application_;
  std::string link_;  // empty: none was made
  int lock_ = -1;
};

}  // namespace wz

#endif  // WZ_TERMINAL_APPLICATION_H
