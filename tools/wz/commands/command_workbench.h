/// `wz workbench`: a terminal, its applications, its bus and its installer in a browser's tab.
#ifndef WZ_COMMANDS_COMMAND_WORKBENCH_H
#define WZ_COMMANDS_COMMAND_WORKBENCH_H

#include <string>
#include <vector>

namespace wz {

struct WorkbenchOptions {
  std::string terminal;              // empty: WZ_TERMINAL
  std::vector<std::string> folders;  // of applications
  int port = 0;                      // 0: any
  bool opens = true;                 // the user's browser
  bool asJson = false;
};

/// Serves the workbench until it is interrupted. An exit code.
int serveWorkbench(const WorkbenchOptions& options);

}  // namespace wz

#endif  // WZ_COMMANDS_COMMAND_WORKBENCH_H
