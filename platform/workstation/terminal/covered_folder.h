/// A folder of the machine, covered by an empty one in which chosen entries of the old one show
/// again at their old places.
///
/// For a process that is already in mount and user namespaces of its own. Not for several threads.
#ifndef WORKSTATION_TERMINAL_COVERED_FOLDER_H
#define WORKSTATION_TERMINAL_COVERED_FOLDER_H

#include <functional>
#include <map>
#include <string>

namespace workstation {

class CoveredFolder {
 public:
  explicit CoveredFolder(std::string path);
  ~CoveredFolder();
  CoveredFolder(const CoveredFolder&) = delete;
  CoveredFolder& operator=(const CoveredFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Takes hold of every entry that can be listed and whose name `wanted` accepts.
  void keepAll(const std::function<bool(const std::string& name)>& wanted);

  /// Takes hold of the entry `name`, with all that is mounted below it. Does nothing when it is
  /// held already, or when there is no such entry or it cannot be reached.
  void keep(const std::string& name);

  /// Covers the folder and puts back what is held. False with errno set when that failed; an entry
  /// that cannot be put back is only left out. The cover can be written to until it is sealed.
  [[nodiscard]] bool cover();

  /// Makes the cover, not what shows in it, read-only. False with errno set when that failed.
  [[nodiscard]] bool seal();

 private:
  struct Held {
    int mount = -1;  // detached copy of a folder's or file's mount
    bool folder = false;
    std::string target;  // of a symbolic link
  };

  void hold(const std::string& name, bool automount);
  void putBack(const std::string& name, const Held& held);

  std::string path_;
  std::map<std::string, Held> held_;
};

/// Makes the mount at `path` read-only, nosuid and nodev. False with errno set when that failed.
[[nodiscard]] bool sealMount(const std::string& path);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_COVERED_FOLDER_H
