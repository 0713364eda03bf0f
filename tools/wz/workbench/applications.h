/// The applications that the workbench offers: those of the terminal, and folders.
#ifndef WZ_WORKBENCH_APPLICATIONS_H
#define WZ_WORKBENCH_APPLICATIONS_H

#include <string>
#include <vector>

#include "support/mutex.h"
#include "wz/workbench/answer.h"
#include "zelipc/zelipc.h"

namespace wz {

/// For a process inside a terminal. Any thread may call.
class Applications {
 public:
  explicit Applications(std::string terminal) : terminal_(std::move(terminal)) {}

  /// `path` may be relative to the working directory. What is wrong with it; nothing: it is one of
  /// the folders from now on.
  [[nodiscard]] Problem addFolder(const std::string& path);
  [[nodiscard]] Problem removeFolder(const std::string& path);
  [[nodiscard]] std::vector<std::string> folders() const;

  /// {"installed": [...], "folders": [...], "terminal": {...}}, as docs/workbench.md has it.
  [[nodiscard]] zelipc::JSObject all() const;

  /// The folder and the file in it that hold the icon of an installed application or of one of the
  /// folders. False when it has none.
  [[nodiscard]] bool findIcon(const std::string& id, const std::string& folder, std::string& root,
                              std::string& file) const;

 private:
  const std::string terminal_;
  mutable wzapp::Mutex mutex_;
  std::vector<std::string> folders_ WZAPP_GUARDED_BY(mutex_);
};

}  // namespace wz

#endif  // WZ_WORKBENCH_APPLICATIONS_H
