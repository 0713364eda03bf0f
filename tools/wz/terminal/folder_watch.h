/// Tells when files of a folder, or of those below it, have changed.
#ifndef WZ_TERMINAL_FOLDER_WATCH_H
#define WZ_TERMINAL_FOLDER_WATCH_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "packaging/ignore_rules.h"

namespace wz {

/// Listens on a thread of its own from begin() until it is destroyed. Names that begin with a dot,
/// or end as editors' copies do, are nobody's business, and neither is what the folder's .wzignore
/// leaves out of packages, such as tests and what they write; links to folders are not followed.
class FolderWatch {
 public:
  struct Listener {
    /// Files have been written, moved in or out, or removed. Empty: any of them, or the folder is
    /// back.
    std::function<void(std::set<std::string> names)> onChanged;
    std::function<void()> onGone;                             ///< The folder is not there any more.
    std::function<void(const std::string& error)> onTrouble;  ///< A part of it is not watched.
  };

  FolderWatch() = default;
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  /// False, with a line of text in `error`, when the folder cannot be watched.
  [[nodiscard]] bool begin(const std::string& folder, Listener listener, std::string& error);

 private:
  void run();
  enum class Wait { kEvents, kNothing, kStop };
  Wait waitForSome(int timeoutMs) const;
  bool isWhereItWas() const;
  void readIgnoreFile();
  bool isNobodysBusiness(const std::string& parent, const std::string& name, bool isFolder) const;
  void readEvents(std::set<std::string>& changed, bool& isGone);
  void noteEntry(const std::string& parent, const std::string& name, bool isFolder, bool isNew,
                 std::set<std::string>& changed);
  bool watchTree(const std::string& name, std::set<std::string>& files, std::string& error);
  void watchByOtherRules();
  void awaitReturn();
  bool openAgain(std::string& error);

  std::string folder_;
  ino_t inode_ = 0;
  packaging::IgnoreRules ignored_;
  bool hasOtherRules_ = false;  // .wzignore has been written
  Listener listener_;
  int events_ = -1;                     // inotify
  int stop_ = -1;                       // readable when the thread is to end
  std::map<int, std::string> folders_;  // by watch: the name below the folder, "" for itself
  std::thread thread_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_FOLDER_WATCH_H
