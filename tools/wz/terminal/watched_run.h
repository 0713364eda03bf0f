/// An application that runs from a folder and follows what its developer does there.
#ifndef WZ_TERMINAL_WATCHED_RUN_H
#define WZ_TERMINAL_WATCHED_RUN_H

#include <functional>
#include <set>
#include <string>

#include "wz/terminal/application_run.h"

namespace wz {

/// For the main thread. Until the user quits, changed files are in the page at once:
///
///     style sheets           loaded anew, the page stays as it is
///     manifest, confApp.json  the application is started anew
///     anything else          the page is loaded anew
///
/// Pictures of the page are no change of it, wherever they are saved.
/// An application that has ended starts anew with the next change.
class WatchedRun {
 public:
  /// Whether the folder can be run as it is now. False after a message: the one that runs goes on.
  using Check = std::function<bool()>;

  /// \param picture  file that the Photographer of `run` saves; empty: none.
  WatchedRun(std::string folder, const std::string& picture, ApplicationRun& run, RunEvents& events,
             RunReport& report, Check check);

  /// Returns an exit code.
  int run();

 private:
  void cancel();
  void startAnew(const std::string& because);
  void onFolderChanged(std::set<std::string> names);
  void onChanged(const std::set<std::string>& names);
  void reload(const std::string& because);
  bool onKey(char key);
  void takePicture();
  void openDeveloperTools();

  const std::string folder_;
  std::set<std::string> pictures_;  // names as FolderWatch tells them
  ApplicationRun& run_;
  RunEvents& events_;
  RunReport& report_;
  const Check check_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_WATCHED_RUN_H
