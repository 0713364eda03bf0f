/// The directory of one browser: its profile, its home, its temporary files.
///
/// One for each host process, below the terminal's `run` folder where there is a terminal, else
/// below the system's temporary directory. It goes when its object does; what a killed host has
/// left behind goes when the next one comes.
#ifndef WORKSTATION_BROWSER_ENGINE_PROFILE_DIRECTORY_H
#define WORKSTATION_BROWSER_ENGINE_PROFILE_DIRECTORY_H

#include <memory>
#include <string>

#include "workstation/browser/engine/process/unique_fd.h"

namespace workstation {

class ProfileDirectory {
 public:
  /// \param terminal  the terminal's directory; empty where there is none.
  /// Null, with the reason in `error`, when no directory can be made.
  static std::unique_ptr<ProfileDirectory> create(const std::string& terminal, std::string& error);

  ~ProfileDirectory();
  ProfileDirectory(const ProfileDirectory&) = delete;
  ProfileDirectory& operator=(const ProfileDirectory&) = delete;

  const std::string& path() const { return path_; }
  /// Where the browser's error output goes.
  std::string errorFile() const { return path_ + "/stderr.txt"; }
  /// For temporary files, sockets among them, whose paths must stay short.
  std::string temporary() const;

 private:
  ProfileDirectory() = default;

  std::string path_;
  UniqueFd lock_;  // held as long as the directory is in use
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PROFILE_DIRECTORY_H
