/// Finds the application that is to be run: an installed one, or a folder that stands in for one.
///
/// Everything here is for a process inside a terminal. An installed application's manifest lies in
/// the application root beside its folder, as NAME.MFT; a folder brings its own as `manifest.mft`.
#ifndef WZ_TERMINAL_APPLICATION_H
#define WZ_TERMINAL_APPLICATION_H

#include <string>
#include <vector>

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

/// A folder that is run in place of what is installed under its application's id, if anything is.
///
/// Only this process and its children see it, so that nothing has to be put back, and nothing that
/// others do on the terminal meets it. One program at a time runs a folder under an id: it holds a
/// lock in the terminal's run folder, in which the folder's path is written, and which ends with
/// the program.
class StandIn {
 public:
  StandIn() = default;
  ~StandIn();
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  /// Lets `folder` (an absolute path) stand in, for as long as the process lives. To be called
  /// before the process has threads. False with what is wrong in `findings`: a manifest that cannot
  /// be used, or a folder that is being run under its id already.
  [[nodiscard]] bool place(const std::string& folder, packaging::Findings& findings);

  const Application& application() const { return application_; }

 private:
  bool lock(const std::string& folder, std::string& error);
  bool show(const std::string& folder, std::string& error) const;

  Application application_;
  int lock_ = -1;
};

/// A folder that some program is running on the terminal.
struct RunningFolder {
  std::string id, folder;
};

/// Those of the terminal that this process is inside of, sorted by their ids.
[[nodiscard]] std::vector<RunningFolder> runningFolders();

}  // namespace wz

#endif  // WZ_TERMINAL_APPLICATION_H
